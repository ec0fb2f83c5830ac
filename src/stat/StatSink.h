#pragma once

#include "output/RecordSink.h"
#include "stat/StatOutput.h"

/// The statistics in place of records.
class CStatSink : public CRecordSink {
 public:
  CStatSink(const CConfigParam& config, const CChannelSelection&) : m_config(config) {}

  bool Open(const char* szPath) override {
    return m_config.bSurfacePeriodStat || m_main.Open(szPath, m_config.bBigEndian);
  }
  void Begin(const bool (&arbActive)[PRODUCTS]) override {
    m_pStat = std::make_unique<CStatOutput>(&m_config, arbActive);
  }
  bool WriteHeader(int, int nSatellite) override {
    m_nSatellite = nSatellite;
    return true;
  }
  bool Write(int, const SRecordView& record) override {
    for (int i = 0; i < PRODUCTS; ++i) {
      const SPixelOf& pixel = record.arPixels[i];
      if (pixel.pProd && m_pStat->Add(i, pixel.pProd, pixel.nPixel)) ++m_arnPixels[i];
    }
    return true;
  }
  bool HasTaken(int64_t nLimit) const override {
    for (int i = 0; i < PRODUCTS; ++i)
      if (m_config.IsRequested(i) && m_arnPixels[i] < nLimit) return false;
    return true;
  }
  bool End() override { return m_pStat->Close(&m_main, m_nSatellite); }
  bool Close() override { return m_main.Close(); }

 private:
  const CConfigParam& m_config;
  CStreamWriter m_main;
  std::unique_ptr<CStatOutput> m_pStat;
  int m_nSatellite = -1;
  int64_t m_arnPixels[PRODUCTS] = {};
};

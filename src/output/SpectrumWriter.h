#pragma once

#include <vector>

#include "kernel/RadianceText.h"
#include "prod/ChannelSelection.h"
#include "prod/Spectrum.h"

class CProdL1C;
class CStreamWriter;

/// Writes the spectra of records: radiances in W/(m2 sr m-1) or brightness temperatures in kelvin, a stretch
/// of channels at a time.
class CSpectrumWriter {
 public:
  /// selection must outlive the object, and be that of the spectra. cSeparator: in front of each value of a
  /// text.
  CSpectrumWriter(const CChannelSelection& selection, bool bTemperatures, char cSeparator = '\t');

  // Spectra that were not decoded are written as missing ones.
  void WriteBinary(CStreamWriter& writer, const CProdL1C& prod, int nPixel);
  void WriteText(CStreamWriter& writer, const CProdL1C& prod, int nPixel);

  // What stands in records without a spectrum: a value for every channel that the header counts.
  void WriteBinaryMissing(CStreamWriter& writer) const;
  void WriteTextMissing(CStreamWriter& writer) const;
  /// The channel numbers as names of columns.
  void WriteTextNames(CStreamWriter& writer) const;

 private:
  float Missing() const;

  /// The texts of the radiances of one scale.
  struct STexts {
    double fDivisor;
    CRadianceText texts;
  };

  void Temperatures(const CSpectrum& spectrum, int nRow, CChannelSelection::SStretch stretch,
                    float* pOut) const;
  void WriteRadianceTexts(CStreamWriter& writer, const CSpectrum& spectrum, int nRow,
                          CChannelSelection::SStretch stretch);
  void WriteRunTexts(CStreamWriter& writer, const CSpectrum& spectrum, int nRow, const CSpectrum::SRun& run);
  void WriteReals(CStreamWriter& writer, const float* pValues, int nCount) const;
  CRadianceText* Texts(double fDivisor);

  const CChannelSelection& m_selection;
  bool m_bTemperatures;
  char m_cSeparator;
  std::vector<CChannelSelection::SStretch> m_arStretches;
  std::vector<STexts> m_arTexts;
};

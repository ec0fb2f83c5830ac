#include "prod/ProdL1C.h"

namespace {
template <class TVisit, class T, size_t N>
void Each(TVisit visit, T (&arColumns)[N]) {
  for (T& column : arColumns) visit(column);
}

void Grow(auto& column, int nSize) {
  if (column.Capacity() < nSize) column.Allocate(nSize);
}
}  // namespace

template <class TVisit>
void CProdL1C::EachPixelColumn(TVisit visit) {
  for (auto* p : {&SampleChannel, &SampleScaledRadiance, &CloudFraction, &LandFraction, &SnowFraction})
    visit(*p);
  for (auto* p : {&AverageIIS, &VarianceIIS}) visit(*p);
  for (auto* p : {&StartChannel, &EndChannel, &GqisQualFlag}) Each(visit, *p);
}

template <class TVisit>
void CProdL1C::EachBandColumn(TVisit visit) {
  for (auto* p : {&ScaleBandStartChannel, &ScaleBandEndChannel, &ScaleBandExponent}) Each(visit, *p);
  Each(visit, ScaleBandFactor);
}

template <class TVisit>
void CProdL1C::EachAvhrrColumn(TVisit visit) {
  visit(AvhrrInstrument);
  visit(AvhrrChannelCombination);
  for (auto* p : {&AvhrrYAP, &AvhrrZAP}) Each(visit, *p);
  Each(visit, AvhrrCPF);
  for (auto* p :
       {&AvhrrChannel, &AvhrrMeanExponent, &AvhrrMeanScaled, &AvhrrStdDevExponent, &AvhrrStdDevScaled})
    Each(visit, *p);
  for (auto* p : {&AvhrrMeanRadiance, &AvhrrStdDevRadiance}) Each(visit, *p);
}

void CProdL1C::SetNull() {
  const auto release = [](auto& column) { column.Release(); };
  EachPixelColumn(release);
  EachBandColumn(release);
  EachAvhrrColumn(release);
  Spectrum = {};
  m_arKept.clear();
  m_arKeptRow.clear();
  CProd::SetNull();
}

void CProdL1C::InitFirstL1(int nSize, int nChannels) {
  if (PixelCapacity >= nSize) {
    PixelCount = nSize;
    return;
  }
  EachPixelColumn([](auto& column) { column.Release(); });
  InitFirstAll(nSize);
  ChannelCount = nChannels;
  DayVersion = 0;
  EachPixelColumn([this](auto& column) { column.Allocate(PixelCapacity); });
}

void CProdL1C::InitKept(bool bAvhrr) {
  m_arKept.clear();
  m_arKeptRow.resize(PixelCount);
  for (int i = 0; i < PixelCount; ++i) {
    m_arKeptRow[i] = static_cast<int>(m_arKept.size());
    if (KeepPixel[i]) m_arKept.push_back(i);
  }
  const auto grow = [n = static_cast<int>(m_arKept.size())](auto& column) { Grow(column, n); };
  EachBandColumn(grow);
  if (bAvhrr) EachAvhrrColumn(grow);
}

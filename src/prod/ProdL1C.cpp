#include "prod/ProdL1C.h"

void CProdL1C::SetNull() {
  Spectrum = {};
  CProd::SetNull();
}

void CProdL1C::InitFirstL1(int nSize, int nChannels) {
  if (PixelCapacity < nSize) {
    ChannelCount = nChannels;
    DayVersion = 0;
  }
  InitFirstAll(nSize);
}

#include "extract/Format.h"

#include "app/ConfigParam.h"
#include "output/BinarySink.h"
#include "output/TextSink.h"
#include "stat/StatSink.h"

namespace {

template <class TSink>
std::unique_ptr<CRecordSink> Make(const CConfigParam& config, const CChannelSelection& selection) {
  return std::make_unique<TSink>(config, selection);
}

constexpr SFormat FORMATS[] = {
    {"bin", "binary extraction", CConfigParam::FORMAT_BIN, Make<CBinarySink>},
    {"txt", "text extraction", CConfigParam::FORMAT_TXT, Make<CTextSink>},
    {"txtstat", "statistics processing", CConfigParam::FORMAT_TXTSTAT, Make<CStatSink>},
};

constexpr bool NumbersAreDistinct() {
  for (const SFormat& one : FORMATS)
    for (const SFormat& other : FORMATS)
      if (&one != &other && one.nNumber == other.nNumber) return false;
  return true;
}
static_assert(NumbersAreDistinct(), "two formats have one number");

}  // namespace

std::span<const SFormat> Formats() { return FORMATS; }

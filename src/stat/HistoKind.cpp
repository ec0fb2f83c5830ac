#include "stat/HistoKind.h"

#include "prod/ProdL1C.h"
#include "stat/StatText.h"

namespace {
using L = CProdL1C;

constexpr SHistoKind KINDS[] = {
    {HISTO_LAT, ".HistoLatitude.txt", "latitude", "degrees", PixelValue<&L::Latitude>},
    {HISTO_CLOUD, ".HistoCloud.txt", "cloud fraction", "percent", PixelValue<&L::CloudFraction>},
    {HISTO_LAND, ".HistoLand.txt", "land fraction", "percent", PixelValue<&L::LandFraction>},
    {HISTO_SNOW, ".HistoSnow.txt", "snow fraction", "percent", PixelValue<&L::SnowFraction>},
    {HISTO_AVG, ".HistoAvg.txt", "imager average", RADIANCE_UNIT, PixelValue<&L::AverageIIS>, true},
    {HISTO_VAR, ".HistoVar.txt", "imager variance", "as in the product", PixelValue<&L::VarianceIIS>},
};
}  // namespace

constexpr std::span<const SHistoKind> HISTO_KINDS = KINDS;

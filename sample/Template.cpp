#include "sample/Template.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

namespace {

struct SElement {
  int nFXY;
  const char* szName;
  int nScale;
  int64_t nReference;
  int nWidth;
  bool bCode;  // code or flag table: widths and scales are not changed by operators
};

constexpr bool CODE = true, NUMBER = false;

// Sorted by descriptor.
constexpr SElement arTableB[] = {
    {1007, "satelliteIdentifier", 0, 0, 10, CODE},
    {1031, "centre", 0, 0, 16, CODE},
    {2019, "satelliteInstruments", 0, 0, 11, CODE},
    {2020, "satelliteClassification", 0, 0, 9, CODE},
    {2022, "satelliteDataProcessingTechnique", 0, 0, 8, CODE},
    {2151, "radiometerIdentifier", 0, 0, 11, CODE},
    {2153, "satelliteChannelCentreFrequency", -8, 0, 26, NUMBER},
    {4001, "year", 0, 0, 12, NUMBER},
    {4002, "month", 0, 0, 4, NUMBER},
    {4003, "day", 0, 0, 6, NUMBER},
    {4004, "hour", 0, 0, 5, NUMBER},
    {4005, "minute", 0, 0, 6, NUMBER},
    {4006, "second", 0, 0, 6, NUMBER},
    {5001, "latitude", 5, -9000000, 25, NUMBER},
    {5021, "bearingOrAzimuth", 2, 0, 16, NUMBER},
    {5022, "solarAzimuth", 2, 0, 16, NUMBER},
    {5040, "orbitNumber", 0, 0, 24, NUMBER},
    {5041, "scanLineNumber", 0, 0, 8, NUMBER},
    {5042, "channelNumber", 0, 0, 6, NUMBER},
    {5043, "fieldOfViewNumber", 0, 0, 8, NUMBER},
    {5060, "yAngularPositionFromCentreOfGravity", 6, -8000000, 24, NUMBER},
    {5061, "zAngularPositionFromCentreOfGravity", 6, -8000000, 24, NUMBER},
    {6001, "longitude", 5, -18000000, 26, NUMBER},
    {7001, "heightOfStation", 0, -400, 15, NUMBER},
    {7004, "pressure", -1, 0, 14, NUMBER},
    {7024, "satelliteZenithAngle", 2, -9000, 15, NUMBER},
    {7025, "solarZenithAngle", 2, -9000, 15, NUMBER},
    {8003, "verticalSignificanceSatelliteObservations", 0, 0, 6, CODE},
    {8012, "landOrSeaQualifier", 0, 0, 2, CODE},
    {8013, "dayOrNightQualifier", 0, 0, 2, CODE},
    {8022, "totalNumberWithRespectToAccumulationOrAverage", 0, 0, 16, NUMBER},
    {8029, "surfaceType", 0, 0, 8, CODE},
    {8065, "sunGlintIndicator", 0, 0, 2, CODE},
    {10004, "nonCoordinatePressure", -1, 0, 14, NUMBER},
    {12061, "skinTemperature", 1, 0, 12, NUMBER},
    {12101, "airTemperature", 2, 0, 16, NUMBER},
    {13002, "mixingRatio", 5, 0, 14, NUMBER},
    {13038, "superadiabaticIndicator", 0, 0, 2, CODE},
    {14046, "scaledIasiRadiance", 0, -5000, 16, NUMBER},
    {14047, "scaledMeanAvhrrRadiance", 0, 0, 31, NUMBER},
    {14048, "scaledStandardDeviationAvhrrRadiance", 0, 0, 31, NUMBER},
    {14050, "emissivity", 1, 0, 10, NUMBER},
    {15020, "integratedOzoneDensity", 8, 0, 21, NUMBER},
    {20056, "cloudPhase", 0, 0, 3, CODE},
    {20081, "cloudAmountInSegment", 0, 0, 7, NUMBER},
    {20083, "amountOfSegmentCoveredByScene", 0, 0, 7, NUMBER},
    {25051, "avhrrChannelCombination", 0, 0, 7, CODE},
    {25060, "softwareIdentification", 0, 0, 14, NUMBER},
    {25070, "majorFrameCount", 0, 0, 4, NUMBER},
    {25085, "fractionOfClearPixelsInHirsFov", 0, 0, 7, NUMBER},
    {25140, "startChannel", 0, 0, 14, NUMBER},
    {25141, "endChannel", 0, 0, 14, NUMBER},
    {25142, "channelScaleFactor", 0, 0, 6, NUMBER},
    {31001, "delayedDescriptorReplicationFactor", 0, 0, 8, NUMBER},
    {33026, "moistureQuality", 0, 0, 6, CODE},
    {33060, "gqisFlagQual", 0, 0, 2, CODE},
    {33061, "gqisQualIndex", 0, 0, 7, NUMBER},
    {33062, "gqisQualIndexLoc", 0, 0, 7, NUMBER},
    {33063, "gqisQualIndexRad", 0, 0, 7, NUMBER},
    {33064, "gqisQualIndexSpect", 0, 0, 7, NUMBER},
    {33065, "gqisSysTecQual", 0, 0, 24, NUMBER},
    {40018, "averageOfImagerMeasurements", 6, 0, 24, NUMBER},
    {40019, "giacvarimagiisVarianceOfImagerMeasurements", 6, 0, 24, NUMBER},
    {40020, "gqisFlagQualDetailed", 0, 0, 17, CODE},
    {40021, "fractionOfWeightedAvhrrPixelInIasiFovCoveredWithSnowOrIce", 0, 0, 7, NUMBER},
    {40022, "numberOfMissingBadOrFailedAvhrrPixels", 0, 0, 7, NUMBER},
    {40043, "satelliteManoeuvreIndicator", 0, 0, 3, CODE},
    {40045, "cloudFormationAndHeightAssignment", 0, 0, 5, CODE},
    {40046, "cloudinessSummary", 0, 0, 3, CODE},
    {40047, "validationFlagForIasiOrIasiNgLevel1Product", 0, 0, 3, CODE},
    {40048, "validationFlagOfAmsuALevel1DataFlow", 0, 0, 3, CODE},
    {40049, "cloudTestsExecutedAndResults", 0, 0, 16, CODE},
    {40050, "retrievalInitialisation", 0, 0, 8, CODE},
    {40051, "convergenceOfTheIterativeRetrieval", 0, 0, 3, CODE},
    {40052, "indicationOfSuperAdiabaticAndSuperSaturationInFinalRetrieval", 0, 0, 8, CODE},
    {40053, "numberOfIterationsUsedForRetrieval", 0, 0, 8, NUMBER},
    {40056, "generalRetrievalQuality", 0, 0, 3, CODE},
    {40066, "qualityIndicatorForAtmosphericWaterVapour", 1, 0, 8, NUMBER},
    {40067, "qualityIndicatorForAtmosphericTemperature", 1, 0, 8, NUMBER},
    {40068, "generalRetrievalQualityFlagForSo2", 0, 0, 4, CODE},
    {40071, "retrievalErrorCovarianceMatrixForOzoneInPrincipalComponentDomain", 4, -1000000, 21, NUMBER},
    {40072, "pwlrEstimatedRetrievalQualityIndicatorOfAtmosphericOzone", 1, 0, 8, NUMBER},
    {40073, "pwlrEstimatedRetrievalErrorOfSurfaceSkinTemperature", 1, 0, 8, NUMBER},
    {40192, "cloudFormationAndHeightAssignment", 0, 0, 16, CODE},
    {40193, "instrumentDetectingClouds", 0, 0, 16, CODE},
    {40194, "validationFlagForIasiLevel1Product", 0, 0, 16, CODE},
    {40195, "qualityAndCompletenessOfRetrieval", 0, 0, 4, CODE},
    {40196, "retrievalChoiceIndicator", 0, 0, 8, CODE},
    {40197, "satelliteManoeuvreIndicator", 0, 0, 3, CODE},
    {40198, "selectionOfBackgroundState", 0, 0, 3, CODE},
    {40199, "integratedN2oDensity", 6, 0, 16, NUMBER},
    {40200, "integratedCoDensity", 7, 0, 16, NUMBER},
    {40201, "integratedCh4Density", 6, 0, 16, NUMBER},
    {40202, "integratedCo2Density", 3, 0, 16, NUMBER},
};

struct SSequence {
  int nFXY;
  const char* szDescriptors;
};

#define L1C_PLACE_AND_TIME                                                                             \
  "001007 001031 002019 002020 004001 004002 004003 004004 004005 202131 201138 004006 201000 202000 " \
  "005001 006001 007024 005021 007025 005022 005043 005040 201133 005041 201000 201132 025070 201000 " \
  "202126 007001 202000 "

constexpr SSequence arTableD[] = {
    {340001, L1C_PLACE_AND_TIME
     "033060 033061 033062 033063 033064 033065 101010 340002 101087 340003 002019 025051 101007 340004"},
    {340002, "025140 025141 025142"},
    {340003, "104100 201136 005042 201000 014046"},
    {340004, "005060 005061 025085 105006 005042 025142 014047 025142 014048"},
    {340007, L1C_PLACE_AND_TIME
     "103003 025140 025141 033060 033061 033062 033063 033064 033065 040020 101010 340002 101087 340003 "
     "002019 025051 101007 340004 020081 008029 020083 008029 040018 040019 040021 040022"},
};

std::vector<int> Parse(std::string_view szList) {
  std::vector<int> arList;
  for (size_t n = 0; n + 6 <= szList.size(); n += 7) {
    int nDescriptor = -1;
    std::from_chars(szList.data() + n, szList.data() + n + 6, nDescriptor);
    arList.push_back(nDescriptor);
  }
  return arList;
}

}  // namespace

CTemplate::CTemplate(std::string_view szDescriptors, std::vector<int> arCounts)
    : m_arDescriptors(Parse(szDescriptors)), m_arCounts(std::move(arCounts)), m_arSeen(std::size(arTableB)) {
  Walk(m_arDescriptors, 0, m_arDescriptors.size());
}

void CTemplate::Walk(const std::vector<int>& arList, size_t nBegin, size_t nEnd) {
  for (size_t n = nBegin; n < nEnd; ++n) {
    const int nDescriptor = arList[n];
    switch (nDescriptor / 100000) {
      case 0:
        AddElement(nDescriptor, -1);
        break;
      case 1:
        n = Replicate(arList, n);
        break;
      case 2:
        Operate(nDescriptor);
        break;
      default: {
        const auto* pEntry = std::find_if(std::begin(arTableD), std::end(arTableD),
                                          [&](const SSequence& s) { return s.nFXY == nDescriptor; });
        if (pEntry == std::end(arTableD)) {
          m_bValid = false;
          break;
        }
        const std::vector<int> arSequence = Parse(pEntry->szDescriptors);
        Walk(arSequence, 0, arSequence.size());
      }
    }
  }
}

// Walks what the replication at nAt repeats and returns the position of its last descriptor.
size_t CTemplate::Replicate(const std::vector<int>& arList, size_t nAt) {
  const size_t nDescriptors = static_cast<size_t>(arList[nAt] / 1000 % 100);
  int nTimes = arList[nAt] % 1000;
  if (nTimes == 0) {
    ++nAt;
    nTimes = m_nNextCount < m_arCounts.size() ? m_arCounts[m_nNextCount] : 0;
    ++m_nNextCount;
    if (nAt >= arList.size() || arList[nAt] != 31001) {
      m_bValid = false;
      return nAt;
    }
    AddElement(arList[nAt], nTimes);
  }
  const size_t nLast = nAt + nDescriptors;
  if (nLast >= arList.size()) {
    m_bValid = false;
    return nLast;
  }
  for (int n = 0; n < nTimes; ++n) Walk(arList, nAt + 1, nLast + 1);
  return nLast;
}

void CTemplate::Operate(int nDescriptor) {
  const int nOperand = nDescriptor % 1000;
  const int nAdded = nOperand == 0 ? 0 : nOperand - 128;
  switch (nDescriptor / 1000) {
    case 201:
      m_nAddedWidth = nAdded;
      break;
    case 202:
      m_nAddedScale = nAdded;
      break;
    default:
      m_bValid = false;
  }
}

void CTemplate::AddElement(int nDescriptor, int nCount) {
  const auto* pEntry = std::lower_bound(std::begin(arTableB), std::end(arTableB), nDescriptor,
                                        [](const SElement& e, int nFXY) { return e.nFXY < nFXY; });
  if (pEntry == std::end(arTableB) || pEntry->nFXY != nDescriptor) {
    m_bValid = false;
    return;
  }
  const bool bOperated = !pEntry->bCode && nCount < 0;
  const int nOccurrence = ++m_arSeen[static_cast<size_t>(pEntry - arTableB)];
  m_arFields.push_back({nDescriptor, nOccurrence, pEntry->nScale + (bOperated ? m_nAddedScale : 0),
                        pEntry->nReference, pEntry->nWidth + (bOperated ? m_nAddedWidth : 0), nCount,
                        pEntry->szName});
}

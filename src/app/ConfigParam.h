#pragma once

#include <memory>

#include "app/AltitudeMap.h"
#include "app/GeoBox.h"      // IWYU pragma: export
#include "app/ObjArray.h"    // IWYU pragma: export
#include "app/StrArray.h"    // IWYU pragma: export
#include "app/TimeRange.h"   // IWYU pragma: export
#include "app/ValueRange.h"  // IWYU pragma: export
#include "prod/ChannelSelection.h"
#include "prod/ProductKind.h"

using TOwnedString = std::unique_ptr<char[]>;

/// Year, month and day as given with -fd or -ld; all 0 when the option was not given.
struct SDate {
  int nYear = 0;
  int nMonth = 0;
  int nDay = 0;
};

/// An inclusive range of reals that filters only when the option was given.
struct SRealFilter {
  bool bOn = false;
  float fMin = -1;
  float fMax = -1;

  bool Holds(double fValue) const { return !(fValue < fMin || fValue > fMax); }
};

/// Classes of one histogram option.
struct SHistoParam {
  bool bOn = false;
  float fMin = 0;
  float fMax = 0;
  int nClasses = 100;
};

enum EHisto { HISTO_LAT, HISTO_PIX, HISTO_CLOUD, HISTO_LAND, HISTO_SNOW, HISTO_AVG, HISTO_VAR, HISTO_COUNT };

/// Every parameter of one run: filled option by option, then read by every stage.
class CConfigParam {
 public:
  enum EFormat { FORMAT_BIN = 1, FORMAT_TXT = 2, FORMAT_TXTSTAT = 3 };
  enum EPeriod { PERIOD_ALL = 0, PERIOD_DAY = 1, PERIOD_NIGHT = 2 };
  enum ESurface { SURFACE_ALL = 0, SURFACE_SEA = 1, SURFACE_LAND = 2 };
  enum EResult { UNKNOWN = 0, ACCEPTED = 1, MISSING_VALUE = 2, INVALID_VALUE = 3 };

  CConfigParam();
  CConfigParam(const CConfigParam&) = delete;
  CConfigParam& operator=(const CConfigParam&) = delete;
  virtual ~CConfigParam();

  static TOwnedString DuplicateString(const char* pszText);

  /// Interprets one option. szName is the option without its dash, szValue the text that follows it
  /// or null. Accepted options are echoed. Returns an EResult.
  int InterpretParam(const char* szName, const char* szValue);

  /// Loads the land/sea/altitude grid from szAltitudePath. False, and no grid, when the file cannot be
  /// opened; all sea from where it cannot be read.
  bool InitAltitudeMap();

  /// True when spectra or imager data are asked for.
  bool L1CRequested() const { return arChannels.Count() > 0 || bAvhrr; }
  bool L2Requested() const;
  bool IsRequested(int nProduct) const { return nProduct == PRODUCT_L1C ? L1CRequested() : arbL2[nProduct]; }
  // An amount of 100, or of 0, does not filter.
  bool FiltersMaxCloud() const { return nMaxCloudAmount <= 99; }
  bool FiltersMinCloud() const { return nMinCloudAmount > 0; }
  /// The channels of -c, for spectra of nLimit channels.
  CChannelSelection Channels(int nLimit = CChannelSelection::LIMIT) const;

  bool bHelp = false;                     // -h
  TOwnedString szConfigPath;              // -cfg
  TOwnedString szConfigFile;              // the configuration file that was read
  TOwnedString szAltitudePath;            // -alt
  TOwnedString szL1CDir;                  // -d
  TOwnedString szL2Dir;                   // -d2
  TOwnedString szIndepL2Dir;              // -myd2
  CStrArray arL1CExtensions;              // -ef
  CStrArray arL2Extensions;               // -ef2
  CStrArray arL1CMotifs;                  // -mf
  CStrArray arL2Motifs;                   // -mf2
  TOwnedString szOutputPath;              // -out
  int nFormat = FORMAT_BIN;               // -of
  SDate firstDate;                        // -fd
  SDate lastDate;                         // -ld
  bool bBigEndian = false;                // -bi
  float fMinLatitude = -90;               // -mila, degrees
  float fMaxLatitude = 90;                // -mala, degrees
  float fMinLongitude = -180;             // -milo, degrees
  float fMaxLongitude = 180;              // -malo, degrees
  TObjArray<CGeoBox> arBoxes;             // -box
  TObjArray<CValueRange> arChannels;      // -c, channel numbers from 1
  int nMaxCloudAmount = 100;              // -mca, percent
  int nMinCloudAmount = 0;                // -lca, percent
  SRealFilter landFraction;               // -lf, percent
  SRealFilter snowFraction;               // -sf, percent
  SRealFilter averageIIS;                 // -avg
  SRealFilter varianceIIS;                // -var
  int nMaxResults = -1;                   // -maxres, negative: no limit
  int nSkip = 0;                          // -skip
  TObjArray<CValueRange> arOrbits;        // -on
  TObjArray<CValueRange> arScanLines;     // -sln
  TObjArray<CValueRange> arFieldsOfView;  // -fov
  TObjArray<CTimeRange> arTimePeriods;    // -tr
  SRealFilter viewingAngle;               // -va, degrees
  bool bBrightnessTemperature = false;    // -tb
  float fReferenceTemperature = 0;        // -tbref, kelvin
  int nPeriod = PERIOD_ALL;               // -tp
  int nSurface = SURFACE_ALL;             // -st
  bool arbQuality[3] = {};                // -qlt
  bool bAvhrr = false;                    // -avhrr
  bool arbL2[PRODUCTS] = {};              // -t2, by EProduct
  CAltitudeMap altitudeMap;
  bool bSkewnessKurtosis = false;     // -sk
  bool bSurfacePeriodStat = false;    // -stsext
  bool bBoxStat = false;              // -boxstat
  int nBoxStatLatitudes = 0;          // -boxstat, 0: the default mesh of 2 degrees
  int nBoxStatLongitudes = 0;         // -boxstat, 0: the default mesh of 2 degrees
  SHistoParam arHistos[HISTO_COUNT];  // -histlat ... -histvar
};

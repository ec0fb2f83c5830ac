#include "app/GeoBox.h"

#include "app/ConfigParam.h"

CGeoBox::CGeoBox(float fLatitude1, float fLatitude2, float fLongitude1, float fLongitude2,
                 const char* pszName)
    : fMinLatitude(fLatitude1),
      fMaxLatitude(fLatitude2),
      fMinLongitude(fLongitude1),
      fMaxLongitude(fLongitude2),
      m_szName(CConfigParam::DuplicateString(pszName)) {}

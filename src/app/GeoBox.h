#pragma once

#include <memory>

/// A named latitude/longitude box, bounds in degrees and kept as given. The name tells the output files of
/// the boxes apart.
class CGeoBox {
 public:
  CGeoBox() = default;
  CGeoBox(float fLatitude1, float fLatitude2, float fLongitude1, float fLongitude2, const char* pszName);
  CGeoBox(const CGeoBox&) = delete;
  CGeoBox& operator=(const CGeoBox&) = delete;
  virtual ~CGeoBox() = default;

  /// Null for a box that was given none.
  const char* Name() const { return m_szName.get(); }

  float fMinLatitude = 0;
  float fMaxLatitude = 0;
  float fMinLongitude = 0;
  float fMaxLongitude = 0;

 private:
  std::unique_ptr<char[]> m_szName;
};

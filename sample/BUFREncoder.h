#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// The identification of a message. The defaults are those of an edition 4 message of a satellite product.
struct SMessageHeader {
  int nEdition = 4;          // octet 8 of section 0
  int nSection1Length = 22;  // 21 or less: two-digit year, one-byte sub-centre; 22 or more: four-digit year
  int nMasterTable = 0;
  int nCentre = 254;
  int nSubCentre = 0;
  int nUpdateSequence = 0;
  int nCategory = 3;             // table A: vertical soundings (satellite)
  int nSubCategory = 7;          // international sub-category: hyperspectral soundings
  int nLocalSubCategory = 0;     // written in the long section 1 only
  int nMasterTableVersion = 26;  // the first versions lack some of the sounding elements
  int nLocalTableVersion = 0;
  int nYear = 2013, nMonth = 4, nDay = 20, nHour = 0, nMinute = 0, nSecond = 0;
  std::vector<uint8_t> arSection2;  // local bytes; section 2 is written when there are any
  bool bObserved = true, bCompressed = true;
};

/// Builds one compressed FM-94 BUFR message in memory: descriptors and elements are appended in order, then
/// `Message` returns the whole. It knows no tables: widths and packed values come from the caller, so that
/// any message can be made, also one that no reader should accept.
class CBUFREncoder {
 public:
  static constexpr int64_t MISSING = INT64_MIN;

  explicit CBUFREncoder(int nSubsets);

  SMessageHeader header;

  /// Appends one descriptor to section 3; nF 0..3, nX 0..63, nY 0..255.
  void Descriptor(int nF, int nX, int nY);

  /// One element of nWidth bits for all subsets. arRaw holds one packed value per subset,
  /// value x 10^scale - reference, so 0..2^nWidth - 2, or MISSING. Equal values are written as a constant;
  /// else the smallest one is the reference value and the increments are as narrow as they can be while
  /// all ones stands for missing alone.
  void Values(int nWidth, const std::vector<int64_t>& arRaw);
  /// The same with increments of nIncrementWidth bits (at least what the values need, at most 63), also for
  /// equal values.
  void Values(int nWidth, const std::vector<int64_t>& arRaw, int nIncrementWidth);
  /// The same value (or MISSING) for all subsets, without increments.
  void Constant(int nWidth, int64_t nRaw);
  /// Reference value, increment width (0..63) and increments exactly as given, legal or not. No increment is
  /// written that is not in arIncrements, whatever the number of subsets.
  void Element(int nWidth, uint64_t nR0, int nIncrementWidth, const std::vector<uint64_t>& arIncrements);
  /// The low nBits (0..64) of a value, most significant first.
  void Bits(uint64_t nValue, int nBits);

  int Subsets() const { return m_nSubsets; }
  /// Bits written into section 4 so far.
  int64_t BitCount() const { return static_cast<int64_t>(m_arBytes.size()) * 8 + m_nPending; }
  /// The bytes of section 4 behind its 4-byte header, filled with zero bits to a whole byte, in editions
  /// before 4 to an even length of the section.
  std::vector<uint8_t> SectionData() const;
  /// Sections 0 to 5.
  std::string Message() const;

  // Lengths and counts written in place of the true ones when not negative, to make damaged messages.
  int nForceSection1Length = -1, nForceSection2Length = -1, nForceSection3Length = -1,
      nForceSection4Length = -1, nForceTotalLength = -1, nForceSubsets = -1;
  std::string szEndMarker = "7777";

 private:
  std::string Section1() const;
  std::string Section2() const;
  std::string Section3() const;

  int m_nSubsets;
  std::vector<int> m_arDescriptors;  // 16-bit FXY values
  std::vector<uint8_t> m_arBytes;    // section 4 data, whole bytes
  uint64_t m_nAccumulator = 0;       // the low m_nPending bits (0..63) follow m_arBytes
  int m_nPending = 0;
};

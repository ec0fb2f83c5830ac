#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// The five ways in which an element is decoded.
enum class EVariant { INT, FLOAT, FIELD_OF_VIEW, INT_TIMES_1000, FLOAT_TIMES_1000 };
enum class EOutput { ARRAY, NONE, CONSTANT };

/// One element as it is asked for.
struct SAsked {
  EVariant eVariant = EVariant::INT;
  EOutput eOutput = EOutput::ARRAY;
  int nWidth = 0;
  int64_t nReference = 0;
  int nScale = 0;
  uint64_t nFlag = 0;
  int64_t nMissing = -1;
};

/// What came of it. Real variants fill arReals, the others arInts.
struct SAnswer {
  int nStatus = 1;
  int64_t bitPos = 0;
  uint64_t nFlags = 0;
  std::vector<int64_t> arInts;
  std::vector<double> arReals;
  int64_t nConstant = 0;
  bool bConstant = false;
  std::string szText;

  bool operator==(const SAnswer&) const = default;
};

/// The double nearest to 10^nExponent.
double Power(int64_t nExponent);

/// Decodes elements one bit after the other: the rules of compressed data and nothing else.
class CPlainDecoder {
 public:
  CPlainDecoder(std::vector<uint8_t> arBytes, int nSubsets, bool bBlankUndecoded)
      : m_arBytes(std::move(arBytes)), m_nSubsets(nSubsets), m_bBlank(bBlankUndecoded) {}

  /// answer holds what the outputs hold before; its cursor is where the element begins.
  void Decode(const SAsked& asked, SAnswer& answer) const;

 private:
  bool Read(int64_t& bitPos, int nBits, uint64_t& nValue) const;
  void Fail(const SAsked& asked, const std::string& szText, SAnswer& answer) const;
  void DecodeConstant(const SAsked& asked, uint64_t nReferenceValue, SAnswer& answer) const;
  void DecodeIncrements(const SAsked& asked, uint64_t nReferenceValue, int nWidth, SAnswer& answer) const;

  std::vector<uint8_t> m_arBytes;
  int m_nSubsets;
  bool m_bBlank;
};

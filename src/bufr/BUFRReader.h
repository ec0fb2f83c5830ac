#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "bufr/DescriptorList.h"
#include "bufr/Element.h"
#include "bufr/StreamReader.h"

/// Texts and results by which the decompression variants differ.
struct SDecompressVariant;

/// Reads FM-94 BUFR messages from one file: finds them, splits sections 0 to 5, keeps the data of section 4
/// and decodes compressed elements from it. What the data mean is known to the derived decoders.
class CBUFRReader {
 public:
  /// Largest width for which a missing value can be recognised.
  static constexpr int nDataSizeMax = 33;
  /// All bits set, by width.
  static constexpr std::array<int64_t, nDataSizeMax + 1> arnMissing = [] {
    std::array<int64_t, nDataSizeMax + 1> arn{};
    for (int i = 0; i <= nDataSizeMax; ++i) arn[i] = (int64_t{1} << i) - 1;
    return arn;
  }();

  CBUFRReader() = default;
  CBUFRReader(const CBUFRReader&) = delete;
  CBUFRReader& operator=(const CBUFRReader&) = delete;
  virtual ~CBUFRReader() = default;

  virtual int InterpretFirstLevel(CProd*) { return 1; }

  /// False when the path cannot be opened, or is neither a regular file nor a directory (a pipe or a device
  /// is not waited for).
  bool Open(const char* szPath);
  void Close() { stream.Close(); }

  /// 1 with the stream at the start of a message, 0 at the end of the file.
  int GoToNextMessage();

  /// Reads the message at the current position; 1 on success, 0 when a marker is wrong. Fields and data are
  /// kept in both cases, as far as the file holds them; nDataSize counts the bytes that are really there.
  int ReadMessageSections();

  /// nBytes bytes as one big-endian number; bytes that cannot be read are left out of it.
  int ReadInt(int nBytes);

  /// Decodes one element for all subsets at bitPos and moves bitPos past it. Fields: reference value of
  /// nWidth bits, increment width of 6 bits, one increment per subset; all ones is missing. pOut holds
  /// nSubsets values or is null (the element is skipped). With both constant pointers, an element whose
  /// subsets are all equal sets *pConstant and *pbConstant and leaves pOut alone. Returns 1, or 0 when
  /// something could not be decoded; what was not decoded is left as it was (see bBlankUndecoded).
  int BUFRDecompressInt(int64_t& bitPos, int64_t nWidth, int64_t nReference, int64_t* pOut, uint64_t nFlag,
                        int64_t nMissing, int64_t* pConstant = nullptr, bool* pbConstant = nullptr);
  /// The same for reals: (packed + reference) / 10^scale.
  int BUFRDecompressFloat(int64_t& bitPos, int64_t nWidth, int64_t nReference, int nScale, double* pOut,
                          uint64_t nFlag, double fMissing);

  int nDataVersion = 0;  // layout version of the current message, 0 to 8
  CStreamReader stream;
  CDescriptorList descriptors;
  char szStart[5] = {};
  int nTotalLength = 0;
  int nEdition = 0;
  int nSection1Length = 0;
  int nMasterTable = 0;
  int nCentre = 0;
  int nUpdateSequence = 0;
  bool bOptionalSection = false;
  int nDataCategory = 0;
  int nDataSubCategory = 0;
  int nMasterTableVersion = 0;
  int nLocalTableVersion = 0;
  int nYear = 0, nMonth = 0, nDay = 0, nHour = 0, nMinute = 0;
  int nSection2Length = 0;
  int nSection3Length = 0;
  int nSubsets = 0;
  bool bObserved = false;
  bool bCompressed = false;
  int nSection4Length = 0;
  int nDataSize = 0;
  int nDataCapacity = 0;
  std::unique_ptr<uint8_t[]> pData;  // section 4 behind its header, with zeros behind it
  char szEnd[5] = {};
  uint64_t nMissingFlags = 0;

  /// Set by the product readers: what a message does not carry, or what cannot be decoded from it, becomes
  /// missing instead of keeping what the record held before.
  bool bBlankUndecoded = false;

 protected:
  /// Decodes the rows of a layout in turn for the current layout version, into columns with index nIndex of
  /// their family. Columns of kept pixels get the values of these. Returns the AND of all statuses.
  int DecodeLayout(TLayout layout, CProd& prod, int64_t& bitPos, int nIndex = 0);
  /// Values of all subsets of the last element of the type that went into a column, until the next one does.
  const int64_t* LastInts() const { return m_pLastInts; }
  const double* LastReals() const { return m_pLastReals; }
  /// Repeats the rows for index 0 to nCount - 1.
  int DecodeRepeated(TLayout layout, int nCount, CProd& prod, int64_t& bitPos);
  /// Sets the columns of a layout to missing for index nFrom to nTo - 1, when bBlankUndecoded asks for it.
  void BlankLayout(TLayout layout, CProd& prod, int nFrom = 0, int nTo = 1) const;

  /// True when nBits bits from bitPos lie inside the data.
  bool Inside(int64_t bitPos, int64_t nBits) const { return bitPos + nBits <= int64_t{nDataSize} * 8; }

  int DecompressInt(const SDecompressVariant& variant, int64_t& bitPos, int64_t nWidth, int64_t nReference,
                    int64_t* pOut, uint64_t nFlag, int64_t nMissing, int64_t nUndecoded, int64_t* pConstant,
                    bool* pbConstant);
  int DecompressFloat(const SDecompressVariant& variant, int64_t& bitPos, int64_t nWidth, int64_t nReference,
                      int nScale, double* pOut, uint64_t nFlag, double fMissing);

 private:
  struct SHeader;

  bool ReadField(int64_t& bitPos, int nBits, uint64_t& nValue) const;
  int ReadHeader(const SDecompressVariant& variant, int64_t& bitPos, int64_t nWidth, SHeader& header) const;
  template <class TValue, class TConvert>
  int ReadIncrements(int64_t& bitPos, const SHeader& header, TValue* pOut, uint64_t nFlag, TValue missing,
                     TValue undecoded, TConvert convert);
  int Decode(const SElement& element, int nWidth, int64_t& bitPos, int64_t* pInts, double* pReals);
  int DecodeInto(const SElement& element, int nWidth, CProd& prod, int64_t& bitPos, int nIndex);

  void SkipBack(int64_t nMessageStart, int nBytes);
  int64_t ReadSection1(int64_t nMessageStart);
  void ReadSection2(int64_t nMessageStart);
  void ReadSection3();
  void ReadSection4();
  void FindDataVersion(int64_t nDateTime);

  std::vector<int64_t> m_arScratchInts;  // one value per subset, for gathering
  std::vector<double> m_arScratchReals;
  const int64_t* m_pLastInts = nullptr;
  const double* m_pLastReals = nullptr;
};

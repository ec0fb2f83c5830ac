#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "bufr/BitCursor.h"
#include "bufr/Decompress.h"
#include "bufr/DescriptorList.h"
#include "bufr/Element.h"
#include "bufr/LayoutEngine.h"
#include "bufr/StreamReader.h"
#include "kernel/BitRun.h"

class CProd;

/// Reads FM-94 BUFR messages from one file: finds them, splits sections 0 to 5 and keeps the data of section
/// 4. What the data mean is known to the derived decoders, which decode them with the layout engine.
class CBUFRReader {
 public:
  /// Largest width for which a missing value can be recognised.
  static constexpr int nDataSizeMax = MISSING_WIDTH_MAX;
  /// All bits set, by width.
  static constexpr std::array<int64_t, nDataSizeMax + 1> arnMissing = ALL_ONES;

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
  /// Throws bad_alloc when there is no memory for them; another message may be read then.
  int ReadMessageSections();

  /// Reads sections 0 to 3 of the message at the current position and steps over its data: 1 on success, 0
  /// when a marker is wrong or the file ends first. pData and nDataSize are not those of this message.
  int SkipMessage();

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
  int nDataCapacity = 0;             // bytes of pData, without the zeros
  std::unique_ptr<uint8_t[]> pData;  // section 4 behind its header, with UNPACK_PADDING zeros behind it
  char szEnd[5] = {};
  uint64_t nMissingFlags = 0;  // EMissingFlag, of the message at hand

  /// Set by the product readers: what a message does not carry, or what cannot be decoded from it, becomes
  /// missing instead of keeping what the record held before.
  bool bBlankUndecoded = false;

  /// The bits of section 4 from nBitPos on.
  CBitCursor Data(int64_t nBitPos = 0) const {
    static constexpr uint8_t NONE[UNPACK_PADDING] = {};  // behind no data
    return {pData ? pData.get() : NONE, nDataSize, nBitPos};
  }

 protected:
  int DecompressInt(ECall eCall, int64_t& bitPos, int64_t nWidth, int64_t nReference, int64_t* pOut,
                    uint64_t nFlag, int64_t nMissing, int64_t* pConstant, bool* pbConstant);
  int DecompressFloat(ECall eCall, int64_t& bitPos, int64_t nWidth, int64_t nReference, int nScale,
                      double* pOut, uint64_t nFlag, double fMissing);

  CLayoutEngine m_engine{nSubsets, nDataVersion, bBlankUndecoded, nMissingFlags};

 private:
  void SkipBack(int nBytes);
  bool ReadHead();
  bool ReadEnd();
  int64_t ReadSection1();
  void ReadSection2();
  void ReadSection3();
  int ReadSection4Head();
  void ReadSection4();
  void MakeRoom(int nBytes);
  void FindDataVersion(int64_t nDateTime);

  int64_t m_nStart = 0;  // of the message, in its file
};

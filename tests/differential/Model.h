#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "prod/Prod.h"
#include "sample/Layouts.h"
#include "tests/differential/LayoutRows.h"
#include "tests/differential/PlainDecoder.h"
#include "tests/differential/PlainSpectrum.h"

/// Mixes a value into a digest.
void Mix(uint64_t nValue, uint64_t& nDigest);

/// Section 4 of a message, and how it is to be decoded.
struct STask {
  int nVersion = 0;
  int nPixels = 0;
  std::vector<uint8_t> arBytes;
  std::vector<uint8_t> arKeep;         // by pixel
  bool bBlank = true;                  // what is not decoded becomes missing, else it keeps BEFORE
  std::vector<char> arSelection = {};  // of channels; empty: none is known
  int nChannels = 0;
};

/// What decoding gives besides the columns.
struct SOutcome {
  int nFirst = 1, nUpdate = 1, nSpectrum = 1;
  uint64_t nFlags = 0;
  int64_t nLastMissingChannel = 0;
  std::string szText;

  bool operator==(const SOutcome&) const = default;
};

/// A record of one kind as the rules of the format have it: rows of the layout that the encoder has, walked
/// one bit after the other.
class CModel {
 public:
  static constexpr int BEFORE = 42;  // what the columns hold before a message whose columns are not blanked
  /// Rows of a message, and where its parts begin: behind the header the product block of L2, the spectrum of
  /// L1C.
  struct SRows {
    TRows all;
    size_t nHeaderEnd = 0, nAvhrr = 0, nFractions = 0;
  };

  /// The record is that of the decoder under test; the model only takes from it which columns there are.
  CModel(EKind eKind, const CProd& record);

  /// Those of L1C layouts other than 1 and 2 stand at 0.
  const SRows& Rows(int nVersion) const {
    return m_arRows[m_eKind == EKind::L1C && nVersion > 2 ? 0 : nVersion];
  }
  /// Fills the record's columns with BEFORE.
  void FillRecord() const;

  SOutcome Decode(const STask& task);
  /// "" when the record holds what the model does, else the first value that does not. All values are mixed
  /// into the digest.
  std::string Compare(uint64_t& nDigest) const;

 private:
  struct SCell {
    SLayoutRow row;
    std::vector<int64_t> arInts;  // by pixel
    std::vector<double> arReals;
    void Fill(int nPixels, bool bBlank);
  };

  void AddCells(const TRows& rows);
  SCell& Cell(const void* pColumn) { return m_arCells[m_cellOf.at(pColumn)]; }
  void Element(const SLayoutRow& row, bool bStore);
  void Elements(const TRows& rows, size_t nBegin, size_t nEnd, bool bStore);
  int DecodeL2();
  bool CountHolds(const SLayoutRow& count, uint64_t nFlag);
  void DecodeL1C(SOutcome& outcome);
  bool HasHeaderOnly() const {
    return m_eKind == EKind::L1C && m_pTask->nVersion != 1 && m_pTask->nVersion != 2;
  }
  void AvhrrRadiances();

  EKind m_eKind;
  const CProd& m_record;
  std::vector<SRows> m_arRows;
  std::vector<SCell> m_arCells;
  std::unordered_map<const void*, size_t> m_cellOf;
  const STask* m_pTask = nullptr;
  const CPlainDecoder* m_pPlain = nullptr;
  SAnswer m_answer;
  std::unique_ptr<CPlainSpectrum> m_pSpectrum;  // of L1C
  int m_nStatus = 1;
};

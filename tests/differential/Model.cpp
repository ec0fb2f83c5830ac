#include "tests/differential/Model.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <utility>

#include "prod/ProdL1C.h"

namespace {

constexpr int L1C_LAYOUTS = 3, L2_VERSIONS = 9;

const char* WrongCount(EKind eKind, int nOccurrence) {
  if (eKind == EKind::OZO) return "Nombre de donnees ozone non conforme\n";
  if (eKind == EKind::EMS) return "Nombre de donnees emissivite non conforme\n";
  return nOccurrence == 1 ? "Nombre de profils pression/temperature non conforme\n"
                          : "Nombre de profils pression/mixing ratio non conforme\n";
}

/// Index of the nOccurrence-th row of a descriptor, or of the end.
size_t Find(const TRows& rows, int nFXY, int nOccurrence = 1) {
  const auto is = [=](const SLayoutRow& r) {
    return r.field.nFXY == nFXY && r.field.nOccurrence == nOccurrence;
  };
  return static_cast<size_t>(std::find_if(rows.begin(), rows.end(), is) - rows.begin());
}

CModel::SRows FindParts(EKind eKind, int nVersion, TRows rows) {
  if (eKind == EKind::L1C && nVersion == 0)
    std::erase_if(rows, [](const SLayoutRow& row) { return row.field.nFXY == 33060; });
  const int nLast = eKind == EKind::TWT ? 5022 : 7001;
  const size_t nHeaderEnd =
      eKind != EKind::L1C ? Find(rows, nLast) + 1 : Find(rows, 25140, nVersion == 2 ? 4 : 1);
  const size_t nAvhrr = Find(rows, 2019, 2), nFractions = Find(rows, 20081);
  return {std::move(rows), nHeaderEnd, nAvhrr, nFractions};
}

}  // namespace

CModel::CModel(EKind eKind, const CProd& record) : m_eKind(eKind), m_record(record) {
  const bool bL1C = eKind == EKind::L1C;
  for (int i = 0; i < (bL1C ? L1C_LAYOUTS : L2_VERSIONS); ++i) {
    m_arRows.push_back(FindParts(
        eKind, i,
        bL1C ? L1CRows(std::max(i, 1), static_cast<const CProdL1C&>(record)) : L2Rows(eKind, i, record)));
    AddCells(m_arRows.back().all);
  }
  if (!bL1C) return;
  const auto& l1c = static_cast<const CProdL1C&>(record);
  for (const auto* pFamily : {&l1c.AvhrrMeanRadiance, &l1c.AvhrrStdDevRadiance})
    for (const auto& column : *pFamily) {
      SLayoutRow row = {nullptr, &column};
      row.bKept = true;
      row.field.szName = "AVHRR radiance";
      AddCells({row});
    }
}

void CModel::AddCells(const TRows& rows) {
  for (const SLayoutRow& row : rows)
    if (row.Column() && m_cellOf.emplace(row.Column(), m_arCells.size()).second)
      m_arCells.push_back({row, {}, {}});
}

void CModel::SCell::Fill(int nPixels, bool bBlank) {
  arInts.assign(row.pInts ? nPixels : 0, bBlank ? row.nUndecoded : BEFORE);
  arReals.assign(row.pReals ? nPixels : 0, bBlank ? -777.0 : BEFORE);
}

void CModel::FillRecord() const {
  for (const SCell& cell : m_arCells) {
    const size_t n = cell.row.bKept ? m_record.Kept().size() : m_record.PixelCount;
    if (cell.row.pInts) std::fill_n(const_cast<TColumn<int64_t>*>(cell.row.pInts)->Write(), n, BEFORE);
    if (cell.row.pReals) std::fill_n(const_cast<TColumn<double>*>(cell.row.pReals)->Write(), n, BEFORE);
  }
}

/// One element. In the header of L2 those that are not kept are of the type that their scale asks for, in L1C
/// all are integers; it shows in what is said of a damaged one.
void CModel::Element(const SLayoutRow& row, bool bStore) {
  using enum EVariant;
  SAsked asked = {INT, EOutput::NONE, row.field.nWidth, row.field.nReference, row.field.nScale};
  if (!bStore || !row.Column()) {
    if (m_eKind != EKind::L1C && row.field.nScale != 0) asked.eVariant = FLOAT;
    m_pPlain->Decode(asked, m_answer);
    m_nStatus &= m_answer.nStatus;
    return;
  }
  if (row.pReals) asked.eVariant = row.fFactor == 1 ? FLOAT : FLOAT_TIMES_1000;
  if (row.pInts && row.fFactor != 1) asked.eVariant = INT_TIMES_1000;
  if (row.nOffset != 0) asked.eVariant = FIELD_OF_VIEW;
  asked.eOutput = EOutput::ARRAY;
  asked.nFlag = row.nFlag;
  asked.nMissing = row.pInts ? row.nMissing : -777;
  SCell& cell = Cell(row.Column());
  std::swap(cell.arInts, m_answer.arInts);
  std::swap(cell.arReals, m_answer.arReals);
  m_pPlain->Decode(asked, m_answer);
  std::swap(cell.arInts, m_answer.arInts);
  std::swap(cell.arReals, m_answer.arReals);
  m_nStatus &= m_answer.nStatus;
}

void CModel::Elements(const TRows& rows, size_t nBegin, size_t nEnd, bool bStore) {
  for (size_t i = nBegin; i < nEnd; ++i) Element(rows[i], bStore);
}

/// Whether the first pixel has as many repetitions as the layout. A count that the record keeps is decoded
/// twice.
bool CModel::CountHolds(const SLayoutRow& count, uint64_t nFlag) {
  const int64_t nStart = m_answer.bitPos;
  m_answer.arInts.assign(m_pTask->nPixels, -1);
  m_pPlain->Decode({EVariant::INT, EOutput::ARRAY, count.field.nWidth, 0, 0, nFlag, -1}, m_answer);
  m_nStatus &= m_answer.nStatus;
  const bool bHolds = m_answer.arInts[0] == count.field.nCount;
  if (count.Column()) {
    m_answer.bitPos = nStart;
    Element(count, true);
  }
  return bHolds;
}

int CModel::DecodeL2() {
  const auto& [rows, nHeaderEnd, nAvhrr, nFractions] = Rows(m_pTask->nVersion);
  Elements(rows, 0, nHeaderEnd, true);
  const int nFirst = std::exchange(m_nStatus, 1);
  for (size_t i = nHeaderEnd; i < rows.size(); ++i) {
    if (rows[i].field.nCount < 0) {
      Element(rows[i], true);
    } else if (!CountHolds(rows[i], rows[i + 1].nFlag)) {
      m_answer.szText += WrongCount(m_eKind, rows[i].field.nOccurrence);
      while (i + 1 < rows.size() && rows[i + 1].field.nCount < 0) ++i;
    }
  }
  return nFirst;
}

/// The mantissa is held against -1, the exponent against -700, of both means and deviations.
void CModel::AvhrrRadiances() {
  const auto& l1c = static_cast<const CProdL1C&>(m_record);
  const auto scale = [&](const KeptIntColumn& mantissa, const KeptIntColumn& exponent,
                         const KeptRealColumn& out) {
    const auto &arMantissas = Cell(&mantissa).arInts, &arExponents = Cell(&exponent).arInts;
    const int64_t nUndecoded = Cell(&mantissa).row.nUndecoded;
    for (int i = 0; i < m_pTask->nPixels; ++i) {
      const int64_t m = arMantissas[i], e = arExponents[i];
      const bool bNone = m == -1 || e == -700 || m == nUndecoded || e == nUndecoded;
      Cell(&out).arReals[i] = bNone ? -777.0 : static_cast<double>(m) / Power(e);
    }
  };
  for (size_t k = 0; k < l1c.AvhrrChannel.size(); ++k) {
    scale(l1c.AvhrrMeanScaled[k], l1c.AvhrrMeanExponent[k], l1c.AvhrrMeanRadiance[k]);
    scale(l1c.AvhrrStdDevScaled[k], l1c.AvhrrStdDevExponent[k], l1c.AvhrrStdDevRadiance[k]);
  }
}

/// All parts of an L1C message; other layouts have a header alone.
void CModel::DecodeL1C(SOutcome& outcome) {
  const STask& task = *m_pTask;
  const auto& [rows, nHeaderEnd, nAvhrr, nFractions] = Rows(task.nVersion);
  Elements(rows, 0, nHeaderEnd, true);
  const int64_t nSpectrumAt = m_answer.bitPos;
  if (HasHeaderOnly()) {
    outcome.nFirst = 0;
    m_nStatus = 1;
    return;
  }
  Elements(rows, nHeaderEnd, nAvhrr, false);
  const int64_t nAvhrrAt = m_answer.bitPos;
  if (task.nVersion == 2) Elements(rows, nAvhrr, nFractions, false);
  Elements(rows, nFractions, rows.size(), true);
  outcome.nFirst = std::exchange(m_nStatus, 1);
  m_answer.bitPos = nAvhrrAt;
  Elements(rows, nAvhrr, nFractions, true);
  AvhrrRadiances();
  if (!task.bBlank) return;
  m_pSpectrum = std::make_unique<CPlainSpectrum>(
      *m_pPlain,
      SSpectrumAsked{nSpectrumAt, task.nPixels, task.arKeep.data(), task.arSelection, task.nChannels});
  outcome.nSpectrum = m_pSpectrum->nStatus;
  outcome.nLastMissingChannel = m_pSpectrum->nLastMissingChannel;
  m_answer.nFlags |= m_pSpectrum->nFlags;
  m_answer.szText += m_pSpectrum->szText;
}

SOutcome CModel::Decode(const STask& task) {
  const CPlainDecoder plain(task.arBytes, task.nPixels, false);
  m_pTask = &task;
  m_pPlain = &plain;
  m_pSpectrum = nullptr;
  m_answer = {};
  m_nStatus = 1;
  for (SCell& cell : m_arCells) cell.Fill(task.nPixels, task.bBlank);
  SOutcome outcome;
  if (m_eKind == EKind::L1C)
    DecodeL1C(outcome);
  else
    outcome.nFirst = DecodeL2();
  outcome.nUpdate = m_nStatus;
  outcome.nFlags = m_answer.nFlags;
  outcome.szText = m_answer.szText;
  return outcome;
}

void Mix(uint64_t nValue, uint64_t& nDigest) {
  nDigest = std::rotl((nDigest ^ nValue) * 0x9E3779B97F4A7C15, 29);
}

std::string CModel::Compare(uint64_t& nDigest) const {
  const auto& arKept = m_record.Kept();
  std::string szWrong;
  const auto hold = [&](const SLayoutRow& row, int nPixel, double fExpected, double fFound) {
    Mix(std::bit_cast<uint64_t>(fFound), nDigest);
    if (fExpected == fFound || !szWrong.empty()) return;
    char sz[200];
    std::snprintf(sz, sizeof sz, "%s %d of pixel %d is %.17g instead of %.17g", row.field.szName,
                  row.field.nOccurrence, nPixel, fFound, fExpected);
    szWrong = sz;
  };
  const bool bHeaderOnly = HasHeaderOnly();
  for (const auto& [row, arInts, arReals] : m_arCells) {
    if (row.bKept && bHeaderOnly) continue;
    const int nRows = row.bKept ? static_cast<int>(arKept.size()) : m_pTask->nPixels;
    for (int i = 0; i < nRows; ++i) {
      const int nPixel = row.bKept ? arKept[i] : i;
      if (row.pInts)
        hold(row, nPixel, static_cast<double>(arInts[nPixel]), static_cast<double>(row.pInts->At(i)));
      else
        hold(row, nPixel, arReals[nPixel], row.pReals->At(i));
    }
  }
  if (!m_pSpectrum || m_pTask->arSelection.empty()) return szWrong;
  const CSpectrum& spectrum = static_cast<const CProdL1C&>(m_record).Spectrum;
  std::vector<double> arRow(spectrum.Columns());
  SLayoutRow row;
  row.field.szName = "radiance";
  for (const int nPixel : arKept) {
    spectrum.Row(m_record.KeptRow(nPixel).nRow, 0, spectrum.Columns(), arRow.data());
    for (int i = 0; i < spectrum.Columns(); ++i) {
      row.field.nOccurrence = spectrum.Channel(i);
      hold(row, nPixel, m_pSpectrum->Radiance(nPixel, spectrum.Channel(i)), arRow[i]);
    }
  }
  return szWrong;
}

#include "stat/RowBatch.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "kernel/BitRun.h"
#include "kernel/Cpu.h"
#include "kernel/MissingReal.h"

namespace {

constexpr int BLOCK = CRowBatch::BLOCK;

/// Powers of ten up to which the wide kernel below is proved.
constexpr double POWERS[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9, 1e10,
                             1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20};

bool IsPower(double fDivisor) {
  return std::find(std::begin(POWERS), std::end(POWERS), fDivisor) != std::end(POWERS);
}

int Padded(int nColumns) { return (nColumns + BLOCK - 1) / BLOCK * BLOCK; }

/// Copies the values of one block; true when one of them is missing, as raw value or by what it stands for.
bool CopyRaw(const int32_t* pRaw, const int32_t* pMissing, int nCount, int32_t* pOut) {
  int nFound = 0;
  for (int i = 0; i < nCount; ++i) {
    pOut[i] = pRaw[i];
    nFound |= (pRaw[i] == RAW_MISSING) | (pRaw[i] == pMissing[i]);
  }
  return nFound != 0;
}

bool CopyReals(const double* pReals, int nCount, double* pOut) {
  bool bFound = false;
  for (int i = 0; i < nCount; ++i) {
    pOut[i] = pReals[i];
    bFound |= pReals[i] == MISSING_REAL;
  }
  return bFound;
}

void DividePortable(const int32_t* pRaw, const SRowScale& scale, int nFirst, int nRows, double* pOut) {
  const double* pDivisors = scale.arDivisors.data() + nFirst;
  for (int i = 0; i < nRows; ++i, pRaw += BLOCK, pOut += BLOCK)
    for (int j = 0; j < BLOCK; ++j) pOut[j] = pRaw[j] / pDivisors[j];
}

#if defined(VEX_AVX2)
/// The same quotients by multiplication. The product q with the rounded inverse is off by less than 2 units
/// in the last place; its remainder raw - q * divisor has few enough bits to be exact, and adding it times
/// the inverse leaves an error below 2^-51 units before the last rounding. That cannot be on the wrong side
/// of the true quotient: for a 32-bit integer over 10^k, k up to 20, the quotient is at least
/// 1 / (2 * 5^k) > 2^-48 units away from where rounding changes.
VEX_TARGET_AVX2 void DivideAvx2(const int32_t* pRaw, const SRowScale& scale, int nFirst, int nRows,
                                double* pOut) {
  for (int j = 0; j < BLOCK; j += 4) {
    const __m256d divisor = _mm256_loadu_pd(scale.arDivisors.data() + nFirst + j);
    const __m256d inverse = _mm256_loadu_pd(scale.arInverses.data() + nFirst + j);
    for (int i = j; i < nRows * BLOCK; i += BLOCK) {
      const __m256d value = _mm256_cvtepi32_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(pRaw + i)));
      const __m256d guess = _mm256_mul_pd(value, inverse);
      const __m256d rest = _mm256_fnmadd_pd(guess, divisor, value);
      _mm256_storeu_pd(pOut + i, _mm256_fmadd_pd(rest, inverse, guess));
    }
  }
}
#else
constexpr auto DivideAvx2 = DividePortable;
#endif

}  // namespace

void CRowSource::TakeRuns(const std::vector<CSpectrum::SRun>& arRuns) {
  const auto same = [](const CSpectrum::SRun& a, const CSpectrum::SRun& b) {
    return a.nFirst == b.nFirst && a.nCount == b.nCount && a.fDivisor == b.fDivisor;
  };
  if (std::ranges::equal(arRuns, m_arRuns, same)) return;
  m_arRuns = arRuns;
  m_pScale = std::ranges::all_of(arRuns, [](const auto& run) { return IsPower(run.fDivisor); }) ? MakeScale()
                                                                                                : nullptr;
}

std::shared_ptr<const SRowScale> CRowSource::MakeScale() const {
  auto pScale = std::make_shared<SRowScale>();
  pScale->arDivisors.assign(Padded(m_nColumns), 1.0);
  for (const CSpectrum::SRun& run : m_arRuns)
    std::fill_n(pScale->arDivisors.begin() + run.nFirst, run.nCount, run.fDivisor);
  for (const double fDivisor : pScale->arDivisors) {
    pScale->arInverses.push_back(1 / fDivisor);
    const double fMissing = MISSING_REAL * fDivisor;
    pScale->arnMissing.push_back(fMissing > INT32_MIN ? static_cast<int32_t>(fMissing) : RAW_MISSING);
  }
  return pScale;
}

SSpectrumRow CRowSource::Row(const CSpectrum& spectrum, int nRow) {
  SSpectrumRow row;
  const bool bThere = nRow < spectrum.Rows() && spectrum.Columns() == m_nColumns;
  if (bThere) TakeRuns(spectrum.Runs());
  if (bThere && m_pScale) {
    row.pScale = m_pScale;
    row.pRaw = spectrum.Raw(nRow);
    return row;
  }
  m_arReals.assign(m_nColumns, MISSING_REAL);
  if (bThere) spectrum.Row(nRow, 0, m_nColumns, m_arReals.data());
  row.pReals = m_arReals.data();
  return row;
}

CRowBatch::CRowBatch(int nColumns, int nRows)
    : m_nLimit(std::clamp(nRows, 1, ROWS)),
      m_nBlocks(Padded(nColumns) / BLOCK),
      m_arRaw(Start(m_nBlocks, 0)),
      m_arMissing(m_nBlocks),
      m_nColumns(nColumns) {}

bool CRowBatch::Add(const SSpectrumRow& row) {
  if (m_nRows > 0 && (m_nRows == m_nLimit || m_pScale != row.pScale)) return false;
  if (m_nRows == 0) {
    m_pScale = row.pScale;
    std::fill(m_arMissing.begin(), m_arMissing.end(), uint8_t{0});
    if (!m_pScale) m_arReals.resize(m_arRaw.size());
  }
  const int nRow = m_nRows++;
  for (int i = 0; i < m_nBlocks; ++i) {
    const int nFirst = i * BLOCK, nCount = std::min(BLOCK, m_nColumns - nFirst);
    const size_t nStart = Start(i, nRow);
    m_arMissing[i] |= m_pScale ? CopyRaw(row.pRaw + nFirst, m_pScale->arnMissing.data() + nFirst, nCount,
                                         m_arRaw.data() + nStart)
                               : CopyReals(row.pReals + nFirst, nCount, m_arReals.data() + nStart);
  }
  return true;
}

bool CRowBatch::Block(int nBlock, double* pTile) const {
  if (m_nRows == 0) return false;
  if (!m_pScale) {
    std::memcpy(pTile, m_arReals.data() + Start(nBlock, 0), sizeof(double) * BLOCK * m_nRows);
    return m_arMissing[nBlock];
  }
  const auto pDivide = WideKernels() ? DivideAvx2 : DividePortable;
  const int32_t* pRaw = m_arRaw.data() + Start(nBlock, 0);
  pDivide(pRaw, *m_pScale, nBlock * BLOCK, m_nRows, pTile);
  for (int i = 0; m_arMissing[nBlock] && i < m_nRows * BLOCK; ++i)
    if (pRaw[i] == RAW_MISSING) pTile[i] = MISSING_REAL;
  return m_arMissing[nBlock];
}

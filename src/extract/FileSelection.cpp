#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "app/DirManager.h"
#include "app/StrArray.h"
#include "extract/Extractor.h"
#include "prod/ProductKind.h"

namespace {

using TPath = std::vector<char>;

/// L1C files lie in the directory of the day itself.
const char* KindDirectory(int nKind) { return nKind < FIRST_L2 ? "" : PRODUCT_KINDS[nKind].szName; }

TPath Join(const TPath& path, const char* szName) {
  TPath result(path.size());
  CDirManager::ConcatenatePath(path.data(), szName, result.data(), static_cast<int>(result.size()));
  return result;
}

/// The root in a buffer with room for all that is joined to it.
TPath RootPath(const char* szRoot) {
  const size_t nLength = std::strlen(szRoot);
  TPath path(nLength + 300);
  std::memcpy(path.data(), szRoot, nLength);
  return path;
}

/// Appends the paths of the files in order. Their bare names are not kept, for there may be very many.
void AppendFiles(const TPath& directory, const CStrArray* pExtensions, const CStrArray* pMotifs,
                 CStrArray& arResult) {
  CStrArray arPaths;
  CDirManager::EachMatch(directory.data(), pExtensions, pMotifs, [&](const char* szName) {
    arPaths.AddString(Join(directory, szName).data(), false);
  });
  arPaths.Sort();
  arResult.Take(arPaths);
}

/// Walks root/YYYY/MM/DD in order. Only directories that can hold a date of the interval are listed.
class CDateWalk {
 public:
  static constexpr int LEVELS = 3;  // year, month, day

  CDateWalk(const int (&arnFirst)[LEVELS], const int (&arnLast)[LEVELS], const CStrArray* pExtensionList,
            const CStrArray* pMotifList, CStrArray& arFiles, const char* szKindDirectory)
      : m_pFirst(arnFirst),
        m_pLast(arnLast),
        m_pExtensions(pExtensionList),
        m_pMotifs(pMotifList),
        m_arResult(arFiles),
        m_szKind(szKindDirectory) {}

  /// bOnFirst and bOnLast: the levels above are those of the first or last date, which then bounds this one.
  void Walk(const TPath& directory, int nLevel, bool bOnFirst, bool bOnLast) {
    if (nLevel == LEVELS) return AppendFiles(Join(directory, m_szKind), m_pExtensions, m_pMotifs, m_arResult);
    CStrArray arNames;
    CDirManager::EachMatch(directory.data(), nullptr, nullptr,
                           [&](const char* szName) { arNames.AddString(szName, false); });
    arNames.Sort();
    for (int i = 0; i < arNames.Count(); ++i) {
      const char* szName = arNames.GetStringAt(i);
      if (!CExtractor::CheckFormat(nLevel == 0 ? 4 : 2, szName)) continue;
      const int nNumber = std::atoi(szName), nFirst = m_pFirst[nLevel], nLast = m_pLast[nLevel];
      if ((bOnFirst && nNumber < nFirst) || (bOnLast && nNumber > nLast)) continue;
      Walk(Join(directory, szName), nLevel + 1, bOnFirst && nNumber == nFirst, bOnLast && nNumber == nLast);
    }
  }

 private:
  const int* m_pFirst;
  const int* m_pLast;
  const CStrArray* m_pExtensions;
  const CStrArray* m_pMotifs;
  CStrArray& m_arResult;
  const char* m_szKind;
};

}  // namespace

bool CExtractor::CheckFormat(int nLength, const char* szName) {
  const size_t nName = std::strlen(szName);
  return static_cast<int64_t>(nName) == nLength &&
         std::all_of(szName, szName + nName, [](char c) { return c >= '0' && c <= '9'; });
}

void CExtractor::SelectFiles(const char* szRoot, const CStrArray* pExtensions, const CStrArray* pMotifs,
                             int nFirstYear, int nFirstMonth, int nFirstDay, int nLastYear, int nLastMonth,
                             int nLastDay, CStrArray& arResult, int nKind) {
  const int arnFirst[] = {nFirstYear, nFirstMonth, nFirstDay}, arnLast[] = {nLastYear, nLastMonth, nLastDay};
  CDateWalk(arnFirst, arnLast, pExtensions, pMotifs, arResult, KindDirectory(nKind))
      .Walk(RootPath(szRoot), 0, true, true);
}

void CExtractor::SelectFilesIndepDir(const char* szRoot, const CStrArray* pExtensions,
                                     const CStrArray* pMotifs, CStrArray& arResult, int nKind) {
  AppendFiles(Join(RootPath(szRoot), KindDirectory(nKind)), pExtensions, pMotifs, arResult);
}

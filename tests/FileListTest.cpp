#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "TestSupport.h"
#include "app/DirManager.h"
#include "app/StrArray.h"
#include "extract/Extractor.h"

namespace {

using TNames = std::vector<std::string>;

TNames Names(const CStrArray& ar) {
  TNames names;
  for (int i = 0; i < ar.Count(); ++i) names.push_back(ar.GetStringAt(i));
  return names;
}

/// The selected paths, behind the root and its slash.
TNames Select(const CTempDir& dir, const char* szExtensions, const SDate& first, const SDate& last,
              int nKind = 0) {
  CStrArray arExtensions, arMotifs, arFiles;
  arExtensions.SplitAdd(szExtensions, '|', true);
  CExtractor::SelectFiles(dir.Path().c_str(), &arExtensions, &arMotifs, first.nYear, first.nMonth, first.nDay,
                          last.nYear, last.nMonth, last.nDay, arFiles, nKind);
  TNames names = Names(arFiles);
  for (std::string& szName : names) szName.erase(0, dir.Path().size() + 1);
  return names;
}

}  // namespace

TEST(StrArray, TrimsAndSplits) {
  const struct {
    const char* szText;
    bool bTrim;
    TNames arWanted;
  } arCases[] = {
      {"", true, {""}},
      {"a|", true, {"a", ""}},
      {"  l1_bufr \r\n|\t \n| b c ", true, {"l1_bufr", "", "b c"}},
      {" a |\n", false, {" a ", "\n"}},
  };
  for (const auto& c : arCases) {
    CStrArray ar;
    ar.SplitAdd(c.szText, '|', c.bTrim);
    EXPECT_EQ(Names(ar), c.arWanted) << c.szText;
    EXPECT_FALSE(ar.GetStringAt(-1) || ar.GetStringAt(ar.Count()));
  }
}

TEST(StrArray, SortsByBytes) {
  CStrArray ar;
  std::mt19937 random(3);
  TNames arWanted;
  for (int i = 0; i < 20'000; ++i) {
    arWanted.emplace_back(random() % 3, static_cast<char>(1 + random() % 255));
    arWanted.back() += std::to_string(random() % 9'000);
    ar.AddString(arWanted.back().c_str(), false);
  }
  std::sort(arWanted.begin(), arWanted.end());
  ar.Sort();
  EXPECT_EQ(Names(ar), arWanted);
}

TEST(DirManager, MatchesNames) {
  CStrArray arEmpty, arTwo;
  arTwo.SplitAdd("l1|bin", '|', true);
  EXPECT_TRUE(CDirManager::MatchExtension("xbin", "bin") && CDirManager::MatchExtensions("x.bin", &arTwo));
  EXPECT_FALSE(CDirManager::MatchExtension("bin", "bin") || CDirManager::MatchExtension("x.BIN", "bin"));
  EXPECT_FALSE(CDirManager::MatchExtensions("x.bin2", &arTwo) || CDirManager::MatchExtensions("x", &arEmpty));
  EXPECT_TRUE(CDirManager::MatchMotif("/IASI/file_L1C", "_L1") && CDirManager::MatchMotif("file", "file"));
  EXPECT_FALSE(CDirManager::MatchMotif("/data/IASI_xx/file_L1C", "IASI"));
  EXPECT_TRUE(CDirManager::MatchMotifs("a", &arEmpty) && CDirManager::MatchMotifs("a_binary", &arTwo));
  EXPECT_FALSE(CDirManager::MatchMotifs("a", &arTwo));
}

TEST(DirManager, JoinsPaths) {
  const struct {
    const char *szDirectory, *szName;
    int nSize;
    const char* szWanted;
  } arCases[] = {
      {"a", "b", 100, "a/b"},   {"a/", "b", 100, "a/b"}, {"", "b", 100, "b"}, {"a/b", "", 100, "a/b/"},
      {"aa", "bb", 7, "aa/bb"}, {"aa", "bb", 6, ""},     {"aa/", "b", 6, ""}, {"a", "b", 1, ""},
  };
  for (const auto& c : arCases) {
    char szResult[100] = "x";
    CDirManager::ConcatenatePath(c.szDirectory, c.szName, szResult, c.nSize);
    EXPECT_STREQ(szResult, c.szWanted) << c.szDirectory << " " << c.szName << " " << c.nSize;
  }
}

TEST(FileSelection, TakesOnlyTheInterval) {
  CTempDir dir;
  for (const char* szDay :
       {"2010/12/30", "2011/11/30", "2011/12/29", "2011/12/30", "2011/12/31", "2012/01/01", "2012/01/02",
        "2012/01/03", "2012/02/01", "2013/01/01", "2012/1/01", "2012/01/1", "11/12/30", "2011a/12/30",
        "2011/12/3x", "2011/-1/30", " 011/12/30"}) {
    dir.Write(std::string(szDay) + "/f.bin", "");
    dir.Write(std::string(szDay) + "/trg/t.bin", "");
  }
  dir.Write("2012/01/00", "");  // a file in the place of a day holds nothing
  EXPECT_EQ(Select(dir, "bin", {2011, 12, 30}, {2012, 1, 2}),
            (TNames{"2011/12/30/f.bin", "2011/12/31/f.bin", "2012/01/01/f.bin", "2012/01/02/f.bin"}));
  EXPECT_EQ(Select(dir, "bin", {2012, 1, 3}, {2012, 1, 3}, 2), TNames{"2012/01/03/trg/t.bin"});
  EXPECT_EQ(Select(dir, "bin", {2011, 12, 31}, {2011, 12, 30}), TNames{});
}

TEST(FileSelection, NamesOfAnyBytes) {
  CTempDir dir;
  const std::string szDay = "2011/03/15/";
  const TNames arWanted{szDay + "a b\n.bin", szDay + "a%n.l1_bufr", szDay + std::string(251, 'm') + ".bin",
                        szDay + "z\xFF\xC3.bin"};
  for (const std::string& szName : arWanted) dir.Write(szName, "");
  dir.Write("2011/03/15/c.txt", "");
  const SDate day{2011, 3, 15};
  EXPECT_EQ(Select(dir, "l1_bufr|bin", day, day), arWanted);
  EXPECT_EQ(Select(dir, "", day, day).size(), 5u);  // an empty extension ends every name
}

TEST(FileSelection, FlatDirectoriesAndLists) {
  CTempDir dir;
  for (const char* szName : {"ems/b_x.bin", "ems/a_x.bin", "ems/a_y.bin", "a_x.bin"}) dir.Write(szName, "");
  CStrArray arExtensions, arMotifs, arFiles;
  arExtensions.AddString("bin", false);
  arMotifs.AddString("_x", false);
  CExtractor::SelectFilesIndepDir((dir.Path() + "/").c_str(), &arExtensions, &arMotifs, arFiles, 5);
  CExtractor::SelectFilesIndepDir(dir.Path().c_str(), &arExtensions, &arMotifs, arFiles, 1);
  EXPECT_EQ(Names(arFiles), (TNames{dir.Path("ems/a_x.bin"), dir.Path("ems/b_x.bin")}));
}

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "app/DirManager.h"
#include "app/StrArray.h"
#include "extract/Extractor.h"

namespace {

using TNames = std::vector<std::string>;

TNames Names(const CStrArray& ar) {
  TNames names;
  for (int i = 0; i < ar.Count(); ++i) names.push_back(ar.GetStringAt(i));
  EXPECT_FALSE(ar.GetStringAt(-1) || ar.GetStringAt(ar.Count()));
  return names;
}

/// The selected paths, behind the root and its slash.
TNames Select(const CTempDir& dir, const char* szExtensions, const char* szMotifs, const SDate& first,
              const SDate& last, int nKind = 0) {
  CStrArray arExtensions, arMotifs, arFiles;
  arExtensions.SplitAdd(szExtensions, '|', true);
  if (*szMotifs) arMotifs.SplitAdd(szMotifs, ',', true);
  CExtractor::SelectFiles(dir.Path().c_str(), &arExtensions, &arMotifs, first.nYear, first.nMonth, first.nDay,
                          last.nYear, last.nMonth, last.nDay, arFiles, nKind);
  TNames names = Names(arFiles);
  for (std::string& szName : names) szName.erase(0, dir.Path().size() + 1);
  return names;
}

}  // namespace

TEST(DirManager, MatchesTheLastComponentAndJoinsWhatFits) {
  EXPECT_TRUE(CDirManager::MatchMotif("/IASI/file_L1C", "_L1"));
  EXPECT_FALSE(CDirManager::MatchMotif("/data/IASI_xx/file_L1C", "IASI"));
  const auto join = [](const char* szDirectory, const char* szName, int nSize) {
    char szResult[20] = "x";
    CDirManager::ConcatenatePath(szDirectory, szName, szResult, nSize);
    return std::string(szResult);
  };
  EXPECT_EQ(join("aa", "bb", 7), "aa/bb");
  EXPECT_EQ(join("aa", "bb", 6) + join("aa/", "b", 6), "");
  EXPECT_EQ(join("", "b", 20), "b");
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
  EXPECT_EQ(Select(dir, "bin", "", {2011, 12, 30}, {2012, 1, 2}),
            (TNames{"2011/12/30/f.bin", "2011/12/31/f.bin", "2012/01/01/f.bin", "2012/01/02/f.bin"}));
  EXPECT_EQ(Select(dir, "bin", "", {2012, 1, 3}, {2012, 1, 3}, 2), TNames{"2012/01/03/trg/t.bin"});
  EXPECT_EQ(Select(dir, "bin", "", {2011, 12, 31}, {2011, 12, 30}), TNames{});
}

// In the order of their unsigned bytes. A name is longer than its extension, and one of the motifs is in it.
TEST(FileSelection, NamesOfAnyBytes) {
  CTempDir dir;
  const std::string szDay = "2011/03/15/";
  TNames arAll = {".bin",        "a b\n.bin", "a%n.l1_bufr", "b.BIN",
                  "b.bin2",      "bin",       "c.txt ",      std::string(251, 'm') + ".bin",
                  "\xFF\xC3.bin"};
  for (std::string& szName : arAll) dir.Write(szName = szDay + szName, "");
  const SDate day{2011, 3, 15};
  EXPECT_EQ(Select(dir, "", "", day, day), arAll);  // an empty extension ends every name
  TNames arData = arAll;
  std::erase_if(arData,
                [](const std::string& sz) { return !sz.ends_with(".bin") && !sz.ends_with("_bufr"); });
  EXPECT_EQ(Select(dir, "l1_bufr|bin", "", day, day), arData);
  EXPECT_EQ(Select(dir, "BIN|.bin", "a b,2011,b.B", day, day),
            (TNames{szDay + "a b\n.bin", szDay + "b.BIN"}));
}

TEST(FileSelection, FlatDirectoriesAndLists) {
  CTempDir dir;
  for (const char* szName : {"ems/b_x.bin", "ems/a_x.bin", "ems/a_y.bin", "a_x.bin"}) dir.Write(szName, "");
  CStrArray arExtensions, arMotifs, arFiles;
  arExtensions.AddString("bin", false);
  arMotifs.SplitAdd("_x", 0, false);
  ASSERT_EQ(arMotifs.Count(), 1);
  CExtractor::SelectFilesIndepDir((dir.Path() + "/").c_str(), &arExtensions, &arMotifs, arFiles, 5);
  CExtractor::SelectFilesIndepDir(dir.Path().c_str(), &arExtensions, &arMotifs, arFiles, 1);
  EXPECT_EQ(Names(arFiles), (TNames{dir.Path("ems/a_x.bin"), dir.Path("ems/b_x.bin")}));
}

// Whole runs in every combination of what changes the form of a file, the content of its records and which
// of them there are.

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <tuple>

#include "TestArchive.h"

namespace {

using TKey = std::tuple<double, double, double>;  // orbit, scan line, field of view
using TRecords = std::map<TKey, SRecord>;

enum ECommon { LATITUDE = 6, ZENITH = 8, FIELD_OF_VIEW = 12, ORBIT, SCAN_LINE };

TKey KeyOf(const SRecord& record) {
  const auto& ar = record["common"];
  return {ar[ORBIT], ar[SCAN_LINE], ar[FIELD_OF_VIEW]};
}

struct SForm {
  TOptions arOptions;
  double fEdge = 0;  // of the boxes "south" and "north"
};

/// The files that a run writes, each with the latitudes that belong into it.
std::map<std::string, std::pair<double, double>> FilesOf(const SForm& form) {
  if (form.fEdge == 0) return {{"out", {-90, 90}}};
  return {{"out.south.txt", {-90, form.fEdge}}, {"out.north.txt", {form.fEdge, 90}}};
}

}  // namespace

// What a filter leaves, and where it is written, never changes what a record holds.
TEST(RunTable, RecordsAreThoseOfTheUnfilteredRun) {
  CTestTree tree;
  for (const int nLine : {1200, 5000})
    for (const EKind eKind : {EKind::L1C, EKind::TWT, EKind::EMS})
      tree.Add(eKind, TestMessage(eKind, TestPixels(60, nLine), -1, WithMissing()).szBytes,
               std::to_string(nLine));
  constexpr double EDGE = 40;  // within the pixels of one of the lines
  const SForm arForms[] = {
      {{}},
      {{"-bi", "1"}},
      {{"-box", "-90-40,-180-180,south", "-box", "40-90,-180-180,north"}, EDGE},
      {{"-bi", "1", "-box", "-90-40,-180-180,south", "-box", "40-90,-180-180,north"}, EDGE},
  };
  const TOptions arContents[] = {
      {"-c", "7-9,3,8461,1-4000"},
      {"-avhrr", "1"},
      {"-c", "2000-4100", "-tb", "1"},
      {"-c", "1", "-avhrr", "1", "-t2", "twt,ems"},
  };
  const struct {
    TOptions arOptions;
    std::function<bool(const SRecord&, int)> belongs;  // a record and its place in the unfiltered run
  } arFilters[] = {
      {{}, [](const SRecord&, int) { return true; }},
      {{"-fov", "3-20,40,55-70"},
       [](const SRecord& r, int) {
         const double f = r["common"][FIELD_OF_VIEW];
         return (f >= 3 && f <= 20) || f == 40 || f >= 55;
       }},
      {{"-va", "20-40"},
       [](const SRecord& r, int) { return r["common"][ZENITH] >= 20 && r["common"][ZENITH] <= 40; }},
      {{"-skip", "67"}, [](const SRecord&, int nPlace) { return nPlace >= 67; }},
  };
  for (const TOptions& arContent : arContents) {
    const CRecordFile all = tree.Records(arContent);
    ASSERT_EQ(all.arRecords.size(), 120U);
    for (const auto& filter : arFilters) {
      for (const SForm& form : arForms) {
        std::map<std::string, TRecords> wanted;
        for (const auto& [szFile, latitudes] : FilesOf(form))
          for (int i = 0; i < 120; ++i) {
            const SRecord& record = all.arRecords[i];
            const double fLatitude = record["common"][LATITUDE];
            if (fLatitude >= latitudes.first && fLatitude <= latitudes.second && filter.belongs(record, i))
              wanted[szFile][KeyOf(record)] = record;
          }
        const TOptions arOptions = arContent + filter.arOptions + form.arOptions;
        std::string szOptions;
        for (const std::string& szOption : arOptions) szOptions += szOption + " ";
        SCOPED_TRACE(szOptions);
        ExpectGood(tree.Run(arOptions));
        for (const auto& [szFile, records] : wanted) {
          const CRecordFile file(tree.Output(szFile));
          EXPECT_EQ(file.szError, "");
          EXPECT_EQ(file.bBigEndian, !form.arOptions.empty() && form.arOptions[0] == "-bi");
          ASSERT_EQ(file.arRecords.size(), records.size());
          ASSERT_GT(records.size(), 5U);
          for (const SRecord& record : file.arRecords) {
            ASSERT_TRUE(records.count(KeyOf(record)));
            for (const auto& [szBlock, block] : records.at(KeyOf(record)).blocks)
              EXPECT_EQ(record[szBlock], block.arValues) << szBlock;
          }
        }
        ExpectGood(tree.Run(arOptions + TOptions{"-of", "txt"}));
        for (const auto& [szFile, records] : wanted) {
          const auto text = ReadTextFile(tree.Output(szFile));
          ASSERT_EQ(text.size(), 1 + records.size());
          // The records of one file come in the order of their keys.
          auto record = records.begin();
          for (size_t i = 1; i < text.size(); ++i, ++record)
            EXPECT_EQ(TOptions(text[i].begin() + 2, text[i].end()), TextColumns(record->second));
        }
      }
    }
  }
}

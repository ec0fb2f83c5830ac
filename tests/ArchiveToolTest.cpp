// vex-archive, through the program: what it makes of folders of files of any name and damage.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>

#include "TestArchive.h"

namespace {

namespace fs = std::filesystem;

SRun Archive(const TOptions& arArguments, rlim_t nMegabytes = 0) {
  return RunProgram(VEX_ARCHIVE_BINARY, arArguments, nMegabytes);
}

std::string Message(EKind eKind, int nPixels = 3, int nLine = 5000, int nDays = 0) {
  return TestMessage(eKind, TestPixels(nPixels, nLine, nDays)).szBytes;
}

std::string Kind(EKind eKind) { return eKind == EKind::L1C ? "L1C" : KindName(eKind); }

/// The folder of the kind in the tree, with a slash.
std::string Folder(EKind eKind, const std::string& szDay = "2013/04/20") {
  return eKind == EKind::L1C ? "L1C/" + szDay + "/" : "L2/" + szDay + "/" + KindName(eKind) + "/";
}

/// Files and links below a folder, by their path below it, with their content.
std::map<std::string, std::string> Files(const std::string& szFolder) {
  std::map<std::string, std::string> files;
  if (!fs::exists(szFolder)) return files;
  for (const auto& entry : fs::recursive_directory_iterator(szFolder))
    if (!fs::is_directory(entry.path()))
      files[fs::relative(entry.path().parent_path(), szFolder) / entry.path().filename()] =
          ReadWholeFile(entry.path());
  return files;
}

/// Two messages of every product, in a file that is called by a number; what must come out.
std::map<std::string, std::string> FlatFolder(const CTempDir& dir) {
  std::map<std::string, std::string> expected;
  for (const EKind eKind : arKinds) {
    const std::string szName = std::to_string(static_cast<int>(eKind)),
                      szBytes = Message(eKind) + Message(eKind, 4, 5001);
    dir.Write("flat/" + szName, szBytes);
    expected[Folder(eKind) + szName + (eKind == EKind::L1C ? ".l1_bufr" : ".l2_bufr")] = szBytes;
  }
  return expected;
}

/// A message of a known product in which nothing can be decoded.
std::string Timeless() { return EmptyEncoder(EKind::CLP, TestPixels(2)).Message(); }

/// vex takes all pixels of the tree.
void ExpectAllSelected(const CTempDir& dir, int nPixels) {
  const SRun run =
      RunVex({"-d", dir.Path("root/L1C"), "-d2", dir.Path("root/L2"), "-t2", "ozo,trg,clp,twt,ems", "-out",
              dir.Path("out"), "-c", "1-10", "-fd", "2013-04-20", "-ld", "2013-04-20"});
  for (const EKind eKind : arKinds)
    ExpectSays(run, "\n" + std::to_string(nPixels) + " " + Kind(eKind) + " data selected out of " +
                        std::to_string(nPixels));
}

}  // namespace

// Each way, called again: the same tree, from which vex reads every pixel. Moved files are gone.
TEST(ArchiveTool, SortsAllProductsAndResumes) {
  for (const std::string& szWay : {std::string(), std::string("--copy"), std::string("--move")}) {
    SCOPED_TRACE(szWay);
    const CTempDir dir;
    const auto expected = FlatFolder(dir);
    const TOptions arSort = TOptions{"sort"} + (szWay.empty() ? TOptions{} : TOptions{szWay}) +
                            TOptions{dir.Path("flat"), dir.Path("root")};
    SRun run = Archive(arSort);
    EXPECT_EQ(run.nStatus, 0) << run.szErrors;
    EXPECT_EQ(run.szOutput,
              "6 files sorted (L1C 1, ozo 1, trg 1, clp 1, twt 1, ems 1), 0 already there, 0 left\n");
    EXPECT_EQ(Files(dir.Path("root")), expected);
    EXPECT_EQ(fs::is_symlink(dir.Path("root/" + expected.begin()->first)), szWay.empty());
    EXPECT_EQ(Files(dir.Path("flat")).size(), szWay == "--move" ? 0U : 6U);
    FlatFolder(dir);  // a move that was stopped before it removed the originals
    run = Archive(arSort);
    EXPECT_EQ(run.szOutput + run.szErrors, "0 files sorted, 6 already there, 0 left\n");
    EXPECT_EQ(Files(dir.Path("flat")).size(), szWay == "--move" ? 0U : 6U);
    EXPECT_EQ(Files(dir.Path("root")), expected);
    EXPECT_EQ(Archive({"check", dir.Path("root")}).szOutput, "6 files checked, nothing found\n");
    ExpectAllSelected(dir, 7);
  }
}

// What is left, with its reason, while all else is sorted; nothing is replaced, moved onto itself or lost.
TEST(ArchiveTool, LeavesWhatItCannotPlace) {
  const CTempDir dir;
  const std::string szClouds = Message(EKind::CLP), szOther = Message(EKind::CLP, 5), szUnknown = [] {
    CBUFREncoder encoder = TestEncoder(EKind::CLP, TestPixels(2));
    encoder.Descriptor(0, 1, 7);
    return encoder.Message();
  }();
  const std::string szKept = dir.Write("root/" + Folder(EKind::CLP) + "same.bin", szOther);
  const std::map<std::string, std::pair<std::string, std::string>> left = {
      {"empty", {"", "empty file"}},
      {"text", {"BUF R", "no BUFR message"}},
      {"word", {"xBUFR", "cut short: the file ends within the message at byte 1"}},
      {"unknown", {szUnknown, "BUFR messages, but of no known product"}},
      {"head", {szClouds.substr(0, 75), "cut short: the file ends within the message at byte 0"}},
      {"timeless", {Timeless(), "no pixel has a time"}},
      {"same.bin", {szClouds, "another file has its name: " + szKept}},
  };
  for (const auto& [szName, file] : left) dir.Write("flat/" + szName, file.first);
  dir.Write("flat/.hidden", szClouds);
  dir.Write("flat/deep/er/a b\nc.bin", szClouds);
  dir.Write("flat/cut", szClouds + szOther.substr(0, 90));
  fs::create_symlink("nowhere", dir.Path("flat/broken"));
  fs::create_directory_symlink(dir.Path("flat"), dir.Path("flat/loop"));
  ASSERT_EQ(mkfifo(dir.Path("flat/pipe").c_str(), 0600), 0);
  for (const std::string& szWay : {std::string("--copy"), std::string("--move")}) {
    // The folder above the tree: what is sorted already is not met again.
    const SRun run =
        Archive({"sort", szWay, dir.Path("flat"), dir.Path("gone"), dir.Path(), dir.Path("root")});
    EXPECT_EQ(run.nStatus, 1);
    for (const auto& [szName, file] : left)
      EXPECT_EQ(
          CountOf(run.szErrors, "vex-archive: " + dir.Path("flat/" + szName) + ": " + file.second + "\n"), 2)
          << szName;
    for (const char* szLine :
         {"flat/broken: No such file", "flat/pipe: not a regular", "flat/loop: a link to a folder"})
      EXPECT_EQ(CountOf(run.szErrors, "vex-archive: " + dir.Path(szLine)), 2) << run.szErrors;
    EXPECT_EQ(CountOf(run.szErrors, "\n"), 2 * 10 + 1) << run.szErrors;
  }
  const std::string szFolder = Folder(EKind::CLP);
  EXPECT_EQ(Files(dir.Path("root")),
            (std::map<std::string, std::string>{{szFolder + "a b\nc.bin", szClouds},
                                                {szFolder + "cut.l2_bufr", szClouds + szOther.substr(0, 90)},
                                                {szFolder + "same.bin", szOther}}));
  // A file of the tree itself, given by its name.
  EXPECT_EQ(Archive({"sort", "--move", szKept, dir.Path("root")}).szOutput,
            "0 files sorted, 1 already there, 0 left\n");
  EXPECT_EQ(ReadWholeFile(szKept), szOther);
}

// A copy that cannot be ended leaves neither a name nor a part, and the original.
TEST(ArchiveTool, LosesNothingOnAFullDisk) {
  const CTempDir dir;
  dir.Write("flat/a", Message(EKind::CLP));
  dir.Write("flat/b", Message(EKind::L1C, 60));
  rlimit old{};
  getrlimit(RLIMIT_FSIZE, &old);
  const rlimit small = {100'000, old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const SRun run = Archive({"sort", "--copy", dir.Path("flat"), dir.Path("root")});
  setrlimit(RLIMIT_FSIZE, &old);
  EXPECT_EQ(run.nStatus, 1);
  EXPECT_EQ(run.szOutput, "1 file sorted (clp 1), 0 already there, 1 left\n");
  EXPECT_EQ(CountOf(run.szErrors, "File too large\n"), 1) << run.szErrors;
  EXPECT_EQ(Files(dir.Path("root")).size(), 1U);
}

// Every problem of a tree, by the line that tells it, and a tree without any.
TEST(ArchiveTool, ChecksTrees) {
  const CTempDir dir;
  const std::string szClouds = Message(EKind::CLP), szClp = Folder(EKind::CLP), szL1C = Folder(EKind::L1C);
  std::string szBroken = szClouds;
  szBroken[szBroken.size() - 2] = 'x';
  const auto at = [&](const std::string& szFolder) { return "belongs into " + dir.Path("root/" + szFolder); };
  const auto belongs = [&](EKind eKind, const std::string& szDay = "2013/04/20") {
    const std::string szFolder = Folder(eKind, szDay);
    return at(szFolder.substr(0, szFolder.size() - 1));
  };
  struct SCase {
    std::string szPath, szBytes, szProblem;  // none: a sound file
  };
  const std::vector<SCase> cases = {
      {szClp + "a.bin", szClouds, ""},
      {szClp + "b.bin", szClouds, "same content as " + dir.Path("root/" + szClp + "a.bin")},
      {szClp + "c.bin", szClouds + szClouds,
       "starts with the same pixel as " + dir.Path("root/" + szClp + "a.bin")},
      {szClp + "cut.bin", Message(EKind::CLP, 3, 5010) + szClouds.substr(0, 100),
       "cut short: the file ends within the message at byte "},
      {szClp + "end.bin", Message(EKind::CLP, 3, 5020) + szBroken + szClouds,
       "damaged: no end marker 7777 where it belongs in the message at byte "},
      {szClp + "name.xyz", Message(EKind::CLP, 3, 5030), "vex ignores a name with this ending"},
      {szClp + "mixed.bin", Message(EKind::CLP, 3, 5040) + Message(EKind::OZO) + Message(EKind::L1C),
       "not only clp: also 2 messages of other products"},
      {szClp + "days.bin", Message(EKind::CLP, 3, 5050) + Message(EKind::CLP, 3, 5050, 2),
       "pixels of several days: from 2013-04-20 "},
      {szClp + "note.txt", "text", "no BUFR message"},
      {szClp + ".vex-archive.77", szClouds, "left by a copy that was stopped"},
      {szClp + "ozone.bin", Message(EKind::OZO, 3, 5060),
       "in the folder of another product; " + belongs(EKind::OZO)},
      {szClp + "later.bin", Message(EKind::CLP, 3, 5070, 1),
       "in the folder of another day; " + belongs(EKind::CLP, "2013/04/21")},
      {"L2/2013/04/31/clp/day.bin", Message(EKind::CLP, 3, 5080),
       "in no folder of a product and day; " + belongs(EKind::CLP)},
      {szL1C + "a.l1_bufr", Message(EKind::L1C), ""},
      {"L1C/a.l1_bufr", Message(EKind::L1C, 3, 5090),
       "in no folder of a product and day; " + belongs(EKind::L1C)},
  };
  for (const SCase& one : cases) dir.Write("root/" + one.szPath, one.szBytes);
  const SRun run = Archive({"check", dir.Path("root")});
  EXPECT_EQ(run.nStatus, 1);
  for (const SCase& one : cases)
    EXPECT_EQ(CountOf(run.szOutput, dir.Path("root/" + one.szPath) + ": " + one.szProblem),
              !one.szProblem.empty())
        << one.szPath << "\n"
        << run.szOutput;
  ExpectSays(run, "15 files checked, 13 problems\n");
  EXPECT_EQ(CountOf(run.szOutput, "\n"), 14) << run.szOutput;
}

// Counts, times and gaps, as text and as JSON.
TEST(ArchiveTool, ListsDaysAndGaps) {
  const CTempDir dir;
  const std::string szFirst = Message(EKind::TRG), szSecond = Message(EKind::TRG, 4, 5450),
                    szTrg = Folder(EKind::TRG);
  const std::string szMore = szFirst + Message(EKind::OZO) + szFirst;
  const std::string szBytes = std::to_string(szSecond.size() + szMore.size());
  dir.Write("root/" + szTrg + "late.bin", szSecond);
  dir.Write("root/" + szTrg + "more.bin", szMore);
  dir.Write("root/" + szTrg + "more.xyz", szFirst);
  dir.Write("root/" + Folder(EKind::TRG, "2013/04/24") + "d.bin", Message(EKind::TRG, 3, 5000, 4));
  dir.Write("root/" + Folder(EKind::L1C) + "note.bin", "text");
  const SRun text = Archive({"list", dir.Path("root")}),
             wide = Archive({"list", "--gap", "60", dir.Path("root")});
  EXPECT_EQ(text.nStatus, 0) << text.szErrors;
  EXPECT_EQ(text.szOutput,
            "day         product   files  messages      pixels         bytes  first     last      gaps\n"
            "2013-04-20  L1C           1         0           0             4  -         -         -\n"
            "2013-04-20  trg           2         3          10          " +
                szBytes +
                "  11:06:40  12:06:40  1 (60 min)\n"
                "2013-04-24  trg           1         1           3           254  11:06:40  11:06:40  -\n"
                "2013-04-21 to 2013-04-23: no files of trg\n"
                "1 file that vex ignores; see vex-archive check\n");
  EXPECT_EQ(CountOf(wide.szOutput, "min)"), 0) << wide.szOutput;
  fs::create_symlink("nowhere", dir.Path("root/" + szTrg + "broken.bin"));
  const SRun json = Archive({"list", "--json", "--gap=59", dir.Path("root")});
  EXPECT_EQ(json.nStatus, 1);
  EXPECT_EQ(json.szErrors,
            "vex-archive: " + dir.Path("root/" + szTrg + "broken.bin") + ": No such file or directory\n");
  EXPECT_EQ(
      json.szOutput,
      R"({"days": [
{"day": "2013-04-20", "product": "L1C", "files": 1, "messages": 0, "pixels": 0, "bytes": 4, "first": null, "last": null, "gaps": []},
{"day": "2013-04-20", "product": "trg", "files": 2, "messages": 3, "pixels": 10, "bytes": )" +
          szBytes +
          R"(, "first": "2013-04-20 11:06:40", "last": "2013-04-20 12:06:40", "gaps": [["2013-04-20 11:06:40", "2013-04-20 12:06:40"]]},
{"day": "2013-04-24", "product": "trg", "files": 1, "messages": 1, "pixels": 3, "bytes": 254, "first": "2013-04-24 11:06:40", "last": "2013-04-24 11:06:40", "gaps": []}],
"missing_days": [
{"product": "trg", "first": "2013-04-21", "last": "2013-04-23"}],
"ignored_files": 1,
"complete": false}
)");
}

// No damage of the heads of messages, and no lack of memory, is more than a line and a status.
TEST(ArchiveTool, SurvivesDamageOfAnyByte) {
  const CTempDir dir;
  const std::string szGood = Message(EKind::TWT) + Message(EKind::L1C, 2), szClp = Folder(EKind::CLP);
  for (size_t nByte = 0; nByte < 120; ++nByte) {
    std::string szBytes = szGood;
    szBytes[nByte] = static_cast<char>(szBytes[nByte] ^ (nByte % 2 ? 0xFF : 0x81));
    dir.Write("root/" + szClp + "f" + std::to_string(nByte) + ".bin", szBytes);
    dir.Write("root/" + szClp + "c" + std::to_string(nByte) + ".bin", szGood.substr(0, nByte));
  }
  const SRun check = Archive({"check", dir.Path("root")}, MEASURED ? 64 : 0);
  EXPECT_EQ(check.nStatus, 1);
  EXPECT_EQ(check.szErrors, "");
  ExpectSays(check, "\n240 files checked, ");
  const SRun list = Archive({"list", "--json", dir.Path("root")}, MEASURED ? 64 : 0);
  EXPECT_EQ(list.nStatus, 0) << list.szErrors;
  ExpectSays(list, "\"complete\": true}\n");
}

// The command line: what it refuses, and where results go that cannot be written.
TEST(ArchiveTool, RefusesWhatItDoesNotUnderstand) {
  const CTempDir dir;
  fs::create_directory(dir.Path("L1C"));
  const std::map<std::string, TOptions> cases = {
      {"no command", {}},
      {"unknown command sport", {"sport"}},
      {"sort takes FOLDER... ROOT", {"sort", dir.Path()}},
      {"unknown option --json", {"sort", "--json", dir.Path(), dir.Path()}},
      {"check takes ROOT", {"check", dir.Path(), dir.Path()}},
      {"cannot use '-1' for --gap", {"list", "--gap", "-1", dir.Path()}},
      {"--json takes no value", {"list", "--json=1", dir.Path()}},
      {"--gap needs a value", {"list", dir.Path(), "--gap"}},
      {"no folder L1C or L2 in " + dir.Path("x"), {"list", dir.Path("x")}},
      {"ROOT is empty", {"check", ""}},
  };
  for (const auto& [szError, arArguments] : cases) {
    const SRun run = Archive(arArguments);
    EXPECT_EQ(run.nStatus, 2);
    EXPECT_EQ(run.szErrors, "vex-archive: " + szError + " (see vex-archive --help)\n");
  }
  EXPECT_EQ(Archive({"check", "--", dir.Path() + "//"}).szOutput, "0 files checked, nothing found\n");
  EXPECT_EQ(Archive({"sort", "-h"}).nStatus, 0);
  const SRun full = RunProgram("sh", {"-c", "\"$0\" -h >/dev/full", VEX_ARCHIVE_BINARY});
  EXPECT_EQ(full.nStatus, 1);
  EXPECT_EQ(full.szErrors, "vex-archive: standard output cannot be written\n");
}

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <new>

#include "FaultFiles.h"
#include "TestArchive.h"
#include "app/VexApp.h"
#include "kernel/File.h"
#include "kernel/Reporter.h"

namespace fs = std::filesystem;

namespace {
int64_t s_nAllocations = 0, s_nFailing = 0;  // allocations are counted while one of them is to fail
bool s_bFromThenOn = false;
}  // namespace

// Not inlined, or the compiler would see pairs of new and free.
[[gnu::noinline]] void* operator new(size_t nBytes) {
  if (s_nFailing > 0 && (++s_nAllocations == s_nFailing || (s_bFromThenOn && s_nAllocations > s_nFailing)))
    throw std::bad_alloc();
  if (void* p = std::malloc(nBytes > 0 ? nBytes : 1)) return p;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* p) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete(void* p, size_t) noexcept { std::free(p); }

namespace {

using TFiles = std::map<std::string, std::string>;

/// An archive of two L1C files and one of ozone, with the runs that are disturbed.
class FaultTest : public testing::Test {
 protected:
  FaultTest() {
    const auto arPixels = TestPixels(8), arMore = TestPixels(8, 5001);
    tree.Add(EKind::L1C, TestMessage(EKind::L1C, arPixels).szBytes);
    tree.Add(EKind::L1C, TestMessage(EKind::L1C, arMore).szBytes + TestMessage(EKind::L1C, arPixels).szBytes,
             "b");
    tree.Add(EKind::OZO, TestMessage(EKind::OZO, arPixels).szBytes);
    // All sea but for one cell.
    tree.Write("grid", std::string("\0\0\0\4\0\1\0\1\0\1\0\0\0\4", 14) + std::string(1079 * 10, '\0'));
    tree.Write("cfg", "c=1-9\n");
    for (const TOptions& arRun :
         {TOptions{"-cfg", tree.Path("cfg")}, TOptions{"-of", "txt", "-c", "1-8400", "-skip", "3"},
          TOptions{"-c", "5", "-box", "-90-90,-180-180,all", "-box", "-90-90,-180-180,again"},
          TOptions{"-t2", "ozo", "-c", "1-3", "-st", "sea"},
          TOptions{"-of", "txtstat", "-c", "7-9", "-stsext", "1", "-boxstat", "2-2", "-histpix", "0-1,2",
                   "-histcloud", "0-100,2", "-t2", "ozo"}})
      runs.push_back(TOptions{"vex", "-d", tree.Path("L1C"), "-d2", tree.Path("L2"), "-out",
                              tree.Path("out/out"), "-alt", tree.Path("grid"), "-fd", "2013-04-20", "-ld",
                              "2013-04-20"} +
                     arRun);
  }

  static std::vector<char*> Arguments(TOptions& arOptions) {
    std::vector<char*> arArguments;
    for (std::string& szOption : arOptions) arArguments.push_back(szOption.data());
    return arArguments;
  }

  SRun Run(TOptions& arOptions) const {
    fs::remove_all(tree.Path("out"));
    fs::create_directory(tree.Path("out"));
    auto arArguments = Arguments(arOptions);
    const CReportCapture capture;
    const int nStatus = CVexApp::Start(static_cast<int>(arArguments.size()), arArguments.data());
    EXPECT_EQ(nStatus, 0);
    return {nStatus, capture.Text(), capture.Losses()};
  }

  TFiles Files() const {
    TFiles files;
    for (const auto& entry : fs::directory_iterator(tree.Path("out")))
      files[entry.path()] = ReadWholeFile(entry.path());
    return files;
  }

  /// "" when the run told of every loss, that of input on standard error, and of no success that there was
  /// not.
  std::string Judge(const SRun& run, const TFiles& whole) const {
    const TFiles files = Files();
    const std::string& szText = run.szOutput;
    const bool bSuccess = CountOf(szText, "Extraction succeeded in ") == 1;
    const bool bOutput = CountOf(szText, "ERROR: ouverture fichier") == 0;
    const int nFailed = CountOf("\n" + szText, "\nError: extraction failed!\n");
    const bool bUsage = CountOf(szText, "ERROR: unable to open configuration file") == 1;
    if (bSuccess + nFailed + bUsage != 1) return "neither success nor failure";
    const bool bInput = run.szErrors.empty();
    if (CountOf("\n" + run.szErrors, "\nvex: /") != CountOf(run.szErrors, "\n")) return "losses are no lines";
    if (bSuccess && bOutput && bInput && files != whole) return "success without all of the output";
    for (const auto& [szPath, szBytes] : whole)
      if (bInput && CountOf(szText, "\nOutput file " + szPath + " written") > 0 &&
          files.at(szPath) != szBytes)
        return szPath + " is not as it should be";
    return "";
  }

  CTestTree tree;
  std::vector<TOptions> runs;
  const bool bSoak = std::getenv("VEX_SOAK") != nullptr;  // every call, in place of a sample
};

const struct {
  ECallOf eCall;
  bool bOnlyInput;
  std::vector<int> arErrors;
} FAULTS[] = {{ECallOf::OPEN, false, {EMFILE, EACCES, ENOSPC, EINTR}},
              {ECallOf::READ, true, {EIO, EINTR, CFaultFiles::SHORT}},
              {ECallOf::WRITE, false, {ENOSPC, EIO, EINTR, CFaultFiles::SHORT, CFaultFiles::NOTHING}},
              {ECallOf::SEEK, true, {EIO}},
              {ECallOf::CLOSE, false, {EIO, ENOSPC, EINTR}},
              {ECallOf::STAT, false, {EIO, EACCES, EINTR}},
              {ECallOf::OPEN_FOLDER, true, {EACCES, EMFILE, EINTR}},
              {ECallOf::READ_FOLDER, true, {EIO, EINTR}}};

}  // namespace

// Whichever call of the system fails, and whether once or from then on: the run ends, and says what was lost.
TEST_F(FaultTest, TheNthCallFails) {
  int nRuns = 0;
  for (TOptions& arOptions : runs) {
    ASSERT_EQ(CountOf(Run(arOptions).szOutput, "Extraction succeeded"), 1);
    const TFiles whole = Files();
    for (const auto& [eCall, bOnlyInput, arErrors] : FAULTS)
      for (const int nError : arErrors)
        for (const bool bFromThenOn : {false, true}) {
          const bool bOnce = nError == EINTR && eCall != ECallOf::CLOSE && !bFromThenOn;
          bool bHappened = true;
          for (int n = 1; bHappened; n += bSoak || n < 6 ? 1 : n / 2) {
            CFaultFiles files(eCall, nError, n, bFromThenOn);
            const CFileSystemScope scope(files);
            const SRun run = Run(arOptions);
            bHappened = files.Happened();
            nRuns += bHappened;
            std::string szWrong = Judge(run, whole);
            const bool bHarmless = bOnce || nError == CFaultFiles::SHORT;
            if (bHarmless && (Files() != whole || !run.szErrors.empty()))
              szWrong = "a harmless fault does harm";
            if (bOnlyInput && CountOf(run.szOutput, "extraction failed") > 0)
              szWrong = "input makes the run fail";
            if (nError == CFaultFiles::NOTHING && bHappened &&
                CountOf(run.szOutput, "extraction failed") == 0)
              szWrong = "nothing is written, and nothing told";
            ASSERT_EQ(szWrong, "") << "call " << static_cast<int>(eCall) << " number " << n << " gives "
                                   << nError << (bFromThenOn ? " from then on, with " : ", with ")
                                   << testing::PrintToString(arOptions) << "\n"
                                   << run.szOutput << run.szErrors;
          }
        }
  }
  std::printf("%d disturbed runs\n", nRuns);
}

// What has no places to move to has lost nothing.
TEST_F(FaultTest, SeeksThatFail) {
  for (const auto& [nError, bFailed] : {std::pair(EINVAL, false), {ESPIPE, false}, {EIO, true}}) {
    CFaultFiles files(ECallOf::SEEK, nError, 1, false);
    const CFileSystemScope scope(files);
    CFile file;
    EXPECT_TRUE(file.OpenToRead(tree.Path("grid").c_str()) && !file.Seek(5));
    EXPECT_EQ(file.Error(), bFailed ? nError : 0);
  }
}

// The file that cannot be read is told, and left; a message that is there as a whole comes out.
TEST_F(FaultTest, AReadErrorEndsItsFile) {
  for (const auto& [nCall, szFile, nKept] :
       {std::tuple(3, "a", 16), {5, "a", 24}, {6, "b", 8}, {7, "b", 8}}) {
    CFaultFiles files(ECallOf::READ, EIO, nCall, false);  // the first two are those of the grid
    const CFileSystemScope scope(files);
    TOptions arOptions = runs[2];
    const SRun run = Run(arOptions);
    EXPECT_EQ(run.szErrors,
              "vex: " + tree.Path("L1C/2013/04/20/") + szFile + ".l1_bufr: Input/output error\n");
    ExpectGood(run);
    ExpectSays(run, "\n" + std::to_string(nKept) + " L1C data selected out of");
    ExpectSays(run, "ERROR: ", 0);
    EXPECT_EQ(CRecordFile(tree.Output("out/out.all.txt")).arRecords.size(), static_cast<size_t>(nKept));
  }
}

// The same for memory. Each run is a process, for what is printed must not take memory that is not there.
TEST_F(FaultTest, TheNthAllocationFails) {
  int nRuns = 0;
  for (TOptions& arOptions : runs) {
    ASSERT_EQ(CountOf(Run(arOptions).szOutput, "Extraction succeeded"), 1);
    const TFiles whole = Files();
    const std::string szOutput = tree.Path("stdout"), szErrors = tree.Path("stderr");
    bool bHappened = true;
    for (int n = 1; bHappened; n += bSoak || n < 10 ? 1 : n / 10)
      for (const bool bFromThenOn : {false, true}) {
        fs::remove_all(tree.Path("out"));
        fs::create_directory(tree.Path("out"));
        auto arArguments = Arguments(arOptions);
        const pid_t pid = fork();
        if (pid == 0) {
          dup2(open(szOutput.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
          dup2(open(szErrors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
          s_bFromThenOn = bFromThenOn;
          s_nFailing = n;
          const int nResult = CVexApp::Start(static_cast<int>(arArguments.size()), arArguments.data());
          s_nFailing = 0;
          std::fflush(stdout);
          _exit(nResult != 0 ? nResult : s_nAllocations < n ? 77 : 0);
        }
        int nStatus = 0;
        waitpid(pid, &nStatus, 0);
        ASSERT_TRUE(WIFEXITED(nStatus) && (WEXITSTATUS(nStatus) == 0 || WEXITSTATUS(nStatus) == 77))
            << "allocation " << n << " ends " << testing::PrintToString(arOptions);
        bHappened = WEXITSTATUS(nStatus) == 0;
        nRuns += bHappened;
        const SRun run = {0, ReadWholeFile(szOutput), ReadWholeFile(szErrors)};
        ASSERT_EQ(Judge(run, whole), "") << "allocation " << n << (bFromThenOn ? " and all behind it" : "")
                                         << " of " << testing::PrintToString(arOptions) << "\n"
                                         << run.szOutput << run.szErrors;
        // The pixels that -skip takes are others when their message is lost.
        const size_t nCounts = run.szOutput.find(" L1C data selected out of ");
        if (&arOptions != &runs[1] || nCounts == std::string::npos) continue;
        const int nSelected = std::stoi(run.szOutput.substr(run.szOutput.rfind('\n', nCounts) + 1)),
                  nRead = std::stoi(run.szOutput.substr(nCounts + 26));
        EXPECT_EQ(nSelected, std::max(nRead - 3, 0)) << "allocation " << n;
      }
  }
  std::printf("%d disturbed runs\n", nRuns);
}

namespace {

std::string Quoted(const TOptions& arOptions) {
  std::string szText;
  for (const std::string& szOption : arOptions) szText += " '" + szOption + "'";
  return szText;
}

/// A run of the program by a shell: szBefore, the command, szBehind.
SRun RunInShell(const std::string& szBefore, const TOptions& arOptions, const std::string& szBehind) {
  return RunProgram("bash", {"-c", szBefore + Quoted(TOptions{VEX_BINARY} + arOptions) + szBehind});
}

}  // namespace

// Closed standard streams, readers that leave, and little memory: the files come out whole, and a record that
// cannot be written is told.
TEST_F(FaultTest, TheProcessIsStartedBadly) {
  fs::create_directory(tree.Path("L1C/2013/04/20/folder.bin"));  // there is a loss to tell
  for (size_t i : {0, 3}) {
    TOptions arOptions(runs[i].begin() + 1, runs[i].end());
    Run(runs[i]);
    const TFiles whole = Files();
    for (const char* szBehind : {" >&-", " <&- >&- 2>&-", " | head -1", " | true", " > /dev/full"}) {
      for (const auto& [szPath, szBytes] : whole) fs::remove(szPath);
      RunInShell("set -o pipefail; ", arOptions, szBehind);
      EXPECT_EQ(Files(), whole) << szBehind;
    }
  }
  TOptions arOptions(runs[1].begin() + 1, runs[1].end());
  mkfifo(tree.Path("pipe").c_str(), 0600);
  const SRun left = RunInShell("head -c 9 '" + tree.Path("pipe") + "' >/dev/null & ",
                               arOptions + TOptions{"-out", tree.Path("pipe")}, "");
  EXPECT_EQ(left.nStatus, 0);
  ExpectSays(left, "ERROR: Writing failure!\n");
  ExpectSays(left, "\nError: extraction failed!\n");
  // Below some limit it is the loader that says so, with 127.
  for (int nBytes = 6'000'000; MEASURED && nBytes < 7'400'000; nBytes += 20'000) {
    const SRun run = RunInShell("prlimit --as=" + std::to_string(nBytes) + " -- ", {"-h"}, "");
    EXPECT_TRUE(run.nStatus == 0 || run.nStatus == 127) << nBytes << ": " << run.nStatus;
    ExpectSays(run, "\n -h : show help\n", run.szOutput.size() > 100);
    ExpectSays(run, "Error: extraction failed!\n", run.nStatus == 0 && run.szOutput.size() < 100);
  }
}

// An output that is one of the inputs, by whatever name, cannot be opened, and the input stays.
TEST_F(FaultTest, NoInputIsWrittenTo) {
  const std::string szFile = tree.Path("L1C/2013/04/20/a.l1_bufr"), szBytes = ReadWholeFile(szFile);
  fs::create_hard_link(szFile, tree.Path("hard"));
  fs::create_symlink(szFile, tree.Path("soft.boxstat"));
  fs::create_symlink(szFile, tree.Path("box.b.txt"));
  const TOptions arL1C = {"-c", "1", "-cfg", tree.Path("cfg")};
  const struct {
    TOptions arOptions;
    std::string szOpened;
  } arRuns[] = {
      {{"-out", szFile}, szFile},
      {{"-out", tree.Path("L1C/../hard"), "-of", "txt"}, tree.Path("L1C/../hard")},
      {{"-out", tree.Path("hard"), "-of", "txtstat"}, tree.Path("hard")},
      {{"-out", tree.Path("soft"), "-of", "txtstat", "-boxstat", "1-1"}, tree.Path("soft.boxstat")},
      {{"-out", tree.Path("box"), "-box", "-90-90,-180-180,b"}, tree.Path("box.b.txt")},
      {{"-out", tree.Path("grid")}, tree.Path("grid")},
      {{"-out", tree.Path("cfg")}, tree.Path("cfg")},
  };
  for (const auto& run : arRuns) {
    ExpectSays(tree.Run(arL1C + run.arOptions), "ERROR: ouverture fichier " + run.szOpened + "\n");
    EXPECT_EQ(ReadWholeFile(szFile), szBytes);
    EXPECT_EQ(fs::file_size(tree.Path("grid")), 14U + 10790);
    EXPECT_EQ(tree.Output("cfg"), "c=1-9\n");
  }
  // Nothing is known of where the path leads.
  CFaultFiles files(ECallOf::STAT, EIO, 1, true);
  const CFileSystemScope scope(files);
  TOptions arOptions = runs[1] + TOptions{"-out", szFile};
  ExpectSays(Run(arOptions), "ERROR: ouverture fichier " + szFile + "\n");
  EXPECT_EQ(ReadWholeFile(szFile), szBytes);
  // What only looks like one is written to, and so is what holds no bytes.
  ExpectSays(tree.Run({"-c", "1", "-cfg", "/dev/null", "-out", "/dev/null"}),
             "24 L1C data selected out of 24\n");
  tree.Write("L1C/2013/04/20/a.l1_bufr.txt", "");
  ExpectGood(tree.Run(arL1C + TOptions{"-out", szFile + ".txt"}));
}

// What is there and cannot be read is told on standard error, and the run succeeds. What is not there, or is
// a file in place of a folder, is nothing.
TEST_F(FaultTest, WhatCannotBeReadIsTold) {
  tree.Write("L1C/2014", "no folder");
  tree.Write("L1C/2015/01", "no folder");
  fs::create_symlink(tree.Path("nowhere"), tree.Path("L1C/2016"));
  fs::create_symlink("2017", tree.Path("L1C/2017"));
  const std::string szLoop = tree.Path("L1C/2017"), szReason = ": Too many levels of symbolic links\n",
                    szFolder = tree.Path("L1C"), szNone = tree.Path("none");
  const std::string szDates = "vex: " + szLoop + szReason;
  const std::string szNoGrid = "\nERROR: Unable to initialize altitude database!\n";
  const struct {
    TOptions arOptions;
    std::string szErrors, szSays;
    bool bRun = true;
  } arRuns[] = {
      {{}, szDates, "Prepare for reading...\n2 L1C data files selected\nNo ems data files selected\n"},
      {{"-alt", szNone}, szDates, "ERROR: Unable to open file " + szNone + szNoGrid},
      {{"-alt", szLoop}, szDates + szDates, "ERROR: Unable to open file " + szLoop + szNoGrid},
      {{"-alt", szFolder},
       "vex: " + szFolder + ": Is a directory\n" + szDates,
       szFolder + "\nPrepare for reading...\n"},
      {{"-cfg", szNone}, "", "ERROR: unable to open configuration file (" + szNone + ")!\nVEX", false},
      {{"-cfg", szLoop}, szDates, "ERROR: unable to open configuration file (" + szLoop + ")!\nVEX", false},
      {{"-cfg", szFolder},
       "vex: " + szFolder + ": Is a directory\n",
       "ERROR: unable to open configuration file (" + szFolder + ")!\nVEX",
       false},
  };
  for (const auto& [arOptions, szErrors, szSays, bRun] : arRuns) {
    const SRun run = tree.Run(TOptions{"-ld", "2018-01-01", "-t2", "ems", "-c", "1"} + arOptions);
    EXPECT_EQ(run.szErrors, szErrors);
    ExpectSays(run, szSays);
    ExpectSays(run, "ERROR: ", CountOf(szSays, "ERROR: "));
    ExpectSays(run, "Extraction succeeded in ", bRun);
    ExpectSays(run, "failed", 0);
  }
}

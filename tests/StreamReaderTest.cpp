#include <gtest/gtest.h>
#include <sys/stat.h>

#include <random>

#include "TestSupport.h"
#include "bufr/StreamReader.h"

namespace {

/// 700 KB of lines of all lengths, null bytes and "BUFR" here and there, some of them cut.
std::string MixedBytes() {
  std::mt19937 random(7);
  std::string szBytes;
  while (szBytes.size() < 700'000) {
    szBytes += std::string(random() % 3000, static_cast<char>('A' + random() % 26));
    szBytes += random() % 3 == 0 ? "BUFR" : random() % 2 == 0 ? "BUF" : "B";
    szBytes += random() % 4 == 0 ? std::string(1, '\0') : "\n";
  }
  return szBytes;
}

/// What plain standard I/O gives.
struct SReference {
  FILE* pFile;

  int Read(int n, char* pOut) { return n < 1 ? 0 : static_cast<int>(fread(pOut, 1, n, pFile)); }
  int Peek(int n, char* pOut) {
    const int nGot = Read(n, pOut);
    fseek(pFile, -nGot, SEEK_CUR);
    return nGot;
  }
  int Skip(int nOffset) { return fseek(pFile, nOffset, SEEK_CUR) == 0 ? nOffset : 0; }
  int Gets(int n, char* pOut) { return fgets(pOut, n, pFile) ? static_cast<int>(strlen(pOut)) : 0; }
  int SkipTo(const char* szMarker) {
    std::string szLast;
    for (int c = fgetc(pFile); c != EOF; c = fgetc(pFile)) {
      szLast = szLast.substr(szLast.size() < 4 ? 0 : 1) + static_cast<char>(c);
      if (szLast == szMarker) return fseek(pFile, -4, SEEK_CUR) == 0;
    }
    return 0;
  }
};

}  // namespace

// The buffer must not show: any series of operations gives what unbuffered seeking and reading give.
TEST(StreamReader, AgreesWithStandardIO) {
  CTempDir dir;
  const std::string szBytes = MixedBytes(), szPath = dir.Write("mixed", szBytes);
  SReference reference{fopen(szPath.c_str(), "r")};
  CStreamReader reader;
  ASSERT_TRUE(reader.Open(szPath.c_str()));
  std::mt19937 random(11);
  std::vector<char> arGot(800'001), arWanted(800'001);
  for (int i = 0; i < 20'000; ++i) {
    const int nOperation = static_cast<int>(random() % 6);
    const int arnSizes[] = {0, 1, 4, 1000, 65'536, 262'144, 262'145, 800'000};
    const int n = arnSizes[random() % (random() % 20 == 0 ? 8 : 4)];
    const int nSign = random() % 2 ? -1 : 1;
    const auto step = [&](auto& file, char* pOut) -> int {
      std::fill_n(pOut, n, 'x');
      if (nOperation == 0) return file.Read(n, pOut);
      if (nOperation == 1) return file.Peek(n, pOut);
      if (nOperation == 2) return file.Gets(n, pOut);
      if (nOperation == 3) return file.SkipTo("BUFR");
      if (nOperation == 4) return file.Skip(nSign * n);
      return reader.Remaining() == 0 ? file.Skip(-700'000) : 0;  // back again from the end
    };
    const int nWanted = step(reference, arWanted.data()), nGot = step(reader, arGot.data());
    ASSERT_EQ(nGot, nWanted) << "step " << i << " operation " << nOperation << " of " << n;
    ASSERT_EQ(reader.Position(), ftell(reference.pFile)) << "step " << i << " operation " << nOperation;
    ASSERT_EQ(reader.Remaining(),
              std::max<long>(0, static_cast<long>(szBytes.size()) - ftell(reference.pFile)));
    const int nCompared = nGot < 1 || nOperation > 2 ? 0 : nOperation == 2 ? nGot + 1 : nGot;
    ASSERT_EQ(memcmp(arGot.data(), arWanted.data(), nCompared), 0) << "step " << i;
  }
  fclose(reference.pFile);
}

TEST(StreamReader, MarkerAcrossTheBufferEnd) {
  CTempDir dir;
  for (int nOffset = 262'144 - 5; nOffset <= 262'144 + 1; ++nOffset) {
    CStreamReader reader;
    ASSERT_TRUE(reader.Open(dir.Write("file", std::string(nOffset, 'B') + "BUFR").c_str()));
    EXPECT_TRUE(reader.SkipTo("BUFR"));
    EXPECT_EQ(reader.Position(), nOffset);
    reader.Skip(1);
    EXPECT_FALSE(reader.SkipTo("BUFR"));
    EXPECT_EQ(reader.Position(), nOffset + 4);
  }
}

TEST(StreamReader, EndsAndEdges) {
  CTempDir dir;
  const std::string szPath = dir.Write("file", "0123456789");
  char szOut[20] = {};
  CStreamReader reader;
  EXPECT_EQ(reader.Read(1, szOut) + reader.Peek(1, szOut) + reader.Skip(1) + reader.Gets(9, szOut), 0);
  EXPECT_FALSE(reader.SkipTo("BUFR") || reader.Remaining() || reader.Open(nullptr));
  ASSERT_TRUE(reader.Open(szPath.c_str()));
  EXPECT_EQ(reader.Skip(7), 7);
  EXPECT_EQ(reader.Peek(4, szOut), 3);
  EXPECT_EQ(reader.Skip(-8), 0);  // in front of the start
  EXPECT_EQ(reader.Position(), 7);
  EXPECT_EQ(reader.Skip(100), 100);
  EXPECT_EQ(reader.Read(4, szOut), 0);
  EXPECT_EQ(reader.Position(), 107);
  EXPECT_EQ(reader.Remaining(), 0);
  EXPECT_EQ(reader.Skip(-98), -98);
  EXPECT_EQ(reader.Read(-1, szOut), 0);
  EXPECT_EQ(reader.Read(4, szOut), 1);
  EXPECT_EQ(szOut[0], '9');
  EXPECT_FALSE(reader.Open(dir.Path("none").c_str()));
  EXPECT_EQ(reader.Read(1, szOut), 0);  // the first file was closed all the same
  ASSERT_TRUE(reader.Open(dir.Path().c_str()));
  EXPECT_EQ(reader.Read(4, szOut) + reader.Remaining(), 0);

  mkfifo(dir.Path("pipe").c_str(), 0600);
  EXPECT_FALSE(CStreamReader::IsFileOrDirectory(dir.Path("pipe").c_str()));
  EXPECT_FALSE(CStreamReader::IsFileOrDirectory("/dev/null"));
  for (const char* szName : {"", "file", "none"}) {
    EXPECT_TRUE(CStreamReader::IsFileOrDirectory(dir.Path(szName).c_str())) << szName;
  }
}

TEST(StreamReader, LinesEndAtNullBytes) {
  CTempDir dir;
  char szOut[8];
  CStreamReader reader;
  ASSERT_TRUE(reader.Open(dir.Write("lines", std::string("ab\0cd\nlonger line\n\0x\n", 22)).c_str()));
  for (const char* szWanted : {"ab", "longer ", "line\n", ""}) {
    memset(szOut, 'x', sizeof szOut);
    EXPECT_EQ(reader.Gets(sizeof szOut, szOut), static_cast<int>(strlen(szWanted)));
    EXPECT_STREQ(szOut, szWanted);
    EXPECT_EQ(szOut[7], 0);
  }
}

TEST(StreamReader, Numbers) {
  CTempDir dir;
  CStreamReader reader;
  ASSERT_TRUE(reader.Open(dir.Write("numbers", "\xFF\xFE\x7F\xFF\x80\x01\x02\x03\x01\x02\x03").c_str()));
  int n = 0;
  unsigned u = 0;
  reader.ReadBinInt2(&n);
  EXPECT_EQ(n, -2);
  reader.ReadBinInt2(&n);
  EXPECT_EQ(n, 32767);
  reader.ReadBinInt4(&n);
  EXPECT_EQ(n, static_cast<int>(0x80010203));
  EXPECT_EQ(reader.ReadUint(&u), 4);  // the last byte stands in for the one that is not there
  EXPECT_EQ(u, 0x01020303u);
  EXPECT_EQ(reader.ReadInt(&n), 4);
  EXPECT_EQ(n, 0);
}

TEST(StreamReader, Tokens) {
  CTempDir dir;
  CStreamReader reader;
  ASSERT_TRUE(reader.Open(dir.Write("tokens", "  12 345\t9999999999 1.5e1 abcdefgh z").c_str()));
  char szOut[9] = {};
  int n = 0;
  float f = 0;
  EXPECT_EQ(reader.ReadPlain(9, szOut), 4);
  EXPECT_STREQ(szOut, "12 ");
  EXPECT_EQ(reader.ReadTextInt(&n), 5);
  EXPECT_EQ(n, 345);
  reader.ReadTextInt(&n);
  EXPECT_EQ(n, INT32_MAX);
  reader.ReadTextReal4(&f);
  EXPECT_EQ(f, 15);
  EXPECT_EQ(reader.ReadPlain(6, szOut), 6);  // cut at the limit, the rest is the next token
  EXPECT_STREQ(szOut, "abcde");
  EXPECT_EQ(reader.ReadPlain(9, szOut), 5);
  memset(szOut, '#', 8);
  EXPECT_EQ(reader.ReadPlain(9, szOut), 3);  // the end of the file counts, with the byte that was there
  EXPECT_STREQ(szOut, "z#");
  EXPECT_EQ(reader.ReadTextInt(&n), 2);
  EXPECT_EQ(n, INT32_MAX);
}

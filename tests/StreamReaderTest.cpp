#include <gtest/gtest.h>

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
  const std::string& szBytes;
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
    const size_t nFrom = ftell(pFile), nFound = szBytes.find(szMarker, nFrom), nEnd = szBytes.size();
    fseek(pFile, static_cast<long>(nFound == std::string::npos ? std::max(nFrom, nEnd) : nFound), SEEK_SET);
    return nFound != std::string::npos;
  }
};

}  // namespace

// The buffer must not show: any series of operations gives what unbuffered seeking and reading give.
TEST(StreamReader, AgreesWithStandardIO) {
  CTempDir dir;
  const std::string szBytes = MixedBytes(), szPath = dir.Write("mixed", szBytes);
  SReference reference{szBytes, fopen(szPath.c_str(), "r")};
  CStreamReader reader;
  ASSERT_TRUE(reader.Open(szPath.c_str()));
  std::mt19937 random(11);
  std::vector<char> arGot(800'001), arWanted(800'001);
  for (int i = 0; i < 20'000; ++i) {
    const int nOperation = static_cast<int>(random() % 6);
    const int arnSizes[] = {0, 1, 4, 1000, 65'536, 262'144, 262'145, 800'000};
    const int n = arnSizes[random() % (random() % 20 == 0 ? 8 : 4)];
    const int nOffset = random() % 2 ? -n : n;
    const auto step = [&](auto& file, char* pOut) -> int {
      std::fill_n(pOut, n, 'x');
      if (nOperation == 0) return file.Read(n, pOut);
      if (nOperation == 1) return file.Peek(n, pOut);
      if (nOperation == 2) return file.Gets(n, pOut);
      if (nOperation == 3) return file.SkipTo("BUFR");
      if (nOperation == 4) return file.Skip(nOffset);
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
  char szOut[20] = {};
  CStreamReader reader;
  EXPECT_EQ(reader.Read(1, szOut) + reader.Peek(1, szOut) + reader.Skip(1) + reader.Gets(9, szOut), 0);
  EXPECT_FALSE(reader.SkipTo("BUFR") || reader.Remaining() || reader.Open(nullptr));
  int nKept = 7;  // without a file a number stays as it was
  reader.ReadBinInt4(&nKept);
  reader.ReadBinInt2(&nKept);
  EXPECT_EQ(nKept, 7);
  ASSERT_TRUE(reader.Open(dir.Write("file", "0123456789").c_str()));
  EXPECT_EQ(reader.Skip(7), 7);
  EXPECT_EQ(reader.Skip(-8), 0);  // in front of the start
  EXPECT_EQ(reader.Read(-1, szOut) + reader.Peek(-1, szOut), 0);
  EXPECT_EQ(reader.Position(), 7);
  EXPECT_FALSE(reader.Open(dir.Path("none").c_str()));
  EXPECT_EQ(reader.Read(1, szOut), 0);  // the first file was closed all the same
  ASSERT_TRUE(reader.Open(dir.Path().c_str()));
  EXPECT_EQ(reader.Read(4, szOut) + reader.Remaining(), 0);
  EXPECT_TRUE(CStreamReader::IsFileOrDirectory(dir.Path("none").c_str()));  // opening it tells
}

TEST(StreamReader, NumbersAndTokens) {
  CTempDir dir;
  CStreamReader reader;
  ASSERT_TRUE(reader.Open(dir.Write("numbers", "\xFF\xFE\x80\x01\x02\x03\x01\x02\x03").c_str()));
  int n = 0;
  unsigned u = 0;
  reader.ReadBinInt2(&n);
  EXPECT_EQ(n, -2);
  reader.ReadBinInt4(&n);
  EXPECT_EQ(n, static_cast<int>(0x80010203));
  EXPECT_EQ(reader.ReadUint(&u), 4);  // the last byte stands in for the one that is not there
  EXPECT_EQ(u, 0x01020303u);

  constexpr char TOKENS[] = "  345\t9999999999 1.5e1 abcdefgh\tz\0y";
  ASSERT_TRUE(reader.Open(dir.Write("tokens", {TOKENS, sizeof TOKENS - 1}).c_str()));
  char szOut[9] = "########";
  float f = 0;
  EXPECT_EQ(reader.ReadTextInt(&n), 5);
  EXPECT_EQ(n, 345);
  reader.ReadTextInt(&n);
  EXPECT_EQ(n, INT32_MAX);
  reader.ReadTextReal4(&f);
  EXPECT_EQ(f, 15);
  // Cut at the limit; a zero does not end a token, and the end counts as one byte.
  for (const char* szToken : {"6abcde", "5fgh ", "5z"}) {
    EXPECT_EQ(std::to_string(reader.ReadPlain(6, szOut)) + szOut, szToken);
    memset(szOut, '#', 8);
  }
}

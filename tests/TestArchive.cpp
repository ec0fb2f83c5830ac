#include "TestArchive.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "extract/Kind.h"
#include "kernel/Reporter.h"
#include "reader/Reader.h"

namespace {
CProductEncoder& Products() {
  static CProductEncoder products;
  return products;
}

int LayoutOf(EKind eKind, const SSamplePixel& first, int nLayout) {
  return nLayout < 0 ? SampleLayout({}, eKind, first) : nLayout;
}
}  // namespace

TOptions operator+(TOptions arOptions, const TOptions& arMore) {
  arOptions.insert(arOptions.end(), arMore.begin(), arMore.end());
  return arOptions;
}

std::vector<SSamplePixel> TestPixels(int nCount, int nLine, int nDays) {
  const CScene scene(7, 4, 15815 + nDays);
  std::vector<SSamplePixel> arPixels;
  for (int i = 0; i < nCount; ++i) arPixels.push_back(scene.Pixel(nLine, i));
  return arPixels;
}

double STestMessage::Sent(int nFXY, int nOccurrence, size_t nPixel) const {
  for (const SFieldValues& values : arFields)
    if (values.field.nFXY == nFXY && values.field.nOccurrence == nOccurrence) return values.Value(nPixel);
  return std::numeric_limits<double>::quiet_NaN();
}

STestMessage TestMessage(EKind eKind, const std::vector<SSamplePixel>& arPixels, int nLayout,
                         const SEncodeOptions& options) {
  STestMessage message;
  const int n = LayoutOf(eKind, arPixels[0], nLayout);
  message.szBytes = Products().Encode(eKind, n, arPixels, options, &message.arFields).Message();
  return message;
}

CBUFREncoder TestEncoder(EKind eKind, const std::vector<SSamplePixel>& arPixels, int nLayout) {
  return Products().Encode(eKind, LayoutOf(eKind, arPixels[0], nLayout), arPixels);
}

CBUFREncoder EmptyEncoder(EKind eKind, const std::vector<SSamplePixel>& arPixels, int nLayout, int nSubsets) {
  CBUFREncoder encoder(nSubsets < 0 ? static_cast<int>(arPixels.size()) : nSubsets);
  encoder.header = TestEncoder(eKind, arPixels, nLayout).header;
  std::istringstream descriptors(LayoutDescriptors(eKind, LayoutOf(eKind, arPixels[0], nLayout)));
  for (int n; descriptors >> n;) encoder.Descriptor(n / 100000, n / 1000 % 100, n % 1000);
  return encoder;
}

void ReadMessage(EKind eKind, const std::string& szMessage, CConfigParam& config,
                 const CChannelSelection& channels, CProd& prod) {
  const CTempDir dir;
  CStrArray arFiles;
  arFiles.AddString(dir.Write("message", szMessage).c_str(), false);
  uint64_t nFlags = 0;
  bool bDayOne = false;
  const CReportCapture said;
  const CReader::SRead read = {&config,   &arFiles, &prod,   CChannelSelection::LIMIT,
                               &channels, &nFlags,  &bDayOne};
  ASSERT_EQ(KIND_TABLE[static_cast<int>(eKind)].pMakeReader()->Read(read), 1);
  ASSERT_FALSE(prod.Kept().empty()) << said.Text();
}

std::string CTestTree::Add(EKind eKind, const std::string& szBytes, const std::string& szName,
                           const char* szDay) const {
  const bool bL1C = eKind == EKind::L1C;
  const std::string szFolder =
      (bL1C ? "L1C/" : "L2/") + std::string(szDay) + (bL1C ? "" : "/") + (bL1C ? "" : KindName(eKind));
  const char* szExtension = szName.find('.') != szName.npos ? "" : bL1C ? ".l1_bufr" : ".l2_bufr";
  return Write(szFolder + "/" + szName + szExtension, szBytes);
}

SRun CTestTree::Run(const TOptions& arOptions, rlim_t nMegabytes) const {
  return RunProgram(VEX_BINARY,
                    TOptions{"-d", Path("L1C"), "-d2", Path("L2"), "-out", Path("out"), "-alt", Path("grid"),
                             "-fd", "2013-04-20", "-ld", "2013-04-20"} +
                        arOptions,
                    nMegabytes);
}

CRecordFile CTestTree::Records(const TOptions& arOptions) const {
  ExpectGood(Run(arOptions));
  CRecordFile file(Output());
  EXPECT_EQ(file.szError, "");
  return file;
}

void ExpectSays(const SRun& run, const std::string& szText, int nTimes) {
  EXPECT_EQ(CountOf(run.szOutput, szText), nTimes) << szText << "\n in \n" << run.szOutput.substr(0, 3000);
}

void ExpectGood(const SRun& run) {
  EXPECT_EQ(run.nStatus, 0);
  ExpectSays(run, "Extraction succeeded in ");
}

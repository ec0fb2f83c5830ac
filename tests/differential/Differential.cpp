#include "tests/differential/Differential.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "app/ConfigParam.h"
#include "bufr/BUFRReader.h"
#include "bufr/BUFRReaderL1C.h"
#include "bufr/BUFRReaderL2clp.h"
#include "bufr/BUFRReaderL2ems.h"
#include "bufr/BUFRReaderL2ozo.h"
#include "bufr/BUFRReaderL2trg.h"
#include "bufr/BUFRReaderL2twt.h"
#include "kernel/Cpu.h"
#include "kernel/Reporter.h"
#include "output/BinarySink.h"
#include "output/Record.h"
#include "output/StreamWriter.h"
#include "output/TextSink.h"
#include "prod/ChannelSelection.h"
#include "prod/ProdL1C.h"
#include "prod/ProdL2clp.h"
#include "prod/ProdL2ems.h"
#include "prod/ProdL2ozo.h"
#include "prod/ProdL2trg.h"
#include "prod/ProdL2twt.h"
#include "tests/differential/Messages.h"
#include "tests/differential/Model.h"
#include "tests/differential/PlainReader.h"
#include "tests/fuzz/MemoryFiles.h"

namespace {

/// The decoder of one kind with its record, which stay from message to message, and the model of both.
class CSubject {
 public:
  CSubject() = default;
  CSubject(const CSubject&) = delete;
  CSubject& operator=(const CSubject&) = delete;
  virtual ~CSubject() = default;

  virtual CBUFRReader& Reader() = 0;
  virtual CProd& Record() = 0;
  virtual int GoToNextMessage() { return Reader().GoToNextMessage(); }
  /// Sizes the record, and tells the task what only L1C has.
  virtual void Init(STask& task, CMessageMaker& random) = 0;
  virtual void Decode(const STask& task, SOutcome& outcome) = 0;

  /// Channels that the record has spectra of.
  virtual const CChannelSelection* Channels() const { return nullptr; }

  std::unique_ptr<CModel> pModel;
};

template <EKind KIND, class TRecord, class TReader>
class TL2Subject final : public CSubject {
 public:
  TL2Subject() { pModel = std::make_unique<CModel>(KIND, m_prod); }
  CBUFRReader& Reader() override { return m_reader; }
  CProd& Record() override { return m_prod; }
  void Init(STask& task, CMessageMaker&) override { m_prod.InitFirstL2(task.nPixels); }
  void Decode(const STask&, SOutcome& outcome) override {
    const bool bTooEarly = m_reader.nSecondLevelBitPos == 0 && m_reader.UpdateL2(&m_prod) != 0;
    outcome.nFirst = bTooEarly ? -1 : m_reader.InterpretFirstLevel(&m_prod);
    outcome.nUpdate = m_reader.UpdateL2(&m_prod);
  }

 private:
  TRecord m_prod;
  TReader m_reader;
};

class CL1CSubject final : public CSubject {
 public:
  CL1CSubject() { pModel = std::make_unique<CModel>(EKind::L1C, m_prod); }
  CBUFRReader& Reader() override { return m_reader; }
  CProd& Record() override { return m_prod; }
  int GoToNextMessage() override { return m_reader.GoToNextMessage(); }
  const CChannelSelection* Channels() const override { return &m_channels; }

  void Init(STask& task, CMessageMaker& random) override {
    if (random.OneIn(16)) m_prod.SetNull();
    m_prod.InitFirstL1(task.nPixels, random.OneIn(4) ? 300 : CChannelSelection::LIMIT);
    task.nChannels = m_prod.ChannelCount;
    std::vector<CChannelSelection::SRange> arRanges;
    for (int i = random.OneIn(32) ? 0 : random.OneIn(2) ? 2 : 40; i > 0; --i) {
      const int nFirst = random.Below(random.OneIn(2) ? 400 : task.nChannels);
      arRanges.push_back({nFirst, nFirst + random.Below(i < 3 ? task.nChannels : 4)});
    }
    m_channels = CChannelSelection(arRanges, task.nChannels);
    if (!m_channels.Given()) return;
    task.arSelection.assign(task.nChannels, 0);
    for (const auto& [nFirst, nLast] : arRanges)
      for (int i = std::max(nFirst, 1); i <= std::min(nLast, task.nChannels); ++i)
        task.arSelection[i - 1] = 1;
  }

  void Decode(const STask& task, SOutcome& outcome) override {
    m_reader.nLastMissingChannel = 0;
    outcome.nFirst = m_reader.InterpretFirstLevel(&m_prod);
    if (task.nVersion != CProdL1C::DAY_1 && task.nVersion != CProdL1C::DAY_2) return;
    outcome.nUpdate = m_reader.UpdateL1Avhrr(&m_prod);
    if (task.bBlank)
      outcome.nSpectrum = m_reader.UpdateL1Spectrum(&m_prod, m_channels.Given() ? &m_channels : nullptr);
    outcome.nLastMissingChannel = m_reader.nLastMissingChannel;
  }

 private:
  CProdL1C m_prod;
  CBUFRReaderL1C m_reader;
  CChannelSelection m_channels;
};

class CDifferential {
 public:
  /// One file; "" when nothing differs.
  std::string Run(uint64_t nSeed, SDifferentialResult& result);

 private:
  std::string Compare(const SMessage& message, CSubject& subject, CMessageMaker& random, SOutcome& outcome,
                      uint64_t& nDigest);
  void Write(int nKind, CSubject& subject, CMessageMaker& random, uint64_t& nDigest);

  std::unique_ptr<CSubject> m_arpSubjects[6] = {
      std::make_unique<CL1CSubject>(),
      std::make_unique<TL2Subject<EKind::OZO, CProdL2ozo, CBUFRReaderL2ozo>>(),
      std::make_unique<TL2Subject<EKind::TRG, CProdL2trg, CBUFRReaderL2trg>>(),
      std::make_unique<TL2Subject<EKind::CLP, CProdL2clp, CBUFRReaderL2clp>>(),
      std::make_unique<TL2Subject<EKind::TWT, CProdL2twt, CBUFRReaderL2twt>>(),
      std::make_unique<TL2Subject<EKind::EMS, CProdL2ems, CBUFRReaderL2ems>>()};
  CMemoryFiles m_files;
  CStreamWriter m_writer;
};

/// Writes some of the kept pixels, binary or as text, and mixes the bytes into the digest.
void CDifferential::Write(int nKind, CSubject& subject, CMessageMaker& random, uint64_t& nDigest) {
  constexpr int RECORDS = 2;
  const CProd& prod = subject.Record();
  const CChannelSelection none, &channels = nKind == 0 ? *subject.Channels() : none;
  CConfigParam config;
  config.bAvhrr = nKind == 0;
  config.bBrightnessTemperature = random.OneIn(2);
  config.arbL2[nKind] = nKind > 0;
  if (channels.Given()) config.arChannels.Add(new CValueRange(1, 1));
  std::unique_ptr<CFileSink> pSink = std::make_unique<CBinarySink>(config, channels);
  if (random.OneIn(2)) pSink = std::make_unique<CTextSink>(config, channels);
  m_writer.Open("out", random.OneIn(2));
  for (size_t i = 0; i < std::min<size_t>(prod.Kept().size(), RECORDS); ++i) {
    SRecordView record;
    record.arPixels[nKind] = {&prod, prod.Kept()[i]};
    pSink->PutRecord(m_writer, record);
  }
  m_writer.Close();
  for (const char c : m_files.File("out")) Mix(static_cast<uint8_t>(c), nDigest);
}

/// The next message of the reader's file.
std::string CDifferential::Compare(const SMessage& message, CSubject& subject, CMessageMaker& random,
                                   SOutcome& outcome, uint64_t& nDigest) {
  constexpr int MANY_PIXELS = 300;
  CBUFRReader& reader = subject.Reader();
  CProd& prod = subject.Record();
  const CReportCapture sections;
  if (!subject.GoToNextMessage()) return "no message is found";
  if (Take(reader) != message) return "sections";
  if (sections.Text().ends_with('.') != (message.nResult == 1)) return "what is said of the sections";
  const int nPixels = message.arFields[SMessage::SUBSETS];
  if (message.szData.empty() || nPixels < 1 || nPixels > MANY_PIXELS) return "";

  STask task = {message.nVersion,
                nPixels,
                {message.szData.begin(), message.szData.end()},
                std::vector<uint8_t>(nPixels)};
  subject.Init(task, random);
  const int nKept = random.OneIn(3) ? 1 : 2;
  for (uint8_t& b : task.arKeep) b = random.OneIn(nKept);
  std::copy(task.arKeep.begin(), task.arKeep.end(), prod.KeepPixel.Write());
  std::fill_n(prod.SurfaceType.Write(), nPixels, random.Below(3) - 1);
  // All are kept when nobody says which.
  if (std::ranges::count(task.arKeep, 0) > 0) prod.InitKept();
  if (random.OneIn(4)) {
    subject.pModel->FillRecord();
    task.bBlank = random.OneIn(2);
  }
  reader.bBlankUndecoded = task.bBlank;
  const CReportCapture said;
  outcome = {};
  subject.Decode(task, outcome);
  outcome.nFlags = reader.nMissingFlags;
  outcome.szText = said.Text();

  const SOutcome expected = subject.pModel->Decode(task);
  if (outcome.szText != expected.szText) return "text '" + outcome.szText + "' for '" + expected.szText + "'";
  if (outcome.nFirst != expected.nFirst) return "status of the first level";
  if (outcome.nUpdate != expected.nUpdate) return "status of the product block";
  if (outcome.nSpectrum != expected.nSpectrum) return "status of the spectra";
  if (outcome.nFlags != expected.nFlags) return "flags of missing values";
  if (outcome.nLastMissingChannel != expected.nLastMissingChannel) return "last missing channel";
  return subject.pModel->Compare(nDigest);
}

std::string CDifferential::Run(uint64_t nSeed, SDifferentialResult& result) {
  CMessageMaker random(nSeed);
  const int nKind = random.OneIn(4) ? 0 : 1 + random.Below(5);
  CSubject& subject = *m_arpSubjects[nKind];
  bool bDamaged = false, bWhole = false;
  const std::string szFile = random.Make(static_cast<EKind>(nKind), *subject.pModel, bDamaged);
  const CFileSystemScope scope(m_files);
  m_files.File("in") = szFile;
  if (!subject.Reader().Open("in")) return "the file";
  std::string szDifference;
  CPlainReader plain(szFile);
  while (szDifference.empty() && plain.Next()) {
    SOutcome outcome = {0, 0, 0, 0, 0, ""};
    const SMessage message = plain.Read();
    szDifference = Compare(message, subject, random, outcome, result.nDigest);
    if (!szDifference.empty())
      szDifference = std::string(KindName(arKinds[nKind])) + " of version " +
                     std::to_string(message.nVersion) + ": " + szDifference;
    else if (outcome.nFirst && subject.Reader().bBlankUndecoded && random.OneIn(2))
      Write(nKind, subject, random, result.nDigest);
    bWhole = outcome.nFirst && outcome.nUpdate && outcome.nSpectrum;
  }
  if (szDifference.empty() && subject.GoToNextMessage()) szDifference = "a message that is none";
  subject.Reader().Close();
  ++result.nRuns;
  ++result.arKinds[nKind];
  result.nDamaged += bDamaged;
  result.nWhole += bWhole;
  return szDifference;
}

}  // namespace

SDifferentialResult RunDifferential(const SDifferentialOptions& options) {
  // Decoders and records are kept for so many runs: what a message leaves behind is to harm no other.
  constexpr int KEPT = 256;
  SDifferentialResult result;
  SetWideKernels(options.bWide);
  std::unique_ptr<CDifferential> pDifferential;
  for (int i = options.nFirst; i < options.nFirst + options.nRuns && result.szDifference.empty(); ++i) {
    if (!pDifferential || i % KEPT == 0) pDifferential = std::make_unique<CDifferential>();
    result.szDifference = pDifferential->Run(options.nSeed * 1000003 + static_cast<uint64_t>(i), result);
    if (result.szDifference.empty()) continue;
    result.szDifference =
        "run " + std::to_string(i) + " of seed " + std::to_string(options.nSeed) + ": " + result.szDifference;
  }
  SetWideKernels(true);
  return result;
}

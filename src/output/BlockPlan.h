#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "output/Block.h"
#include "prod/Prod.h"

class CStreamWriter;

/// A block made ready for its pixels: the repetitions written out, the columns found, fixed values put in.
/// What is left to do for a pixel is to fetch its values, convert and store them.
class CBlockPlan {
 public:
  /// What a plan is made for: pixels with few or many repetitions (see SGroup), those of the day 1 archive
  /// (no block has both), or records without the product.
  enum EUse : uint8_t { FEW, RECENT, DAY_ONE, MISSING, USES };

  /// prod: any record that has the block; not looked at for MISSING. cSeparator: between the values of texts.
  CBlockPlan(const SBlock& block, const CProd& prod, EUse eUse, char cSeparator);

  /// Writes one pixel. The record is not looked at when all is missing. nGiven: the value of a field that has
  /// no source.
  void WriteBinary(CStreamWriter& writer, const CProd& prod, int nPixel) const;
  void WriteText(CStreamWriter& writer, const CProd& prod, int nPixel, int nGiven = -1) const;

 private:
  /// One field of one repetition. Its column is kept as its distance from the start of a record, which is the
  /// same in every record that has the block.
  struct SStep {
    const SField* pField;
    EForm eForm;
    ptrdiff_t nPlace;
    bool bKept;  // the column is indexed by the kept row
    double fDivisor;
    int nFixed;
  };

  /// Neighbouring steps that are put alike in binary: reals of one sort of column and one divisor, or others.
  struct SRun {
    int nCount;
    bool bReals;
    bool bKept;
    double fDivisor;
  };

  /// A pixel of a record, and its places in the columns of all pixels and in those of the kept ones.
  struct SPixel {
    const CProd& prod;
    int arnElements[2];
  };
  SPixel Pixel(const CProd& prod, int nPixel) const {
    return {prod, {nPixel, m_bKept ? prod.KeptRow(nPixel).nRow : 0}};
  }

  template <class T>
  static const T& At(const SStep& step, const CProd& prod) {
    return *reinterpret_cast<const T*>(reinterpret_cast<const char*>(&prod) + step.nPlace);
  }
  template <class T>
  static T Value(const SStep& step, const SPixel& pixel) {
    return At<TColumn<T>>(step, pixel.prod).At(pixel.arnElements[step.bKept]);
  }
  static double Real(const SStep& step, const SPixel& pixel) {
    const double fValue = Value<double>(step, pixel);
    return step.fDivisor == 1 ? fValue : fValue / step.fDivisor;
  }
  static int64_t Int(const SStep& step, const SPixel& pixel) {
    if (step.eForm == EForm::FIXED) return step.nFixed;
    return step.eForm == EForm::INT ? At<int64_t>(step, pixel.prod) : Value<int64_t>(step, pixel);
  }
  void AddStep(const SField& field, int nIndex, const CProd& prod, EUse eUse);
  static char* PutReals(const SStep* pFirst, const SRun& run, const SPixel& pixel, char* pOut);
  static char* PutInt(const SStep& step, const SPixel& pixel, bool bReverse, char* pOut);
  static char* PutText(const SStep& step, const SPixel& pixel, int nGiven, char* pOut);

  bool m_bFirst;  // see SBlock
  char m_cSeparator;
  bool m_bKept = false;  // some columns are of kept pixels
  std::vector<SStep> m_arSteps;
  std::vector<SRun> m_arRuns;
  int m_nBinarySize = 0;
};

/// The plans of one block, each made at its first use.
class CBlockPlans {
 public:
  explicit CBlockPlans(const SBlock& block, char cSeparator = '\t');

  const SBlock& Block() const { return *m_pBlock; }
  const CBlockPlan& Of(const CProd& prod, int nPixel) { return Plan(UseFor(prod, nPixel), prod); }
  void WriteBinary(CStreamWriter& writer, const CProd& prod, int nPixel) {
    Of(prod, nPixel).WriteBinary(writer, prod, nPixel);
  }
  void WriteBinaryMissing(CStreamWriter& writer);
  void WriteTextMissing(CStreamWriter& writer) const;
  /// The column names, a separator in front of each but the first of a record.
  void WriteTextNames(CStreamWriter& writer) const;

 private:
  CBlockPlan::EUse UseFor(const CProd& prod, int nPixel) const;
  const CBlockPlan& Plan(CBlockPlan::EUse eUse, const CProd& prod);

  const SBlock* m_pBlock;
  char m_cSeparator;
  bool m_bGrows = false;   // has groups with other numbers of repetitions in recent products
  bool m_bDayOne = false;  // has fields with other values in the day 1 archive
  std::unique_ptr<CBlockPlan> m_arpPlans[CBlockPlan::USES];
};

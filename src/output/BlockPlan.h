#pragma once

#include <cstddef>
#include <vector>

#include "output/Block.h"

/// A block made ready for its pixels: the repetitions written out, the columns found, fixed values put in.
/// What is left to do for a pixel is to fetch its values, convert and store them.
class CBlockPlan {
 public:
  /// One field of one repetition. Its column is kept as its distance from the start of a record, which is the
  /// same in every record that has the block.
  struct SStep {
    const SField* pField;
    EForm eForm;
    ptrdiff_t nPlace;
    double fDivisor;
    int nFixed;
  };

  /// The plan of a block for the pixel's layout (see SGroup) and archive; made at its first use.
  static const CBlockPlan& Of(TBlock block, const CProd& prod, bool bRecent, bool bDayOne);
  /// The plan of what stands in a binary record without the product.
  static const CBlockPlan& Missing(TBlock block);

  const std::vector<SStep>& Steps() const { return m_arSteps; }
  static double Real(const SStep& step, const CProd& prod, int nPixel) {
    const double fValue = At<RealColumn>(step, prod)[nPixel];
    return step.fDivisor == 1 ? fValue : fValue / step.fDivisor;
  }
  static int64_t Int(const SStep& step, const CProd& prod, int nPixel) {
    if (step.eForm == EForm::FIXED) return step.nFixed;
    return step.eForm == EForm::INT ? At<int64_t>(step, prod) : At<IntColumn>(step, prod)[nPixel];
  }

  /// Bytes of the binary form.
  int BinarySize() const { return m_nBinarySize; }
  /// Writes the binary form of one pixel to pOut, where BinarySize() bytes are free. The record is not looked
  /// at when all is missing.
  void PutBinary(const CProd& prod, int nPixel, bool bReverse, char* pOut) const;

 private:
  enum EUse : uint8_t { FEW, RECENT, DAY_ONE, RECENT_DAY_ONE, MISSING };

  CBlockPlan(TBlock block, const CProd& prod, EUse eUse);
  static const CBlockPlan& Find(TBlock block, const CProd& prod, EUse eUse);

  template <class T>
  static const T& At(const SStep& step, const CProd& prod) {
    return *reinterpret_cast<const T*>(reinterpret_cast<const char*>(&prod) + step.nPlace);
  }

  static char* PutReals(const SStep* pFirst, int nCount, const CProd& prod, int nPixel, bool bReverse,
                        char* pOut);
  static char* PutInt(const SStep& step, const CProd& prod, int nPixel, bool bReverse, char* pOut);

  std::vector<SStep> m_arSteps;
  std::vector<int> m_arRuns = {0};  // counts of steps in turn that are no reals, that are, that are none, ...
  int m_nBinarySize = 0;
};

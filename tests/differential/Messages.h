#pragma once

#include <cstdint>
#include <random>
#include <string>

#include "sample/MessageProgram.h"
#include "tests/differential/Model.h"

/// Makes files by random programs. Every element may have another reference value, increments of any width,
/// missing values; half of the files are damaged in all the ways that there are orders for.
class CMessageMaker {
 public:
  explicit CMessageMaker(uint64_t nSeed) : m_random(nSeed) {}

  /// The model knows the layouts. bDamaged: more than the values of elements was changed.
  std::string Make(EKind eKind, const CModel& model, bool& bDamaged);

  int Below(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }
  bool OneIn(int n) { return Below(n) == 0; }

 private:
  void Order(EOrder eOrder, int nArgument, int nPlace, uint64_t nValue);
  bool Message(EKind eKind, const CModel& model, bool bSound);
  void Vary(const CModel::SRows& parts, bool bL1C, int nElements, int nStrange);
  void Damage();

  std::mt19937_64 m_random;
  CFileProgram m_file{EKind::L1C};
};

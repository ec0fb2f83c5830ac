#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "sample/BUFREncoder.h"
#include "sample/Layouts.h"
#include "tests/differential/Model.h"

/// A file with one message, and what a reader is to find in it.
struct SMade {
  int nVersion = 0;
  int nPixels = 0;
  bool bDamaged = false;
  std::string szFile;
  std::vector<uint8_t> arBytes;  // of section 4
};

/// Makes messages that get through the first checks of a decoder and vary in all that the format leaves open:
/// reference values, widths of increments, missing values, replication counts, number of subsets, layout
/// version, edition; half of them damaged.
class CMessageMaker {
 public:
  explicit CMessageMaker(uint64_t nSeed) : m_random(nSeed) {}

  /// The model knows the layouts.
  SMade Make(EKind eKind, const CModel& model);

  int Below(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }
  bool OneIn(int n) { return Below(n) == 0; }

 private:
  void Describe(EKind eKind, CBUFREncoder& encoder, SMade& made);
  uint64_t Field(int nWidth);
  void Element(CBUFREncoder& encoder, int nWidth);
  void Increments(CBUFREncoder& encoder, int nWidth, uint64_t nBase, int nIncrement);
  void Count(CBUFREncoder& encoder, const STemplateField& field);
  void Bands(CBUFREncoder& encoder);
  void Samples(CBUFREncoder& encoder, int nSamples);
  void Damage(SMade& made, size_t nData);

  std::mt19937_64 m_random;
  int m_nStrange = 0;  // one element in so many is strange, 0: none
  int m_nMissing = 1;  // one value in so many is missing
};

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bufr/BUFRReader.h"

/// What one message left behind.
struct SMessage {
  int nResult = 0;
  int64_t nStart = 0, nPosition = 0;
  int nVersion = 0;           // of the layout
  std::vector<int> arFields;  // in the order of the reader's declaration, nSubsets being number SUBSETS
  std::vector<int> arDescriptors;
  std::string szData;

  static constexpr int SUBSETS = 18;
  bool operator==(const SMessage&) const = default;
};

/// What the reader under test has of the message at its place, which it reads.
SMessage Take(CBUFRReader& reader);

/// Messages of a file held in memory, octet by octet.
class CPlainReader {
 public:
  explicit CPlainReader(std::string szBytes) : m_szBytes(std::move(szBytes)) {}

  bool Next();
  SMessage Read();

 private:
  int64_t Size() const { return static_cast<int64_t>(m_szBytes.size()); }
  int Int(int nBytes);
  void Skip(int n) { m_nAt = n < 0 ? std::max(m_nAt + n, m_nStart + 4) : m_nAt + n; }

  std::string m_szBytes;
  int64_t m_nAt = 0, m_nStart = 0;
  int m_nVersion = 0;
};

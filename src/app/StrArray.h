#pragma once

#include <cstddef>
#include <memory>

/// Growable array of owned strings.
class CStrArray {
 public:
  CStrArray() = default;
  CStrArray(const CStrArray&) = delete;
  CStrArray& operator=(const CStrArray&) = delete;
  virtual ~CStrArray() = default;

  /// Appends a copy. With bTrim, blanks, tabs, carriage returns and line feeds at both ends are left out;
  /// a string of which nothing remains is appended all the same.
  void AddString(const char* pszText, bool bTrim);

  /// Appends every piece between separators, the empty ones and the last one included: an empty text gives
  /// one empty string.
  void SplitAdd(const char* pszText, char cSeparator, bool bTrim);

  /// Appends the strings of another array, which is empty then.
  void Take(CStrArray& arOther);

  /// Null outside the array.
  const char* GetStringAt(int i) const { return i < 0 || i >= m_nCount ? nullptr : m_pStrings[i].get(); }

  /// Ascending order of the unsigned bytes.
  void Sort();

  /// Empties the array and keeps its storage.
  void DeleteContents();

  int Count() const { return m_nCount; }
  int Capacity() const { return m_nCapacity; }

 private:
  using TString = std::unique_ptr<char[]>;

  void AddPiece(const char* pText, size_t nLength, bool bTrim);
  void Append(TString szText);
  void Grow();

  int m_nCapacity = 0;
  int m_nCount = 0;
  std::unique_ptr<TString[]> m_pStrings;
};

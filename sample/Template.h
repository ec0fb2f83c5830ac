#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

/// One element of a message as its section 3 describes it, operators applied.
struct STemplateField {
  int nFXY = 0;         // FXXYYY as a decimal number, 4006 for 0-04-006
  int nOccurrence = 0;  // counted from 1 among the elements of the same descriptor
  int nScale = 0;       // value = (packed + nReference) / 10^nScale
  int64_t nReference = 0;
  int nWidth = 0;           // bits
  int nCount = -1;          // the replication count that the element holds, -1 for any other element
  const char* szName = "";  // the public short name of the element
};

/// A descriptor list and what it expands to. Elements and sequences are looked up in small tables of the
/// public numbers (WMO tables B and D version 39, and the elements of local table 1 of centre 98 from
/// 0-40-192 on); the operators 2-01 and 2-02 and regular and delayed replication are walked.
class CTemplate {
 public:
  /// szDescriptors: six-digit descriptors with blanks between them. arCounts: what each delayed replication
  /// holds, in order of appearance; a list that runs out counts 0.
  CTemplate(std::string_view szDescriptors, std::vector<int> arCounts);

  /// Section 3 as written, FXXYYY as decimal numbers.
  const std::vector<int>& Descriptors() const { return m_arDescriptors; }
  /// All elements in the order of section 4.
  const std::vector<STemplateField>& Fields() const { return m_arFields; }
  /// False when a descriptor is in none of the tables or an operator is not among those walked.
  bool IsValid() const { return m_bValid; }

 private:
  void Walk(const std::vector<int>& arList, size_t nBegin, size_t nEnd);
  size_t Replicate(const std::vector<int>& arList, size_t nAt);
  void Operate(int nDescriptor);
  void AddElement(int nDescriptor, int nCount);

  std::vector<int> m_arDescriptors;
  std::vector<int> m_arCounts;
  std::vector<STemplateField> m_arFields;
  std::vector<int> m_arSeen;  // occurrences so far, by position in the element table
  size_t m_nNextCount = 0;
  int m_nAddedWidth = 0, m_nAddedScale = 0;
  bool m_bValid = true;
};

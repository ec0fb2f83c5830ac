#pragma once

#include <map>
#include <string>
#include <vector>

/// Readers of extraction files, written from the description of the formats and not from the code that writes
/// them, so that a slip in one shows against the other.

/// The values of one block in the order of the file, with a letter for the type of each: b, s, i integers of
/// 1, 2 and 4 bytes, r reals, c a real that the text form has as an integer.
struct SBlockValues {
  std::string szTypes;
  std::vector<double> arValues;
};

/// The blocks of one record: "common", "l1c", "spectrum", "avhrr", "l2", "ozo", "trg", "clp", "twt", "ems".
/// Those that the file does not have are left out; a record without content has none.
struct SRecord {
  std::map<std::string, SBlockValues> blocks;
  int nBytes = 0;  // between the markers

  bool Has(const std::string& szBlock) const { return blocks.count(szBlock) > 0; }
  const std::vector<double>& operator[](const std::string& szBlock) const {
    return blocks.at(szBlock).arValues;
  }
};

/// A binary extraction file.
class CRecordFile {
 public:
  explicit CRecordFile(const std::string& szBytes);

  std::string szError;  // what is wrong with the file; empty when all of it was read
  bool bBigEndian = false, bAvhrr = false;
  int nSatellite = 0;
  std::vector<int> arChannels;
  std::vector<int> arKinds;  // codes: clp 1, twt 2, ozo 3, trg 4, ems 5
  int nMarker = 0;           // of the records; 0 when there are none
  std::vector<SRecord> arRecords;

 private:
  double Value(char cType, size_t nAt) const;
  int Int4(size_t nAt) const { return static_cast<int>(Value('i', nAt)); }
  void ReadHeader();
  bool ReadRecord();
  std::map<std::string, std::string> Layout(bool bL1C, bool bManyLayers, bool bManyLevels) const;

  std::string m_szBytes;
  size_t m_nAt = 0;
};

/// The lines of a text extraction file, the names of the columns first.
std::vector<std::vector<std::string>> ReadTextFile(const std::string& szBytes);

std::string Times(int nTimes, const std::string& szText);

/// What is known of a column: a letter for its type, its name, the element of the message (FXXYYY, '-' for
/// none, "text" for columns that binary records do not have).
enum class EColumn { TYPE, NAME, ELEMENT };
/// That of all columns of a block, those that only text has included; none of the spectrum.
std::vector<std::string> ColumnsOf(const std::string& szBlock, EColumn eWhat, bool bRecent = false);

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "sample/Layouts.h"
#include "sample/Scene.h"  // IWYU pragma: keep

/// What an archive of samples is to hold.
struct SSampleOptions {
  int nYear = 2013, nMonth = 4, nDay = 20;  // of the first day; 2006-10-19 or later
  int nDays = 1;
  int nMessages = 24;         // a day and kind
  int nMessagesPerFile = 12;  // consecutive in time; the files are spread over the day
  int nFirstLine = -1;  // of the first file, 8 s each from midnight; -1: where there is something to see
  int nPixels = 120;    // a message; 120 are one scan line
  uint64_t nSeed = 1;
  int nSatellite = 4;
  int nLayout = 2;      // of L1C, 1 or 2
  int nL2Version = -1;  // 0 or 3 to 8; -1 goes by the date and time of the message
  int nEdition = 4;     // 3 leaves L2 at version 0, as its section 1 has no full date
  std::array<bool, 6> arKinds = {true, true, true, true, true, true};  // by EKind
  bool bGaps = false;     // leave out some messages and pixels, others in each kind
  bool bMissing = false;  // sprinkle missing values
  bool bIndep = false;    // a second L2 tree without dates
  bool bGrid = true;      // the land/sea/altitude grid file
};

/// Says what is wrong with the options, empty when nothing is.
std::string CheckSampleOptions(const SSampleOptions& options);

/// The pixels that message nMessage (0..nMessages - 1) of day nDay (from 0) holds in one kind, in order of
/// time; none when the message is left out. Pixels of equal orbit, scan line and field of view are the same
/// in all kinds.
std::vector<SSamplePixel> SamplePixels(const SSampleOptions& options, EKind eKind, int nDay, int nMessage);

/// The layout in which the archive holds a message that begins with a pixel.
int SampleLayout(const SSampleOptions& options, EKind eKind, const SSamplePixel& first);

/// The land/sea/altitude grid file: 1080 records of 1/6 degree from north to south; cells of open sea are
/// left out, as real files leave them to the reader's default.
std::string SampleGrid();

/// Writes szPath/L1C/YYYY/MM/DD/*.l1_bufr, szPath/L2/YYYY/MM/DD/KIND/*.l2_bufr, with bIndep also
/// szPath/L2indep/KIND/*.l2_bufr, and szPath/land_sea_alti_map.dat. False with a message in szError when the
/// options are unusable or a folder or file cannot be written.
bool WriteSampleArchive(const std::string& szPath, const SSampleOptions& options, std::string& szError);

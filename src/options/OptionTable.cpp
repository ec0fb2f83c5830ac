#include <cstring>
#include <span>

#include "app/ConfigParam.h"
#include "options/Option.h"
#include "options/OptionValue.h"
#include "options/OptionWay.h"

namespace {

using C = CConfigParam;

constexpr SWord PERIODS[] = {{"day", "day", C::PERIOD_DAY, "-tp day (%d)\n"},
                             {"night", "night", C::PERIOD_NIGHT, "-tp night (%d)\n"},
                             {"all", "all", C::PERIOD_ALL, "-tp all (%d)\n"}};
constexpr SWord SURFACES[] = {{"sea", "sea", C::SURFACE_SEA, "-st %d\n"},
                              {"land", "earth", C::SURFACE_LAND, "-st %d\n"},
                              {"all", "all", C::SURFACE_ALL, "-st %d\n"}};

constexpr char CHANNEL[] = "channel", ORBIT[] = "orbit", SCAN_LINE[] = "scan line",
               FIELD_OF_VIEW[] = "field of view";

constexpr SOption GENERAL[] = {
    {"h", HELP, "", "show help", "Print the options with a line each. What is asked for besides is done."},
    {"cfg", FILE_PATH<&C::szConfigPath>, "cfg_file_path", "specify a path for the configuration file",
     "Read more options from this file, after those of the command line."},
    {"d", FOLDER<&C::szL1CDir>, "input_dir_path", "specify a path for the input directory",
     "The archive of L1C: its files lie in YYYY/MM/DD of this folder. Needed for L1C."},
    {"d2", FOLDER<&C::szL2Dir>, "L2_input_dir_path", "specify a path for the L2 input directory",
     "The archive of L2: its files lie in YYYY/MM/DD/KIND of this folder. L2 needs this one or that of "
     "-myd2."},
    {"myd2", FOLDER<&C::szIndepL2Dir>, "Indep_L2_input_dir_path",
     "specify a path for Indep L2 input directory",
     "An archive of L2 without dates: all files in KIND of this folder are read, whatever -fd and -ld "
     "say, behind those of -d2."},
    {"out", FILE_PATH<&C::szOutputPath>, "output_file_path", "specify a path for the output file",
     "The output file, or what the names of several begin with. Files of these names are replaced; a "
     "file that is among the inputs is never written to. Needed."},
    {"of", FORMAT, "output_format", "specify a format for the output file", "What is written."},
    {"fd", DATE<&C::firstDate>, "first_date", "first date to take into account yyyy-mm-dd",
     "The first day, by the folders of the archive. Needed."},
    {"ld", DATE<&C::lastDate>, "last_date", "last date to take into account yyyy-mm-dd",
     "The last day. Needed."},
    {"c", RANGES<&C::arChannels, CHANNEL>, "channel_number", "L1C channel ranges to extract cccc,cccc-cccc",
     "The channels of the spectra, from 1 to 8461. Asks for L1C."},
    {"avhrr", SWITCH<&C::bAvhrr>, "1", "extracts L1C avhrr data",
     "Add the clusters of the imager AVHRR to each L1C record. Asks for L1C."},
    {"t2", L2_KINDS, "", "specify the L2 product types to extract",
     "The L2 products. An unknown one behind a known one is left out without a word."},
    {"tb", SWITCH<&C::bBrightnessTemperature>, "1", "convert to brightness temperature",
     "Give spectra as brightness temperatures (K) in place of radiances. In statistics, means and "
     "standard deviations of spectra are given so."},
    {"tbref", REAL<&C::fReferenceTemperature>, "280",
     "reference temperature used for expression of standard deviations in brightness temperature",
     "With -tb 1 in statistics: the temperature (K) for which standard deviations are given; with 0 it "
     "is the mean of each channel."},
    {"maxres", INT<&C::nMaxResults>, "max_spectrum", "maximum data count to extract",
     "End when there are N records; of statistics, when each product has N pixels. It is looked at "
     "before a message is read: pixels of the messages at hand are still written. Below 0 there is no "
     "limit."},
    {"skip", INT<&C::nSkip>, "skip_spectrum", "spectrum count to skip",
     "Leave out the first N pixels of each product that pass the filters up to -st, also those that a "
     "later filter would drop.",
     true},
    {"bi", NUMERIC_SWITCH<&C::bBigEndian>, "1", "write data in big  endian byte order",
     "Write binary records big-endian, not little-endian. Any number but 0 is 1."},
    {"box", BOX, "43-44,1-2,Marevill", "extraction in geographical boxes. 1 file created per box",
     "Keep pixels in this box (degrees; both ends belong to it), in a file of its own. The name ends "
     "at a blank. Refused with -of txtstat."},
};

constexpr SOption FILTERING[] = {
    {"mila", REAL<&C::fMinLatitude>, "min_latitude", "minimum latitude to take into account",
     "The least latitude, degrees."},
    {"mala", REAL<&C::fMaxLatitude>, "max_latitude", "maximum latitude to take into account",
     "The greatest latitude, degrees."},
    {"milo", REAL<&C::fMinLongitude>, "min_longitude", "minimum longitude to take into account",
     "The least longitude, degrees. Above that of -malo, no longitude is filtered: a window across the "
     "date line takes two boxes."},
    {"malo", REAL<&C::fMaxLongitude>, "max_longitude", "maximum longitude to take into account",
     "The greatest longitude, degrees."},
    {"on", RANGES<&C::arOrbits, ORBIT>, "orbit_number", "orbit range to extract o-o",
     "The numbers of the orbits."},
    {"sln", RANGES<&C::arScanLines, SCAN_LINE>, "scan_line_number", "scan line range s-s",
     "The numbers of the scan lines."},
    {"fov", RANGES<&C::arFieldsOfView, FIELD_OF_VIEW>, "field_of_view_number", "field of view range s-s",
     "The numbers of the fields of view, from 0 to 119."},
    {"va", REAL_RANGE_OR_NUMBER<&C::viewingAngle>, "viewing_angle", "viewing angle range v-v",
     "The satellite zenith angle, degrees. One number is both ends."},
    {"tr", TIMES, "time_period", "filtering time periods xxhxxmxxs-xxhxxmxxs,xxhxxmxxs-xxhxxmxxs",
     "Times of the day (UTC); one time is both ends. A period across midnight keeps nothing: give two."},
    {"tp", WORD<&C::nPeriod, PERIODS>, "time_period", "specify the requested time period",
     "The time of day: with a solar zenith angle of at most (day) or at least (night) 90 degrees."},
    {"st", WORD<&C::nSurface, SURFACES>, "surface type", "specify the requested surface type",
     "The surface, by the grid of -alt. A pixel whose surface is unknown is kept."},
    {"alt", FILE_PATH<&C::szAltitudePath>, "altitude_database_path",
     "specify a path for the altitude database file",
     "The grid of land and sea. Where it cannot be read, the surface of all pixels is unknown (-1)."},
    {"qlt", QUALITY, "xxx", "L1C level 1 quality flags",
     "L1C: y for each of the three bands whose quality flag must be good, another character for the "
     "others. Where archives have one flag, it stands for all."},
    {"mca", INT<&C::nMaxCloudAmount>, "max_cloud_amount", "L1C cloud amount maximum value",
     "L1C: the greatest cloud fraction, percent. 100 does not filter."},
    {"lca", INT<&C::nMinCloudAmount>, "min_cloud_amount", "L1C cloud amount minimum value",
     "L1C: the least cloud fraction, percent. 0 does not filter."},
    {"sf", REAL_RANGE<&C::snowFraction>, "snow_fraction", "snow fraction range s-s",
     "L1C: the snow fraction, percent."},
    {"lf", REAL_RANGE<&C::landFraction>, "land_fraction", "land fraction range l-l",
     "L1C: the land fraction, percent."},
    {"avg", REAL_RANGE<&C::averageIIS>, "averageIIS_range", "averageIIS range s-s",
     "L1C: the average of the imager, W/(m2 sr m-1)."},
    {"var", REAL_RANGE<&C::varianceIIS>, "varianceIIS_range", "varianceIIS range s-s",
     "L1C: the variance of the imager, in the unit of the archive."},
    {"ef", ENDINGS<&C::arL1CExtensions>, "extension_filter", "specify an extension filter (l1_bufr)",
     "How the names of L1C files end."},
    {"ef2", ENDINGS<&C::arL2Extensions>, "L2_extension_filter", "specify an extension filter (l2_bufr)",
     "How the names of L2 files end."},
    {"mf", MOTIFS<&C::arL1CMotifs>, "motif_filter", "specify a generic motif filter for L1c products",
     "Read only L1C files whose names contain one of these texts."},
    {"mf2", MOTIFS<&C::arL2Motifs>, "L2_motif_filter", "specify a generic motif filter for L2 products",
     "Read only L2 files whose names contain one of these texts."},
};

constexpr SOption STAT[] = {
    {"sk", SWITCH<&C::bSkewnessKurtosis>, "1", "Adds skewness and kurtosis to txtstat",
     "Add skewness and kurtosis."},
    {"stsext", SWITCH<&C::bSurfacePeriodStat>, "1", "pixel stats and precise end of file names",
     "Write files by surface and time of day, and by the position of the pixel among 2 x 2."},
    {"boxstat", MESH, "1", "statistics on pixel geographical repartition",
     "Write means on a grid of the globe: 1 has cells of 2 by 2 degrees, 180-360 has 180 cells in "
     "latitude by 360 in longitude."},
    {"histlat", HISTO<HISTO_LAT>, "-90-90,180",
     "histogram with latitude classes: range and number of classes",
     "Write a histogram of latitudes (degrees): the range and the number of classes."},
    {"histpix", HISTO<HISTO_PIX>, "0.0001-0.001,100",
     "histogram with radiance classes: range and number of classes",
     "Write a histogram of radiances for each channel, W/(m2 sr m-1)."},
    {"histcloud", HISTO<HISTO_CLOUD>, "0-100,10",
     "histogram with cloud fraction classes: range and number of classes",
     "Write a histogram of cloud fractions, percent."},
    {"histland", HISTO<HISTO_LAND>, "0-100,10",
     "histogram with land fraction classes: range and number of classes",
     "Write a histogram of land fractions, percent."},
    {"histsnow", HISTO<HISTO_SNOW>, "0-100,10",
     "histogram with snow fraction classes: range and number of classes",
     "Write a histogram of snow fractions, percent."},
    {"histavg", HISTO<HISTO_AVG>, "0-0.002,100",
     "histogram with averageIIS classes: range and number of classes",
     "Write a histogram of the averages of the imager, W/(m2 sr m-1)."},
    {"histvar", HISTO<HISTO_VAR>, "0-0.001,100",
     "histogram with varianceIIS classes: range and number of classes",
     "Write a histogram of the variances of the imager, in the unit of the archive."},
};

constexpr SOptionSection SECTIONS[] = {{"GENERAL", GENERAL}, {"FILTERING", FILTERING}, {"STAT", STAT}};

}  // namespace

std::span<const SOptionSection> OptionSections() { return SECTIONS; }

int CConfigParam::InterpretParam(const char* szName, const char* szValue) {
  for (const SOptionSection& section : SECTIONS) {
    for (const SOption& option : section.options) {
      if (std::strcmp(option.szName, szName) != 0) continue;
      if (!szValue && !option.way.bNullAllowed) return MISSING_VALUE;
      return option.way.pApply(*this, szName, szValue);
    }
  }
  return UNKNOWN;
}

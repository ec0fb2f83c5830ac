/* Prints the records of a binary file of vex as vex -of txt does.
 * cc -O2 -o read_vex read_vex.c && ./read_vex FILE
 * The fields are described in docs/formats.md. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define ARCHIVE_CHANNELS 8700 /* samples of a message; the last 239 are behind the spectrum */
enum { CLP = 1, TWT, OZO, TRG, EMS };

static struct {
  int bigEndian, satellite, tb, channels, written, avhrr, kinds[6], marker;
} header; /* channels: as the markers count them; written: those of a record with an L1C pixel */

/* Fields of the blocks: h int2, b int1, i int4, r real4. */
static const char COMMON[] = "hbbbbirrrrrriiir";
static const char L1C[] = "hiiiiiiiiiib";
static const char L2[] = "bbbibiiiiii";

static uint32_t word(const unsigned char* p, int bytes) {
  uint32_t value = 0;
  for (int i = 0; i < bytes; ++i) value |= (uint32_t)p[header.bigEndian ? bytes - 1 - i : i] << (8 * i);
  return value;
}

static int32_t int4(const unsigned char* p) { return (int32_t)word(p, 4); }

static void fail(const char* message, const char* path) {
  fprintf(stderr, "%s: %s\n", path, message);
  exit(1);
}

static const unsigned char* in; /* next field of the record */

static void printFields(const char* fields, int times) {
  while (times-- > 0)
    for (const char* f = fields; *f; ++f) {
      if (*f == 'r') {
        const uint32_t bits = word(in, 4);
        float value;
        memcpy(&value, &bits, 4);
        printf("\t%g", value);
      } else if (*f == 'i') {
        printf("\t%d", int4(in));
      } else if (*f == 'h') {
        printf("\t%d", (int16_t)word(in, 2));
      } else {
        printf("\t%d", *in == 255 ? -1 : *in);
      }
      in += *f == 'b' ? 1 : *f == 'h' ? 2 : 4;
    }
}

static void printL1C(int channels) {
  const int dayVersion = (int16_t)word(in, 2);
  if (dayVersion == -1) { /* no L1C pixel: bands from 0 to 0 */
    for (int i = 0; i < 12; ++i) printf("\t-1");
    in += 43;
  } else if (dayVersion < 2) { /* day 1: one band, no cloud fraction */
    printFields("hiii", 1);
    printf("\t\t\t\t\t\t\t");
    in += 28;
    printFields("b", 1);
  } else {
    printFields(L1C, 1);
  }
  printFields("r", channels);
}

static void printEms(void) {
  printFields("i", 1);
  for (int i = 0; i < 12; ++i) {
    const unsigned char* emissivity = in + 4;
    const uint32_t bits = word(emissivity, 4);
    printFields("r", 1);
    if (bits == 0xBF800000u) /* -1: no ems pixel */
      printf("\t-777"), in += 4;
    else
      printFields("r", 1);
  }
}

static void printRecord(const unsigned char* record, int channels, int layers, int levels) {
  const int l1c = header.channels > 0 || header.avhrr;
  in = record;
  printf("%d\t%d", header.satellite, l1c ? header.tb : -1);
  printFields(COMMON, 1);
  if (l1c) printL1C(channels);
  if (header.avhrr) {
    printFields("ii", 1);
    for (int i = 0; i < 7; ++i) printFields("rrr", 1), printFields("irr", 6);
  }
  if (header.kinds[0]) printFields(L2, 1);
  if (header.kinds[OZO]) printFields("i", 1), printFields("rrr", layers);
  if (header.kinds[TRG]) printFields("irrrr", 1);
  if (header.kinds[CLP]) printFields("i", 1), printFields("rrri", 3);
  if (header.kinds[TWT]) {
    printFields("iririii", 1), printFields("rr", levels);
    printFields("i", 1), printFields("rr", levels);
  }
  if (header.kinds[EMS]) printEms();
  putchar('\n');
}

static void readHeader(FILE* file, const char* path) {
  unsigned char start[22], rest[6], *channels;
  if (fread(start, 1, 22, file) < 22 || start[4] > 1) fail("not a binary file of vex", path);
  header.bigEndian = start[4];
  header.satellite = int4(start + 9);
  header.tb = start[17];
  header.channels = int4(start + 18);
  const int size = int4(start), n = header.channels;
  if (n < 0 || n > 1000000 || size < 21 + 4 * n) fail("not a binary file of vex", path);
  channels = malloc(4 * n + 1);
  if (fread(channels, 4, n, file) < (size_t)n || fread(rest, 1, 3, file) < 3)
    fail("cut short in its header", path);
  for (int i = 0; i < n; ++i)
    header.written += int4(channels + 4 * i) >= 1 && int4(channels + 4 * i) <= ARCHIVE_CHANNELS;
  free(channels);
  header.avhrr = rest[0];
  header.kinds[0] = (int16_t)word(rest + 1, 2);
  if (size != 21 + 4 * n + 4 * header.kinds[0]) fail("not a binary file of vex", path);
  for (int i = 0; i < header.kinds[0]; ++i) {
    if (fread(rest, 1, 4, file) < 4) fail("cut short in its header", path);
    const int code = int4(rest);
    if (code < CLP || code > EMS) fail("unknown product", path);
    header.kinds[code] = 1;
  }
  if (fread(rest, 1, 4, file) < 4 || int4(rest) != size) fail("cut short in its header", path);
  const int sizes[] = {32, 52, 1472, 52, 20, 100}; /* L2 common, and by code */
  header.marker = 50 + (n > 0 || header.avhrr ? 43 + 4 * n : 0) + (header.avhrr ? 596 : 0);
  for (int code = 0; code <= EMS; ++code) header.marker += header.kinds[code] ? sizes[code] : 0;
}

static int markerAt(const unsigned char* buffer, size_t have, size_t place) {
  return place + 4 <= have && int4(buffer + place) == header.marker;
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "Usage: read_vex FILE\n");
    return 1;
  }
  FILE* file = fopen(argv[1], "rb");
  if (!file) fail("cannot be opened", argv[1]);
  readHeader(file, argv[1]);

  const int LAYERS[] = {4, 101}, LEVELS[] = {90, 101}, channels[] = {header.channels, header.written};
  const size_t room = 65536 + 4 * (size_t)header.channels;
  unsigned char* buffer = malloc(room);
  size_t have = 0;
  for (;;) { /* the buffer begins with a record; it is filled up for each */
    have += fread(buffer + have, 1, room - have, file);
    if (have == 0) break;
    const int start = markerAt(buffer, have, 0);
    if (start && markerAt(buffer, have, 4) && (have == 8 || markerAt(buffer, have, 8))) {
      putchar('\n'); /* a record without content */
      have -= 8;
      memmove(buffer, buffer + 8, have);
      continue;
    }
    size_t end = 0; /* of the shortest form that fits: a long one may end where several short records do */
    int best = 0;
    for (int form = 0; form < 8 && start; ++form) {
      const int layers = LAYERS[form & 1], levels = LEVELS[form >> 1 & 1];
      if ((layers == 101 && !header.kinds[OZO]) || (levels == 101 && !header.kinds[TWT])) continue;
      const size_t e = header.marker + 8 + 4 * (channels[form >> 2] - header.channels) + 12 * (layers - 4) +
                       16 * (levels - 90);
      if (!markerAt(buffer, have, e - 4) || (have != e && !markerAt(buffer, have, e))) continue;
      if (end == 0 || e < end) end = e, best = form;
    }
    if (!end) fail("a record is damaged or cut short", argv[1]);
    printRecord(buffer + 4, channels[best >> 2], LAYERS[best & 1], LEVELS[best >> 1 & 1]);
    have -= end;
    memmove(buffer, buffer + end, have);
  }
  free(buffer);
  fclose(file);
  return 0;
}

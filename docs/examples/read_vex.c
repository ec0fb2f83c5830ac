/* Prints the records of a binary file of vex as vex -of txt does.
 * cc -O2 -o read_vex read_vex.c && ./read_vex FILE
 * The fields are described in docs/formats.md.
 * HeightOfStation (satellite_height) is in km in records with an L1C pixel, and in metres in all others. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define ARCHIVE_CHANNELS 8700 /* samples of a message; the last 239 are behind the spectrum */

/* Made by scripts/lib/tables from what vex itself walks over: */
/* table: blocks */
/* Codes of the products in the header, in the order of their blocks. */
static const struct {
  const char* name;
  int code;
} KINDS[] = {{"ozo", 3}, {"trg", 4}, {"clp", 1}, {"twt", 2}, {"ems", 5}};
/* Fields of the blocks (h int2, b int1, i int4, r real4) and how often they are repeated; recent: in pixels from
 * 2014-09-30 07:23:00 on. */
static const struct {
  const char* block;
  int times, recent;
  const char* fields;
} GROUPS[] = {
    {"Common", 1, 1, "hbbbbirrrrrriiir"},
    {"L1C", 1, 1, "hiiiiiiiiiib"},
    {"AVHRR", 1, 1, "ii"},
    {"AVHRR", 7, 7, "rrrirrirrirrirrirrirr"},
    {"L2", 1, 1, "bbbibiiiiii"},
    {"ozo", 1, 1, "i"},
    {"ozo", 4, 101, "rrr"},
    {"trg", 1, 1, "irrrr"},
    {"clp", 1, 1, "i"},
    {"clp", 3, 3, "rrri"},
    {"twt", 1, 1, "iririii"},
    {"twt", 90, 101, "rr"},
    {"twt", 1, 1, "i"},
    {"twt", 90, 101, "rr"},
    {"ems", 1, 1, "i"},
    {"ems", 12, 12, "rr"},
};
/* end */
enum { KIND_COUNT = sizeof KINDS / sizeof *KINDS, GROUP_COUNT = sizeof GROUPS / sizeof *GROUPS };

static struct {
  int bigEndian, satellite, tb, channels, written, l1c, avhrr, l2, kinds[KIND_COUNT], marker;
} header; /* channels: as the markers count them; written: those of a record with an L1C pixel */

/* The forms that a record may have. The markers hold the size of the first. */
static struct form {
  size_t size; /* without its markers */
  int channels;
  unsigned recent; /* a bit for each kind whose block is that of a recent pixel */
} forms[2 << KIND_COUNT];
static int formCount;

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

static size_t sizeOf(const char* fields) {
  size_t size = 0;
  for (; *fields; ++fields) size += *fields == 'b' ? 1 : *fields == 'h' ? 2 : 4;
  return size;
}

static int is(const char* name, const char* other) { return strcmp(name, other) == 0; }

static int hasBlock(const char* name) {
  for (int i = 0; i < KIND_COUNT; ++i)
    if (is(name, KINDS[i].name)) return header.kinds[i];
  return is(name, "L1C") ? header.l1c : is(name, "AVHRR") ? header.avhrr : is(name, "L2") ? header.l2 : 1;
}

/* The bit of a kind among those that are recent, 0 for other blocks. */
static unsigned bitOf(const char* name) {
  for (int i = 0; i < KIND_COUNT; ++i)
    if (is(name, KINDS[i].name)) return 1u << i;
  return 0;
}

static int timesOf(int group, unsigned recent) {
  return bitOf(GROUPS[group].block) & recent ? GROUPS[group].recent : GROUPS[group].times;
}

static void addForm(int channels, unsigned recent) {
  struct form form = {header.l1c ? 4 * (size_t)channels : 0, channels, recent};
  for (int i = 0; i < GROUP_COUNT; ++i)
    if (hasBlock(GROUPS[i].block)) form.size += timesOf(i, recent) * sizeOf(GROUPS[i].fields);
  forms[formCount++] = form;
}

static void addForms(void) {
  unsigned growing = 0; /* kinds whose blocks have two lengths */
  for (int i = 0; i < GROUP_COUNT; ++i)
    if (hasBlock(GROUPS[i].block) && GROUPS[i].times != GROUPS[i].recent) growing |= bitOf(GROUPS[i].block);
  for (unsigned recent = 0; recent <= growing; ++recent) {
    if (recent & ~growing) continue;
    addForm(header.channels, recent);
    if (header.written != header.channels) addForm(header.written, recent);
  }
  header.marker = (int)forms[0].size;
}

static void printL1C(const char* fields, int channels) {
  const int dayVersion = (int16_t)word(in, 2);
  if (dayVersion == -1) { /* no L1C pixel: bands from 0 to 0 */
    for (const char* f = fields; *f; ++f) printf("\t-1");
    in += sizeOf(fields);
  } else if (dayVersion < 2) { /* day 1: one band, no cloud fraction */
    printFields("hiii", 1);
    printf("\t\t\t\t\t\t\t");
    in += 28;
    printFields(fields + 11, 1);
  } else {
    printFields(fields, 1);
  }
  printFields("r", channels);
}

static void printEms(int times) {
  while (times-- > 0) {
    const uint32_t bits = word(in + 4, 4);
    printFields("r", 1);
    if (bits == 0xBF800000u) /* -1: no ems pixel */
      printf("\t-777"), in += 4;
    else
      printFields("r", 1);
  }
}

static void printRecord(const unsigned char* record, const struct form* form) {
  in = record;
  printf("%d\t%d", header.satellite, header.l1c ? header.tb : -1);
  for (int i = 0; i < GROUP_COUNT; ++i) {
    const char *block = GROUPS[i].block, *fields = GROUPS[i].fields;
    if (!hasBlock(block)) continue;
    if (is(block, "L1C"))
      printL1C(fields, form->channels);
    else if (is(block, "ems") && is(fields, "rr"))
      printEms(timesOf(i, form->recent));
    else
      printFields(fields, timesOf(i, form->recent));
  }
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
  header.l1c = n > 0 || header.avhrr;
  header.l2 = (int16_t)word(rest + 1, 2);
  if (size != 21 + 4 * n + 4 * header.l2) fail("not a binary file of vex", path);
  for (int i = 0; i < header.l2; ++i) {
    if (fread(rest, 1, 4, file) < 4) fail("cut short in its header", path);
    int kind = 0;
    while (kind < KIND_COUNT && KINDS[kind].code != int4(rest)) ++kind;
    if (kind == KIND_COUNT) fail("unknown product", path);
    header.kinds[kind] = 1;
  }
  if (fread(rest, 1, 4, file) < 4 || int4(rest) != size) fail("cut short in its header", path);
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

  addForms();
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
    const struct form* best = NULL; /* the shortest: a long one may end where several short records do */
    for (const struct form* form = forms; form < forms + formCount && start; ++form) {
      const size_t end = form->size + 8;
      if (!markerAt(buffer, have, end - 4) || (have != end && !markerAt(buffer, have, end))) continue;
      if (!best || form->size < best->size) best = form;
    }
    if (!best) fail("a record is damaged or cut short", argv[1]);
    printRecord(buffer + 4, best);
    const size_t end = best->size + 8;
    have -= end;
    memmove(buffer, buffer + end, have);
  }
  free(buffer);
  fclose(file);
  return 0;
}

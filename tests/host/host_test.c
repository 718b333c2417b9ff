/* A C99 host of libquorb: links the shared library through its public headers
 * only. Field values and statuses are left to the unit tests of the exports. */
#include <stdio.h>
#include <string.h>

#include "quorb/quorb.h"
#include "quorb/quorb_services.h"

enum { kSatNum = 25544 };

static const char kLine1[] =
    "   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P";
static const char kLine2[] =
    "25544 98067A    25123120000.000  12345  999     0.012      0.02       0.0MMJ2K2P";
static const char kSavedFile[] = "host_test_saved.txt";
static const char kSentinel = '#'; /* the library never writes it */
static int failed;

#define CHECK(cond) \
  ((cond) ? (void)0 : (void)(++failed, fprintf(stderr, "line %d: %s\n", __LINE__, #cond)))

/* Text, then blanks to exactly n bytes, and no terminator after them. */
static int Padded(const char* out, size_t n, const char* text) {
  size_t i = strlen(text);
  while (i < n && out[i] == ' ') ++i;
  return i == n && memcmp(out, text, strlen(text)) == 0 && out[n] == kSentinel;
}

int main(void) {
  struct {
    char value[QUORB_LINE_LENGTH + 1], line1[QUORB_LINE_LENGTH + 1], line2[QUORB_LINE_LENGTH + 1];
    char secClass, intlDesig[9], epoch[18], coordSys[6];
  } out;
  double pos[3], vel[3], bTerm, agom, thrust, xa[QUORB_XA_SIZE];
  int32_t satNum, revNum, elsetNum;
  int64_t ml[6] = {0};
  /* A library just loaded files vectors under composed keys and refuses duplicates. */
  CHECK(ElsetKeyModeGet() == 0 && AllKeyModeGet() == 0 && DupKeyModeGet() == 0);
  const int64_t key = QuorbAddSatFrLines(kLine1, kLine2);

  CHECK(QuorbSaveFile(kSavedFile, 0) == 0 && QuorbRemoveAllSats() == 0);
  CHECK(QuorbLoadFile(kSavedFile) == 0 && QuorbGetCount() == 1 && QuorbGetSatKey(kSatNum) == key);
  remove(kSavedFile);

  /* Out arrays are blank-padded to exactly their length, with no terminator. */
  memset(&out, kSentinel, sizeof out);
  QuorbGetField(key, QUORB_FIELD_SAT_NUM, out.value);
  QuorbGetLines(key, out.line1, out.line2);
  QuorbGetAllFields(key, pos, vel, &out.secClass, &satNum, out.intlDesig, out.epoch, &revNum,
                    &elsetNum, &bTerm, &agom, &thrust, out.coordSys);
  CHECK(Padded(out.value, QUORB_LINE_LENGTH, "25544") && Padded(out.line1, QUORB_LINE_LENGTH, kLine1));
  CHECK(Padded(out.line2, QUORB_LINE_LENGTH, kLine2) && Padded(out.intlDesig, 8, "98067A"));
  CHECK(Padded(out.epoch, 17, "  25123120000.000") && Padded(out.coordSys, 5, "MMJ2K"));

  /* A NULL where the library needs a pointer is a failure, never a crash. */
  CHECK(QuorbAddSatFrLines(NULL, kLine2) == -1 && QuorbAddSatFrArray(NULL, NULL) == -1);
  CHECK(QuorbAddSatFrFields(NULL, NULL, 'U', 1, NULL, NULL, 0, 0, 0, 0, 0, NULL) == -1);
  CHECK(QuorbFieldsToSatKey(1, NULL) == -1 && QuorbLoadFile(NULL) == 2);
  CHECK(QuorbSaveFile(NULL, 0) == 2 && QuorbGetLines(key, NULL, NULL) == 2);
  CHECK(QuorbGetField(key, 1, NULL) == 2 && QuorbSetField(key, 1, NULL) == 2);
  CHECK(QuorbDataToArray(key, NULL, out.value) == 2);
  CHECK(QuorbUpdateSatFrArray(key, NULL, out.value) == 2);
  QuorbAddSatFrLinesML(kLine1, kLine2, NULL);
  QuorbAddSatFrArrayML(xa, out.value, NULL), QuorbFieldsToSatKeyML(1, "25123120000.000", NULL);
  QuorbGetLoaded(0, NULL);
  CHECK(TraceLogLastError(NULL, 0) > 0);

  /* An ML twin writes the key its plain form returns, each into a slot of its own. */
  QuorbDataToArray(key, xa, out.value);
  QuorbRemoveSat(key);
  QuorbAddSatFrArrayML(xa, out.value, &ml[0]);
  QuorbFieldsToSatKeyML(kSatNum, "2025/124.5", &ml[1]);
  QuorbGetSatKeyML(kSatNum, &ml[2]);
  QuorbAddSatFrFieldsML(xa + 20, xa + 23, 'S', 7, "58001A", "2025/124.25", 1, 2, 0, 0, 0, "",
                        &ml[3]);
  QuorbRemoveSat(key);
  QuorbAddSatFrLinesML(kLine1, kLine2, &ml[4]);
  QuorbAddSatFrLinesML(kLine2, kLine1, &ml[5]);
  CHECK(ml[0] == key && ml[1] == QuorbFieldsToSatKey(kSatNum, "2025/124.5") && ml[2] == key);
  CHECK(ml[3] > 0 && ml[3] == QuorbGetSatKey(7) && ml[4] == key && ml[5] == -1);
  printf("host_test: %d failed\n", failed);
  return failed != 0;
}

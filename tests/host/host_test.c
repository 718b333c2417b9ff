/* A C99 host of libquorb: links the shared library through the public
 * headers only, as a host program in C would. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "quorb/quorb.h"

static int passed;
static int failed;

#define CHECK(cond)                                                  \
  do {                                                               \
    if (cond) {                                                      \
      ++passed;                                                      \
    } else {                                                         \
      ++failed;                                                      \
      fprintf(stderr, "%s:%d: CHECK failed: %s\n", __FILE__, __LINE__, #cond); \
    }                                                                \
  } while (0)

static const char kLine1[] =
    "   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P";
static const char kLine2[] =
    "25544 98067A    25123120000.000  12345  999     0.012      0.02       0.0MMJ2K2P";

/* An out array holds N bytes, blank-padded; compare its trimmed text. */
static int OutEquals(const char* out, int n, const char* expected) {
  int len = n;
  while (len > 0 && out[len - 1] == ' ') --len;
  return len == (int)strlen(expected) && memcmp(out, expected, (size_t)len) == 0;
}

static int AllBlank(const char* out, int n) {
  int i;
  for (i = 0; i < n; ++i) {
    if (out[i] != ' ') return 0;
  }
  return 1;
}

static int LastErrorStartsWith(const char* prefix) {
  char line[256];
  TraceLogLastError(line, (int32_t)sizeof line);
  return strncmp(line, prefix, strlen(prefix)) == 0;
}

static void TestLifecycle(void) {
  char info[128];
  int64_t keys[4] = {7, 7, 7, 7};
  CHECK(QuorbInit(123) == 0);
  QuorbGetInfo(info);
  CHECK(strncmp(info, "Quorb", 5) == 0);
  CHECK(QuorbRemoveAllSats() == 0);
  CHECK(QuorbGetCount() == 0);
  QuorbGetLoaded(0, keys);
  CHECK(keys[0] == 7);
}

static void TestAddingAndKeys(void) {
  const double pos[3] = {7000.0, 10.5, -20.25};
  const double vel[3] = {1.0, 7500.0, 2.0};
  int64_t key;
  int64_t mlKey = 0;
  int64_t fieldsKey;
  int64_t keys[3];

  key = QuorbAddSatFrLines(kLine1, kLine2);
  CHECK(key > 0);
  CHECK(QuorbFieldsToSatKey(25544, "  25123120000.000") == key);
  QuorbFieldsToSatKeyML(25544, "2025/123 1200 00.000", &mlKey);
  CHECK(mlKey == key);
  CHECK(QuorbGetSatKey(25544) == key);
  QuorbGetSatKeyML(25544, &mlKey);
  CHECK(mlKey == key);
  CHECK(QuorbGetSatKey(99) == -1);
  CHECK(LastErrorStartsWith("GetSatKey: Unable to locate satellite number        99 in"));

  DupKeyModeSet(0);
  QuorbAddSatFrLinesML(kLine1, kLine2, &mlKey);
  CHECK(mlKey == 0);
  CHECK(QuorbAddSatFrLines(kLine2, kLine1) == -1);

  fieldsKey = QuorbAddSatFrFields(pos, vel, 'S', 7, "  58001A", "2025/124.25", 100, 12, 0.01,
                                  0.02, 0.0, "TMDAT");
  CHECK(fieldsKey > 0);
  QuorbAddSatFrFieldsML(pos, vel, 'S', 7, "58001A", "2025/124.25", 100, 12, 0.01, 0.02, 0.0,
                        "TMDAT", &mlKey);
  CHECK(mlKey == 0);
  CHECK(QuorbAddSatFrFields(pos, vel, 'U', -5, "", "25001000000.000", 0, 0, 0, 0, 0, "") == -1);
  CHECK(QuorbGetCount() == 2);

  QuorbGetLoaded(0, keys);
  CHECK(keys[0] == fieldsKey && keys[1] == key);
  QuorbGetLoaded(1, keys);
  CHECK(keys[0] == key && keys[1] == fieldsKey);
  QuorbGetLoaded(2, keys);
  CHECK(keys[0] == key && keys[1] == fieldsKey);
}

static void TestFieldAccess(int64_t key) {
  char value[512];
  double pos[3], vel[3], bTerm, agom, thrust;
  char secClass, intlDesig[8], epoch[17], coordSys[5];
  int32_t satNum, revNum, elsetNum;

  CHECK(QuorbGetField(key, 9, value) == 0);
  CHECK(OutEquals(value, 512, "25544"));
  CHECK(QuorbGetField(key, 1, value) == 0);
  CHECK(OutEquals(value, 512, "6524.834600000000137"));
  CHECK(QuorbGetField(key, 8, value) == 0 && AllBlank(value, 512));
  CHECK(QuorbGetField(key + 100, 1, value) == 2 && AllBlank(value, 512));
  CHECK(LastErrorStartsWith("QuorbGetField: Unable to locate satKey "));

  CHECK(QuorbSetField(key, 1, "  7000.5") == 0);
  CHECK(QuorbSetField(key, 1, "2E9") == 2);
  CHECK(QuorbSetField(key, 17, "XYZ") == 2);
  CHECK(QuorbSetField(key, 9, "1") == 0);
  CHECK(QuorbSetField(key, 10, "12345678901") == 0);

  CHECK(QuorbGetAllFields(key, pos, vel, &secClass, &satNum, intlDesig, epoch, &revNum,
                          &elsetNum, &bTerm, &agom, &thrust, coordSys) == 0);
  CHECK(pos[0] == 7000.5 && satNum == 25544 && revNum == 12345 && elsetNum == 999);
  CHECK(memcmp(intlDesig, "12345678", 8) == 0 && memcmp(coordSys, "MMJ2K", 5) == 0);
  CHECK(bTerm == 0.012 && secClass == 'U');
  CHECK(QuorbGetAllFields(-1, pos, vel, &secClass, &satNum, intlDesig, epoch, &revNum,
                          &elsetNum, &bTerm, &agom, &thrust, coordSys) == 2);
  CHECK(pos[0] == 0.0 && satNum == 0 && secClass == ' ' && AllBlank(epoch, 17));

  {
    const double newPos[3] = {1.0, 2.0, 3.0};
    const double newVel[3] = {4.0, 5.0, 6.0};
    CHECK(QuorbUpdateSatFrFields(key, newPos, newVel, 'C', "ABC", 5, 6, 0.5, 0.25, 0.0,
                                 "TMEPO") == 0);
    CHECK(QuorbUpdateSatFrFields(key, newPos, newVel, 'C', "ABC", 1000000, 6, 0.5, 0.25, 0.0,
                                 "TMEPO") == 2);
    CHECK(QuorbGetField(key, 12, value) == 0 && OutEquals(value, 512, "5"));
  }
}

static void TestTextConversions(int64_t key) {
  char line1[512], line2[512];
  double pos[3], vel[3], bTerm, agom, thrust;
  char secClass, intlDesig[8], epoch[17], coordSys[5];
  int32_t satNum, revNum, elsetNum;
  const double p[3] = {6524.8346, -1876.2210, 253.0097};
  const double v[3] = {1983.2456, 6812.7001, -3456.1234};

  CHECK(QuorbParse(kLine1, kLine2, pos, vel, &secClass, &satNum, intlDesig, epoch, &revNum,
                   &elsetNum, &bTerm, &agom, &thrust, coordSys) == 0);
  CHECK(satNum == 25544 && pos[0] == 6524.8346 && vel[2] == -3456.1234 && agom == 0.02);
  CHECK(memcmp(epoch, "  25123120000.000", 17) == 0);
  CHECK(QuorbParse(kLine2, kLine1, pos, vel, &secClass, &satNum, intlDesig, epoch, &revNum,
                   &elsetNum, &bTerm, &agom, &thrust, coordSys) == 2);
  CHECK(satNum == 0 && AllBlank(coordSys, 5));

  QuorbFieldsToLines(p, v, 'U', 25544, "98067A", "25123120000.000", 12345, 999, 0.012, 0.02,
                     0.0, "MMJ2K", line1, line2);
  CHECK(OutEquals(line1, 512, kLine1));
  CHECK(OutEquals(line2, 512, kLine2));
  QuorbFieldsToLines(p, v, 'U', -1, "98067A", "25123120000.000", 12345, 999, 0.012, 0.02,
                     0.0, "MMJ2K", line1, line2);
  CHECK(AllBlank(line1, 512) && AllBlank(line2, 512));

  CHECK(QuorbGetLines(key, line1, line2) == 0);
  CHECK(memcmp(line1 + 78, "1P", 2) == 0 && memcmp(line2 + 78, "2P", 2) == 0);
  CHECK(QuorbGetLines(key + 1, line1, line2) == 2 && AllBlank(line1, 512));
}

static void TestArrayForm(int64_t key) {
  double xa[200];
  char xs[512];
  char line1[512], line2[512];
  int64_t added = 0;
  int i;
  for (i = 0; i < 200; ++i) xa[i] = -7.0;
  CHECK(QuorbDataToArray(key, xa, xs) == 0);
  CHECK(xa[0] == 25544.0 && xa[50] == -7.0 && xa[70] == -7.0 && xs[0] == 'C');
  CHECK(QuorbRemoveSat(key) == 0);
  xa[70] = 0.0;
  QuorbAddSatFrArrayML(xa, xs, &added);
  CHECK(added == key);
  CHECK(QuorbUpdateSatFrArray(key, xa, xs) == 0);
  QuorbArrayToLines(xa, xs, line1, line2);
  CHECK(memcmp(line2, "25544", 5) == 0);
  CHECK(QuorbLinesToArray(kLine1, kLine2, xa, xs) == 0 && xa[20] == 6524.8346);
  CHECK(QuorbAddSatFrArray(xa, xs) == key + 1);
}

static void TestNullArguments(void) {
  int64_t keys[1] = {5};
  char value[512];
  CHECK(QuorbAddSatFrLines(NULL, kLine2) == -1);
  CHECK(LastErrorStartsWith("QuorbAddSatFrLines: "));
  CHECK(QuorbAddSatFrFields(NULL, NULL, 'U', 1, "", "", 0, 0, 0, 0, 0, "") == -1);
  CHECK(QuorbGetField(1, 1, NULL) == 2);
  CHECK(QuorbSetField(1, 1, NULL) == 2);
  CHECK(QuorbFieldsToSatKey(1, NULL) == -1);
  CHECK(QuorbLoadFile(NULL) == 2);
  CHECK(QuorbDataToArray(1, NULL, value) == 2 && AllBlank(value, 512));
  QuorbAddSatFrLinesML(kLine1, kLine2, NULL);
  QuorbGetLoaded(0, NULL);
  CHECK(keys[0] == 5);
}

int main(void) {
  int64_t key;
  TestLifecycle();
  TestAddingAndKeys();
  key = QuorbGetSatKey(25544);
  TestFieldAccess(key);
  TestTextConversions(key);
  TestArrayForm(key);
  TestNullArguments();
  CHECK(QuorbRemoveAllSats() == 0 && QuorbGetCount() == 0);
  printf("%d passed, %d failed\n", passed, failed);
  return failed == 0 ? 0 : 1;
}

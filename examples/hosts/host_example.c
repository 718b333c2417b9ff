/* A C host of libquorb: adds a card set, reads a field and shows how
 * failures are reported. docs/host-guide.md quotes this file. */
#include <stdint.h>
#include <stdio.h>

#include <quorb/quorb.h>

/* Out texts are blank-padded and carry no NUL: their length without the blanks. */
static int TrimmedLength(const char* text, int size) {
  while (size > 0 && text[size - 1] == ' ') --size;
  return size;
}

static void PrintLastError(const char* what) {
  char line[256];
  TraceLogLastError(line, (int32_t)sizeof line); /* this thread's last error line */
  fprintf(stderr, "%s: %s\n", what, line);
}

int main(void) {
  /* In texts are arrays of the declared size; a NUL may end them early. */
  static const char line1[512] =
      "   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P";
  static const char line2[512] =
      "25544 98067A    25123120000.000  12345  999     0.012      0.02       0.0MMJ2K2P";
  char info[128];
  char value[512];
  int64_t key;

  QuorbInit(0);
  QuorbGetInfo(info);
  printf("%.*s\n", TrimmedLength(info, 128), info);

  key = QuorbAddSatFrLines(line1, line2); /* -1 invalid, 0 refused duplicate */
  if (key <= 0) {
    PrintLastError("QuorbAddSatFrLines");
    return 1;
  }
  if (QuorbGetField(key, 9, value) != 0) { /* 9: satellite number; 2 when not stored */
    PrintLastError("QuorbGetField");
    return 1;
  }
  printf("satellite %.*s has key %lld\n", TrimmedLength(value, 512), value, (long long)key);

  if (QuorbAddSatFrLines(line1, line2) != 0) { /* the same vector again */
    return 1;
  }
  PrintLastError("the same card set again");
  return QuorbRemoveSat(key) == 0 && QuorbGetCount() == 0 ? 0 : 1;
}

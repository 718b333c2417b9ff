/* Random finds and copies through QuorbGetAllFields at a million stored
 * vectors, as a host sees them: through libquorb.so and its exports only.
 *
 *   build-bench/bench/export_find_bench [VECTORS]
 */
#define _POSIX_C_SOURCE 200809L
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "quorb/quorb.h"

enum { kPasses = 3 };

static double Seconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec + (double)now.tv_nsec * 1e-9;
}

/* A fixed shuffle, so that runs compare. */
static void Shuffle(int64_t* keys, int count) {
  uint64_t state = 88172645463325252u;
  for (int i = count - 1; i > 0; --i) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    const int j = (int)(state % (uint64_t)(i + 1));
    const int64_t key = keys[i];
    keys[i] = keys[j];
    keys[j] = key;
  }
}

int main(int argc, char** argv) {
  const int vectors = argc > 1 ? atoi(argv[1]) : 1000000;
  double pos[3] = {7000.0, 0.0, 0.0}, vel[3] = {0.0, 7500.0, 0.0};
  for (int i = 0; i < vectors; ++i) {
    QuorbAddSatFrFields(pos, vel, 'U', 10000 + i, "98067A", "25123120000.000", 1, 1, 0.01, 0.02,
                        0.0, "MMJ2K");
  }
  const int count = QuorbGetCount();
  int64_t* keys = malloc(sizeof *keys * (size_t)count);
  if (keys == NULL) return 1;
  QuorbGetLoaded(QUORB_ORDER_KEY, keys);
  Shuffle(keys, count);
  double b, a, thrust, sum = 0.0;
  char secClass, intlDesig[8], epoch[17], coordSys[5];
  int32_t satNum, revNum, elsetNum;
  for (int pass = 0; pass < kPasses; ++pass) {
    const double start = Seconds();
    for (int i = 0; i < count; ++i) {
      QuorbGetAllFields(keys[i], pos, vel, &secClass, &satNum, intlDesig, epoch, &revNum, &elsetNum,
                        &b, &a, &thrust, coordSys);
      sum += pos[0];
    }
    printf("find and copy, %d vectors in random order: %.0f ns each\n", count,
           (Seconds() - start) / count * 1e9);
  }
  free(keys);
  return sum > 0.0 ? 0 : 1;
}

// Writes input files of realistic card sets for the load and save benches.
#ifndef QUORB_BENCH_CARD_FILE_GENERATOR_H_
#define QUORB_BENCH_CARD_FILE_GENERATOR_H_

#include <cstdint>
#include <string>

namespace quorb::bench {

enum class CardOrder {
  kCatalog,   // by satellite number, then epoch, as catalogs and saved files are
  kShuffled,  // card sets in random order
};

// Writes setCount card sets to path: satellites spread over the Alpha-5 range,
// a few epochs each (every satellite/epoch pair distinct), orbits from low
// earth to geosynchronous. The same arguments always give the same file.
// Returns false when the file cannot be written.
bool WriteCardFile(const std::string& path, int64_t setCount, CardOrder order, uint32_t seed = 1);

}  // namespace quorb::bench

#endif  // QUORB_BENCH_CARD_FILE_GENERATOR_H_

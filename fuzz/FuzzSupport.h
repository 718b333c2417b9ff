// Helpers shared by the fuzz targets: a check that libFuzzer reports as a
// crash, host arrays filled from fuzz bytes, and texts of host arrays.
#ifndef QUORB_FUZZ_FUZZSUPPORT_H_
#define QUORB_FUZZ_FUZZSUPPORT_H_

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

// A broken property is a finding like a sanitizer report: print it and abort,
// so that libFuzzer saves the input.
#define FUZZ_CHECK(condition)                                                               \
  do {                                                                                      \
    if (!(condition)) {                                                                     \
      std::fprintf(stderr, "%s:%d: property failed: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                         \
    }                                                                                       \
  } while (0)

namespace quorb::fuzz {

using HostLine = std::array<char, 512>;

// A host array holding text: cut at 512 bytes, zero-filled after it (so a
// shorter text reaches the library as a NUL-terminated C string).
inline HostLine ToHostLine(std::string_view text) {
  HostLine line{};
  std::copy_n(text.begin(), std::min(text.size(), line.size()), line.begin());
  return line;
}

// The text of an out-array of n bytes (written in full by the library).
inline std::string OutText(const char* out, std::size_t n) {
  return std::string(out, n);
}

inline std::string_view Trim(std::string_view s) {
  const std::size_t begin = s.find_first_not_of(' ');
  if (begin == std::string_view::npos) return {};
  return s.substr(begin, s.find_last_not_of(' ') - begin + 1);
}

// Bitwise equality: NaN equals the same NaN and -0.0 differs from 0.0.
inline bool SameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// Splits data at its first newline: the text before it and the rest.
inline std::pair<std::string_view, std::string_view> SplitAtNewline(std::string_view data) {
  const std::size_t newline = data.find('\n');
  if (newline == std::string_view::npos) return {data, {}};
  return {data.substr(0, newline), data.substr(newline + 1)};
}

}  // namespace quorb::fuzz

#endif  // QUORB_FUZZ_FUZZSUPPORT_H_

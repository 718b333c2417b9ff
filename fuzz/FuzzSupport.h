// Shared by the fuzz targets, each a program of its own: property checks, host text arrays.
#ifndef QUORB_FUZZ_FUZZSUPPORT_H_
#define QUORB_FUZZ_FUZZSUPPORT_H_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "quorb/quorb.h"

// A broken property aborts like a sanitizer report, so libFuzzer saves the input.
#define FUZZ_CHECK(condition)                                                                   \
  ((condition)                                                                                  \
       ? void()                                                                                 \
       : (std::fprintf(stderr, "%s:%d: property failed: %s\n", __FILE__, __LINE__, #condition), \
          std::abort()))

constexpr std::size_t kLineLength = QUORB_LINE_LENGTH;

// Cut to a host text array and zero-filled, so that a shorter text is a C string.
using HostLine = std::array<char, kLineLength>;
inline HostLine ToHostLine(std::string_view text) {
  HostLine line{};
  std::copy_n(text.begin(), std::min(text.size(), line.size()), line.begin());
  return line;
}

// NaN equals the same NaN, and -0.0 differs from 0.0.
inline bool SameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// A real read as a 32-bit integer: truncated toward zero, missing when none holds it.
inline double Truncated(double value, double missing) {
  return value > -2147483649.0 && value < 2147483648.0 ? std::trunc(value) : missing;
}

inline auto SplitAt(char separator, const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::size_t end = std::min(bytes.find(separator), size);
  return std::pair{bytes.substr(0, end), bytes.substr(std::min(end + 1, size))};
}

#endif  // QUORB_FUZZ_FUZZSUPPORT_H_

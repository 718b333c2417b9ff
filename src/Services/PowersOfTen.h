// Powers of ten that a double holds exactly, for the number readers and
// writers: scaling by one of them is a single, correctly rounded operation.
#ifndef QUORB_SERVICES_POWERSOFTEN_H_
#define QUORB_SERVICES_POWERSOFTEN_H_

#include <cstdint>
#include <cstdlib>
#include <optional>

namespace quorb {

// Every whole number up to this is exact in a double.
inline constexpr uint64_t kMaxExactInteger = uint64_t{1} << 53;

inline constexpr int kMaxExactPower = 22;
inline constexpr double kExactPow10[kMaxExactPower + 1] = {
    1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// digits times 10^scale, when that is one exact operation on exact operands
// and so correctly rounded.
inline std::optional<double> ExactlyScaled(uint64_t digits, int scale) {
  if (digits > kMaxExactInteger || std::abs(scale) > kMaxExactPower) return std::nullopt;
  const double whole = static_cast<double>(digits);
  return scale < 0 ? whole / kExactPow10[-scale] : whole * kExactPow10[scale];
}

}  // namespace quorb

#endif  // QUORB_SERVICES_POWERSOFTEN_H_

// Powers of ten that a double holds exactly, for the number readers and
// writers: scaling by one of them is a single, correctly rounded operation.
#ifndef QUORB_SERVICES_POWERSOFTEN_H_
#define QUORB_SERVICES_POWERSOFTEN_H_

namespace quorb {

inline constexpr int kMaxExactPower = 22;
inline constexpr double kExactPow10[kMaxExactPower + 1] = {
    1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

}  // namespace quorb

#endif  // QUORB_SERVICES_POWERSOFTEN_H_

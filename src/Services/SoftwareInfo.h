#ifndef QUORB_SERVICES_SOFTWAREINFO_H_
#define QUORB_SERVICES_SOFTWAREINFO_H_

#include <string_view>

namespace quorb {

inline constexpr int kSoftwareInfoLength = 128;

// Writes 128 bytes into info: the library name, version and build date,
// blank-padded, no terminator. A null info is ignored.
void GetSoftwareInfo(std::string_view libName, char* info);

}  // namespace quorb

#endif  // QUORB_SERVICES_SOFTWAREINFO_H_

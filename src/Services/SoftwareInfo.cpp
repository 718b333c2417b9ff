#include "Services/SoftwareInfo.h"

#include <string>

#include "Services/StringUtils.h"

namespace quorb {

void GetSoftwareInfo(std::string_view libName, char* info) {
  const std::string text =
      std::string(Trim(libName)) + " Version " QUORB_VERSION " Build date " __DATE__;
  StrToCharArr(info, text, kSoftwareInfoLength);
}

}  // namespace quorb

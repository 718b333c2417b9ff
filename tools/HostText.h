// Texts at the library's C interface, as the command passes and reads them.
#ifndef QUORB_TOOLS_HOSTTEXT_H_
#define QUORB_TOOLS_HOSTTEXT_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "quorb/quorb.h"

namespace quorb_cli {

inline constexpr std::size_t kLineLength = QUORB_LINE_LENGTH;

// A host in-string: the text in a zero-filled array of N bytes, so that the
// library reads it up to the first zero byte. Longer texts are cut at N.
template <std::size_t N>
class InText {
 public:
  explicit InText(std::string_view text) {
    std::copy_n(text.begin(), std::min(text.size(), N), chars_.begin());
  }
  const char* data() const { return chars_.data(); }

 private:
  std::array<char, N> chars_{};
};

// The text of an out-string: n blank-padded bytes without terminator.
inline std::string OutText(const char* chars, std::size_t n) {
  std::string text(chars, n);
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

inline std::string_view TrimLeft(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

}  // namespace quorb_cli

#endif  // QUORB_TOOLS_HOSTTEXT_H_

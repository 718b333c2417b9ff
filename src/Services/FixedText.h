// Fixed-length, blank-padded texts: the one string form inside the library.
#ifndef QUORB_SERVICES_FIXEDTEXT_H_
#define QUORB_SERVICES_FIXEDTEXT_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace quorb {

template <std::size_t N>
using Text = std::array<char, N>;

inline constexpr std::size_t kLineLength = 512;
// Every input line, card and file name is held as one 512-character text.
using Line = Text<kLineLength>;

template <std::size_t N>
constexpr Text<N> BlankText() {
  Text<N> text{};
  text.fill(' ');
  return text;
}

// Copies s into text, cut at N characters and padded with blanks.
template <std::size_t N>
void SetText(Text<N>& text, std::string_view s) {
  const std::size_t n = std::min(s.size(), N);
  std::copy_n(s.data(), n, text.data());
  std::fill(text.begin() + n, text.end(), ' ');
}

template <std::size_t N>
Text<N> MakeText(std::string_view s) {
  Text<N> text;
  SetText(text, s);
  return text;
}

template <std::size_t N>
constexpr std::string_view View(const Text<N>& text) {
  return {text.data(), N};
}

inline std::string_view TrimRight(std::string_view s) {
  const std::size_t end = s.find_last_not_of(' ');
  return end == std::string_view::npos ? std::string_view{} : s.substr(0, end + 1);
}

inline std::string_view TrimLeft(std::string_view s) {
  const std::size_t begin = s.find_first_not_of(' ');
  return begin == std::string_view::npos ? std::string_view{} : s.substr(begin);
}

inline std::string_view Trim(std::string_view s) {
  return TrimRight(TrimLeft(s));
}

inline bool IsBlank(std::string_view s) {
  return s.find_first_not_of(' ') == std::string_view::npos;
}

// Moves the leading blanks of a text to its end.
inline void LeftJustify(std::span<char> text) {
  std::size_t first = 0;
  while (first < text.size() && text[first] == ' ') ++first;
  if (first == 0 || first == text.size()) return;
  std::copy(text.begin() + first, text.end(), text.begin());
  std::fill(text.end() - first, text.end(), ' ');
}

// A line that is refilled over and over, as a loader's current card is:
// only the columns that the previous text used are blanked again.
class LineBuffer {
 public:
  // Holds text, cut at kLineLength, blank-padded.
  void Assign(std::string_view text) {
    const std::size_t n = std::min(text.size(), kLineLength);
    std::copy_n(text.data(), n, line_.data());
    if (n < used_) std::fill(line_.data() + n, line_.data() + used_, ' ');
    used_ = n;
  }
  const Line& line() const { return line_; }

 private:
  Line line_ = BlankText<kLineLength>();
  std::size_t used_ = 0;  // columns past this are blank
};

}  // namespace quorb

#endif  // QUORB_SERVICES_FIXEDTEXT_H_

// Fixed-length, blank-padded texts: the one string form inside the library.
#ifndef QUORB_SERVICES_FIXEDTEXT_H_
#define QUORB_SERVICES_FIXEDTEXT_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
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

// Copies and fills whose length is known only at run time are compiled to
// rep-prefixed string instructions, which start slowly; texts this short go
// faster as fixed-size pieces, the last one overlapping the one before.
namespace text_detail {

template <std::size_t kPiece, class Op>
void InPieces(std::size_t n, const Op& op) {
  std::size_t at = 0;
  for (; at + kPiece <= n; at += kPiece) op(at);
  if (at < n) op(n - kPiece);
}

}  // namespace text_detail

// Sets the n characters at out to blanks.
inline void FillBlanks(char* out, std::size_t n) {
  if (n >= 32) {
    text_detail::InPieces<32>(n, [out](std::size_t at) { std::memset(out + at, ' ', 32); });
  } else if (n >= 8) {
    text_detail::InPieces<8>(n, [out](std::size_t at) { std::memset(out + at, ' ', 8); });
  } else {
    for (std::size_t i = 0; i < n; ++i) out[i] = ' ';
  }
}

// Copies the n characters at in to out; the two must not overlap.
inline void CopyChars(const char* in, std::size_t n, char* out) {
  if (n >= 32) {
    text_detail::InPieces<32>(n, [in, out](std::size_t at) { std::memcpy(out + at, in + at, 32); });
  } else if (n >= 8) {
    text_detail::InPieces<8>(n, [in, out](std::size_t at) { std::memcpy(out + at, in + at, 8); });
  } else {
    for (std::size_t i = 0; i < n; ++i) out[i] = in[i];
  }
}

// Fills line with text, cut at kLineLength, and blanks after it.
inline void SetLine(Line& line, std::string_view text) {
  const std::size_t n = std::min(text.size(), kLineLength);
  CopyChars(text.data(), n, line.data());
  FillBlanks(line.data() + n, kLineLength - n);
}

// A line that is refilled over and over, as a loader's current card is:
// only the columns that the previous text used are blanked again.
class LineBuffer {
 public:
  // Holds text, cut at kLineLength, blank-padded.
  void Assign(std::string_view text) {
    const std::size_t n = std::min(text.size(), kLineLength);
    CopyChars(text.data(), n, line_.data());
    if (n < used_) FillBlanks(line_.data() + n, used_ - n);
    used_ = n;
  }
  const Line& line() const { return line_; }
  // The text last assigned, as far as it went.
  std::string_view text() const { return {line_.data(), used_}; }

 private:
  Line line_ = BlankText<kLineLength>();
  std::size_t used_ = 0;  // columns past this are blank
};

}  // namespace quorb

#endif  // QUORB_SERVICES_FIXEDTEXT_H_

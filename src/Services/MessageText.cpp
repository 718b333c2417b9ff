#include "Services/MessageText.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace quorb {

MessageText& MessageText::Add(std::string_view s) {
  const std::size_t n = std::min(s.size(), kLength - used_);
  std::copy_n(s.data(), n, text_.data() + used_);
  used_ += n;
  return *this;
}

MessageText& MessageText::AddRight(int64_t value, int width) {
  if (width <= 0) return *this;
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  const auto length = static_cast<std::size_t>(end - digits);
  const auto columns = static_cast<std::size_t>(width);
  if (length > columns) return Add(std::string(columns, '*'));
  // Blanks past the end of the text would be cut anyway.
  Add(std::string(std::min(columns - length, kLength), ' '));
  return Add({digits, length});
}

MessageText& MessageText::AddInt(int64_t value) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  return Add({digits, static_cast<std::size_t>(end - digits)});
}

MessageText& MessageText::AddReal(double value) {
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  return Add({digits, static_cast<std::size_t>(end - digits)});
}

}  // namespace quorb

// Builder for the 128-character, blank-padded message texts of the library.
#ifndef QUORB_SERVICES_MESSAGETEXT_H_
#define QUORB_SERVICES_MESSAGETEXT_H_

#include <cstdint>
#include <string_view>

#include "Services/FixedText.h"

namespace quorb {

class MessageText {
 public:
  static constexpr std::size_t kLength = 128;

  MessageText() : text_(BlankText<kLength>()) {}

  // Appends text; whatever passes column 128 is cut.
  MessageText& Add(std::string_view s);
  // Appends an integer right-aligned in width columns, or width asterisks
  // when it does not fit.
  MessageText& AddRight(int64_t value, int width);
  // Appends an integer in as few digits as it needs.
  MessageText& AddInt(int64_t value);
  // Appends a double in its shortest exact form.
  MessageText& AddReal(double value);

  // The whole 128-character text.
  std::string_view View() const { return quorb::View(text_); }

 private:
  Text<kLength> text_;
  std::size_t used_ = 0;
};

}  // namespace quorb

#endif  // QUORB_SERVICES_MESSAGETEXT_H_

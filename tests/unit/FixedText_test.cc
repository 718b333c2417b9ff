#include "Services/FixedText.h"

#include <gtest/gtest.h>

#include <string>

namespace quorb {
namespace {

TEST(FixedTextTest, ALineBufferHoldsOnlyItsLatestText) {
  LineBuffer buffer;
  EXPECT_TRUE(IsBlank(View(buffer.line())));
  buffer.Assign(std::string(600, 'x'));  // cut at the line length
  EXPECT_EQ(View(buffer.line()), std::string(kLineLength, 'x'));
  buffer.Assign("short");
  EXPECT_EQ(View(buffer.line()), View(MakeText<kLineLength>("short")));
  buffer.Assign("");
  EXPECT_TRUE(IsBlank(View(buffer.line())));
  buffer.Assign("a longer text after an empty one");
  EXPECT_EQ(View(buffer.line()), View(MakeText<kLineLength>("a longer text after an empty one")));
}

TEST(FixedTextTest, LeftJustifyMovesLeadingBlanksToTheEnd) {
  Text<8> text = MakeText<8>("  ab c");
  LeftJustify(text);
  EXPECT_EQ(View(text), "ab c    ");
  Text<4> blank = BlankText<4>();
  LeftJustify(blank);
  EXPECT_EQ(View(blank), "    ");
}

}  // namespace
}  // namespace quorb

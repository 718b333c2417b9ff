#include "Services/FixedText.h"

#include <gtest/gtest.h>

#include <string>

namespace quorb {
namespace {

// Every length a line can take, so that each way of splitting it into
// pieces is crossed; the characters either side must stay.
TEST(FixedTextTest, FillsAndCopiesTouchExactlyTheirCharacters) {
  std::string source(kLineLength, ' ');
  for (std::size_t i = 0; i < source.size(); ++i) source[i] = static_cast<char>('a' + i % 26);
  for (std::size_t n = 0; n <= kLineLength; ++n) {
    std::string filled(kLineLength + 2, 'x');
    FillBlanks(filled.data() + 1, n);
    ASSERT_EQ(filled, "x" + std::string(n, ' ') + std::string(kLineLength - n, 'x') + "x") << n;

    std::string copied(kLineLength + 2, 'x');
    CopyChars(source.data(), n, copied.data() + 1);
    ASSERT_EQ(copied, "x" + source.substr(0, n) + std::string(kLineLength - n, 'x') + "x") << n;
  }
}

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

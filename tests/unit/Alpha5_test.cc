#include "Services/Alpha5.h"

#include <gtest/gtest.h>

#include <string>

namespace quorb {
namespace {

TEST(Alpha5, EveryNumberReadsBackAndLettersSkipIAndO) {
  for (int32_t num = 0; num <= 339999; ++num) ASSERT_EQ(Alpha5ToNum(View(NumToAlpha5(num))), num);
  std::string texts;
  for (const int32_t num : {7, 25544, 100000, 179999, 180000, 229999, 230000, 339999, 340000, -1}) {
    texts += std::string(View(NumToAlpha5(num))) + " ";
  }
  EXPECT_EQ(texts, "00007 25544 A0000 H9999 J0000 N9999 P0000 Z9999 ***** ***** ");
}

TEST(Alpha5, BlanksAndUnreadableTexts) {
  EXPECT_EQ(Alpha5ToNum("     "), 0);
  EXPECT_EQ(Alpha5ToNum(""), 0);
  EXPECT_EQ(Alpha5ToNum("  123"), 123);
  for (const char* bad :
       {"12", "I0000", "O1234", "a0000", "@0000", "[0000", " A123", "12 34", "1234*", "-1234"}) {
    EXPECT_EQ(Alpha5ToNum(bad), -1) << bad;
  }
}

}  // namespace
}  // namespace quorb

#include "Services/MessageText.h"

#include <gtest/gtest.h>

#include <string>

namespace quorb {
namespace {

std::string Trimmed(const MessageText& msg) {
  return std::string(TrimRight(msg.View()));
}

TEST(MessageText, BuildsBlankPadded128ColumnLines) {
  MessageText msg;
  msg.Add("Key=").AddRight(4611686018427387904, 19).Add(" n=").AddInt(-12).Add(" x=").AddReal(0.1);
  EXPECT_EQ(Trimmed(msg), "Key=4611686018427387904 n=-12 x=0.1");
  EXPECT_EQ(Trimmed(MessageText().AddRight(42, 5).AddReal(1e20)), "   421e+20");
  EXPECT_EQ(Trimmed(MessageText().AddRight(-123456, 5).Add("|")), "*****|");
  msg = MessageText();
  msg.Add(std::string(120, 'a')).AddRight(123456789, 19).AddInt(5);
  EXPECT_EQ(msg.View(), std::string(120, 'a') + std::string(8, ' '));
  EXPECT_EQ(MessageText().AddRight(42, 1'000'000'000).View(), std::string(128, ' '));
}

}  // namespace
}  // namespace quorb

#include <gtest/gtest.h>

#include <string>

#include "Services/TraceLog.h"

namespace {

std::string LastError() {
  char buf[128];
  TraceLogLastError(buf, sizeof buf);
  return buf;
}

TEST(KeyModes, InvalidModesAreLoggedAndChangeNothing) {
  EXPECT_EQ(ElsetKeyModeGet() + AllKeyModeGet() + UseAllKeyMode() + DupKeyModeGet(), 0);
  ElsetKeyModeSet(1);
  ElsetKeyModeSet(2);
  EXPECT_EQ(LastError(), "ElsetKeyModeSet: Invalid key mode 2 (valid=0 or 1).");
  EXPECT_EQ(ElsetKeyModeGet(), 1);
  AllKeyModeSet(-7);
  EXPECT_EQ(LastError(), "AllKeyModeSet: Invalid key mode -7 (valid=0 or 1).");
  EXPECT_EQ(UseAllKeyMode(), 0);
  DupKeyModeSet(-42);  // any duplicate mode is taken
  EXPECT_EQ(DupKeyModeGet(), -42);
}

TEST(KeyModes, AllTypesModeRulesUntilCleared) {
  for (const int32_t mode : {1, 0}) {
    AllKeyModeSet(mode);
    EXPECT_EQ(UseAllKeyMode(), 1);
    EXPECT_EQ(AllKeyModeGet(), mode);
    AllKeyModeClear();
    EXPECT_EQ(UseAllKeyMode(), 0);
  }
}

}  // namespace

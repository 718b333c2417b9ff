// Helpers of the file-loading tests: a fresh directory per test, captured
// trace-log lines, card sets built by column, and a clean store and key modes.
#ifndef QUORB_TESTS_UNIT_LOADTESTSUPPORT_H_
#define QUORB_TESTS_UNIT_LOADTESTSUPPORT_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include "Quorb/QuorbFileLoading.h"
#include "Quorb/QuorbTree.h"
#include "quorb/quorb_services.h"

namespace quorb::loadtest {

// 1P card of the worked example; the 2P card is made per satellite and day.
inline const std::string k1P =
    "   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P";

// A valid 2P card of satNum at noon of day (of 2025); coordSys may be made
// invalid to have the card set rejected.
inline std::string Card2P(int satNum, int day, const char* coordSys = "MMJ2K") {
  char card[96];
  std::snprintf(card, sizeof card,
                "%05d 98067A    25%03d120000.000  12345  999     0.012      0.02       0.0%.5s2P",
                satNum, day, coordSys);
  return card;
}

inline std::string CardSet(int satNum, int day) {
  return k1P + "\n" + Card2P(satNum, day) + "\n";
}

// A maneuver card: 'M' in column 80 and the card number in column 79.
inline std::string ManeuverCard(int tag, char number = '1') {
  std::string card(80, ' ');
  const std::string text = "MANEUVER " + std::to_string(tag);
  card.replace(0, text.size(), text);
  card[78] = number;
  card[79] = 'M';
  return card;
}

inline std::string Totals(int loaded, int dup, int bad) {
  return "Total Quorbs = " + std::to_string(loaded + dup + bad) +
         ", Loaded = " + std::to_string(loaded) + ", Dup = " + std::to_string(dup) +
         ", Bad = " + std::to_string(bad);
}

inline void ResetStoreAndModes() {
  QuorbEmptyTree();
  ElsetKeyModeSet(0);
  AllKeyModeClear();
  DupKeyModeSet(0);
}

// Store and key modes reset, a fresh directory and every trace-log line
// captured for the length of one test.
class LoadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetStoreAndModes();
    std::string pattern = (std::filesystem::temp_directory_path() / "quorb-load-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    TraceLogSetSink(&Collect, this);
  }

  void TearDown() override {
    TraceLogSetSink(nullptr, nullptr);
    ResetStoreAndModes();
    std::filesystem::remove_all(dir_);
  }

  // Writes content to a file of the test directory and returns its path.
  std::string WriteFile(const std::string& name, const std::string& content) {
    const std::filesystem::path path = dir_ / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path.string();
  }

  std::string ReadFile(const std::string& path) const {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

  static int32_t Load(const std::string& path) {
    return QuorbLoadFileText(MakeText<kLineLength>(path));
  }

  static int32_t Save(const std::string& path, int32_t saveMode = 0) {
    return QuorbSaveFileText(MakeText<kLineLength>(path), saveMode);
  }

  using LoggedLine = std::pair<int32_t, std::string>;  // level, text

  // Every line logged so far, in order.
  std::vector<LoggedLine> AllLines() const {
    std::lock_guard lock(mutex_);
    return lines_;
  }

  void ClearLines() {
    std::lock_guard lock(mutex_);
    lines_.clear();
  }

  std::vector<std::string> InfoLines() const { return Lines(0); }
  std::vector<std::string> ErrorLines() const { return Lines(1); }

  int CountInfo(const std::string& line) const {
    const std::vector<std::string> info = InfoLines();
    return static_cast<int>(std::count(info.begin(), info.end(), line));
  }

  // The last totals line logged, or "" when there is none.
  std::string LastTotals() const {
    const std::vector<std::string> info = InfoLines();
    for (auto it = info.rbegin(); it != info.rend(); ++it) {
      if (it->starts_with("Total Quorbs = ")) return *it;
    }
    return "";
  }

  std::filesystem::path dir_;

 private:
  static void Collect(int32_t level, const char* msg, int32_t len, void* user) {
    auto* self = static_cast<LoadTest*>(user);
    std::lock_guard lock(self->mutex_);
    self->lines_.push_back({level, std::string(msg, len)});
  }

  std::vector<std::string> Lines(int32_t level) const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> out;
    for (const auto& [lineLevel, text] : lines_) {
      if (lineLevel == level) out.push_back(text);
    }
    return out;
  }

  mutable std::mutex mutex_;
  std::vector<LoggedLine> lines_;
};

}  // namespace quorb::loadtest

#endif  // QUORB_TESTS_UNIT_LOADTESTSUPPORT_H_

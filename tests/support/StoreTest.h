// What the tests share (and of the standard library): example card sets, a
// valid vector's fields, and a fixture that starts each test from an empty
// store, the initial key modes, a fresh directory and the trace log captured.
#ifndef QUORB_TESTS_SUPPORT_STORETEST_H_
#define QUORB_TESTS_SUPPORT_STORETEST_H_

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "quorb/quorb.h"
#include "quorb/quorb_services.h"
#include "support/HostFields.h"

namespace quorb::test {

inline const std::string k1P =
    "   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P";
inline const std::string k2P =
    "25544 98067A    25123120000.000  12345  999     0.012      0.02       0.0MMJ2K2P";

// text with its columns from first (1-based) on replaced by part.
inline std::string WithColumns(std::string text, std::size_t first, std::string_view part) {
  text.resize(std::max(text.size(), first - 1 + part.size()), ' ');
  return text.replace(first - 1, part.size(), part);
}

// A valid 2P card of satNum at noon of day (of 2025); another coordSys makes
// it one that validation rejects.
inline std::string Card2P(int satNum, int day, const char* coordSys = "MMJ2K") {
  char card[96];
  std::snprintf(card, sizeof card,
                "%05d 98067A    25%03d120000.000  12345  999     0.012      0.02       0.0%.5s2P",
                satNum, day, coordSys);
  return card;
}

inline std::string CardSet(int satNum, int day, const char* coordSys = "MMJ2K") {
  return k1P + "\n" + Card2P(satNum, day, coordSys) + "\n";
}

// The card number in column 79 and 'M' in column 80.
inline std::string ManeuverCard(int tag, char number = '1') {
  return WithColumns("MANEUVER " + std::to_string(tag), 79, std::string{number, 'M'});
}

inline std::string Totals(int loaded, int dup, int bad) {
  return "Total Quorbs = " + std::to_string(loaded + dup + bad) +
         ", Loaded = " + std::to_string(loaded) + ", Dup = " + std::to_string(dup) +
         ", Bad = " + std::to_string(bad);
}

// The fields a host passes one by one, holding a valid vector.
struct FieldsIn {
  double pos[3] = {7000.0, -100.5, 12.25};
  double vel[3] = {10.0, 7400.0, -3.5};
  char secClass = 'U';
  int32_t satNum = 25544;
  std::string intlDesig = "98067A";
  std::string epoch = "25123120000.000";
  int32_t revNum = 7, elsetNum = 8;
  double bTerm = 0.01, agom = 0.02, inTrackThrust = 0.0;
  std::string coordSys = "MMJ2K";

  int64_t Add() const {
    return QuorbAddSatFrFields(pos, vel, secClass, satNum, intlDesig.c_str(), epoch.c_str(), revNum,
                               elsetNum, bTerm, agom, inTrackThrust, coordSys.c_str());
  }
  int32_t Update(int64_t key) const {
    return QuorbUpdateSatFrFields(key, pos, vel, secClass, intlDesig.c_str(), revNum, elsetNum,
                                  bTerm, agom, inTrackThrust, coordSys.c_str());
  }
};

inline std::string LastError() {
  char line[600];
  TraceLogLastError(line, sizeof line);
  return line;
}

// The text of an out array of n bytes, trailing blanks removed.
inline std::string Out(const char* text, std::size_t n) {
  const std::string s(text, n);
  return s.substr(0, s.find_last_not_of(' ') + 1);
}

inline void WriteFileText(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

inline std::string ReadFileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void ResetStoreAndModes() {
  QuorbRemoveAllSats();
  ElsetKeyModeSet(0);
  AllKeyModeClear();
  DupKeyModeSet(0);
}

// Every trace-log line delivered while it lives, from any thread.
class LogCapture {
 public:
  LogCapture() { TraceLogSetSink(&Collect, this); }
  ~LogCapture() { TraceLogSetSink(nullptr, nullptr); }

  std::vector<std::pair<int32_t, std::string>> AllLines() const {
    std::lock_guard lock(mutex_);
    return lines_;
  }
  void ClearLines() {
    std::lock_guard lock(mutex_);
    lines_.clear();
  }
  // The lines of one level: 1 errors, 0 information.
  std::vector<std::string> Lines(int32_t level) const {
    std::vector<std::string> out;
    for (const auto& [lineLevel, text] : AllLines()) {
      if (lineLevel == level) out.push_back(text);
    }
    return out;
  }
  std::vector<std::string> Errors() const { return Lines(1); }
  // The last totals line logged, or "" when there is none.
  std::string LastTotals() const {
    const std::vector<std::string> info = Lines(0);
    const auto it = std::find_if(info.rbegin(), info.rend(),
                                 [](const std::string& l) { return l.starts_with("Total"); });
    return it == info.rend() ? "" : *it;
  }

 private:
  static void Collect(int32_t level, const char* msg, int32_t len, void* user) {
    auto* self = static_cast<LogCapture*>(user);
    std::lock_guard lock(self->mutex_);
    self->lines_.emplace_back(level, std::string(msg, len));
  }

  mutable std::mutex mutex_;
  std::vector<std::pair<int32_t, std::string>> lines_;
};

// The calling thread's load reports, one line per entry: "file:line kind
// message" for dropped lines, "end total/loaded/dup/bad status" at the end.
class ReportCapture {
 public:
  ReportCapture() { LoadReportSetSink(&Collect, this); }
  ~ReportCapture() { LoadReportSetSink(nullptr, nullptr); }
  std::vector<std::string> entries;

 private:
  static void Collect(const LoadReportEntry* e, void* user) {
    static const char* const kKinds[] = {
        "end",        "rejected",     "no-1P",      "no-2P",        "no-key",          "duplicate",
        "not-stored", "unrecognised", "not-opened", "keyed-unused", "maneuver-dropped"};
    const std::string file = std::filesystem::path(std::string(e->file, e->fileLen)).filename();
    std::string text = e->kind == LOAD_REPORT_END
                           ? "end " + std::to_string(e->total) + "/" + std::to_string(e->loaded) +
                                 "/" + std::to_string(e->dup) + "/" + std::to_string(e->bad) + " " +
                                 std::to_string(e->status)
                           : file + ":" + std::to_string(e->line) + " " + kKinds[e->kind];
    if (e->message != nullptr) text += " " + std::string(e->message, e->messageLen);
    static_cast<ReportCapture*>(user)->entries.push_back(text);
  }
};

class StoreTest : public ::testing::Test, public LogCapture {
 protected:
  void SetUp() override {
    ResetStoreAndModes();
    std::string pattern = (std::filesystem::temp_directory_path() / "quorb-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    ResetStoreAndModes();
    std::filesystem::remove_all(dir_);
  }

  // Writes content to a file of the test directory and returns its path.
  std::string WriteFile(const std::string& name, const std::string& content) {
    const std::filesystem::path path = dir_ / name;
    std::filesystem::create_directories(path.parent_path());
    WriteFileText(path.string(), content);
    return path.string();
  }
  static int32_t Load(const std::string& path) { return QuorbLoadFile(path.c_str()); }

  std::filesystem::path dir_;
};

}  // namespace quorb::test

#endif  // QUORB_TESTS_SUPPORT_STORETEST_H_

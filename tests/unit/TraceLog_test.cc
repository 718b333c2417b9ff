#include "Services/TraceLog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace quorb {
namespace {

std::vector<std::string> sunk;  // "level:text" of each line the sink received

void Record(int32_t level, const char* msg, int32_t len, void*) {
  sunk.push_back(std::to_string(level) + ":" + std::string(msg, len));
}

TEST(TraceLog, LinesGoTrimmedToFileSinkAndSlots) {
  const std::string path = testing::TempDir() + "trace_" + std::to_string(::getpid()) + ".log";
  std::remove(path.c_str());
  ASSERT_EQ(TraceLogOpen(path.c_str()), 0);
  TraceLogSetSink(Record, nullptr);
  TraceLogError(std::string(128, ' ').replace(0, 11, "Lines2Quorb"));
  TraceLogInfo("two\nparts\r ");
  TraceLogClose();
  TraceLogInfo("after close");
  ASSERT_EQ(TraceLogOpen(path.c_str()), 0);  // appends
  TraceLogSetSink(nullptr, nullptr);
  TraceLogError("0123456789");
  TraceLogClose();
  EXPECT_EQ(TraceLogOpen("/nonexistent-dir/trace.log"), 2);

  std::ifstream file(path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}),
            "Lines2Quorb\ntwo parts\n0123456789\n");
  EXPECT_EQ(sunk, (std::vector<std::string>{"1:Lines2Quorb", "0:two parts", "0:after close"}));
  char buf[4];
  EXPECT_EQ(TraceLogLastError(buf, sizeof buf), 10);  // cut to the buffer, full length told
  EXPECT_STREQ(buf, "012");
  EXPECT_EQ(TraceLogLastInfo(nullptr, 0), 11);
  std::remove(path.c_str());
}

TEST(TraceLog, EachThreadKeepsItsOwnLastLinesWhileTheSinkRunsConcurrently) {
  std::atomic<int> delivered{0};
  TraceLogSetSink(
      [](int32_t, const char*, int32_t, void* n) { ++*static_cast<std::atomic<int>*>(n); },
      &delivered);
  constexpr int kThreads = 8;
  constexpr int kLines = 2000;
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &mismatches] {
      if (TraceLogLastInfo(nullptr, 0) != 0) ++mismatches;  // a new thread has no line yet
      for (int i = 0; i < kLines; ++i) {
        const std::string mine = "T" + std::to_string(t) + " line " + std::to_string(i);
        (i % 2 ? TraceLogError : TraceLogInfo)(mine + "   ");
        char buf[64];
        (i % 2 ? TraceLogLastError : TraceLogLastInfo)(buf, sizeof buf);
        if (mine != buf) ++mismatches;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  TraceLogSetSink(nullptr, nullptr);
  EXPECT_EQ(mismatches.load(), 0);
  EXPECT_EQ(delivered.load(), kThreads * kLines);
}

}  // namespace
}  // namespace quorb

#include "Services/FileUnits.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Services/TraceLog.h"

namespace quorb {
namespace {

using Lines = std::vector<std::string>;
using namespace std::string_literals;

std::string TempFile(const std::string& name, const std::string& bytes) {
  const std::string path = testing::TempDir() + "units_" + std::to_string(::getpid()) + name;
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

Lines ReadAll(int32_t unit) {
  Lines lines;
  for (Line line; UnitReadLine(unit, line);) lines.emplace_back(TrimRight(View(line)));
  return lines;
}

// The same lines through the unpadded view of the unit's buffer.
Lines ReadAllViews(int32_t unit) {
  Lines lines;
  for (std::string_view line; UnitReadLine(unit, line);) lines.emplace_back(line);
  return lines;
}

TEST(FileUnits, ReadsRecordsOfUpTo512Characters) {
  const std::string longLine = std::string(511, 'a') + "bc" + std::string(100, 'z');
  const std::string nul("x\0y", 3);
  const std::string path =
      TempFile("records", "first\r\n\n" + longLine + "\n" + nul + "\ncr\r\r\nlast");
  ASSERT_EQ(FileOpen(3, path + "   ", kFileModeRead, 1), 0);
  Line line;
  ASSERT_TRUE(UnitReadLine(3, line));
  EXPECT_EQ(View(line), View(MakeText<kLineLength>("first")));  // blank-padded
  EXPECT_EQ(ReadAll(3), (Lines{"", longLine.substr(0, 512), nul, "cr\r", "last"}));
  UnitRewind(3);
  EXPECT_EQ(ReadAll(3).size(), 6u);
  EXPECT_TRUE(UnitClose(3));
  EXPECT_FALSE(UnitReadLine(3, line));
}

TEST(FileUnits, LinesAcrossBufferBoundariesMatchTheFile) {
  std::mt19937 random(7);
  std::string bytes;
  Lines expected;
  while (bytes.size() < 1'500'000) {
    std::string line(random() % 700, '\0');
    for (char& c : line) c = static_cast<char>('!' + random() % 90);
    bytes += line + (random() % 4 ? "\n" : "\r\n");
    expected.push_back(line.substr(0, 512));
  }
  ASSERT_EQ(FileOpen(4, TempFile("big", bytes), kFileModeRead), 0);
  EXPECT_EQ(ReadAll(4), expected);
  UnitRewind(4);
  EXPECT_EQ(ReadAllViews(4), expected);
  UnitClose(4);
}

TEST(FileUnits, WriteTruncatesAndAppendCreatesOrAppends) {
  const std::string path = TempFile("out", "");
  std::remove(path.c_str());
  const std::string big(200'000, 'b');  // larger than the write buffer
  for (const std::string& text : {std::string("one"), big}) {
    ASSERT_EQ(FileOpen(8, path, kFileModeAppend), 0);
    EXPECT_TRUE(UnitWriteLine(8, text));
    ASSERT_TRUE(UnitClose(8));
  }
  ASSERT_EQ(FileOpen(3, path, kFileModeRead), 0);
  EXPECT_FALSE(UnitWriteLine(3, "read unit"));
  EXPECT_EQ(ReadAll(3), (Lines{"one", big.substr(0, 512)}));
  ASSERT_EQ(FileOpen(8, path, kFileModeWrite), 0);
  UnitRewind(3);
  EXPECT_TRUE(ReadAll(3).empty());
  UnitClose(3);
  UnitClose(8);
}

TEST(FileUnits, FailuresAreLoggedWithTheTrimmedName) {
  char message[600];
  for (const std::string& name : {TempFile("missing", "") + ".none", testing::TempDir(), ""s}) {
    EXPECT_EQ(FileOpen(3, name + "      ", kFileModeRead), 2);
    TraceLogLastError(message, sizeof message);
    EXPECT_EQ(message, "FileOpen: Cannot open file \"" + name + "\".");
  }
  EXPECT_EQ(FileOpen(3, "/nonexistent-dir/x", kFileModeWrite), 2);
  EXPECT_EQ(FileOpen(3, TempFile("mode9", ""), 9), 2);
}

TEST(FileUnits, UnitsBelongToTheirThread) {
  const std::string a = TempFile("a", "a1\na2\na3\n");
  const std::string b = TempFile("b", "b1\nb2\n");
  ASSERT_EQ(FileOpen(3, a, kFileModeRead), 0);
  ASSERT_EQ(FileOpen(4, b, kFileModeRead), 0);  // a nested file beside its parent
  Line line;
  ASSERT_TRUE(UnitReadLine(3, line));
  std::vector<Lines> seen(4);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      Line own;
      if (UnitReadLine(3, own) || FileOpen(3, t % 2 ? a : b, kFileModeRead) != 0) return;
      for (int pass = 0; pass < 200; ++pass, UnitRewind(3)) seen[t] = ReadAll(3);
    });
  }
  for (auto& thread : threads) thread.join();
  for (int t = 0; t < 4; ++t) EXPECT_EQ(seen[t].size(), t % 2 ? 3u : 2u);
  EXPECT_EQ(ReadAll(3), (Lines{"a2", "a3"}));
  EXPECT_EQ(ReadAll(4), (Lines{"b1", "b2"}));
  UnitClose(3);
  UnitClose(4);
}

}  // namespace
}  // namespace quorb

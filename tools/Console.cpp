#include "Console.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>

namespace quorb_cli {
namespace {

constexpr auto kProgressInterval = std::chrono::milliseconds(200);
constexpr double kBytesPerMegabyte = 1e6;
constexpr int kPercent = 100;

// An input file open for reading and how far its descriptor has read. The
// library reads through plain descriptors, whose offsets /proc shows.
struct ReadPosition {
  std::string path;
  double offset = 0;
  double size = 0;
};

std::optional<double> DescriptorOffset(const std::string& fd) {
  std::ifstream info("/proc/self/fdinfo/" + fd);
  std::string key;
  long long pos = 0;
  int flags = 0;
  while (info >> key) {
    if (key == "pos:") info >> pos;
    if (key == "flags:") info >> std::oct >> flags >> std::dec;
  }
  if ((flags & O_ACCMODE) != O_RDONLY) return std::nullopt;
  return static_cast<double>(pos);
}

std::optional<ReadPosition> LargestFileBeingRead() {
  std::optional<ReadPosition> largest;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
    const std::string fd = entry.path().filename().string();
    struct stat info;
    if (::fstat(std::stoi(fd), &info) != 0 || !S_ISREG(info.st_mode)) continue;
    const std::optional<double> offset = DescriptorOffset(fd);
    if (!offset || (largest && largest->size >= static_cast<double>(info.st_size))) continue;
    largest = ReadPosition{std::filesystem::read_symlink(entry.path(), error).filename().string(),
                           *offset, static_cast<double>(info.st_size)};
  }
  return largest;
}

std::string ProgressText(const ReadPosition& now, double bytesPerSecond) {
  char text[256];
  const double share = now.size > 0 ? now.offset / now.size : 1.0;
  if (bytesPerSecond <= 0) {
    std::snprintf(text, sizeof text, "loading %s %3.0f%%", now.path.c_str(), share * kPercent);
  } else {
    std::snprintf(text, sizeof text, "loading %s %3.0f%% %.1f MB/s %.0f s left", now.path.c_str(),
                  share * kPercent, bytesPerSecond / kBytesPerMegabyte,
                  (now.size - now.offset) / bytesPerSecond);
  }
  return text;
}

}  // namespace

void Console::Error(std::string_view line) {
  const std::lock_guard lock(mutex_);
  ClearProgress();
  std::cerr << line << '\n';
}

void Console::Progress(std::string_view text) {
  const std::lock_guard lock(mutex_);
  std::cerr << '\r' << text << "\033[K" << std::flush;
  progressShown_ = true;
}

void Console::EndProgress() {
  const std::lock_guard lock(mutex_);
  ClearProgress();
}

void Console::ClearProgress() {
  if (!progressShown_) return;
  std::cerr << "\r\033[K" << std::flush;
  progressShown_ = false;
}

LoadProgress::LoadProgress(Console& console) : console_(console) {
  if (::isatty(STDERR_FILENO)) thread_ = std::jthread([this](std::stop_token stop) { Run(stop); });
}

LoadProgress::~LoadProgress() {
  if (!thread_.joinable()) return;
  thread_.request_stop();
  thread_.join();
  console_.EndProgress();
}

void LoadProgress::Run(std::stop_token stop) {
  using Clock = std::chrono::steady_clock;
  std::mutex mutex;
  std::condition_variable_any wakeUp;
  std::unique_lock lock(mutex);
  std::optional<ReadPosition> first;
  Clock::time_point firstSeen;
  const auto stopped = [&stop] { return stop.stop_requested(); };
  while (!wakeUp.wait_for(lock, stop, kProgressInterval, stopped)) {
    const std::optional<ReadPosition> now = LargestFileBeingRead();
    if (!now) continue;
    // The rate is measured on one file from when it was first seen.
    if (!first || first->path != now->path || now->offset < first->offset) {
      first = now;
      firstSeen = Clock::now();
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - firstSeen).count();
    console_.Progress(
        ProgressText(*now, seconds > 0 ? (now->offset - first->offset) / seconds : 0));
  }
}

}  // namespace quorb_cli

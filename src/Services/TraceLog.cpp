// The trace log: each message becomes one line, delivered to the open log
// file, to the host's sink and into the calling thread's last-line slot.
#include "Services/TraceLog.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <utility>

#include "Services/FixedText.h"
#include "Services/Locks.h"

namespace quorb {
namespace {

enum Level : int32_t { kInfo = 0, kError = 1 };

std::FILE* logFile = nullptr;  // guarded by LogFileLock()

struct Sink {
  TraceLogSink fn = nullptr;
  void* user = nullptr;
};
Sink sink;  // guarded by SinkLock()

thread_local std::string lastLine[2];
// Set while this thread runs the sink: a line the sink itself causes is not
// handed back to it.
thread_local bool inSink = false;
// A sink that the sink itself set: it takes over once the sink returns, as
// the sink's own call holds the lock that setting takes.
thread_local std::optional<Sink> sinkSetBySink;
// Set while a TraceLogCapture of this thread lives.
thread_local std::vector<HeldLogLine>* heldLines = nullptr;
// Spans of TraceLogHoldBegin/End open on this thread, and the lines they held.
thread_local int holdDepth = 0;
thread_local std::vector<HeldLogLine> linesOnHold;
// Set while a TraceLogTap of this thread lives.
thread_local std::vector<std::string>* tapped = nullptr;

std::string MakeLine(std::string_view msg) {
  std::string line(msg);
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
  line.erase(TrimRight(line).size());
  return line;
}

void WriteToFile(const std::string& line) {
  std::lock_guard lock(LogFileLock());
  if (logFile == nullptr) return;
  std::fwrite(line.data(), 1, line.size(), logFile);
  std::fputc('\n', logFile);
  std::fflush(logFile);
}

void PassToSink(Level level, const std::string& line) {
  if (inSink) return;
  {
    std::shared_lock lock(SinkLock());
    if (sink.fn == nullptr) return;
    const auto length = static_cast<int32_t>(
        std::min<std::size_t>(line.size(), std::numeric_limits<int32_t>::max()));
    inSink = true;
    sink.fn(level, line.data(), length, sink.user);
    inSink = false;
  }
  if (sinkSetBySink) {
    std::unique_lock lock(SinkLock());
    sink = *std::exchange(sinkSetBySink, std::nullopt);
  }
}

void Send(Level level, std::string_view msg) {
  std::string line = MakeLine(msg);
  WriteToFile(line);
  PassToSink(level, line);
  lastLine[level] = std::move(line);
}

// A line is made here once, on the thread it belongs to, whenever it goes out.
void Deliver(Level level, std::string_view msg) {
  if (heldLines != nullptr) {  // made for the thread that delivers it later
    heldLines->push_back({level == kError, std::string(msg)});
    return;
  }
  if (tapped != nullptr) tapped->push_back(MakeLine(msg));
  if (holdDepth > 0) {
    linesOnHold.push_back({level == kError, std::string(msg)});
    return;
  }
  Send(level, msg);
}

int32_t CopyLastLine(Level level, char* buf, int32_t bufLen) {
  const std::string& line = lastLine[level];
  if (buf != nullptr && bufLen > 0) {
    const std::size_t n = std::min(line.size(), static_cast<std::size_t>(bufLen) - 1);
    std::memcpy(buf, line.data(), n);
    buf[n] = '\0';
  }
  return static_cast<int32_t>(
      std::min<std::size_t>(line.size(), std::numeric_limits<int32_t>::max()));
}

}  // namespace

void TraceLogError(std::string_view msg) {
  Deliver(kError, msg);
}

void TraceLogInfo(std::string_view msg) {
  Deliver(kInfo, msg);
}

TraceLogCapture::TraceLogCapture(std::vector<HeldLogLine>& into) : previous_(heldLines) {
  heldLines = &into;
}

TraceLogCapture::~TraceLogCapture() {
  heldLines = previous_;
}

void TraceLogDeliverHeld(const HeldLogLine& line) {
  Deliver(line.error ? kError : kInfo, line.text);
}

void TraceLogHoldBegin() {
  ++holdDepth;
}

void TraceLogHoldEnd() {
  if (--holdDepth > 0 || linesOnHold.empty()) return;
  // Taken out first: the sink may hold new lines while these go out.
  const std::vector<HeldLogLine> lines = std::exchange(linesOnHold, {});
  for (const HeldLogLine& line : lines) Send(line.error ? kError : kInfo, line.text);
}

TraceLogTap::TraceLogTap(std::vector<std::string>& into) : previous_(tapped) {
  tapped = &into;
}

TraceLogTap::~TraceLogTap() {
  tapped = previous_;
}

}  // namespace quorb

extern "C" {

// An earlier log file stays open when the new one cannot be opened.
int32_t TraceLogOpen(const char* path) {
  if (path == nullptr || *path == '\0') return QUORB_FAILED;
  std::FILE* file = std::fopen(path, "a");
  if (file == nullptr) return QUORB_FAILED;
  std::lock_guard lock(quorb::LogFileLock());
  if (quorb::logFile != nullptr) std::fclose(quorb::logFile);
  quorb::logFile = file;
  return 0;
}

void TraceLogClose(void) {
  std::lock_guard lock(quorb::LogFileLock());
  if (quorb::logFile != nullptr) std::fclose(quorb::logFile);
  quorb::logFile = nullptr;
}

void TraceLogSetSink(TraceLogSink sink, void* user) {
  const quorb::Sink next{sink, sink != nullptr ? user : nullptr};
  if (quorb::inSink) {
    quorb::sinkSetBySink = next;
    return;
  }
  std::unique_lock lock(quorb::SinkLock());
  quorb::sink = next;
}

int32_t TraceLogLastError(char* buf, int32_t bufLen) {
  return quorb::CopyLastLine(quorb::kError, buf, bufLen);
}

int32_t TraceLogLastInfo(char* buf, int32_t bufLen) {
  return quorb::CopyLastLine(quorb::kInfo, buf, bufLen);
}

}  // extern "C"

// File units on plain descriptors with buffers of their own: the loaders
// read millions of lines per second, which per-line stream calls cannot keep
// up with.
#include "Services/FileUnits.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "Services/TraceLog.h"
#include "quorb/quorb_services.h"

namespace quorb {
namespace {

constexpr std::size_t kReadBufferSize = 256 * 1024;
constexpr std::size_t kWriteBufferSize = 64 * 1024;
// A smaller file is scanned in one part: a second thread would cost more
// than it saves.
constexpr std::size_t kTwoPartScanBytes = std::size_t{4} << 20;
// Bytes read at a time while looking for the end of a line.
constexpr std::size_t kNewlineSearchChunk = 4096;

}  // namespace

class Unit {
 public:
  Unit(int fd, bool forWriting)
      : fd_(fd),
        forWriting_(forWriting),
        capacity_(forWriting ? kWriteBufferSize : kReadBufferSize),
        buffer_(std::make_unique_for_overwrite<char[]>(capacity_)) {}
  // Reads bytes [from, to) of fd's file, from a line's start, without
  // closing fd or moving its offset: one part of a file that several
  // threads read at once.
  Unit(int fd, off_t from, off_t to) : Unit(fd, false) {
    ownsFd_ = false;
    offset_ = from;
    limit_ = to;
  }
  Unit(const Unit&) = delete;
  Unit& operator=(const Unit&) = delete;
  ~Unit() { Close(); }

  bool forWriting() const { return forWriting_; }
  int fd() const { return fd_; }
  std::size_t bytes() const {
    struct stat status;
    return ::fstat(fd_, &status) == 0 && S_ISREG(status.st_mode)
               ? static_cast<std::size_t>(status.st_size)
               : 0;
  }
  int32_t lineNumber() const { return lineNumber_; }

  // The next line: its bytes before the newline, one carriage return before
  // the newline dropped, cut at kLineLength. The view points into the
  // buffer and stays valid until the next read or close.
  bool ReadLine(std::string_view& view) {
    if (!ReadNextLine(view)) return false;
    ++lineNumber_;
    return true;
  }

  // ReadLine for the next line whose first character passes wanted; most
  // lines before it are only counted, without a view being made.
  bool ReadLineBeginning(bool (*wanted)(char), std::string_view& view) {
    for (;;) {
      const char* start = buffer_.get() + begin_;
      const std::size_t pending = end_ - begin_;
      if (!skipping_ && pending != 0 && !wanted(*start)) {
        if (const auto* newline = static_cast<const char*>(std::memchr(start, '\n', pending))) {
          begin_ += static_cast<std::size_t>(newline - start) + 1;
          ++lineNumber_;
          continue;
        }
      }
      if (!ReadLine(view)) return false;
      if (!view.empty() && wanted(view.front())) return true;
    }
  }

  bool ReadLine(Line& line) {
    std::string_view view;
    if (!ReadLine(view)) return false;
    SetLine(line, view);
    return true;
  }

  bool WriteLine(std::string_view text) {
    Append(text);
    Append("\n");
    return !failed_;
  }

  bool Close() {
    if (fd_ < 0) return true;
    if (forWriting_) Flush();
    if (ownsFd_ && ::close(fd_) != 0 && forWriting_) failed_ = true;
    fd_ = -1;
    return !failed_;
  }

 private:
  bool ReadNextLine(std::string_view& view) {
    for (;;) {
      const char* start = buffer_.get() + begin_;
      const std::size_t pending = end_ - begin_;
      if (const auto* newline = static_cast<const char*>(std::memchr(start, '\n', pending))) {
        const auto length = static_cast<std::size_t>(newline - start);
        begin_ += length + 1;
        if (skipping_) {  // the end of a line already given out cut short
          skipping_ = false;
          continue;
        }
        view = LineOf(start, length);
        return true;
      }
      if (skipping_) {
        begin_ = end_;
      } else if (pending > kLineLength + 1) {
        // Longer than any line kept, whatever ends it: give out its start
        // and skip the rest on the next read.
        view = {start, kLineLength};
        begin_ += kLineLength;
        skipping_ = true;
        return true;
      }
      if (!Refill()) {
        if (skipping_ || begin_ == end_) return false;
        view = LineOf(buffer_.get() + begin_, end_ - begin_);  // no newline at the end
        begin_ = end_;
        return true;
      }
    }
  }

  static std::string_view LineOf(const char* start, std::size_t length) {
    if (length > 0 && start[length - 1] == '\r') --length;
    return {start, std::min(length, kLineLength)};
  }

  // Moves the bytes not yet read to the front of the buffer and reads more
  // behind them. Returns false when nothing more could be read.
  bool Refill() {
    const std::size_t pending = end_ - begin_;
    std::memmove(buffer_.get(), buffer_.get() + begin_, pending);
    begin_ = 0;
    end_ = pending;
    if (atEnd_) return false;
    const auto room = static_cast<std::size_t>(std::min<off_t>(capacity_ - end_, limit_ - offset_));
    ssize_t n;
    do {
      n = ::pread(fd_, buffer_.get() + end_, room, offset_);
    } while (n < 0 && errno == EINTR);
    if (n <= 0) {
      atEnd_ = true;  // end of file, or an error that ends the reading alike
      return false;
    }
    end_ += static_cast<std::size_t>(n);
    offset_ += n;
    return true;
  }

  void Append(std::string_view data) {
    while (!data.empty()) {
      if (end_ == capacity_) Flush();
      const std::size_t n = std::min(data.size(), capacity_ - end_);
      std::memcpy(buffer_.get() + end_, data.data(), n);
      end_ += n;
      data.remove_prefix(n);
    }
  }

  bool Flush() {
    WriteAll(buffer_.get(), end_);
    end_ = 0;
    return !failed_;
  }

  void WriteAll(const char* data, std::size_t size) {
    while (size > 0 && !failed_) {
      const ssize_t n = ::write(fd_, data, size);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        failed_ = true;
        return;
      }
      data += n;
      size -= static_cast<std::size_t>(n);
    }
  }

  int fd_;
  bool ownsFd_ = true;
  bool forWriting_;
  std::size_t capacity_;
  std::unique_ptr<char[]> buffer_;
  std::size_t begin_ = 0;  // reading: next unread byte
  std::size_t end_ = 0;    // reading: end of the bytes read; writing: bytes pending
  bool atEnd_ = false;
  bool skipping_ = false;   // reading: the rest of an over-long line is skipped
  int32_t lineNumber_ = 0;  // reading: lines given out since the start
  off_t offset_ = 0;        // reading: the file's next byte to read
  off_t limit_ = std::numeric_limits<off_t>::max();  // reading: where the part ends
  bool failed_ = false;
};

namespace {

struct OpenUnit {
  int32_t number;
  std::unique_ptr<Unit> unit;
};

// Each thread has its own units; they close when the thread ends. A thread
// has a handful open at once and looks one up for every line it reads, so
// a short list beats hashing.
thread_local std::vector<OpenUnit> units;

std::vector<OpenUnit>::iterator FindOpenUnit(int32_t unit) {
  return std::find_if(units.begin(), units.end(),
                      [unit](const OpenUnit& open) { return open.number == unit; });
}

Unit* FindUnit(int32_t unit) {
  const auto it = FindOpenUnit(unit);
  return it != units.end() ? it->unit.get() : nullptr;
}

// A descriptor for path in the given mode, or -1. Reading takes regular
// files only (O_NONBLOCK keeps a FIFO from blocking the check).
int OpenDescriptor(const std::string& path, int32_t mode) {
  switch (mode) {
    case kFileModeRead: {
      const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
      struct stat info;
      if (fd >= 0 && (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode))) {
        ::close(fd);
        return -1;
      }
      return fd;
    }
    case kFileModeWrite:
      return ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    case kFileModeAppend:
      return ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    default:
      return -1;
  }
}

}  // namespace

int32_t FileOpen(int32_t unit, std::string_view name, int32_t mode) {
  UnitClose(unit);
  const std::string path(TrimRight(name));
  const bool usable = !path.empty() && path.find('\0') == std::string::npos;
  const int fd = usable ? OpenDescriptor(path, mode) : -1;
  if (fd < 0) {
    TraceLogError("FileOpen: Cannot open file \"" + path + "\".");
    return QUORB_FAILED;
  }
  units.push_back({unit, std::make_unique<Unit>(fd, mode != kFileModeRead)});
  return 0;
}

bool UnitReadLine(int32_t unit, Line& line) {
  Unit* u = FindUnit(unit);
  return u != nullptr && !u->forWriting() && u->ReadLine(line);
}

bool UnitReadLine(int32_t unit, std::string_view& line) {
  Unit* u = FindUnit(unit);
  return u != nullptr && !u->forWriting() && u->ReadLine(line);
}

namespace {

// UnitFindLines over bytes [from, to) of fd's file, the lines numbered from
// the part's start; lines receives the count of all of them.
std::vector<NumberedLine> FindLinesInPart(int fd, off_t from, off_t to, const LineSearch& search,
                                          int32_t& lines) {
  Unit part(fd, from, to);
  std::vector<NumberedLine> found;
  std::string_view line;
  while (part.ReadLineBeginning(search.firstCharacter, line)) {
    if (search.wholeLine(line)) found.push_back({part.lineNumber(), std::string(line)});
  }
  lines = part.lineNumber();
  return found;
}

// The start of the first line after the newline at or past at; the file's
// size when there is none.
off_t NextLineStart(int fd, off_t at, off_t size) {
  char chunk[kNewlineSearchChunk];
  while (at < size) {
    const ssize_t n = ::pread(fd, chunk, sizeof chunk, at);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    if (const auto* newline = static_cast<const char*>(std::memchr(chunk, '\n', n))) {
      return at + (newline - chunk) + 1;
    }
    at += n;
  }
  return size;
}

}  // namespace

std::vector<NumberedLine> UnitFindLines(const Unit& unit, const LineSearch& search) {
  const std::size_t bytes = unit.bytes();
  const auto size = static_cast<off_t>(bytes);
  const off_t split = bytes >= kTwoPartScanBytes ? NextLineStart(unit.fd(), size / 2, size) : size;
  std::vector<NumberedLine> second;
  int32_t secondLines = 0;
  std::thread scanning;
  if (split < size) {
    try {
      scanning = std::thread(
          [&] { second = FindLinesInPart(unit.fd(), split, size, search, secondLines); });
    } catch (const std::system_error&) {
      // One part, then, read on this thread alone.
    }
  }
  int32_t firstLines = 0;
  const off_t firstEnd = scanning.joinable() ? split : std::numeric_limits<off_t>::max();
  std::vector<NumberedLine> found = FindLinesInPart(unit.fd(), 0, firstEnd, search, firstLines);
  if (!scanning.joinable()) return found;
  scanning.join();
  for (NumberedLine& line : second) {
    line.number += firstLines;
    found.push_back(std::move(line));
  }
  return found;
}

Unit* UnitForReading(int32_t unit) {
  Unit* u = FindUnit(unit);
  return u != nullptr && !u->forWriting() ? u : nullptr;
}

bool UnitReadLine(Unit& unit, std::string_view& line) {
  return unit.ReadLine(line);
}

std::size_t UnitBytes(const Unit& unit) {
  return unit.bytes();
}

int32_t UnitLineNumber(const Unit& unit) {
  return unit.lineNumber();
}

bool UnitWriteLine(int32_t unit, std::string_view text) {
  Unit* u = FindUnit(unit);
  return u != nullptr && u->forWriting() && u->WriteLine(text);
}

bool UnitClose(int32_t unit) {
  const auto it = FindOpenUnit(unit);
  if (it == units.end()) return true;
  const bool closed = it->unit->Close();
  units.erase(it);
  return closed;
}

}  // namespace quorb

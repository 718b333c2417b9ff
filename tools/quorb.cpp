// quorb: loads, checks and converts input files of satellite state vectors
// through the public C interface of libquorb.
//
//   quorb load FILE... [--order N] [--log PATH]
//   quorb check FILE
//   quorb convert IN OUT
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <limits>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "quorb/quorb.h"

namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 1;
constexpr std::size_t kLineLength = 512;  // the library's in-string and line length
constexpr std::size_t kCardLength = 80;

// ---- Strings at the library's interface ------------------------------------

// A host in-string: the text in a zero-filled array of N bytes, so that the
// library reads it up to the first zero byte. Longer texts are cut at N.
template <std::size_t N>
class InText {
 public:
  explicit InText(std::string_view text) {
    std::copy_n(text.begin(), std::min(text.size(), N), chars_.begin());
  }
  const char* data() const { return chars_.data(); }

 private:
  std::array<char, N> chars_{};
};

// The text of an out-string: N blank-padded bytes without terminator.
std::string OutText(const char* chars, std::size_t n) {
  std::string text(chars, n);
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

std::string_view TrimLeft(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

// ---- Terminal output --------------------------------------------------------

// Serialises what goes to stderr, so that library messages and the progress
// line shown on a terminal do not interleave.
class Console {
 public:
  void Error(std::string_view line) {
    const std::lock_guard lock(mutex_);
    ClearProgress();
    std::cerr << line << '\n';
  }
  void Progress(std::string_view text) {
    const std::lock_guard lock(mutex_);
    std::cerr << '\r' << text << "\033[K" << std::flush;
    progressShown_ = true;
  }
  void EndProgress() {
    const std::lock_guard lock(mutex_);
    ClearProgress();
  }

 private:
  void ClearProgress() {
    if (!progressShown_) return;
    std::cerr << "\r\033[K" << std::flush;
    progressShown_ = false;
  }

  std::mutex mutex_;
  bool progressShown_ = false;
};

// Shows, while it lives and only when stderr is a terminal, how many vectors
// the store has gained since it was made, updated every 200 ms.
class LoadProgress {
 public:
  LoadProgress(Console& console, std::string file) : console_(console), file_(std::move(file)) {
    if (::isatty(STDERR_FILENO)) {
      thread_ = std::jthread([this](std::stop_token stop) { Run(stop); });
    }
  }
  ~LoadProgress() {
    if (!thread_.joinable()) return;
    thread_.request_stop();
    thread_.join();
    console_.EndProgress();
  }
  LoadProgress(const LoadProgress&) = delete;
  LoadProgress& operator=(const LoadProgress&) = delete;

 private:
  void Run(std::stop_token stop) {
    const int32_t countBefore = QuorbGetCount();
    std::mutex mutex;
    std::condition_variable_any wakeUp;
    std::unique_lock lock(mutex);
    const auto stopped = [&stop] { return stop.stop_requested(); };
    while (!wakeUp.wait_for(lock, stop, std::chrono::milliseconds(200), stopped)) {
      const int32_t loaded = QuorbGetCount() - countBefore;
      console_.Progress("loading " + file_ + " ... " + std::to_string(loaded) + " vectors");
    }
  }

  Console& console_;
  const std::string file_;
  std::jthread thread_;
};

// ---- Trace log --------------------------------------------------------------

// Hands every trace log line to a handler while it lives.
class TraceLogCapture {
 public:
  using Handler = std::function<void(int32_t level, std::string_view line)>;

  explicit TraceLogCapture(Handler handler) : handler_(std::move(handler)) {
    TraceLogSetSink(&Deliver, this);
  }
  ~TraceLogCapture() { TraceLogSetSink(nullptr, nullptr); }
  TraceLogCapture(const TraceLogCapture&) = delete;
  TraceLogCapture& operator=(const TraceLogCapture&) = delete;

 private:
  static void Deliver(int32_t level, const char* msg, int32_t len, void* user) {
    static_cast<TraceLogCapture*>(user)->handler_(level, std::string_view(msg, len));
  }

  Handler handler_;
};

constexpr int32_t kErrorLevel = 1;

// ---- Loading ----------------------------------------------------------------

struct LoadResult {
  int32_t status = 0;
  std::string totals;  // the load's "Total Quorbs = ..." line, empty when none came
};

// A trace log handler that shows the library's error lines as they come.
TraceLogCapture::Handler ErrorsTo(Console& console) {
  return [&console](int32_t level, std::string_view line) {
    if (level == kErrorLevel) console.Error(line);
  };
}

// Loads one input file; error lines go to the console as they come.
LoadResult LoadFile(Console& console, const std::string& path) {
  LoadResult result;
  const TraceLogCapture::Handler showErrors = ErrorsTo(console);
  const TraceLogCapture capture([&](int32_t level, std::string_view line) {
    showErrors(level, line);
    if (level != kErrorLevel && StartsWith(line, "Total Quorbs")) result.totals = line;
  });
  const LoadProgress progress(console, path);
  result.status = QuorbLoadFile(InText<kLineLength>(path).data());
  return result;
}

// Loads every file, reporting each load's totals line; false when a load failed.
bool LoadFiles(Console& console, const std::vector<std::string>& paths,
               std::vector<std::string>& totals) {
  bool allLoaded = true;
  for (const std::string& path : paths) {
    const LoadResult result = LoadFile(console, path);
    if (!result.totals.empty()) totals.push_back(path + ": " + result.totals);
    if (result.status != 0) {
      console.Error("quorb: " + path + ": load failed with status " +
                    std::to_string(result.status));
      allLoaded = false;
    }
  }
  return allLoaded;
}

// Saves the store, replacing the file; returns the library's status.
int32_t SaveFile(Console& console, const std::string& path) {
  const TraceLogCapture capture(ErrorsTo(console));
  return QuorbSaveFile(InText<kLineLength>(path).data(), 0);
}

// ---- The table of stored vectors ---------------------------------------------

constexpr std::size_t kArraySize = 155;
constexpr std::size_t kControlsPos = 71;
constexpr std::size_t kCovarianceFirst = 100;

struct StoredVector {
  int64_t key = 0;
  int32_t satNum = 0;
  std::string intlDesig;
  std::string epoch;
  double pos[3] = {};
  double vel[3] = {};
  double bTerm = 0.0;
  double agom = 0.0;
  std::string coordSys;
  std::string extras;  // "ctl" with controls, "ctl+cov" with controls and covariance
};

// The array form writes the controls, and the covariance after them, only
// when the vector has controls: positions left untouched show what it lacks.
std::string ExtrasOf(int64_t key) {
  std::array<double, kArraySize> xa;
  xa.fill(std::numeric_limits<double>::quiet_NaN());
  char xs[kLineLength];
  if (QuorbDataToArray(key, xa.data(), xs) != 0 || std::isnan(xa[kControlsPos])) return "-";
  const bool hasCovariance = std::any_of(xa.begin() + kCovarianceFirst, xa.end(),
                                         [](double value) { return !std::isnan(value); });
  return hasCovariance ? "ctl+cov" : "ctl";
}

std::optional<StoredVector> ReadVector(int64_t key) {
  StoredVector v;
  v.key = key;
  char secClass, intlDesig[8], epoch[17], coordSys[5];
  int32_t revNum, elsetNum;
  double inTrackThrust;
  if (QuorbGetAllFields(key, v.pos, v.vel, &secClass, &v.satNum, intlDesig, epoch, &revNum,
                        &elsetNum, &v.bTerm, &v.agom, &inTrackThrust, coordSys) != 0) {
    return std::nullopt;
  }
  v.intlDesig = OutText(intlDesig, sizeof intlDesig);
  v.epoch = OutText(epoch, sizeof epoch);
  v.epoch.erase(0, v.epoch.find_first_not_of(' '));
  v.coordSys = OutText(coordSys, sizeof coordSys);
  v.extras = ExtrasOf(key);
  return v;
}

std::vector<int64_t> LoadedKeys(int32_t order) {
  std::vector<int64_t> keys(static_cast<std::size_t>(std::max(QuorbGetCount(), 0)));
  if (!keys.empty()) QuorbGetLoaded(order, keys.data());
  return keys;
}

void PrintTableHeader() {
  std::printf("%19s %9s %-8s %-17s %12s %12s %12s %12s %12s %12s %10s %10s %-5s %s\n", "key",
              "satNum", "desig", "epoch", "x km", "y km", "z km", "vx m/s", "vy m/s", "vz m/s",
              "bTerm", "agom", "coord", "extras");
}

void PrintTableRow(const StoredVector& v) {
  std::printf(
      "%19lld %9d %-8s %-17s %12.4f %12.4f %12.4f %12.4f %12.4f %12.4f %10.6g %10.6g %-5s %s\n",
      static_cast<long long>(v.key), v.satNum, v.intlDesig.c_str(), v.epoch.c_str(), v.pos[0],
      v.pos[1], v.pos[2], v.vel[0], v.vel[1], v.vel[2], v.bTerm, v.agom, v.coordSys.c_str(),
      v.extras.c_str());
}

void PrintStore(int32_t order) {
  PrintTableHeader();
  for (const int64_t key : LoadedKeys(order)) {
    if (const std::optional<StoredVector> vector = ReadVector(key)) PrintTableRow(*vector);
  }
}

// ---- Card sets read by the command itself ------------------------------------

struct NumberedLine {
  std::string text;  // padded with blanks to at least the card length
  int number = 0;
};

// What the loader makes of a line in its card pass.
enum class LineKind { kSkipped, kCard1P, kCard2P, kKeyedData, kOther };

std::string UpperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  return text;
}

bool IsManeuverCard(std::string_view line) {
  return line[kCardLength - 1] == 'M' && line[kCardLength - 2] >= '1' &&
         line[kCardLength - 2] <= '9';
}

LineKind Classify(std::string_view line) {
  if (line[0] == '*' || line.find_first_not_of(' ') == std::string_view::npos) {
    return LineKind::kSkipped;
  }
  if (IsManeuverCard(line)) return LineKind::kSkipped;
  const std::string upper = UpperCase(std::string(line));
  if (upper.compare(kCardLength - 3, 3, "B1P") == 0) return LineKind::kCard1P;
  if (upper.compare(kCardLength - 2, 2, "2P") == 0) return LineKind::kCard2P;
  if (StartsWith(upper, "POS_VEL_ECI_STATE") || StartsWith(upper, "RUN_OPTION_DC_ONLY")) {
    return LineKind::kKeyedData;
  }
  return LineKind::kOther;
}

// Reads a line as the loader does: a trailing carriage return dropped, cut at
// 512 characters and padded with blanks.
bool ReadLine(std::istream& in, NumberedLine& line) {
  if (!std::getline(in, line.text)) return false;
  ++line.number;
  if (!line.text.empty() && line.text.back() == '\r') line.text.pop_back();
  if (line.text.size() > kLineLength) line.text.resize(kLineLength);
  if (line.text.size() < kCardLength) line.text.resize(kCardLength, ' ');
  return true;
}

// The epoch as the loader keys it: blanks from the third character on read as zeros.
std::string EpochForKey(std::string epoch) {
  std::replace(epoch.begin() + 2, epoch.end(), ' ', '0');
  return epoch;
}

// The library's reasons for rejecting a card set; empty when it is valid and
// can be keyed. The store is not touched.
std::vector<std::string> CardSetErrors(const std::string& line1, const std::string& line2) {
  std::vector<std::string> errors;
  const TraceLogCapture capture([&](int32_t level, std::string_view line) {
    if (level == kErrorLevel) errors.emplace_back(line);
  });
  double pos[3], vel[3], bTerm, agom, inTrackThrust;
  char secClass, intlDesig[8], epoch[17], coordSys[5];
  int32_t satNum, revNum, elsetNum;
  if (QuorbParse(InText<kLineLength>(line1).data(), InText<kLineLength>(line2).data(), pos, vel,
                 &secClass, &satNum, intlDesig, epoch, &revNum, &elsetNum, &bTerm, &agom,
                 &inTrackThrust, coordSys) != 0) {
    if (errors.empty()) errors.emplace_back("invalid card set");
    return errors;
  }
  const std::string epochText(epoch, sizeof epoch);
  if (QuorbFieldsToSatKey(satNum, InText<20>(EpochForKey(epochText)).data()) != -1) return {};
  if (errors.empty()) {
    errors.push_back("no key for satellite " + std::to_string(satNum) + " at epoch '" +
                     OutText(epoch, sizeof epoch) + "'");
  }
  return errors;
}

struct CheckCounts {
  int cardSets = 0;
  int rejected = 0;
};

void Reject(const std::string& file, int lineNumber, const std::vector<std::string>& errors,
            CheckCounts& counts) {
  ++counts.rejected;
  for (const std::string& error : errors) {
    std::cout << file << ':' << lineNumber << ": " << TrimLeft(error) << '\n';
  }
}

// Pairs the 1P and 2P cards as the loader's card pass does and checks each
// pair: a 1P card waits until a 2P card comes, survives a rejected pair, and
// is dropped by any other line that is not skipped.
CheckCounts CheckCardSets(const std::string& file, std::istream& in) {
  CheckCounts counts;
  std::optional<NumberedLine> pending;
  NumberedLine line;
  while (ReadLine(in, line)) {
    switch (Classify(line.text)) {
      case LineKind::kSkipped:
        break;
      case LineKind::kCard1P:
        pending = line;
        break;
      case LineKind::kCard2P: {
        ++counts.cardSets;
        const std::vector<std::string> errors = pending
                                                    ? CardSetErrors(pending->text, line.text)
                                                    : std::vector<std::string>{"missing 1P card"};
        if (errors.empty()) {
          pending.reset();
        } else {
          Reject(file, line.number, errors, counts);
        }
        break;
      }
      case LineKind::kKeyedData:
        return counts;
      case LineKind::kOther:
        pending.reset();
        break;
    }
  }
  return counts;
}

// ---- Commands ---------------------------------------------------------------

int RunLoad(const std::vector<std::string>& files, int32_t order, const std::string& logPath) {
  Console console;
  if (!logPath.empty() && TraceLogOpen(logPath.c_str()) != 0) {
    console.Error("quorb: cannot open log file " + logPath);
    return kFailure;
  }
  std::vector<std::string> totals;
  const bool allLoaded = LoadFiles(console, files, totals);
  PrintStore(order);
  for (const std::string& line : totals) std::cout << line << '\n';
  TraceLogClose();
  return allLoaded ? kSuccess : kFailure;
}

int RunCheck(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    std::cerr << "quorb: cannot open " << file << '\n';
    return kFailure;
  }
  const CheckCounts counts = CheckCardSets(file, in);
  std::cout << file << ": " << counts.cardSets << " card sets, "
            << counts.cardSets - counts.rejected << " valid, " << counts.rejected << " rejected\n";
  return counts.rejected == 0 ? kSuccess : kFailure;
}

int RunConvert(const std::string& inFile, const std::string& outFile) {
  Console console;
  std::vector<std::string> totals;
  const bool loaded = LoadFiles(console, {inFile}, totals);
  for (const std::string& line : totals) std::cout << line << '\n';
  if (!loaded) return kFailure;
  const int32_t status = SaveFile(console, outFile);
  if (status != 0) {
    console.Error("quorb: " + outFile + ": save failed with status " + std::to_string(status));
    return kFailure;
  }
  std::cout << outFile << ": " << QuorbGetCount() << " vectors written\n";
  return kSuccess;
}

// Paths longer than the library's 512-byte path arrays cannot be passed whole.
std::string FitsPathArray(const std::string& path) {
  if (path.size() <= kLineLength) return {};
  return "path longer than " + std::to_string(kLineLength) + " characters";
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Loads, checks and converts input files of satellite state vectors.");
  app.require_subcommand(1);

  std::vector<std::string> loadFiles;
  int32_t order = 0;
  std::string logPath;
  CLI::App* load = app.add_subcommand("load", "Load files and print the stored vectors");
  load->add_option("FILE", loadFiles, "Input files")->required()->check(FitsPathArray);
  load->add_option("--order", order,
                   "Order of the table: 0 satellite number and epoch, 1 reverse, 2 load "
                   "order, other values ascending key")
      ->capture_default_str();
  load->add_option("--log", logPath, "Append the trace log to this file");

  std::string checkFile;
  CLI::App* check = app.add_subcommand("check", "Check the card sets of a file without loading");
  check->add_option("FILE", checkFile, "Input file")->required();

  std::string inFile, outFile;
  CLI::App* convert = app.add_subcommand("convert", "Load a file and save it as card sets");
  convert->add_option("IN", inFile, "Input file")->required()->check(FitsPathArray);
  convert->add_option("OUT", outFile, "Output file")->required()->check(FitsPathArray);

  CLI11_PARSE(app, argc, argv);

  if (load->parsed()) return RunLoad(loadFiles, order, logPath);
  if (check->parsed()) return RunCheck(checkFile);
  return RunConvert(inFile, outFile);
}

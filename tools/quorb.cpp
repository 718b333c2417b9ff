// quorb: loads, checks and converts input files of satellite state vectors
// through the public C interface of libquorb.
//
//   quorb load FILE... [--order N] [--format table|csv|json] [--summary] [--log PATH]
//   quorb check FILE...
//   quorb convert IN OUT
//   quorb --version
#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Console.h"
#include "HostText.h"
#include "VectorOutput.h"
#include "quorb/quorb.h"
#include "quorb/quorb_services.h"

namespace quorb_cli {
namespace {

// Exit statuses.
constexpr int kSuccess = 0;
constexpr int kDropped = 1;    // a load failed, or check found a line that added no vector
constexpr int kCannotRun = 2;  // a file could not be opened, or the arguments are wrong

constexpr int32_t kErrorLevel = 1;

// ---- The library's reports ----------------------------------------------------

// Hands every trace-log line to a handler while it lives.
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

// Hands every load report entry of this thread to a handler while it lives.
class ReportCapture {
 public:
  using Handler = std::function<void(const LoadReportEntry& entry)>;

  explicit ReportCapture(Handler handler) : handler_(std::move(handler)) {
    LoadReportSetSink(&Deliver, this);
  }
  ~ReportCapture() { LoadReportSetSink(nullptr, nullptr); }
  ReportCapture(const ReportCapture&) = delete;
  ReportCapture& operator=(const ReportCapture&) = delete;

 private:
  static void Deliver(const LoadReportEntry* entry, void* user) {
    static_cast<ReportCapture*>(user)->handler_(*entry);
  }

  Handler handler_;
};

// What a line that added no vector was, in words.
std::string Reason(const LoadReportEntry& entry) {
  static const std::map<int32_t, std::string_view> kReasons = {
      {LOAD_REPORT_REJECTED, "card set rejected"},
      {LOAD_REPORT_NO_1P, "2P card without its 1P card"},
      {LOAD_REPORT_NO_2P, "1P card without its 2P card"},
      {LOAD_REPORT_NO_KEY, "no key: its satellite number and epoch make none"},
      {LOAD_REPORT_DUPLICATE, "duplicate"},
      {LOAD_REPORT_NOT_STORED, "not stored"},
      {LOAD_REPORT_UNRECOGNISED, "not a card, keyword, comment or maneuver card"},
      {LOAD_REPORT_NOT_OPENED, "cannot open"},
      {LOAD_REPORT_KEYED_UNUSED, "keyed data added nothing"},
      {LOAD_REPORT_MANEUVER_DROPPED, "maneuver card past the 100th of its vector ignored"}};
  const auto known = kReasons.find(entry.kind);
  std::string reason(known != kReasons.end() ? known->second : "dropped");
  if (entry.message != nullptr && entry.kind != LOAD_REPORT_NO_1P) {
    reason += ": ";
    reason += TrimLeft(std::string_view(entry.message, entry.messageLen));
  }
  return reason;
}

// ---- Loading ----------------------------------------------------------------

struct LoadTotals {
  int64_t total = 0;
  int64_t loaded = 0;
  int64_t dup = 0;
  int64_t bad = 0;
  int64_t dropped = 0;  // report entries other than the ends
  bool allOpened = true;
  bool allSucceeded = true;  // every load returned 0

  void Add(const LoadReportEntry& entry) {
    if (entry.kind != LOAD_REPORT_END) {
      ++dropped;
      allOpened &= entry.kind != LOAD_REPORT_NOT_OPENED;
      return;
    }
    total += entry.total;
    loaded += entry.loaded;
    dup += entry.dup;
    bad += entry.bad;
    allSucceeded &= entry.status == 0;
  }
};

// Where a load's news goes: each report entry to onEntry (when set), and
// when showErrors is on, the library's error lines and failed loads to the
// console as they come. Totals lines, prefixed with their path, are kept.
struct LoadListeners {
  ReportCapture::Handler onEntry;
  bool showErrors = true;
  std::vector<std::string> totalsLines;
};

// Loads the files one after the other.
LoadTotals LoadFiles(Console& console, const std::vector<std::string>& paths,
                     LoadListeners& listeners) {
  LoadTotals totals;
  for (const std::string& path : paths) {
    const TraceLogCapture log([&](int32_t level, std::string_view line) {
      if (level == kErrorLevel) {
        if (listeners.showErrors) console.Error(line);
      } else if (line.starts_with("Total Quorbs")) {
        listeners.totalsLines.push_back(path + ": " + std::string(line));
      }
    });
    const ReportCapture report([&](const LoadReportEntry& entry) {
      totals.Add(entry);
      if (listeners.onEntry) listeners.onEntry(entry);
    });
    const LoadProgress progress(console);
    const int32_t status = QuorbLoadFile(InText<kLineLength>(path).data());
    if (status != 0 && listeners.showErrors) {
      console.Error("quorb: " + path + ": load failed with status " + std::to_string(status));
    }
  }
  return totals;
}

// ---- Commands ---------------------------------------------------------------

struct LoadOptions {
  std::vector<std::string> files;
  int32_t order = 0;
  VectorFormat format = VectorFormat::kTable;
  bool summary = false;
  std::string logPath;
};

int RunLoad(const LoadOptions& options) {
  Console console;
  if (!options.logPath.empty() && TraceLogOpen(options.logPath.c_str()) != 0) {
    console.Error("quorb: cannot open log file " + options.logPath);
    return kCannotRun;
  }
  LoadListeners listeners;
  const LoadTotals totals = LoadFiles(console, options.files, listeners);
  if (!options.summary) PrintStore(std::cout, options.order, options.format);
  // Machine formats keep standard output to the vectors alone.
  if (options.summary || options.format == VectorFormat::kTable) {
    for (const std::string& line : listeners.totalsLines) std::cout << line << '\n';
  }
  TraceLogClose();
  if (!totals.allOpened) return kCannotRun;
  return totals.allSucceeded ? kSuccess : kDropped;
}

int RunCheck(const std::vector<std::string>& files) {
  Console console;
  LoadListeners listeners;
  listeners.onEntry = [](const LoadReportEntry& entry) {
    if (entry.kind == LOAD_REPORT_END) return;
    std::cout << std::string_view(entry.file, entry.fileLen) << ':' << entry.line << ": "
              << Reason(entry) << '\n';
  };
  listeners.showErrors = false;  // the report gives every message that matters, at its line
  const LoadTotals totals = LoadFiles(console, files, listeners);
  std::cout << "checked " << files.size() << (files.size() == 1 ? " file" : " files") << ": total "
            << totals.total << ", loaded " << totals.loaded << ", dup " << totals.dup << ", bad "
            << totals.bad << "; lines that added no vector: " << totals.dropped << '\n';
  if (!totals.allOpened) return kCannotRun;
  return totals.dropped == 0 ? kSuccess : kDropped;
}

int RunConvert(const std::string& inFile, const std::string& outFile) {
  Console console;
  LoadListeners listeners;
  const LoadTotals totals = LoadFiles(console, {inFile}, listeners);
  for (const std::string& line : listeners.totalsLines) std::cout << line << '\n';
  if (!totals.allOpened) return kCannotRun;
  if (!totals.allSucceeded) return kDropped;
  const TraceLogCapture log([&](int32_t level, std::string_view line) {
    if (level == kErrorLevel) console.Error(line);
  });
  if (QuorbSaveFile(InText<kLineLength>(outFile).data(), 0) != 0) {
    console.Error("quorb: " + outFile + ": save failed");
    return kCannotRun;
  }
  std::cout << outFile << ": " << QuorbGetCount() << " vectors written\n";
  return kSuccess;
}

// Paths longer than the library's path arrays cannot be passed whole.
std::string FitsPathArray(const std::string& path) {
  if (path.size() <= kLineLength) return {};
  return "path longer than " + std::to_string(kLineLength) + " characters";
}

std::string VersionText() {
  char info[QUORB_INFO_LENGTH];
  QuorbGetInfo(info);
  return "quorb " QUORB_VERSION "\n" + OutText(info, sizeof info);
}

constexpr const char* kExitCodes =
    "Exit status: 0 when every file loaded (check: and every line became a vector or was a\n"
    "comment, keyword or maneuver card), 1 when a load failed or a line added no vector,\n"
    "2 when a file could not be opened or the arguments are wrong.";

}  // namespace
}  // namespace quorb_cli

int main(int argc, char** argv) {
  using namespace quorb_cli;
  CLI::App app("Loads, checks and converts input files of satellite state vectors.");
  app.require_subcommand(1);
  app.footer(kExitCodes);
  app.set_version_flag("--version", VersionText());

  LoadOptions load;
  CLI::App* loadCommand = app.add_subcommand("load", "Load files and print the stored vectors");
  loadCommand->add_option("FILE", load.files, "Input files")->required()->check(FitsPathArray);
  loadCommand
      ->add_option("--order", load.order,
                   "Order of the vectors: 0 satellite number and epoch, 1 reverse, 2 load "
                   "order, other values ascending key")
      ->capture_default_str();
  loadCommand->add_option("--format", load.format, "table, or csv or json with every field")
      ->transform(CLI::CheckedTransformer(
          std::map<std::string, VectorFormat>{{"table", VectorFormat::kTable},
                                              {"csv", VectorFormat::kCsv},
                                              {"json", VectorFormat::kJson}}));
  loadCommand->add_flag("--summary", load.summary, "Print each file's totals line only");
  loadCommand->add_option("--log", load.logPath, "Append the trace log to this file");

  std::vector<std::string> checkFiles;
  CLI::App* checkCommand = app.add_subcommand(
      "check", "Load files and list every line that added no vector, with the reason");
  checkCommand->add_option("FILE", checkFiles, "Input files")->required()->check(FitsPathArray);

  std::string inFile, outFile;
  CLI::App* convertCommand = app.add_subcommand("convert", "Load a file and save it as card sets");
  convertCommand->add_option("IN", inFile, "Input file")->required()->check(FitsPathArray);
  convertCommand->add_option("OUT", outFile, "Output file")->required()->check(FitsPathArray);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kSuccess : kCannotRun;
  }
  if (loadCommand->parsed()) return RunLoad(load);
  if (checkCommand->parsed()) return RunCheck(checkFiles);
  return RunConvert(inFile, outFile);
}

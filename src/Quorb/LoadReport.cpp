#include "Quorb/LoadReport.h"

#include <limits>

namespace quorb {
namespace {

struct Sink {
  LoadReportSink fn = nullptr;
  void* user = nullptr;
};

// Reports belong to the thread that loads: loads on other threads never
// reach this thread's sink.
thread_local Sink hostSink;
thread_local LoadReport* current = nullptr;

int32_t LengthOf(std::string_view text) {
  return static_cast<int32_t>(
      std::min<std::size_t>(text.size(), std::numeric_limits<int32_t>::max()));
}

LoadReportEntry EntryFor(LoadReportKind kind, std::string_view file, int32_t line) {
  LoadReportEntry entry{};
  entry.kind = kind;
  entry.file = file.data();
  entry.fileLen = LengthOf(file);
  entry.line = line;
  return entry;
}

}  // namespace

LoadReport* LoadReport::Current() {
  return current;
}

void LoadReport::Dropped(LoadReportKind kind, std::string_view file, int32_t line) {
  LoadReportEntry entry = EntryFor(kind, file, line);
  if (!made_.empty()) {
    entry.message = made_.back().data();
    entry.messageLen = LengthOf(made_.back());
  }
  sink_(&entry, user_);
}

void LoadReport::KeyedVectorsRead(const LoadCounts& before, const LoadCounts& after,
                                  std::string_view file, int32_t line) {
  if (after.loaded != before.loaded) return;
  Dropped(after.dup != before.dup ? LOAD_REPORT_DUPLICATE : LOAD_REPORT_KEYED_UNUSED, file, line);
}

void LoadReport::ControlsRead(std::optional<int32_t> status, std::string_view file, int32_t line) {
  if (status != 0) Dropped(LOAD_REPORT_KEYED_UNUSED, file, line);
}

LoadReportScope::LoadReportScope(std::string_view path) : path_(path) {
  if (hostSink.fn == nullptr) return;
  report_.reset(new LoadReport(hostSink.fn, hostSink.user));
  current = report_.get();
}

LoadReportScope::~LoadReportScope() {
  if (report_) current = nullptr;
}

void LoadReportScope::End(const LoadCounts& counts, int32_t status) {
  if (!report_) return;
  LoadReportEntry entry = EntryFor(LOAD_REPORT_END, path_, 0);
  entry.total = counts.total();
  entry.loaded = counts.loaded;
  entry.dup = counts.dup;
  entry.bad = counts.bad;
  entry.status = status;
  report_->sink_(&entry, report_->user_);
}

}  // namespace quorb

extern "C" void LoadReportSetSink(LoadReportSink sink, void* user) {
  quorb::hostSink = {sink, sink != nullptr ? user : nullptr};
}

// The load report: for a thread whose host set a report sink, every input
// line of its loads that did not become a stored vector, and each load's
// counts. A load without a sink makes no report and pays one test per step.
#ifndef QUORB_QUORB_LOADREPORT_H_
#define QUORB_QUORB_LOADREPORT_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Quorb/LoadCounts.h"
#include "Services/TraceLog.h"
#include "quorb/quorb_services.h"

namespace quorb {

class LoadReport {
 public:
  // The report of the load running on the calling thread, or nullptr when
  // its host asked for none.
  static LoadReport* Current();

  // The step that may drop a line begins: the reason for a drop is the last
  // line the library made from here on (lines before it echo the input).
  void Mark() { made_.clear(); }

  // Reports a line of file (0 for the whole file) that did not become a vector.
  void Dropped(LoadReportKind kind, std::string_view file, int32_t line);

  // Reports keyed vector data that added no vector, judged by counts before
  // and after they were read.
  void KeyedVectorsRead(const LoadCounts& before, const LoadCounts& after, std::string_view file,
                        int32_t line);

  // Reports keyed control data that no stored vector took: status is that
  // of storing them, nothing when no vector was found.
  void ControlsRead(std::optional<int32_t> status, std::string_view file, int32_t line);

 private:
  friend class LoadReportScope;

  LoadReport(LoadReportSink sink, void* user) : sink_(sink), user_(user) {}

  LoadReportSink sink_;
  void* user_;
  std::vector<std::string> made_;
  TraceLogTap tap_{made_};
};

// Keeps the report of one load of path on the calling thread while it lives,
// when the thread has a report sink.
class LoadReportScope {
 public:
  explicit LoadReportScope(std::string_view path);
  ~LoadReportScope();
  LoadReportScope(const LoadReportScope&) = delete;
  LoadReportScope& operator=(const LoadReportScope&) = delete;

  // Sends the end entry with the load's counts and status.
  void End(const LoadCounts& counts, int32_t status);

 private:
  std::string_view path_;
  std::unique_ptr<LoadReport> report_;  // null when the host asked for none
};

}  // namespace quorb

#endif  // QUORB_QUORB_LOADREPORT_H_

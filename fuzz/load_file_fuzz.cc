// Input-file loading: the top file up to the first zero byte, then a file it may name. Every
// loaded vector must read back, and the store must save and load again.
#include <filesystem>
#include <fstream>
#include <vector>

#include "FuzzSupport.h"
#include "quorb/quorb_services.h"

static std::filesystem::path tempDir;

// The load report of one load: its end entry comes last, once, with the counts.
struct Report {
  int entries = 0;
  bool ended = false;
  LoadReportEntry end{};
};

static void OnEntry(const LoadReportEntry* entry, void* user) {
  auto* report = static_cast<Report*>(user);
  FUZZ_CHECK(!report->ended && entry->file != nullptr && entry->line >= 0);
  ++report->entries;
  if (entry->kind == LOAD_REPORT_END) report->ended = true, report->end = *entry;
}

// Loads a file, reads back its first vectors (more add time, not paths), saves if asked, empties.
static void CheckLoad(const std::string& file, const std::string& saveAs) {
  Report report;
  LoadReportSetSink(OnEntry, &report);
  const int32_t status = QuorbLoadFile(ToHostLine(file).data());
  LoadReportSetSink(nullptr, nullptr);
  FUZZ_CHECK(status == 0 || status == 2);
  FUZZ_CHECK(report.ended && report.end.status == status && report.end.loaded == QuorbGetCount());
  FUZZ_CHECK(report.end.total == int64_t{report.end.loaded} + report.end.dup + report.end.bad);
  std::vector<int64_t> keys(QuorbGetCount());
  QuorbGetLoaded(2, keys.data());  // in load order
  char line1[kLineLength], line2[kLineLength], xs[kLineLength];
  double xa[QUORB_XA_SIZE];
  for (std::size_t i = 0; i < std::min<std::size_t>(keys.size(), 32); ++i)
    FUZZ_CHECK(QuorbGetLines(keys[i], line1, line2) == 0 && QuorbDataToArray(keys[i], xa, xs) == 0);
  if (!saveAs.empty()) FUZZ_CHECK(QuorbSaveFile(ToHostLine(saveAs).data(), 0) == 0);
  ElsetKeyModeSet(0);
  QuorbRemoveAllSats();
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::string pattern = (std::filesystem::temp_directory_path() / "quorb-fuzz-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) std::abort();
  tempDir = pattern;
  std::atexit([] {
    std::error_code ignored;  // nothing to do about a failure at exit
    std::filesystem::remove_all(tempDir, ignored);
  });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto [top, included] = SplitAt('\0', data, size);
  // Named by a satellite number, so that keyed control data find its vector.
  std::ofstream(tempDir / "25544_top.txt", std::ios::binary) << top;
  std::ofstream(tempDir / "25544_inc.txt", std::ios::binary) << included;
  CheckLoad(tempDir / "25544_top.txt", tempDir / "saved.txt");
  CheckLoad(tempDir / "saved.txt", "");
  return 0;
}

#include "Quorb/QuorbFileLoading.h"

#include <optional>
#include <string>
#include <vector>

#include "Quorb/CardFields.h"
#include "Quorb/CardPass.h"
#include "Quorb/LoadReport.h"
#include "Quorb/QuorbCardReading.h"
#include "Quorb/QuorbTree.h"
#include "Quorb/QuorbZyrReading.h"
#include "Services/FileUnits.h"
#include "Services/Locks.h"
#include "Services/MessageText.h"
#include "Services/StringUtils.h"
#include "Services/TraceLog.h"
#include "quorb/quorb_services.h"

namespace quorb {
namespace {

constexpr std::size_t kSatNumFieldWidth = 5;
constexpr std::string_view kSaveHeader = "*** Orbital Elements - Quorb Vectors ***";
constexpr int kSaveLeadingEmptyLines = 3;

// Set while this thread loads: a sink that starts a load from one of its
// lines would reopen the load's units and enter its card pass twice.
thread_local bool loadRunning = false;

bool NamesIncludedFile(int32_t code) {
  return code == kCardFileKeyword || code == kCardZyrVecFile || code == kCardZyrCtrlFile;
}

// A line that the keyword pass acts on.
bool IsActingKeyword(std::string_view line) {
  const int32_t code = QuorbCardTypeAnyCase(line);
  return code == kCardDmaOn || NamesIncludedFile(code);
}

// Loads the file that a keyword line (numbered lineNumber in the top file)
// names on unit 4. Returns the status that decides whether the keyword pass
// goes on.
int32_t LoadIncludedFile(int32_t code, std::string_view line, int32_t lineNumber,
                         std::string_view topPath, LoadCounts& counts) {
  const Line nameText = GetInputFileName(line, topPath);
  const std::string_view name = TrimRight(View(nameText));
  LoadReport* report = LoadReport::Current();
  if (report != nullptr) report->Mark();
  const int32_t opened = FileOpen(kIncludedFileUnit, name, kFileModeRead);
  if (opened != 0) {
    if (report != nullptr) report->Dropped(LOAD_REPORT_NOT_OPENED, topPath, lineNumber);
    return opened;
  }
  int32_t status = 0;
  if (code == kCardZyrVecFile) {
    const LoadCounts before = counts;
    ReadZyrQuorbs(kIncludedFileUnit, counts);
    if (report != nullptr) report->KeyedVectorsRead(before, counts, name, 0);
  } else if (code == kCardZyrCtrlFile) {
    const std::optional<int32_t> attached =
        AttachZyrCtrls(GetSatNumFrFilePath(name), kIncludedFileUnit);
    if (report != nullptr) report->ControlsRead(attached, name, 0);
    status = attached.value_or(0);
  } else {
    status = ReadOnlyQuorbs(topPath, name, kIncludedFileUnit, counts);
  }
  UnitClose(kIncludedFileUnit);
  return status;
}

void LogTotals(const LoadCounts& counts) {
  TraceLogInfo(MessageText()
                   .Add("Total Quorbs = ")
                   .AddInt(counts.total())
                   .Add(", Loaded = ")
                   .AddInt(counts.loaded)
                   .Add(", Dup = ")
                   .AddInt(counts.dup)
                   .Add(", Bad = ")
                   .AddInt(counts.bad)
                   .View());
}

std::string_view CardText(const Line& line) {
  return TrimRight(View(line).substr(0, kCardColumns));
}

}  // namespace

int32_t QuorbLoadFileText(const Line& fileName) {
  Line path = fileName;
  LeftJustify(path);
  const std::string_view trimmed = TrimRight(View(path));
  if (loadRunning) {
    TraceLogError("QuorbLoadFile: Cannot load \"" + std::string(trimmed) +
                  "\" while this thread loads another file.");
    return QUORB_FAILED;
  }
  loadRunning = true;
  TraceLogInfo("QuorbLoadFile: Reading QUORBs from file \"" + std::string(trimmed) + "\".");
  LoadReportScope report(trimmed);
  LoadCounts counts;
  const int32_t status = ReadQuorbsFrFile(trimmed, counts);
  report.End(counts, status);
  loadRunning = false;
  return status;
}

int32_t QuorbSaveFileText(const Line& fileName, int32_t saveMode) {
  Line path = fileName;
  LeftJustify(path);
  const int32_t mode = saveMode != 0 ? kFileModeAppend : kFileModeWrite;
  const int32_t opened = FileOpen(kSaveFileUnit, View(path), mode);
  if (opened != 0) return opened;
  bool written = true;
  for (int i = 0; i < kSaveLeadingEmptyLines; ++i) written &= UnitWriteLine(kSaveFileUnit, "");
  written &= UnitWriteLine(kSaveFileUnit, kSaveHeader);
  written &= QuorbWriteLines(kSaveFileUnit);
  written &= UnitClose(kSaveFileUnit);
  if (written) return 0;
  TraceLogError("QuorbSaveFile: Cannot write file \"" + std::string(TrimRight(View(path))) + "\".");
  return QUORB_FAILED;
}

int32_t ReadQuorbsFrFile(std::string_view path, LoadCounts& counts) {
  LoadReport* report = LoadReport::Current();
  if (report != nullptr) report->Mark();
  const int32_t opened = FileOpen(kTopFileUnit, path, kFileModeRead);
  if (opened != 0) {
    if (report != nullptr) report->Dropped(LOAD_REPORT_NOT_OPENED, path, 0);
    return opened;
  }
  const int32_t status = ReadQuorbsFrFileUnit(kTopFileUnit, path, counts);
  UnitClose(kTopFileUnit);
  return status;
}

int32_t ReadQuorbsFrFileUnit(int32_t unit, std::string_view path, LoadCounts& counts) {
  counts = {};
  // Most lines are cards, comments or blanks; a glance at the first column
  // passes them over.
  const Unit* reading = UnitForReading(unit);
  const std::vector<NumberedLine> keywords =
      reading != nullptr ? UnitFindLines(*reading, {BeginsKeyword, IsActingKeyword})
                         : std::vector<NumberedLine>{};
  for (const NumberedLine& keyword : keywords) {
    const int32_t code = QuorbCardTypeAnyCase(keyword.text);
    if (code == kCardDmaOn) {
      ElsetKeyModeSet(1);
      continue;
    }
    const int32_t status = LoadIncludedFile(code, keyword.text, keyword.number, path, counts);
    if (status != 0) return status;
  }
  const int32_t status = ReadOnlyQuorbs(path, path, unit, counts);
  LogTotals(counts);
  return status;
}

int32_t ReadOnlyQuorbs(std::string_view topPath, std::string_view unitPath, int32_t unit,
                       LoadCounts& counts) {
  int32_t status = QUORB_FAILED;
  InReadOnlyQuorbsSection([&] { status = RunCardPass({topPath, unitPath}, unit, counts); });
  return status;
}

int32_t GetSatNumFrFilePath(std::string_view path) {
  const std::size_t separator = path.find_last_of("/\\");
  const std::string_view name =
      separator == std::string_view::npos ? path : path.substr(separator + 1);
  Text<kSatNumFieldWidth> field = MakeText<kSatNumFieldWidth>(name);
  int32_t satNum = 0;
  return ReadIntField(View(field), satNum) ? satNum : -1;
}

bool QuorbWriteLines(int32_t unit) {
  Line line1;
  Line line2;
  bool written = true;
  // The walk holds a read, so each record is formatted in place, not copied;
  // lines are written once a DMA record's lock is free again, so that a slow
  // file delays no update.
  QuorbVisitInOrder([&](const QuorbBinTree& node) {
    if (!QuorbReadNodeRecord(node,
                             [&](const QuorbRecord& rec) { Quorb2Lines(rec, line1, line2); })) {
      return;
    }
    written &= UnitWriteLine(unit, CardText(line1));
    written &= UnitWriteLine(unit, CardText(line2));
  });
  return written;
}

Text<128> CreateInfoMsg(std::string_view name) {
  MessageText msg;
  msg.Add("ValidateQuorbValues: Reset invalid ").Add(name).Add(" to a valid value.");
  return MakeText<MessageText::kLength>(msg.View());
}

}  // namespace quorb

#include "Quorb/QuorbFileLoading.h"

#include <optional>
#include <span>
#include <string>

#include "Quorb/CardFields.h"
#include "Quorb/ManeuverBuffer.h"
#include "Quorb/QuorbCardReading.h"
#include "Quorb/QuorbTree.h"
#include "Quorb/QuorbZyrReading.h"
#include "Services/Calendar.h"
#include "Services/FileUnits.h"
#include "Services/Maneuvers.h"
#include "Services/MessageText.h"
#include "Services/StringUtils.h"
#include "Services/ThreadAnnotations.h"
#include "Services/TraceLog.h"
#include "quorb/quorb_services.h"

namespace quorb {
namespace {

constexpr int32_t kOpenOption = 1;
// Epoch characters 3 to 17 may hold blanks that stand for zeros.
constexpr std::size_t kEpochZeroFrom = 2;
constexpr std::size_t kSatNumFieldWidth = 5;
constexpr std::string_view kSaveHeader = "*** Orbital Elements - Quorb Vectors ***";
constexpr int kSaveLeadingEmptyLines = 3;

// Stands for cs_readonlyquorbs in the sanitizer's view of the section.
char readOnlyQuorbsToken;

bool NamesIncludedFile(int32_t code) {
  return code == kCardFileKeyword || code == kCardZyrVecFile || code == kCardZyrCtrlFile;
}

// One card pass over one unit.
class CardPass {
 public:
  CardPass(std::string_view topPath, int32_t unit, LoadCounts& counts)
      : topPath_(topPath), unit_(unit), counts_(counts) {}

  int32_t Run() {
    std::string_view text;
    while (UnitReadLine(unit_, text)) {
      if (IsSkippedLine(text)) continue;
      if (IsManeuvCardType(text)) {
        KeepManeuver(text);
        continue;
      }
      switch (QuorbCardTypeAnyCase(text)) {
        case kCard1P:
          pending1P_.Assign(text);
          hasPending1P_ = true;
          break;
        case kCard2P:
          ReadCardSet(text);
          break;
        case kCardZyrVecData:
          ReadZyrQuorbs(unit_, counts_);
          status_ = 0;
          return Finish(/*onlyIfLoadedSince=*/false);
        case kCardZyrCtrlData:
          ReadCtrlData();
          return Finish(/*onlyIfLoadedSince=*/true);
        default:
          // A keyword ends any card set in progress; the keyword pass acted
          // on it already.
          hasPending1P_ = false;
      }
    }
    return Finish(/*onlyIfLoadedSince=*/true);
  }

 private:
  void KeepManeuver(std::string_view line) {
    if (!maneuvers_.Append(line) && maneuvers_.dropped() == 1) {
      TraceLogInfo("Warning-ReadOnlyQUORBs: More than 100 maneuver cards; the rest are ignored.");
    }
  }

  void ReadCardSet(std::string_view line2) {
    if (!hasPending1P_) {
      ++counts_.bad;
      TraceLogInfo("ReadOnlyQUORBs: Missing 1P card in 1P/2P card set.");
      return;
    }
    // The maneuvers gathered so far belong to the vector loaded last.
    if (loadedSince_ && lastKey_ && !maneuvers_.empty()) {
      HandOverManeuvers();
      maneuvers_.Clear();
      loadedSince_ = false;
    }
    card2P_.Assign(line2);
    status_ = Lines2Quorb(pending1P_.line(), card2P_.line(), rec_);
    if (status_ != 0) {
      ++counts_.bad;
      return;
    }
    BlankToZeroChar(std::span(rec_.epochDtg).subspan(kEpochZeroFrom));
    const int64_t composedKey = CreateSatKey(rec_.satNum, kVectorElsetType, View(rec_.epochDtg));
    if (composedKey == -1) {
      ++counts_.bad;
      return;
    }
    AddRecord(composedKey);
  }

  // The record has passed validation and composedKey is its key.
  void AddRecord(int64_t composedKey) {
    bool linked = false;
    const int64_t key = AddValidQuorbToMem(rec_, composedKey, &linked);
    if (key == 0) {
      ++counts_.dup;
    } else if (key > 0) {
      ++counts_.loaded;
      loadedSince_ = true;
      // A duplicate answered with the stored key added no vector of ours.
      lastKey_ = linked ? std::optional(key) : std::nullopt;
      hasPending1P_ = false;
    }
  }

  // Keyed control data for the satellite named by the top file.
  void ReadCtrlData() {
    if (const std::optional<int32_t> status =
            AttachZyrCtrls(GetSatNumFrFilePath(topPath_), unit_)) {
      status_ = *status;
    }
  }

  // The store's writer protocol keeps readers from copying the vector while
  // its cards change.
  void HandOverManeuvers() {
    QuorbModifyRec(*lastKey_, [this](QuorbRecord& rec) { maneuvers_.CopyTo(rec); });
  }

  int32_t Finish(bool onlyIfLoadedSince) {
    if (status_ != 2 && lastKey_ && !maneuvers_.empty() && (loadedSince_ || !onlyIfLoadedSince)) {
      HandOverManeuvers();
    }
    return status_;
  }

  std::string_view topPath_;
  int32_t unit_;
  LoadCounts& counts_;
  QuorbRecord rec_;  // reused for every card set
  LineBuffer pending1P_;
  LineBuffer card2P_;
  bool hasPending1P_ = false;
  int32_t status_ = 0;
  ManeuverBuffer maneuvers_;
  bool loadedSince_ = false;        // a vector loaded since the last hand-over
  std::optional<int64_t> lastKey_;  // keys stay valid where node pointers move
};

// Loads the file that a keyword line names on unit 4. Returns the status
// that decides whether the keyword pass goes on.
int32_t LoadIncludedFile(int32_t code, std::string_view line, std::string_view topPath,
                         LoadCounts& counts) {
  const Line name = GetInputFileName(line, topPath);
  const int32_t opened = FileOpen(kIncludedFileUnit, View(name), kFileModeRead, kOpenOption);
  if (opened != 0) return opened;
  int32_t status = 0;
  if (code == kCardZyrVecFile) {
    ReadZyrQuorbs(kIncludedFileUnit, counts);
  } else if (code == kCardZyrCtrlFile) {
    status = AttachZyrCtrls(GetSatNumFrFilePath(View(name)), kIncludedFileUnit).value_or(0);
  } else {
    status = ReadOnlyQuorbs(topPath, kIncludedFileUnit, counts);
  }
  UnitClose(kIncludedFileUnit);
  return status;
}

void LogTotals(const LoadCounts& counts) {
  const int64_t total = int64_t{counts.loaded} + counts.dup + counts.bad;
  TraceLogInfo(MessageText()
                   .Add("Total Quorbs = ")
                   .AddInt(total)
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
  TraceLogInfo("QuorbLoadFile: Reading QUORBs from file \"" + std::string(trimmed) + "\".");
  return ReadQuorbsFrFile(trimmed);
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
  return 2;
}

int32_t ReadQuorbsFrFile(std::string_view path) {
  const int32_t opened = FileOpen(kTopFileUnit, path, kFileModeRead, kOpenOption);
  if (opened != 0) return opened;
  const int32_t status = ReadQuorbsFrFileUnit(kTopFileUnit, path);
  UnitClose(kTopFileUnit);
  return status;
}

int32_t ReadQuorbsFrFileUnit(int32_t unit, std::string_view path) {
  UnitRewind(unit);
  LoadCounts counts;
  std::string_view line;
  while (UnitReadLine(unit, line)) {
    if (IsSkippedLine(line)) continue;
    const int32_t code = QuorbCardTypeAnyCase(line);
    if (code == kCardDmaOn) {
      ElsetKeyModeSet(1);
    } else if (NamesIncludedFile(code)) {
      const int32_t status = LoadIncludedFile(code, line, path, counts);
      if (status != 0) return status;
    }
  }
  UnitRewind(unit);
  const int32_t status = ReadOnlyQuorbs(path, unit, counts);
  LogTotals(counts);
  return status;
}

int32_t ReadOnlyQuorbs(std::string_view topPath, int32_t unit, LoadCounts& counts) {
  int32_t status = 0;
#pragma omp critical(cs_readonlyquorbs)
  {
    AnnotateAcquire(&readOnlyQuorbsToken);
    status = CardPass(topPath, unit, counts).Run();
    AnnotateRelease(&readOnlyQuorbsToken);
  }
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
  // The walk holds a read, so each record is written in place, not copied.
  QuorbVisitInOrder([&](const QuorbBinTree& node) {
    const QuorbRecord* rec = QuorbNodeRecord(node);
    if (!rec || !Quorb2Lines(*rec, line1, line2)) return;
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

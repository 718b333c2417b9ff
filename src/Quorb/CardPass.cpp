#include "Quorb/CardPass.h"

#include <optional>
#include <span>
#include <system_error>
#include <thread>
#include <vector>

#include "Quorb/CardEvents.h"
#include "Quorb/LoadReport.h"
#include "Quorb/ManeuverBuffer.h"
#include "Quorb/QuorbFileLoading.h"
#include "Quorb/QuorbTree.h"
#include "Quorb/QuorbZyrReading.h"
#include "Services/BatchQueue.h"
#include "Services/TraceLog.h"
#include "quorb/quorb.h"
#include "quorb/quorb_services.h"

namespace quorb {
namespace {

// The fewest bytes a card set takes in a file: two cards of 80 columns and
// their newlines. A file's size over this bounds the vectors it can add.
constexpr std::size_t kCardSetBytes = 162;

// Batches in flight between the reading thread and the storing one: enough
// to ride out a stall on either side, few enough to stay in cache.
constexpr int kBatchesInFlight = 4;

// The storing side: acts on the events in the order of the lines.
class CardPass {
 public:
  CardPass(CardPassFiles files, int32_t unit, LoadCounts& counts)
      : files_(files), unit_(unit), counts_(counts) {}

  void Apply(CardEventBatch& batch) {
    batch.ReadDeferredCardSets();
    PrefetchForBatch(batch);
    for (std::size_t i = 0; i < batch.size();) {
      const std::size_t stored = StoreRun(batch, i);
      i += stored;
      if (stored == 0) Apply(batch[i++], batch.held());
    }
  }

  int32_t status() const { return status_; }

 private:
  void Apply(const CardEvent& event, std::span<const HeldLogLine> held) {
    if (report_ != nullptr) report_->Mark();
    switch (event.kind) {
      case CardEventKind::kCardSet:
        hasPending1P_ = true;
        HandOverDueManeuvers();
        for (const HeldLogLine& line :
             held.subspan(event.heldBegin, event.heldEnd - event.heldBegin)) {
          TraceLogDeliverHeld(line);
        }
        Settle(event.status, event.composedKey, event.rec, event.line);
        break;
      case CardEventKind::kLone2P:
        ReadLone2P(event);
        break;
      case CardEventKind::kManeuver:
        KeepManeuver(event.card, event.line);
        break;
      case CardEventKind::kZyrVecData:
        ReadVectorData(event.line);
        Finish(/*onlyIfLoadedSince=*/false);
        break;
      case CardEventKind::kZyrCtrlData:
        ReadCtrlData(event.line);
        Finish(/*onlyIfLoadedSince=*/true);
        break;
      case CardEventKind::kLone1P:
        Report(LOAD_REPORT_NO_2P, event.line);
        break;
      case CardEventKind::kUnrecognised:
        Report(LOAD_REPORT_UNRECOGNISED, event.line);
        break;
      case CardEventKind::kEnd:
        Finish(/*onlyIfLoadedSince=*/true);
    }
  }

  // A card set read, validated and keyed (which logs nothing): it only needs
  // storing.
  static bool Storable(const CardEvent& event) {
    return event.kind == CardEventKind::kCardSet && event.status == 0 &&
           event.composedKey != QUORB_KEY_NONE;
  }

  // Stores the storable card sets from first on together, as Apply would one
  // by one (and one by one in a key mode that takes no runs). Returns how
  // many it stored: 0 when first is not storable.
  std::size_t StoreRun(const CardEventBatch& batch, std::size_t first) {
    vectors_.clear();
    for (std::size_t i = first; i < batch.size() && Storable(batch[i]); ++i) {
      vectors_.push_back({&batch[i].rec, batch[i].composedKey});
    }
    if (vectors_.empty()) return 0;
    HandOverDueManeuvers();
    if (!LinkValidQuorbs(vectors_)) {
      for (std::size_t i = 0; i < vectors_.size(); ++i) Apply(batch[first + i], batch.held());
      return vectors_.size();
    }
    status_ = 0;
    for (std::size_t i = 0; i < vectors_.size(); ++i) {
      hasPending1P_ = true;
      const ValidVector& vector = vectors_[i];
      const int64_t key = vector.linked ? vector.key : AnswerUnlinked(vector.composedKey);
      Account(key, vector.linked, batch[first + i].line);
    }
    return vectors_.size();
  }

  // Each card set would wait for the miss of its index slot, and, in no key
  // order, for those of its path down the tree; fetched together first,
  // those misses overlap. Keys that ascend, as in a catalog, find their
  // paths cached anyway.
  void PrefetchForBatch(const CardEventBatch& batch) {
    keys_.clear();
    bool ascending = true;
    for (std::size_t i = 0; i < batch.size(); ++i) {
      const CardEvent& event = batch[i];
      if (!Storable(event)) continue;
      ascending &= keys_.empty() || keys_.back() < event.composedKey;
      keys_.push_back(event.composedKey);
    }
    QuorbPrefetchIndexSlots(keys_);
    if (!ascending) QuorbPrefetchInsertPaths(keys_);
  }

  void Report(LoadReportKind kind, int32_t line) {
    if (report_ != nullptr) report_->Dropped(kind, files_.unit, line);
  }

  void KeepManeuver(std::string_view card, int32_t line) {
    if (maneuvers_.Append(card)) return;
    if (maneuvers_.dropped() == 1) {
      TraceLogInfo("Warning-ReadOnlyQUORBs: More than 100 maneuver cards; the rest are ignored.");
    }
    Report(LOAD_REPORT_MANEUVER_DROPPED, line);
  }

  // A 2P card that pairs with the 1P card of an earlier set only if that
  // set did not store its vector.
  void ReadLone2P(const CardEvent& event) {
    if (!event.has1P || !hasPending1P_) {
      ++counts_.bad;
      TraceLogInfo("ReadOnlyQUORBs: Missing 1P card in 1P/2P card set.");
      Report(LOAD_REPORT_NO_1P, event.line);
      return;
    }
    HandOverDueManeuvers();
    line1_.Assign(event.card1P);
    line2_.Assign(event.card);
    int64_t composedKey = QUORB_KEY_NONE;
    const int32_t status =
        ValidateAndKey(ReadCardSet(line1_.line(), line2_.line(), rec_), rec_, composedKey);
    Settle(status, composedKey, rec_, event.line);
  }

  // The maneuvers gathered so far belong to the vector loaded last.
  void HandOverDueManeuvers() {
    if (loadedSince_ && lastKey_ && !maneuvers_.empty()) {
      HandOverManeuvers();
      maneuvers_.Clear();
      loadedSince_ = false;
    }
  }

  // Validates, keys and stores a card set read with the given status; line
  // is its 2P card's.
  void Settle(int32_t status, int64_t composedKey, const QuorbRecord& rec, int32_t line) {
    status_ = status;
    if (status != 0 || composedKey == QUORB_KEY_NONE) {
      ++counts_.bad;
      Report(status != 0 ? LOAD_REPORT_REJECTED : LOAD_REPORT_NO_KEY, line);
      return;
    }
    bool linked = false;
    const int64_t key = AddValidQuorbToMem(rec, composedKey, linked);
    Account(key, linked, line);
  }

  // Counts and reports what storing a card set answered: its key, or why
  // not; linked when a new node took it. line is its 2P card's.
  void Account(int64_t key, bool linked, int32_t line) {
    if (key <= 0) {
      Report(key == QUORB_KEY_DUPLICATE ? LOAD_REPORT_DUPLICATE : LOAD_REPORT_NOT_STORED, line);
    }
    if (key == QUORB_KEY_DUPLICATE) {
      ++counts_.dup;
    } else if (key > 0) {
      ++counts_.loaded;
      loadedSince_ = true;
      // A duplicate answered with the stored key added no vector of ours.
      lastKey_ = linked ? std::optional(key) : std::nullopt;
      hasPending1P_ = false;
    }
  }

  void ReadVectorData(int32_t line) {
    const LoadCounts before = counts_;
    ReadZyrQuorbs(unit_, counts_);
    status_ = 0;
    if (report_ != nullptr) report_->KeyedVectorsRead(before, counts_, files_.unit, line);
  }

  // Keyed control data for the satellite named by the top file.
  void ReadCtrlData(int32_t line) {
    const std::optional<int32_t> status = AttachZyrCtrls(GetSatNumFrFilePath(files_.top), unit_);
    if (status) status_ = *status;
    if (report_ != nullptr) report_->ControlsRead(status, files_.unit, line);
  }

  // The store's writer protocol keeps readers from copying the vector while
  // its cards change.
  void HandOverManeuvers() {
    QuorbModifyRec(*lastKey_, [this](QuorbRecord& rec) { maneuvers_.CopyTo(rec); });
  }

  void Finish(bool onlyIfLoadedSince) {
    if (status_ != QUORB_FAILED && lastKey_ && !maneuvers_.empty() &&
        (loadedSince_ || !onlyIfLoadedSince)) {
      HandOverManeuvers();
    }
  }

  CardPassFiles files_;
  int32_t unit_;
  LoadReport* report_ = LoadReport::Current();
  LoadCounts& counts_;
  int32_t status_ = 0;
  // The 1P card of the last card set read has not been used by a stored
  // vector yet.
  bool hasPending1P_ = false;
  ManeuverBuffer maneuvers_;
  bool loadedSince_ = false;        // a vector loaded since the last hand-over
  std::optional<int64_t> lastKey_;  // keys stay valid where node pointers move
  // For 2P cards read with an earlier set's 1P card.
  LineBuffer line1_;
  LineBuffer line2_;
  QuorbRecord rec_;
  std::vector<int64_t> keys_;         // a batch's keys, kept for the next batch's
  std::vector<ValidVector> vectors_;  // a run's card sets, likewise
};

// Stores the first batch and what follows it, while a second thread reads
// ahead. False when no thread could be started; nothing was stored then.
bool ApplyReadAhead(CardEventReader& reader, CardEventBatch& first, CardPass& pass) {
  BatchQueue<CardEventBatch> queue(kBatchesInFlight);
  std::thread reading;
  try {
    reading = std::thread([&reader, &queue] {
      for (bool ended = false; !ended;) {
        std::unique_ptr<CardEventBatch> batch = queue.TakeEmpty();
        PrefaultStoreMemory();
        // The storing side keeps up and will soon wait: it takes a share of
        // the reading.
        reader.Fill(*batch, queue.FilledCount() < kBatchesInFlight / 2);
        ended = batch->ended();
        queue.PutFilled(std::move(batch));
      }
    });
  } catch (const std::system_error&) {
    return false;
  }
  pass.Apply(first);
  for (;;) {
    std::unique_ptr<CardEventBatch> batch = queue.TakeFilled();
    if (batch->ended()) {
      // The unit is this thread's again before the keyed data are read.
      reading.join();
      pass.Apply(*batch);
      return true;
    }
    pass.Apply(*batch);
    queue.PutEmpty(std::move(batch));
  }
}

}  // namespace

int32_t RunCardPass(CardPassFiles files, int32_t unit, LoadCounts& counts) {
  CardPass pass(files, unit, counts);
  Unit* reading = UnitForReading(unit);
  CardEventReader reader(reading);
  auto batch = std::make_unique<CardEventBatch>();
  reader.Fill(*batch);
  if (!batch->ended() && reading != nullptr) {
    // A large file: its index room is made once rather than doubled up to.
    QuorbReserveKeys(UnitBytes(*reading) / kCardSetBytes);
    if (ApplyReadAhead(reader, *batch, pass)) return pass.status();
  }
  // A unit read in one batch, or no second thread to be had.
  for (;;) {
    pass.Apply(*batch);
    if (batch->ended()) return pass.status();
    reader.Fill(*batch);
  }
}

}  // namespace quorb

// The card pass's reading side: a unit's lines turned into events, with each
// card set already read into a record. Reading and storing are
// apart so that a large file can be read ahead on a second thread while the
// thread that loads it stores what was read.
#ifndef QUORB_QUORB_CARDEVENTS_H_
#define QUORB_QUORB_CARDEVENTS_H_

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "Quorb/QuorbTypes.h"
#include "Services/FileUnits.h"
#include "Services/FixedText.h"
#include "Services/TraceLog.h"

namespace quorb {

// Reads a card set's fields into rec, making epoch blanks zeros: 0, or 2
// after logging why (Lines2Quorb's messages).
int32_t ReadCardSet(const Line& line1, const Line& line2, QuorbRecord& rec);
// ReadCardSet for lines that QuorbCardType already told to be a 1P and a 2P
// card.
int32_t ReadCardSetOfCards(const Line& line1, const Line& line2, QuorbRecord& rec);

// Validates and keys a card set that ReadCardSet read with readStatus: 0
// with the key in composedKey (QUORB_KEY_NONE when the vector cannot be
// keyed), or 2 after logging why (readStatus itself when reading failed).
int32_t ValidateAndKey(int32_t readStatus, const QuorbRecord& rec, int64_t& composedKey);

enum class CardEventKind : uint8_t {
  kCardSet,       // a 2P card after a 1P card not yet used: read into rec
  kLone2P,        // a 2P card after no 1P, or after one a card set used
  kManeuver,      // a maneuver card
  kZyrVecData,    // keyed vector data follow; the reading stopped after that line
  kZyrCtrlData,   // keyed control data follow; the reading stopped after that line
  kLone1P,        // a 1P card that the line after it parted from any 2P card
  kUnrecognised,  // no comment, card, keyword or maneuver card
  kEnd,           // the unit has no more lines
};

struct CardEvent {
  CardEventKind kind = CardEventKind::kEnd;
  // The number of the event's line in its unit (for a card set, its 2P card).
  int32_t line = 0;
  // kCardSet: the status of reading, validating and keying the card set,
  // its record and its composed key, made on the reading side so that the
  // storing side, which every load passes through, only stores. Unless the
  // set was left to the storing side to read (deferred), while that side
  // waited for the reading one: then card1P and card hold its cards, which
  // QuorbCardType told to be a 1P and a 2P card.
  int32_t status = 0;
  QuorbRecord rec;
  int64_t composedKey = 0;
  bool deferred = false;
  // kManeuver: the card. kLone2P: the 2P card, and the 1P card when one
  // may still be pending (a card set used it and no keyword came since).
  std::string_view card;
  std::string_view card1P;
  bool has1P = false;
  // The messages reading logged, held in the batch's list.
  uint32_t heldBegin = 0;
  uint32_t heldEnd = 0;
};

// Events in the order of the lines. The storage stays for reuse.
class CardEventBatch {
 public:
  // Room for this many events; a batch ends earlier only at an end event.
  static constexpr std::size_t kCapacity = 512;
  // A line may part a 1P card from its 2P card and add its own event.
  static constexpr std::size_t kMaxEventsPerLine = 2;

  CardEventBatch();

  std::size_t size() const { return size_; }
  const CardEvent& operator[](std::size_t i) const { return events_[i]; }
  bool full() const { return size_ + kMaxEventsPerLine > kCapacity; }
  // True when the last event ends the reading.
  bool ended() const;
  const std::vector<HeldLogLine>& held() const { return held_; }

  // Reads the deferred card sets, on the calling thread, as the reading
  // side reads the others: afterwards no event is deferred.
  void ReadDeferredCardSets();

 private:
  friend class CardEventReader;

  void Clear();
  CardEvent& Next();
  // Copies text into the batch's own storage.
  std::string_view Keep(std::string_view text);

  std::vector<CardEvent> events_;
  std::size_t size_;
  // Kept texts: cards in one block reserved once, which never moves; longer
  // lines, past its room, in a deque, which keeps them in place.
  std::string cardTexts_;
  std::deque<std::string> texts_;
  std::vector<HeldLogLine> held_;
};

// Reads a unit's lines as the card pass sees them. Apart from its held
// messages it has no effect beyond the unit, so it may run on any thread.
class CardEventReader {
 public:
  // unit may be nullptr: the reading then ends at once.
  explicit CardEventReader(Unit* unit) : unit_(unit) {}

  // Refills batch with the next events, up to its capacity or an end event.
  // With shareReading, every other card set is left for the storing side to
  // read (a deferred event).
  void Fill(CardEventBatch& batch, bool shareReading = false);

 private:
  enum class Pending1P : uint8_t { kNone, kUnused, kUsed };

  // Adds the events of one line; false once the reading has ended.
  bool AddLine(std::string_view line, CardEventBatch& batch);
  // Adds an event of the kind for the line read last.
  CardEvent& AddEvent(CardEventKind kind, CardEventBatch& batch);
  // A 1P card not yet used is parted from any 2P card by the line read now.
  void PartPending1P(CardEventBatch& batch);
  void AddCardSet(std::string_view line2, bool isCard, CardEventBatch& batch);
  // While reading is shared, true for every other card set it is asked about.
  bool TakeTurnToDefer();
  void AddDeferredCardSet(std::string_view line2, CardEventBatch& batch);
  void AddLone2P(std::string_view line2, CardEventBatch& batch);

  Unit* unit_;
  LineBuffer pending1P_;
  LineBuffer card2P_;
  Pending1P state_ = Pending1P::kNone;
  int32_t pending1PLine_ = 0;
  bool pending1PIsCard_ = false;  // QuorbCardType, not only in any case, told it
  bool shareReading_ = false;
  bool deferNext_ = false;  // the last card set was deferred
};

}  // namespace quorb

#endif  // QUORB_QUORB_CARDEVENTS_H_

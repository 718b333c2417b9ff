#include "Quorb/CardEvents.h"

#include <span>

#include "Quorb/QuorbCardReading.h"
#include "Quorb/QuorbZyrReading.h"
#include "Services/Calendar.h"
#include "Services/Maneuvers.h"
#include "Services/StringUtils.h"
#include "quorb/quorb.h"

namespace quorb {
namespace {

// Epoch characters 3 to 17 may hold blanks that stand for zeros.
constexpr std::size_t kEpochZeroFrom = 2;

int32_t ZeroEpochBlanks(int32_t status, QuorbRecord& rec) {
  if (status == 0) BlankToZeroChar(std::span(rec.epochDtg).subspan(kEpochZeroFrom));
  return status;
}

}  // namespace

int32_t ReadCardSet(const Line& line1, const Line& line2, QuorbRecord& rec) {
  return ZeroEpochBlanks(ReadCardSetFields(line1, line2, rec), rec);
}

int32_t ReadCardSetOfCards(const Line& line1, const Line& line2, QuorbRecord& rec) {
  return ZeroEpochBlanks(ReadCardFields(line1, line2, rec), rec);
}

int32_t ValidateAndKey(int32_t readStatus, const QuorbRecord& rec, int64_t& composedKey) {
  composedKey = QUORB_KEY_NONE;
  if (readStatus != 0) return readStatus;
  const int32_t status = ValidateQuorbValues(rec);
  if (status == 0) composedKey = CreateSatKey(rec.satNum, kVectorElsetType, View(rec.epochDtg));
  return status;
}

CardEventBatch::CardEventBatch() : events_(kCapacity) {
  // Room for every event to keep two cards.
  cardTexts_.reserve(kCapacity * 2 * kCardColumns);
  Clear();
}

bool CardEventBatch::ended() const {
  if (size_ == 0) return false;
  const CardEventKind last = events_[size_ - 1].kind;
  return last == CardEventKind::kEnd || last == CardEventKind::kZyrVecData ||
         last == CardEventKind::kZyrCtrlData;
}

void CardEventBatch::Clear() {
  size_ = 0;
  cardTexts_.clear();
  texts_.clear();
  held_.clear();
}

// Events are reused as they are: a card set sets its held range when it is
// read, and no other event reads one.
CardEvent& CardEventBatch::Next() {
  return events_[size_++];
}

void CardEventBatch::ReadDeferredCardSets() {
  TraceLogCapture capture(held_);
  LineBuffer line1;
  LineBuffer line2;
  for (std::size_t i = 0; i < size_; ++i) {
    CardEvent& event = events_[i];
    if (event.kind != CardEventKind::kCardSet || !event.deferred) continue;
    event.heldBegin = static_cast<uint32_t>(held_.size());
    line1.Assign(event.card1P);
    line2.Assign(event.card);
    event.status = ValidateAndKey(ReadCardSetOfCards(line1.line(), line2.line(), event.rec),
                                  event.rec, event.composedKey);
    event.heldEnd = static_cast<uint32_t>(held_.size());
    event.deferred = false;
  }
}

std::string_view CardEventBatch::Keep(std::string_view text) {
  if (text.size() > cardTexts_.capacity() - cardTexts_.size()) return texts_.emplace_back(text);
  const std::size_t at = cardTexts_.size();
  cardTexts_.append(text);
  return {cardTexts_.data() + at, text.size()};
}

void CardEventReader::Fill(CardEventBatch& batch, bool shareReading) {
  batch.Clear();
  shareReading_ = shareReading;
  TraceLogCapture capture(batch.held_);
  std::string_view line;
  while (!batch.full()) {
    if (unit_ == nullptr || !UnitReadLine(*unit_, line)) {
      PartPending1P(batch);
      AddEvent(CardEventKind::kEnd, batch);
      return;
    }
    if (!AddLine(line, batch)) return;
  }
}

CardEvent& CardEventReader::AddEvent(CardEventKind kind, CardEventBatch& batch) {
  CardEvent& event = batch.Next();
  event.kind = kind;
  event.line = unit_ != nullptr ? UnitLineNumber(*unit_) : 0;
  return event;
}

void CardEventReader::PartPending1P(CardEventBatch& batch) {
  if (state_ != Pending1P::kUnused) return;
  AddEvent(CardEventKind::kLone1P, batch).line = pending1PLine_;
  state_ = Pending1P::kNone;
}

bool CardEventReader::AddLine(std::string_view line, CardEventBatch& batch) {
  if (IsSkippedLine(line)) return true;
  if (IsManeuvCardType(line)) {
    AddEvent(CardEventKind::kManeuver, batch).card = batch.Keep(line);
    return true;
  }
  // A card told in its own letter case needs no second look when read.
  int32_t type = QuorbCardType(line);
  const bool isCard = type == kCard1P || type == kCard2P;
  if (!isCard) type = QuorbCardTypeAnyCase(line);
  switch (type) {
    case kCard1P:
      PartPending1P(batch);
      pending1P_.Assign(line);
      pending1PIsCard_ = isCard;
      pending1PLine_ = UnitLineNumber(*unit_);
      state_ = Pending1P::kUnused;
      return true;
    case kCard2P:
      if (state_ != Pending1P::kUnused) {
        AddLone2P(line, batch);
      } else if (isCard && pending1PIsCard_ && TakeTurnToDefer()) {
        AddDeferredCardSet(line, batch);
      } else {
        AddCardSet(line, isCard, batch);
      }
      return true;
    case kCardZyrVecData:
      PartPending1P(batch);
      AddEvent(CardEventKind::kZyrVecData, batch);
      return false;
    case kCardZyrCtrlData:
      PartPending1P(batch);
      AddEvent(CardEventKind::kZyrCtrlData, batch);
      return false;
    default:
      // A keyword ends any card set in progress; the keyword pass acted on
      // it already.
      PartPending1P(batch);
      if (type == kCardOther) AddEvent(CardEventKind::kUnrecognised, batch);
      state_ = Pending1P::kNone;
      return true;
  }
}

void CardEventReader::AddCardSet(std::string_view line2, bool isCard, CardEventBatch& batch) {
  CardEvent& event = AddEvent(CardEventKind::kCardSet, batch);
  event.heldBegin = static_cast<uint32_t>(batch.held_.size());
  card2P_.Assign(line2);
  const int32_t readStatus = pending1PIsCard_ && isCard
                                 ? ReadCardSetOfCards(pending1P_.line(), card2P_.line(), event.rec)
                                 : ReadCardSet(pending1P_.line(), card2P_.line(), event.rec);
  event.status = ValidateAndKey(readStatus, event.rec, event.composedKey);
  event.heldEnd = static_cast<uint32_t>(batch.held_.size());
  event.deferred = false;
  state_ = Pending1P::kUsed;
}

bool CardEventReader::TakeTurnToDefer() {
  deferNext_ = shareReading_ && !deferNext_;
  return deferNext_;
}

void CardEventReader::AddDeferredCardSet(std::string_view line2, CardEventBatch& batch) {
  CardEvent& event = AddEvent(CardEventKind::kCardSet, batch);
  event.deferred = true;
  event.card1P = batch.Keep(pending1P_.text());
  event.card = batch.Keep(line2);
  state_ = Pending1P::kUsed;
}

void CardEventReader::AddLone2P(std::string_view line2, CardEventBatch& batch) {
  CardEvent& event = AddEvent(CardEventKind::kLone2P, batch);
  event.card = batch.Keep(line2);
  event.has1P = state_ == Pending1P::kUsed;
  if (event.has1P) event.card1P = batch.Keep(pending1P_.text());
}

}  // namespace quorb

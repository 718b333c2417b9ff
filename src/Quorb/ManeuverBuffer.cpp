#include "Quorb/ManeuverBuffer.h"

#include <algorithm>

namespace quorb {

bool ManeuverBuffer::Append(std::string_view card) {
  if (count_ == kManeuvSlots) {
    ++dropped_;
    return false;
  }
  if (!cards_) {
    cards_ = std::make_unique<ManeuvCards>();
    cards_->fill(BlankText<kLineLength>());
  }
  SetText((*cards_)[count_++], card);
  return true;
}

void ManeuverBuffer::CopyTo(QuorbRecord& rec) const {
  if (!rec.maneuvCards()) rec.SetManeuvCards(std::make_unique<ManeuvCards>());
  if (cards_) {
    *rec.maneuvCards() = *cards_;
  } else {
    rec.maneuvCards()->fill(BlankText<kLineLength>());
  }
  rec.numManeuvCards = count_;
}

void ManeuverBuffer::Clear() {
  if (cards_) std::fill_n(cards_->begin(), count_, BlankText<kLineLength>());
  count_ = 0;
  dropped_ = 0;
}

}  // namespace quorb

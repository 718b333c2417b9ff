// The maneuver cards that follow a vector in its input file, gathered until
// they are handed over to that vector.
#ifndef QUORB_QUORB_MANEUVERBUFFER_H_
#define QUORB_QUORB_MANEUVERBUFFER_H_

#include <cstdint>
#include <memory>
#include <string_view>

#include "Quorb/QuorbTypes.h"
#include "Services/FixedText.h"

namespace quorb {

class ManeuverBuffer {
 public:
  // Keeps card in the next free slot. A record has room for 100 cards; the
  // rest are dropped and counted, and false is returned for each.
  bool Append(std::string_view card);

  bool empty() const { return count_ == 0; }
  int32_t count() const { return count_; }
  // Cards dropped since the buffer was last cleared.
  int32_t dropped() const { return dropped_; }

  // Gives rec all 100 slots (reusing its array when it has one; slots past
  // the count are blank) and the number of cards held.
  void CopyTo(QuorbRecord& rec) const;

  // Empties the buffer. Its storage is kept, so that a load allocates it at
  // most once however many vectors carry maneuvers.
  void Clear();

 private:
  std::unique_ptr<ManeuvCards> cards_;  // made on the first card
  int32_t count_ = 0;
  int32_t dropped_ = 0;
};

}  // namespace quorb

#endif  // QUORB_QUORB_MANEUVERBUFFER_H_

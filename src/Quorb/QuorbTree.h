// The vector store: one process-wide tree of vectors ordered by satKey.
// Every function here reads or changes it through the guards of
// Quorb/StoreAccess.h: a thread must end its own read before it calls a
// function that changes the store, or that function waits for ever.
#ifndef QUORB_QUORB_QUORBTREE_H_
#define QUORB_QUORB_QUORBTREE_H_

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "Quorb/QuorbTypes.h"
#include "Quorb/StoreAccess.h"
#include "Services/FixedText.h"
#include "quorb/quorb.h"

namespace quorb {

using FindMessage = Text<128>;

// The satNum QuorbFindRec leaves in a record when it finds nothing; no stored
// vector has it.
inline constexpr int32_t kNotFoundSatNum = -123;

// True when the store holds no vector; may be stale at once.
bool QuorbTreeIsEmpty();

// Validates rec and stores a copy under a key of the key mode in force.
// Returns the key, QUORB_KEY_NONE when the vector cannot be stored, or
// QUORB_KEY_DUPLICATE for a duplicate refused in duplicate mode 0 (another
// mode answers with the stored key).
int64_t AddQuorbToMem(const QuorbRecord& rec);

// AddQuorbToMem for a record that the caller has validated and whose
// composed key it has made (a bulk load does both for every card set, and
// need not pay for them twice). Sets linked, which the caller starts false,
// when a new node entered the tree.
int64_t AddValidQuorbToMem(const QuorbRecord& rec, int64_t composedKey, bool& linked);

// A vector that a load validated and keyed, and what became of it.
struct ValidVector {
  const QuorbRecord* rec = nullptr;
  int64_t composedKey = QUORB_KEY_NONE;
  bool linked = false;           // a new node took the vector
  int64_t key = QUORB_KEY_NONE;  // the key it went under, when linked
};

// Stores vectors, in turn, as AddValidQuorbToMem would, several under one
// write section. Each vector not linked (a duplicate, or no free key) then
// needs AnswerUnlinked, in turn, for the answer AddValidQuorbToMem gives.
// False, with nothing stored, in the direct-address key mode.
bool LinkValidQuorbs(std::span<ValidVector> vectors);

// What storing a vector under composedKey answers when it was not linked:
// QUORB_KEY_DUPLICATE (logged) in duplicate mode 0, composedKey otherwise.
int64_t AnswerUnlinked(int64_t composedKey);

// Brings into the cache the tree nodes that inserting each of keys would
// pass, walking several paths at a time so that their misses overlap: keys
// added in no particular order then find their paths cached. Only a hint;
// the tree does not change.
void QuorbPrefetchInsertPaths(std::span<const int64_t> keys);

// Starts fetching the index slots where keys would be filed: hashed, they lie
// anywhere, whatever the keys' order. Only a hint, safe at any time.
void QuorbPrefetchIndexSlots(std::span<const int64_t> keys);

// Makes the store ready to take count more vectors without rehashing its
// index on the way. Only a hint.
void QuorbReserveKeys(std::size_t count);

// Links a node the caller made (key and record set) into the tree. A key
// taken by a different vector is advanced with NextSatKey, up to 100 keys in
// all; a direct-address key is tried once. Returns the key the node was
// linked under and sets status to the insertion status (0 or 1 linked; 3
// equal vector stored, or no free key found). When not linked, the caller
// still owns the node.
int64_t QuorbAddNode(QuorbBinTree* node, int32_t& status);

// Copies the vector of key into rec. When nothing is found rec's optional
// parts are released, its satNum becomes kNotFoundSatNum and msg (if given) says why.
void QuorbFindRec(int64_t key, QuorbRecord& rec, FindMessage* msg = nullptr);

// The stored record of access's key itself, valid while access lives, or
// null with msg saying why.
const QuorbRecord* QuorbFindRecPtr(const RecordAccess& access, FindMessage* msg = nullptr);

// Runs read on the stored record of key in place, under RecordAccess, and
// ends that access before it returns, so the caller may log or write
// afterwards. False, with msg saying why, when key names no record.
template <class Read>
bool QuorbReadRec(int64_t key, const Read& read, FindMessage* msg = nullptr) {
  const RecordAccess access(key);
  const QuorbRecord* rec = QuorbFindRecPtr(access, msg);
  if (rec != nullptr) read(*rec);
  return rec != nullptr;
}

// Replaces the stored vector of key by a copy of rec; the key stays. Returns
// 0, or 2 (logged) when the key is not stored. A DMA key's vector is
// replaced under its holder's lock alone, without waiting for reads.
int32_t QuorbUpdateRec(int64_t key, const QuorbRecord& rec);

// Changes the stored vector of key in place under write access (a DMA
// key's under its holder's lock). Returns false when the key is not stored
// (nothing is logged).
bool QuorbModifyRec(int64_t key, const std::function<void(QuorbRecord&)>& change);

// Removes the vector of key. Returns 0, or 2 (logged).
int32_t QuorbRemoveNode(int64_t key);

// Removes every vector. Returns 0.
int32_t QuorbEmptyTree();

// The key of the first stored vector of satNum in pre-order, or QUORB_KEY_NONE.
int64_t QuorbSatKeyGet(int32_t satNum);

// The number of stored vectors, kept as nodes come and go: nothing is walked.
int32_t QuorbGetNumOfTreeNodes();

using RecordReader = std::function<void(const QuorbRecord&)>;

// Runs read on a node's vector, from the node or under its DMA holder's
// lock; false when a holder has none. The caller holds a read.
bool QuorbReadNodeRecord(const QuorbBinTree& node, const RecordReader& read);

// The keys of every vector in the given order (0 by satellite number and
// epoch, 1 the reverse, 2 load order, others ascending key), counted and
// listed under one read so that the list is whole.
std::vector<int64_t> QuorbGetTreeKeys(int32_t order);

// Calls visit for every node in ascending key order under one read.
void QuorbVisitInOrder(const std::function<void(const QuorbBinTree&)>& visit);

}  // namespace quorb

#endif  // QUORB_QUORB_QUORBTREE_H_

#include "Quorb/QuorbTree.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include "Quorb/KeyIndex.h"
#include "Quorb/QuorbCardReading.h"
#include "Services/Calendar.h"
#include "Services/DmaKeys.h"
#include "Services/MessageText.h"
#include "Services/Sorting.h"
#include "Services/TraceLog.h"
#include "Templates/TreeTemplate.h"
#include "quorb/quorb_services.h"

namespace quorb {
namespace {

constexpr int kMaxKeyTries = 100;
// Vectors a load links under one write section: the section's cost is paid
// once for them all, and reads wait for no more than these.
constexpr std::size_t kVectorsPerSection = 64;

QuorbBinTree* quorbTreeRoot = nullptr;
// Finds the records of composed keys without walking the tree; changed only
// together with the tree, by writers.
KeyIndex recordIndex;
// The number of nodes in the tree, changed together with it by writers and
// read under a read, so that counting walks nothing; atomic only for the
// emptiness test, which reads it without the protocol.
std::atomic<int32_t> nodeCount{0};

// Writers change the count one at a time: no read-modify-write is needed.
void AddToNodeCount(int32_t change) {
  nodeCount.store(nodeCount.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
}

int32_t KeyModeInForce() {
  return UseAllKeyMode() ? AllKeyModeGet() : ElsetKeyModeGet();
}

bool HolderValidFor(const DmaHolder* holder, int64_t key) {
  if (!holder) return false;
  const int64_t self = HolderSelf(*holder);
  return self != 0 && self == SatKeyToAddr(key);
}

// Runs use on the record of a DMA key under its holder's lock, without the
// writer section: DMA reads and updates never wait for reads of the store.
// False when the key names no holder with a record.
template <class Use>
bool WithDmaRecord(int64_t key, const Use& use) {
  DmaHolder* holder = KeyToCPtr(key);
  const HolderRecordLock lock(holder);
  if (!HolderValidFor(holder, key) || !holder->rec) return false;
  use(*holder->rec);
  return true;
}

void SetMessage(FindMessage* msg, std::string_view text) {
  if (msg) SetText(*msg, text);
}

void LogKeyMessage(std::string_view before, int64_t key, std::string_view after) {
  MessageText msg;
  msg.Add(before).AddRight(key, 19).Add(after);
  TraceLogError(msg.View());
}

int64_t AddDmaVector(const QuorbRecord& rec, bool& linked) {
  DmaHolder* holder = AllocDmaHolder();
  if (!holder) {
    TraceLogError("AddRecToMem: Cannot allocate memory for a new dma.");
    return QUORB_KEY_NONE;
  }
  const int64_t address = reinterpret_cast<intptr_t>(holder);
  holder->elsetType = kVectorElsetType;
  holder->rec = new QuorbRecord(rec);
  std::atomic_ref<int64_t>(holder->self).store(address, std::memory_order_release);
  auto node = std::make_unique<QuorbBinTree>();
  node->key = address * 10;
  int32_t status = 0;
  const int64_t key = QuorbAddNode(node.get(), status);
  node.release();  // a holder address is never in the tree twice
  linked = true;
  return key;
}

// A node that owns a copy of rec, to be linked under key.
std::unique_ptr<QuorbBinTree> NewVectorNode(const QuorbRecord& rec, int64_t key) {
  auto node = std::make_unique<QuorbBinTree>();
  node->key = key;
  node->rec = std::make_unique<QuorbRecord>(rec);
  return node;
}

// QuorbAddNode inside the write section.
int64_t LinkNode(QuorbBinTree* node, int32_t& status) {
  // The key is read here: once linked, the node belongs to the tree and
  // other writers may change or free it.
  int64_t key = node->key;
  const auto equal = [](const QuorbBinTree& stored, const QuorbBinTree& added) {
    return stored.rec && added.rec && Equal(*stored.rec, *added.rec);
  };
  for (int tries = 0;;) {
    AddNodeRecursive(quorbTreeRoot, node, status, equal);
    if (status == kTreeLinked || status == kTreeLinkedGrew) {
      if (node->rec) recordIndex.Set(key, node->rec.get());
      AddToNodeCount(1);
      return key;
    }
    if (status == kTreeDuplicate) return key;
    // A holder address is never taken twice; only composed keys move on.
    if (IsDMA(key) || ++tries == kMaxKeyTries) {
      status = kTreeDuplicate;
      return key;
    }
    key = NextSatKey(key);
    node->key = key;
  }
}

// Links composed-key vectors in turn, several under one write section.
void LinkComposedVectors(std::span<ValidVector> vectors) {
  for (std::size_t first = 0; first < vectors.size(); first += kVectorsPerSection) {
    const std::span<ValidVector> part =
        vectors.subspan(first, std::min(kVectorsPerSection, vectors.size() - first));
    // Made before the section, so that nothing in it allocates (and throws).
    std::array<std::unique_ptr<QuorbBinTree>, kVectorsPerSection> nodes;
    for (std::size_t i = 0; i < part.size(); ++i) {
      nodes[i] = NewVectorNode(*part[i].rec, part[i].composedKey);
    }
    WithStoreWrite([&] {
      for (std::size_t i = 0; i < part.size(); ++i) {
        int32_t status = 0;
        part[i].key = LinkNode(nodes[i].get(), status);
        part[i].linked = status != kTreeDuplicate;
        if (part[i].linked) nodes[i].release();
      }
    });
  }
}

int64_t AddComposedVector(const QuorbRecord& rec, int64_t composed, bool& linked) {
  ValidVector vector{&rec, composed};
  LinkComposedVectors({&vector, 1});
  linked = vector.linked;
  return linked ? vector.key : AnswerUnlinked(composed);
}

// Releases a DMA holder's vector and frees the holder unless another
// component attached data to it. Called inside WithStoreWrite, so no walk
// reads the record while it goes.
int32_t RemoveDmaLocked(int64_t key) {
  DmaHolder* holder = KeyToCPtr(key);
  if (!HolderValidFor(holder, key)) {
    TraceLogError("RemoveDMA: /DMA doesn't exist or was already deallocated");
    return QUORB_FAILED;
  }
  if (!QuorbElsetType(holder->elsetType)) {
    TraceLogError("RemoveDMA: This DMA object isn't a correct object.");
    return QUORB_FAILED;
  }
  const HolderRecordLock lock(holder);
  delete std::exchange(holder->rec, nullptr);
  if (!holder->attachA && !holder->attachB) FreeDmaHolder(holder);
  return 0;
}

template <class Visit>
void VisitInOrder(const QuorbBinTree* node, const Visit& visit) {
  for (; node; node = node->right) {
    VisitInOrder(node->left, visit);
    visit(*node);
  }
}

// Pre-order search for the first vector of satNum.
const QuorbBinTree* FindAssociatedKey(const QuorbBinTree* node, int32_t satNum) {
  for (; node; node = node->right) {
    int32_t nodeSatNum = 0;
    if (QuorbReadNodeRecord(*node, [&](const QuorbRecord& rec) { nodeSatNum = rec.satNum; }) &&
        nodeSatNum == satNum) {
      return node;
    }
    if (const QuorbBinTree* found = FindAssociatedKey(node->left, satNum)) return found;
  }
  return nullptr;
}

// The load-order sort text: seqNum in 12 digits with leading zeros.
void WriteSeqNumText(char* text, int32_t seqNum) {
  uint32_t value = static_cast<uint32_t>(seqNum);
  for (int i = 11; i >= 0; --i, value /= 10) text[i] = static_cast<char>('0' + value % 10);
}

// Visits right subtree, node, left subtree, writing each key and its sort
// text at the next position.
template <class MakeText>
void GetTreeCombKeys(const QuorbBinTree* node, int32_t& count, int64_t* keys, char* texts,
                     const MakeText& makeText) {
  for (; node; node = node->left) {
    GetTreeCombKeys(node->right, count, keys, texts, makeText);
    keys[count] = node->key;
    makeText(*node, texts + static_cast<std::size_t>(count) * kSortTextLength);
    ++count;
  }
}

// count comes in as the number of nodes.
void SortedTreeKeys(int32_t& count, int64_t* keys, int32_t order) {
  std::vector<char> texts(static_cast<std::size_t>(count) * kSortTextLength, ' ');
  count = 0;
  if (order == QUORB_ORDER_LOAD) {
    GetTreeCombKeys(
        quorbTreeRoot, count, keys, texts.data(),
        [](const QuorbBinTree& node, char* text) { WriteSeqNumText(text, node.seqNum); });
  } else {
    GetTreeCombKeys(quorbTreeRoot, count, keys, texts.data(),
                    [](const QuorbBinTree& node, char* text) {
                      QuorbReadNodeRecord(node, [text](const QuorbRecord& rec) {
                        const Text<32> label = FieldsToStr(rec);
                        std::copy(label.begin(), label.end(), text);
                      });
                    });
  }
  QuickSortIterative(count, texts.data(), keys);
  if (order == QUORB_ORDER_SAT_NUM_EPOCH_REVERSED) std::reverse(keys, keys + count);
}

}  // namespace

bool QuorbTreeIsEmpty() {
  return nodeCount.load(std::memory_order_relaxed) == 0;
}

int64_t AddQuorbToMem(const QuorbRecord& rec) {
  if (ValidateQuorbValues(rec) != 0) return QUORB_KEY_NONE;
  bool linked = false;
  if (KeyModeInForce() == 1) return AddDmaVector(rec, linked);
  const int64_t composed = CreateSatKey(rec.satNum, kVectorElsetType, View(rec.epochDtg));
  if (composed == QUORB_KEY_NONE) return QUORB_KEY_NONE;
  return AddComposedVector(rec, composed, linked);
}

int64_t AddValidQuorbToMem(const QuorbRecord& rec, int64_t composedKey, bool& linked) {
  if (KeyModeInForce() == 1) return AddDmaVector(rec, linked);
  return AddComposedVector(rec, composedKey, linked);
}

void QuorbPrefetchIndexSlots(std::span<const int64_t> keys) {
  for (const int64_t key : keys) recordIndex.Prefetch(key);
}

void QuorbPrefetchInsertPaths(std::span<const int64_t> keys) {
  // Paths walked side by side: enough to keep the memory system busy.
  constexpr std::size_t kLanes = 16;
  const StoreRead read;
  for (std::size_t first = 0; first < keys.size(); first += kLanes) {
    const std::size_t lanes = std::min(kLanes, keys.size() - first);
    const QuorbBinTree* lane[kLanes];
    std::fill_n(lane, lanes, quorbTreeRoot);
    for (bool walking = quorbTreeRoot != nullptr; walking;) {
      walking = false;
      for (std::size_t i = 0; i < lanes; ++i) {
        if (lane[i] == nullptr) continue;
        lane[i] = keys[first + i] < lane[i]->key ? lane[i]->left : lane[i]->right;
        walking |= lane[i] != nullptr;
      }
    }
  }
}

void QuorbReserveKeys(std::size_t count) {
  WithStoreWrite([count] {
    recordIndex.Reserve(static_cast<std::size_t>(nodeCount.load(std::memory_order_relaxed)) +
                        count);
  });
}

bool LinkValidQuorbs(std::span<ValidVector> vectors) {
  if (KeyModeInForce() == 1) return false;
  LinkComposedVectors(vectors);
  return true;
}

int64_t AnswerUnlinked(int64_t composedKey) {
  if (DupKeyModeGet() != 0) return composedKey;
  LogKeyMessage("AddRecToMem: Duplicated record/key ", composedKey, " found.");
  return QUORB_KEY_DUPLICATE;
}

int64_t QuorbAddNode(QuorbBinTree* node, int32_t& status) {
  int64_t key = QUORB_KEY_NONE;
  WithStoreWrite([&] { key = LinkNode(node, status); });
  return key;
}

void QuorbFindRec(int64_t key, QuorbRecord& rec, FindMessage* msg) {
  FreeQuorbRecord(rec);
  rec.satNum = kNotFoundSatNum;
  SetMessage(msg, "");
  if (IsDMA(key)) {
    if (key <= 0) {
      SetMessage(msg, "FindRec: Invalid DMA key (<=0).");
      return;
    }
    const RecordAccess access(key);
    const DmaHolder* holder = access.holder();
    if (HolderValidFor(holder, key) && QuorbElsetType(holder->elsetType) && holder->rec) {
      rec = *holder->rec;
    }
    return;
  }
  if (QuorbTreeIsEmpty()) {
    SetMessage(msg, "FindRec: Search tree is empty.");
    return;
  }
  const StoreRead read;
  if (const QuorbRecord* stored = recordIndex.Find(key)) {
    rec = *stored;
  } else {
    SetMessage(msg, "FindRec: search key doens't exist.");
  }
}

const QuorbRecord* QuorbFindRecPtr(const RecordAccess& access, FindMessage* msg) {
  SetMessage(msg, "");
  const int64_t key = access.key();
  if (access.isDma()) {
    const DmaHolder* holder = access.holder();
    if (key <= 0) {
      SetMessage(msg, "FindRecPtr: Invalid DMA key (<=0).");
    } else if (!HolderValidFor(holder, key)) {
      SetMessage(msg, "FindRecPtr: Invalid DMA key.");
    } else if (!holder->rec) {
      SetMessage(msg, "FindRecPtr: Prop data doesn't exist.");
    } else {
      return holder->rec;
    }
    return nullptr;
  }
  if (!quorbTreeRoot) {
    SetMessage(msg, "FindRecPtr: Search tree is empty.");
    return nullptr;
  }
  const QuorbRecord* stored = recordIndex.Find(key);
  if (!stored) SetMessage(msg, "FindRecPtr: search key doens't exist.");
  return stored;
}

int32_t QuorbUpdateRec(int64_t key, const QuorbRecord& rec) {
  if (IsDMA(key) && key <= 0) {
    TraceLogError("UpdateRec: Invalid DMA key (<=0).");
    return QUORB_FAILED;
  }
  // The copy is made before taking write access, to keep the section short.
  auto replacement = std::make_unique<QuorbRecord>(rec);
  if (IsDMA(key)) {
    if (!WithDmaRecord(key, [&](QuorbRecord& stored) { std::swap(stored, *replacement); })) {
      TraceLogError("UpdateRec: rec/DMA doesn't exist or was already deallocated");
      return QUORB_FAILED;
    }
    return 0;  // the former record goes with replacement, outside the lock
  }
  int32_t status = 0;
  WithStoreWrite([&] {
    QuorbBinTree* node = FindNode(quorbTreeRoot, key);
    if (!node) {
      status = 3;
      return;
    }
    // The index confirms keys in the records it holds: the former one goes
    // only once the new one has its slot.
    std::swap(node->rec, replacement);
    recordIndex.Set(key, node->rec.get());
  });
  if (status == 3) {
    LogKeyMessage("UpdateRec: Unable to locate key ", key, " in its binary tree.");
    status = QUORB_FAILED;
  }
  return status;
}

bool QuorbModifyRec(int64_t key, const std::function<void(QuorbRecord&)>& change) {
  if (IsDMA(key)) return WithDmaRecord(key, change);
  bool found = false;
  WithStoreWrite([&] {
    if (QuorbRecord* rec = recordIndex.Find(key)) {
      change(*rec);
      found = true;
    }
  });
  return found;
}

int32_t QuorbRemoveNode(int64_t key) {
  if (IsDMA(key) && key <= 0) {
    TraceLogError("RemoveNode: Invalid DMA key (<=0).");
    return QUORB_FAILED;
  }
  int32_t status = 0;
  WithStoreWrite([&] {
    if (IsDMA(key)) {
      status = RemoveDmaLocked(key);
      if (status != 0) return;
    }
    // Out of the index first, while the index can still read its record.
    if (!IsDMA(key)) recordIndex.Erase(key);
    int32_t shrunk = 0;
    RemoveNodeRecursive(quorbTreeRoot, key, shrunk, status);
    if (status != 0) return;
    AddToNodeCount(-1);
  });
  return status;
}

int32_t QuorbEmptyTree() {
  WithStoreWrite([] {
    recordIndex.Clear();
    nodeCount.store(0, std::memory_order_relaxed);
    EmptyTreeRecursive(quorbTreeRoot, [](QuorbBinTree& node) {
      if (IsDMA(node.key)) RemoveDmaLocked(node.key);
    });
  });
  ReleaseUnusedStoreMemory();
  return 0;
}

int64_t QuorbSatKeyGet(int32_t satNum) {
  const StoreRead read;
  const QuorbBinTree* node = FindAssociatedKey(quorbTreeRoot, satNum);
  return node ? node->key : int64_t{QUORB_KEY_NONE};
}

int32_t QuorbGetNumOfTreeNodes() {
  const StoreRead read;
  return nodeCount.load(std::memory_order_relaxed);
}

bool QuorbReadNodeRecord(const QuorbBinTree& node, const RecordReader& read) {
  if (IsDMA(node.key)) return WithDmaRecord(node.key, read);
  if (!node.rec) return false;
  read(*node.rec);
  return true;
}

std::vector<int64_t> QuorbGetTreeKeys(int32_t order) {
  const StoreRead read;
  int32_t count = nodeCount.load(std::memory_order_relaxed);
  std::vector<int64_t> keys(count);
  if (order == QUORB_ORDER_SAT_NUM_EPOCH || order == QUORB_ORDER_SAT_NUM_EPOCH_REVERSED ||
      order == QUORB_ORDER_LOAD) {
    SortedTreeKeys(count, keys.data(), order);
  } else {
    count = 0;
    GetKeysQuick(quorbTreeRoot, count, keys.data());
  }
  return keys;
}

void QuorbVisitInOrder(const std::function<void(const QuorbBinTree&)>& visit) {
  const StoreRead read;
  VisitInOrder(quorbTreeRoot, visit);
}

}  // namespace quorb

// A generic height-balanced (AVL) binary tree ordered by a 64-bit signed key.
//
// Node types provide: int64_t key; int32_t seqNum; int32_t balance (height of
// the right subtree minus that of the left); Node* left, *right; and a record
// member `rec` that can be moved. The tree owns its nodes and frees them with
// delete. Nothing here locks: callers serialize changes.
#ifndef QUORB_TEMPLATES_TREETEMPLATE_H_
#define QUORB_TEMPLATES_TREETEMPLATE_H_

#include <cstdint>
#include <utility>

#include "quorb/quorb_services.h"

namespace quorb {

// Insertion statuses.
inline constexpr int32_t kTreeLinked = 0;      // linked; the subtree kept its height
inline constexpr int32_t kTreeLinkedGrew = 1;  // linked; the subtree grew by one level
inline constexpr int32_t kTreeKeyTaken = 2;    // the key holds a different record
inline constexpr int32_t kTreeDuplicate = 3;   // the key holds an equal record

// Raises the process-wide insertion counter and returns its new value. The
// counter is never lowered, so sequence numbers rise in load order and are
// never given twice (until it wraps after 2^32 insertions).
int32_t RaiseInsertionCounter();

// Logs the message of a removal whose key is not in the tree.
void ReportMissingKey(int64_t key);

template <class Node>
Node* FindNode(Node* root, int64_t key) {
  while (root && root->key != key) root = key < root->key ? root->left : root->right;
  return root;
}

namespace tree_detail {

// The two sides of a node, as balance counts them. Every rebalancing step
// is written once for a side; the other side's is its mirror image.
inline constexpr int kLeft = -1;
inline constexpr int kRight = 1;

template <int Side, class Node>
Node*& Child(Node* node) {
  if constexpr (Side == kLeft) {
    return node->left;
  } else {
    return node->right;
  }
}

// Lifts the child on Side into link's place.
template <int Side, class Node>
void Rotate(Node*& link) {
  Node* top = link;
  Node* child = Child<Side>(top);
  Child<Side>(top) = Child<-Side>(child);
  Child<-Side>(child) = top;
  link = child;
}

// Lifts the inner grandchild M (on -Side of the child on Side) into link's
// place, with the balances that leaves.
template <int Side, class Node>
void RotateTwice(Node*& link) {
  Node* top = link;
  Node* child = Child<Side>(top);
  Node* mid = Child<-Side>(child);
  Child<-Side>(child) = Child<Side>(mid);
  Child<Side>(mid) = child;
  Child<Side>(top) = Child<-Side>(mid);
  Child<-Side>(mid) = top;
  top->balance = mid->balance == Side ? -Side : 0;
  child->balance = mid->balance == -Side ? Side : 0;
  mid->balance = 0;
  link = mid;
}

// The subtree on Side grew two levels above the other: restore the balance.
template <int Side, class Node>
void FixAfterInsert(Node*& link) {
  if (Child<Side>(link)->balance == Side) {
    link->balance = 0;
    Rotate<Side>(link);
  } else {
    RotateTwice<Side>(link);
  }
  link->balance = 0;
}

// Rebalances after the subtree on -Side of link lost a level, which leaves
// link heavy on Side; shrunk tells whether link's subtree lost one too.
template <int Side, class Node>
void BalanceHeavy(Node*& link, int32_t& shrunk) {
  Node* top = link;
  if (top->balance == 0) {
    top->balance = Side;
    shrunk = 0;
  } else if (top->balance == -Side) {
    top->balance = 0;
    shrunk = 1;
  } else {
    Node* child = Child<Side>(top);
    if (child->balance == 0) {
      Rotate<Side>(link);
      top->balance = Side;
      child->balance = -Side;
      shrunk = 0;
    } else if (child->balance == Side) {
      Rotate<Side>(link);
      top->balance = 0;
      child->balance = 0;
      shrunk = 1;
    } else {
      RotateTwice<Side>(link);
      shrunk = 1;
    }
  }
}

}  // namespace tree_detail

// An AVL tree of 2^63 nodes is less than 1.45 * 63 levels high.
inline constexpr int kMaxTreeHeight = 96;

// Links node (key set, links empty, balance 0) into the subtree at link: a
// loop, despite its name. equal(existing, node) tells a duplicate (status 3)
// from a key collision (status 2); in both cases nothing is linked and the
// counter stays.
//
// The walk goes down remembering the links it passed, then back up while
// the subtree below has grown by a level, adjusting balances and rotating
// where a side has become two levels higher: the steps of the recursive
// insertion, without a call per level.
template <class Node, class EqualFn>
void AddNodeRecursive(Node*& link, Node* node, int32_t& status, const EqualFn& equal) {
  const int64_t key = node->key;
  Node** path[kMaxTreeHeight];
  int depth = 0;
  Node** at = &link;
  // Written as branches, not a select: a load in key order always goes
  // right, and a predicted branch lets the next node's load start before
  // this node's key has arrived.
  while (Node* top = *at) {
    path[depth++] = at;
    if (key > top->key) {
      at = &top->right;
    } else if (key < top->key) {
      at = &top->left;
    } else {
      status = equal(*top, *node) ? kTreeDuplicate : kTreeKeyTaken;
      return;
    }
  }
  *at = node;
  node->seqNum = RaiseInsertionCounter();
  status = kTreeLinkedGrew;
  while (depth > 0) {
    Node*& up = *path[--depth];
    Node* top = up;
    const int32_t grownSide = key < top->key ? tree_detail::kLeft : tree_detail::kRight;
    if (top->balance == -grownSide) {
      top->balance = 0;
      status = kTreeLinked;
      return;
    }
    if (top->balance == 0) {
      top->balance = grownSide;
      continue;
    }
    if (grownSide == tree_detail::kLeft) {
      tree_detail::FixAfterInsert<tree_detail::kLeft>(up);
    } else {
      tree_detail::FixAfterInsert<tree_detail::kRight>(up);
    }
    status = kTreeLinked;
    return;
  }
}

// Rebalances after the right subtree of link lost a level.
template <class Node>
void BalanceLeftHeavy(Node*& link, int32_t& shrunk) {
  tree_detail::BalanceHeavy<tree_detail::kLeft>(link, shrunk);
}

// Rebalances after the left subtree of link lost a level.
template <class Node>
void BalanceRightHeavy(Node*& link, int32_t& shrunk) {
  tree_detail::BalanceHeavy<tree_detail::kRight>(link, shrunk);
}

// Moves the in-order predecessor (the rightmost node below link) into
// target and frees the predecessor's node: a move, not a swap.
template <class Node>
void SwapNode(Node*& link, Node* target, int32_t& shrunk) {
  Node* current = link;
  if (current->right) {
    SwapNode(current->right, target, shrunk);
    if (shrunk) BalanceLeftHeavy(link, shrunk);
    return;
  }
  target->key = current->key;
  target->rec = std::move(current->rec);
  target->seqNum = current->seqNum;
  link = current->left;
  shrunk = 1;
  delete current;
}

// Unlinks and frees the node with key. Status 0, or 2 (logged) when the key
// is not in the tree.
template <class Node>
void RemoveNodeRecursive(Node*& link, int64_t key, int32_t& shrunk, int32_t& status) {
  status = 0;
  if (!link) {
    status = QUORB_FAILED;
    ReportMissingKey(key);
    return;
  }
  Node* top = link;
  if (key < top->key) {
    RemoveNodeRecursive(top->left, key, shrunk, status);
    if (shrunk) BalanceRightHeavy(link, shrunk);
  } else if (key > top->key) {
    RemoveNodeRecursive(top->right, key, shrunk, status);
    if (shrunk) BalanceLeftHeavy(link, shrunk);
  } else if (!top->right || !top->left) {
    link = top->right ? top->right : top->left;
    shrunk = 1;
    delete top;
  } else {
    SwapNode(top->left, top, shrunk);
    if (shrunk) BalanceRightHeavy(link, shrunk);
  }
}

// Writes the keys below link in ascending order at keys[count], keys[count+1],
// ... and raises count accordingly.
template <class Node>
void GetKeysQuick(const Node* link, int32_t& count, int64_t* keys) {
  for (; link; link = link->right) {
    GetKeysQuick(link->left, count, keys);
    keys[count++] = link->key;
  }
}

// Frees every node below link and empties it; release(node) runs on each
// node, children first, before the node is deleted.
template <class Node, class ReleaseFn>
void EmptyTreeRecursive(Node*& link, const ReleaseFn& release) {
  if (!link) return;
  EmptyTreeRecursive(link->left, release);
  EmptyTreeRecursive(link->right, release);
  release(*link);
  delete link;
  link = nullptr;
}

}  // namespace quorb

#endif  // QUORB_TEMPLATES_TREETEMPLATE_H_

#include "Templates/TreeTemplate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "quorb/quorb_services.h"

namespace quorb {
namespace {

struct TestNode {
  int64_t key = 0;
  int32_t seqNum = 0;
  int32_t balance = 0;
  TestNode* left = nullptr;
  TestNode* right = nullptr;
  std::unique_ptr<int> rec;
};

const auto kSameValue = [](const TestNode& a, const TestNode& b) {
  return a.rec && b.rec && *a.rec == *b.rec;
};

class Tree {
 public:
  ~Tree() {
    EmptyTreeRecursive(root_, [](TestNode&) {});
  }

  int32_t Add(int64_t key, int value) {
    auto* node = new TestNode;
    node->key = key;
    node->rec = std::make_unique<int>(value);
    int32_t status = 0;
    AddNodeRecursive(root_, node, status, kSameValue);
    if (status > kTreeLinkedGrew) delete node;
    return status;
  }

  int32_t Remove(int64_t key) {
    int32_t shrunk = 0;
    int32_t status = 0;
    RemoveNodeRecursive(root_, key, shrunk, status);
    return status;
  }

  TestNode* root_ = nullptr;
};

// Checks order, recomputed balance factors and that every record is present;
// returns the height.
int CheckSubtree(const TestNode* node, const int64_t* low, const int64_t* high) {
  if (!node) return 0;
  if (low) {
    EXPECT_GT(node->key, *low);
  }
  if (high) {
    EXPECT_LT(node->key, *high);
  }
  EXPECT_NE(node->rec, nullptr);
  const int left = CheckSubtree(node->left, low, &node->key);
  const int right = CheckSubtree(node->right, &node->key, high);
  EXPECT_EQ(node->balance, right - left) << "key " << node->key;
  EXPECT_LE(std::abs(right - left), 1) << "key " << node->key;
  return 1 + std::max(left, right);
}

void CollectSeqNums(const TestNode* node, std::map<int64_t, int32_t>& out) {
  if (!node) return;
  out[node->key] = node->seqNum;
  CollectSeqNums(node->left, out);
  CollectSeqNums(node->right, out);
}

std::vector<int64_t> Keys(const TestNode* root) {
  int32_t count = 0;
  GetTreeCount(root, count);
  std::vector<int64_t> keys(count);
  int32_t written = 0;
  GetKeysQuick(root, written, keys.data());
  EXPECT_EQ(written, count);
  return keys;
}

TEST(TreeTemplateTest, RotationsOnInsertionLeaveABalancedTree) {
  for (const std::vector<int64_t>& order :
       {std::vector<int64_t>{1, 2, 3}, {3, 2, 1}, {3, 1, 2}, {1, 3, 2}}) {
    Tree tree;
    for (int64_t key : order) tree.Add(key, static_cast<int>(key));
    ASSERT_NE(tree.root_, nullptr);
    EXPECT_EQ(tree.root_->key, 2);
    EXPECT_EQ(tree.root_->balance, 0);
    EXPECT_EQ(tree.root_->left->balance, 0);
    EXPECT_EQ(tree.root_->right->balance, 0);
  }
}

TEST(TreeTemplateTest, CollisionsLinkNothingAndKeepTheCounter) {
  Tree tree;
  EXPECT_EQ(tree.Add(5, 50), kTreeLinkedGrew);
  const int32_t seq = tree.root_->seqNum;
  EXPECT_EQ(tree.Add(5, 50), kTreeDuplicate);
  EXPECT_EQ(tree.Add(5, 51), kTreeKeyTaken);
  EXPECT_EQ(*tree.root_->rec, 50);
  EXPECT_EQ(tree.Add(6, 60), kTreeLinkedGrew);
  EXPECT_EQ(tree.root_->right->seqNum, seq + 1);
}

TEST(TreeTemplateTest, RemovingANodeWithTwoChildrenKeepsItInPlaceWithItsPredecessor) {
  Tree tree;
  for (int64_t key : {20, 10, 30, 5, 15, 40}) tree.Add(key, static_cast<int>(key) * 10);
  TestNode* top = tree.root_;
  ASSERT_EQ(top->key, 20);
  const int32_t predecessorSeq = top->left->right->seqNum;
  EXPECT_EQ(tree.Remove(20), 0);
  EXPECT_EQ(tree.root_, top);
  EXPECT_EQ(top->key, 15);
  EXPECT_EQ(*top->rec, 150);
  EXPECT_EQ(top->seqNum, predecessorSeq);
  CheckSubtree(tree.root_, nullptr, nullptr);
}

TEST(TreeTemplateTest, RemovingAMissingKeyLogsItRightAlignedAndChangesNothing) {
  Tree tree;
  EXPECT_EQ(tree.Remove(7), 2);
  tree.Add(1, 1);
  EXPECT_EQ(tree.Remove(-42), 2);
  char line[256];
  TraceLogLastError(line, sizeof line);
  EXPECT_STREQ(line,
               "RemoveNode: Unable to locate this key                 -42 in its binary tree.");
  EXPECT_EQ(Keys(tree.root_), std::vector<int64_t>{1});
  EXPECT_EQ(tree.Remove(1), 0);
  EXPECT_EQ(tree.root_, nullptr);
}

TEST(TreeTemplateTest, ListingAnEmptyTreeLeavesCountAndArrayAlone) {
  int64_t keys[2] = {11, 12};
  int32_t count = 0;
  GetKeysQuick<TestNode>(nullptr, count, keys);
  GetTreeCount<TestNode>(nullptr, count);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(keys[0], 11);
}

// Mixed insertions and removals against std::map, with the whole tree
// checked after every step.
TEST(TreeTemplateTest, RandomOperationsMatchAMapModel) {
  std::mt19937_64 rng(20261123);
  std::uniform_int_distribution<int64_t> keyDist(-150, 150);
  std::map<int64_t, int> model;
  Tree tree;
  int32_t lastSeq = RaiseInsertionCounter();
  for (int step = 0; step < 200000; ++step) {
    const int64_t key = keyDist(rng);
    const int value = static_cast<int>(rng() % 3);
    if (rng() % 2 == 0) {
      const int32_t status = tree.Add(key, value);
      const auto found = model.find(key);
      if (found == model.end()) {
        ASSERT_LE(status, kTreeLinkedGrew);
        model[key] = value;
        const int32_t seq = FindNode(tree.root_, key)->seqNum;
        ASSERT_GT(seq, lastSeq);
        lastSeq = seq;
      } else {
        ASSERT_EQ(status, found->second == value ? kTreeDuplicate : kTreeKeyTaken);
      }
    } else {
      ASSERT_EQ(tree.Remove(key), model.erase(key) ? 0 : 2);
    }
    CheckSubtree(tree.root_, nullptr, nullptr);
    std::vector<int64_t> expected;
    for (const auto& [k, v] : model) {
      expected.push_back(k);
      ASSERT_EQ(*FindNode(tree.root_, k)->rec, v) << "step " << step;
    }
    ASSERT_EQ(Keys(tree.root_), expected) << "step " << step;
    if (HasFailure()) return;
  }
  std::map<int64_t, int32_t> seqs;
  CollectSeqNums(tree.root_, seqs);
  for (const auto& [key, seq] : seqs) EXPECT_LE(seq, lastSeq);
}

}  // namespace
}  // namespace quorb

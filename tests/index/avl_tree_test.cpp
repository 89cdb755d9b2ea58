// The AVL tree in both instances (AVL_, BAVL_) over an in-memory node store:
// every mutation is checked against a std::set and the whole structure
// (order, balances, heights, parent links where they are kept) verified.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kvdata/avl.h"
#include "kvdata/bavl.h"

namespace {

struct Keys {
  std::vector<int32_t> key;  // key of element n; key[0] unused
  int32_t search = 0;        // the key element 0 stands for
  int32_t of(int32_t e) const { return e == 0 ? search : key[static_cast<size_t>(e)]; }
};

struct Store {
  std::vector<AvlKnoten> nodes;
  int32_t root = 0;
  int32_t lockDepth = 0;
  int32_t lockCalls = 0;
  Keys* keys = nullptr;
  std::vector<std::pair<int32_t, int32_t>> visits;  // (node, depth)
  int32_t stopAt = -1;                               // Visit returns 0 there
  int32_t stopAfter = 0;                             // > 0: 0 from that many visits on
  AvlBaum* nestedTree = nullptr;                     // walked again from node nestAt
  int32_t nestAt = -1;
  int32_t (*nestedWalk)(AvlBaum*) = nullptr;
};

int32_t Cmp(const Keys* k, int32_t a, int32_t b) {
  return k->of(a) < k->of(b) ? -1 : (k->of(a) > k->of(b) ? 1 : 0);
}

// Store callbacks shared by both instances; only the context differs.
int32_t ReadNode(void* c, int32_t n, AvlKnoten* out) {
  *out = static_cast<Store*>(c)->nodes.at(static_cast<size_t>(n));
  return 1;
}
int32_t WriteNode(void* c, int32_t n, const AvlKnoten* in) {
  static_cast<Store*>(c)->nodes.at(static_cast<size_t>(n)) = *in;
  return 1;
}
int32_t GetRoot(void* c, int32_t* r) {
  *r = static_cast<Store*>(c)->root;
  return 1;
}
int32_t SetRoot(void* c, int32_t r) {
  static_cast<Store*>(c)->root = r;
  return 1;
}
void Lock(void* c) {
  ++static_cast<Store*>(c)->lockDepth;
  ++static_cast<Store*>(c)->lockCalls;
}
void Unlock(void* c) { --static_cast<Store*>(c)->lockDepth; }
int32_t Visit(void* c, int32_t n, int32_t depth) {
  Store* s = static_cast<Store*>(c);
  s->visits.emplace_back(n, depth);
  if (n == s->nestAt && s->nestedTree != nullptr) {
    Store* inner = static_cast<Store*>(s->nestedTree->storeContext ? s->nestedTree->storeContext
                                                                   : s->nestedTree->compareContext);
    inner->visits.clear();
    s->nestedWalk(s->nestedTree);
  }
  if (s->stopAfter > 0 && static_cast<int32_t>(s->visits.size()) >= s->stopAfter) return 0;
  return n == s->stopAt ? 0 : 1;
}
int32_t CompareKeysContext(void* c, int32_t a, int32_t b) { return Cmp(static_cast<Keys*>(c), a, b); }
int32_t CompareStoreContext(void* c, int32_t a, int32_t b) { return Cmp(static_cast<Store*>(c)->keys, a, b); }

void BindCommon(AvlBaum& t) {
  t = AvlBaum{};
  t.ReadNode = ReadNode;
  t.WriteNode = WriteNode;
  t.GetRoot = GetRoot;
  t.SetRoot = SetRoot;
  t.Visit = Visit;
  t.Lock = Lock;
  t.Unlock = Unlock;
}

// AVL_: store callbacks get the store, Compare gets the keys.
struct AvlFlavor {
  static void Bind(AvlBaum& t, Store& s, Keys& k) {
    BindCommon(t);
    t.Compare = CompareKeysContext;
    t.storeContext = &s;
    t.compareContext = &k;
  }
  static void NewTree(AvlBaum* t, int32_t n) { AVL_NeuerBaum(t, n, nullptr); }
  static int32_t Insert(AvlBaum* t) { return AVL_Einfuegen(t); }
  static int32_t Search(AvlBaum* t) { return AVL_Suchen(t); }
  static void Delete(AvlBaum* t) { AVL_Loeschen(t); }
  static int32_t Walk(AvlBaum* t) { return AVL_MitBaum(t); }
};

// BAVL_: every callback gets the compare context; the store context is
// left null so that using it would crash.
struct BavlFlavor {
  static void Bind(AvlBaum& t, Store& s, Keys&) {
    BindCommon(t);
    t.Compare = CompareStoreContext;
    t.storeContext = nullptr;
    t.compareContext = &s;
  }
  static void NewTree(AvlBaum* t, int32_t n) { BAVL_NeuerBaum(t, n, nullptr); }
  static int32_t Insert(AvlBaum* t) { return BAVL_Einfuegen(t); }
  static int32_t Search(AvlBaum* t) { return BAVL_Suchen(t); }
  static void Delete(AvlBaum* t) { BAVL_Loeschen(t); }
  static int32_t Walk(AvlBaum* t) { return BAVL_MitBaum(t); }
};

template <typename F>
class AvlTreeTest : public ::testing::Test {
 protected:
  // Elements 1..n with key[e] = keyOf(e).
  void Make(int32_t n, const std::vector<int32_t>& keyOf = {}) {
    keys_.key.assign(static_cast<size_t>(n) + 1, 0);
    for (int32_t e = 1; e <= n; ++e) keys_.key[e] = keyOf.empty() ? e : keyOf[static_cast<size_t>(e - 1)];
    store_ = Store{};
    store_.keys = &keys_;
    store_.nodes.assign(static_cast<size_t>(n) + 1, AvlKnoten{9, 9, 9, 9});
    store_.root = 77;
    F::Bind(tree_, store_, keys_);
    F::NewTree(&tree_, n);
  }
  // Insertion compares with element 0 too: the new key goes into the
  // compare context first.
  int32_t Insert(int32_t e) {
    keys_.search = keys_.of(e);
    tree_.currentElement = e;
    return F::Insert(&tree_);
  }
  void Delete(int32_t e) {
    tree_.currentElement = e;
    F::Delete(&tree_);
  }
  int32_t Search(int32_t key) {
    keys_.search = key;
    return F::Search(&tree_);
  }

  // Height of the subtree at n; appends its keys in order.
  int32_t Check(int32_t n, int32_t parent, bool parents, std::vector<int32_t>& inOrder) {
    if (n == 0) return 0;
    const AvlKnoten k = store_.nodes.at(static_cast<size_t>(n));
    if (parents) {
      EXPECT_EQ(int32_t{k.parent}, parent) << "parent link of " << n;
    }
    const int32_t hl = Check(k.left, n, parents, inOrder);
    inOrder.push_back(keys_.of(n));
    const int32_t hr = Check(k.right, n, parents, inOrder);
    EXPECT_EQ(int32_t{k.balance}, hr - hl) << "balance of " << n;
    EXPECT_LE(std::abs(hr - hl), 1) << "node " << n;
    return 1 + std::max(hl, hr);
  }
  // The whole tree holds exactly `expected`, balanced; returns its height.
  int32_t Verify(const std::set<int32_t>& expected, bool parents) {
    std::vector<int32_t> inOrder;
    const int32_t h = Check(store_.root, 0, parents, inOrder);
    EXPECT_EQ(inOrder, std::vector<int32_t>(expected.begin(), expected.end()));
    return h;
  }

  Keys keys_;
  Store store_;
  AvlBaum tree_{};
};

using Flavors = ::testing::Types<AvlFlavor, BavlFlavor>;
TYPED_TEST_SUITE(AvlTreeTest, Flavors);

TYPED_TEST(AvlTreeTest, RandomOperationsAgreeWithAStdSet) {
  // Elements 1..N carry distinct keys; element e + N carries e's key, so
  // inserting it while e is in the tree must report -e.
  constexpr int32_t N = 300;
  std::mt19937 rng(12345);
  std::vector<int32_t> base(N);
  std::iota(base.begin(), base.end(), 1);
  std::shuffle(base.begin(), base.end(), rng);
  std::vector<int32_t> keyOf(2 * N);
  for (int32_t i = 0; i < N; ++i) keyOf[i] = keyOf[i + N] = base[i] * 3;
  this->Make(2 * N, keyOf);

  std::set<int32_t> present;
  std::vector<int32_t> holder(static_cast<size_t>(N) * 3 + 3, 0);  // key -> element in the tree
  // Insertions only first: all parent links must be right.
  for (int32_t i = 0; i < N / 2; ++i) {
    const int32_t e = 1 + static_cast<int32_t>(rng() % N);
    const int32_t k = keyOf[e - 1];
    const int32_t r = this->Insert(e);
    if (present.count(k)) {
      EXPECT_EQ(r, -holder[k]);
    } else {
      EXPECT_EQ(r, e);
      present.insert(k);
      holder[k] = e;
    }
    this->Verify(present, true);
  }
  for (int step = 0; step < 4000; ++step) {
    const int32_t e = 1 + static_cast<int32_t>(rng() % (2 * N));
    const int32_t k = keyOf[e - 1];
    switch (rng() % 3) {
      case 0: {
        const int32_t r = this->Insert(e);
        if (present.count(k)) {
          ASSERT_EQ(r, -holder[k]) << "step " << step;
        } else {
          ASSERT_EQ(r, e) << "step " << step;
          present.insert(k);
          holder[k] = e;
        }
        break;
      }
      case 1:
        ASSERT_EQ(this->Search(k), present.count(k) ? holder[k] : 0) << "step " << step;
        ASSERT_EQ(this->Search(k + 1), 0);
        break;
      default:
        // Deleting element e removes whichever element holds e's key.
        this->Delete(e);
        present.erase(k);
        break;
    }
    this->Verify(present, false);
    ASSERT_FALSE(::testing::Test::HasFailure()) << "step " << step;
  }
  EXPECT_EQ(this->store_.lockDepth, 0);
}

TYPED_TEST(AvlTreeTest, EveryInsertionAndDeletionOrderOfSmallTrees) {
  for (int32_t n = 1; n <= 7; ++n) {
    std::vector<int32_t> perm(static_cast<size_t>(n));
    std::iota(perm.begin(), perm.end(), 1);
    do {
      this->Make(n);
      std::set<int32_t> present;
      for (int32_t e : perm) {
        ASSERT_EQ(this->Insert(e), e);
        present.insert(e);
        this->Verify(present, true);
      }
      // Delete in the insertion order and, for up to 6 keys, from trees
      // built ascending in every order.
      for (int32_t e : perm) {
        this->Delete(e);
        present.erase(e);
        this->Verify(present, false);
      }
      ASSERT_EQ(this->store_.root, 0);
      if (n <= 6) {
        this->Make(n);
        for (int32_t e = 1; e <= n; ++e) this->Insert(e);
        for (int32_t e = 1; e <= n; ++e) present.insert(e);
        for (int32_t e : perm) {
          this->Delete(e);
          present.erase(e);
          this->Verify(present, false);
        }
      }
      ASSERT_FALSE(::testing::Test::HasFailure());
    } while (std::next_permutation(perm.begin(), perm.end()));
  }
}

TYPED_TEST(AvlTreeTest, AscendingDescendingAndZigZagOrdersStayLogarithmic) {
  constexpr int32_t N = 1000;
  std::vector<std::vector<int32_t>> orders(3);
  for (int32_t i = 1; i <= N; ++i) {
    orders[0].push_back(i);
    orders[1].push_back(N + 1 - i);
  }
  for (int32_t lo = 1, hi = N; lo <= hi; ++lo, --hi) {
    orders[2].push_back(lo);
    if (hi != lo) orders[2].push_back(hi);
  }
  for (const auto& order : orders) {
    this->Make(N);
    std::set<int32_t> present;
    for (int32_t e : order) {
      ASSERT_EQ(this->Insert(e), e);
      present.insert(e);
    }
    const int32_t h = this->Verify(present, true);
    EXPECT_LE(h, 1.45 * std::log2(N + 2));
    for (int32_t e : order) EXPECT_EQ(this->Search(e), e);
    for (size_t i = 0; i < order.size(); i += 2) {
      this->Delete(order[i]);
      present.erase(order[i]);
      this->Verify(present, false);
    }
  }
}

TYPED_TEST(AvlTreeTest, SmallCasesAndLocking) {
  this->Make(5);
  EXPECT_EQ(this->store_.root, 0);  // cleared over whatever was there
  EXPECT_EQ(int32_t{this->store_.nodes[5].parent}, 0);
  EXPECT_EQ(this->Search(3), 0);
  this->Delete(3);  // absent: nothing happens
  EXPECT_EQ(this->store_.root, 0);

  EXPECT_EQ(this->Insert(1), 1);
  EXPECT_EQ(this->store_.root, 1);
  EXPECT_EQ(int32_t{this->store_.nodes[1].balance}, 0);
  this->Insert(2);
  this->Insert(3);  // one single rotation
  EXPECT_EQ(this->store_.root, 2);
  const auto before = this->store_.nodes;
  this->keys_.key[4] = 3;  // element 4 has element 3's key
  EXPECT_EQ(this->Insert(4), -3);
  for (size_t i = 0; i < before.size(); ++i) EXPECT_EQ(std::memcmp(&before[i], &this->store_.nodes[i], 14), 0);

  const int32_t locksBefore = this->store_.lockCalls;
  this->Search(2);
  EXPECT_EQ(this->store_.lockCalls, locksBefore);  // searching takes no lock
  this->Delete(2);
  EXPECT_EQ(this->store_.lockCalls, locksBefore + 1);
  EXPECT_EQ(this->store_.lockDepth, 0);
  EXPECT_EQ(TypeParam::Insert(nullptr), 0);
  EXPECT_EQ(TypeParam::Search(nullptr), 0);
  EXPECT_EQ(TypeParam::Walk(nullptr), 0);
  this->tree_.currentElement = 0;
  EXPECT_EQ(TypeParam::Insert(&this->tree_), 0);
}

// Parent words are part of the stored image: deletion leaves them exactly
// as existing indexes have them.
TYPED_TEST(AvlTreeTest, DeletionWritesTheParentLinksItAlwaysHas) {
  auto node = [this](int32_t n) { return this->store_.nodes[static_cast<size_t>(n)]; };
  // Left subtree shrinks under a right-heavy node whose right child leans
  // left: a double rotation that writes no parent links.
  this->Make(4);
  for (int32_t e : {2, 1, 4, 3}) this->Insert(e);
  this->Delete(1);
  EXPECT_EQ(this->store_.root, 3);
  EXPECT_EQ(int32_t{node(3).parent}, 4);  // stale: still its old parent
  EXPECT_EQ(int32_t{node(3).left}, 2);
  EXPECT_EQ(int32_t{node(3).right}, 4);
  EXPECT_EQ(int32_t{node(2).parent}, 0);
  EXPECT_EQ(int32_t{node(4).parent}, 2);
  // The mirror case updates every link.
  this->Make(4);
  for (int32_t e : {3, 4, 1, 2}) this->Insert(e);
  this->Delete(4);
  EXPECT_EQ(this->store_.root, 2);
  EXPECT_EQ(int32_t{node(2).parent}, 0);
  EXPECT_EQ(int32_t{node(1).parent}, 2);
  EXPECT_EQ(int32_t{node(3).parent}, 2);
  // A predecessor straight below the deleted node hands its left child
  // parent 0.
  this->Make(4);
  for (int32_t e : {3, 2, 4, 1}) this->Insert(e);
  this->Delete(3);
  EXPECT_EQ(this->store_.root, 2);
  EXPECT_EQ(int32_t{node(2).left}, 1);
  EXPECT_EQ(int32_t{node(2).right}, 4);
  EXPECT_EQ(int32_t{node(1).parent}, 0);
  EXPECT_EQ(int32_t{node(4).parent}, 2);
}

TYPED_TEST(AvlTreeTest, WalkOrderDepthsStopRuleAndNesting) {
  this->Make(7);
  for (int32_t e : {4, 2, 6, 1, 3, 5, 7}) this->Insert(e);
  using V = std::vector<std::pair<int32_t, int32_t>>;
  EXPECT_EQ(TypeParam::Walk(&this->tree_), 1);
  EXPECT_EQ(this->store_.visits, (V{{1, 3}, {2, 2}, {3, 3}, {4, 1}, {5, 3}, {6, 2}, {7, 3}}));

  // A Visit result of 0 ends the walk of the subtree it stands in; the nodes
  // above are still visited and their results count again (4 -> 2 6 -> 1 3 5 7).
  auto visitedWhenStoppingAt = [this](int32_t stop) {
    this->store_.visits.clear();
    this->store_.stopAt = stop;
    TypeParam::Walk(&this->tree_);
    std::vector<int32_t> nodes;
    for (auto& v : this->store_.visits) nodes.push_back(v.first);
    return nodes;
  };
  EXPECT_EQ(visitedWhenStoppingAt(1), (std::vector<int32_t>{1, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ(visitedWhenStoppingAt(4), (std::vector<int32_t>{1, 2, 3, 4}));  // the root: nothing right
  EXPECT_EQ(visitedWhenStoppingAt(6), (std::vector<int32_t>{1, 2, 3, 4, 5, 6}));
  // A visitor that keeps answering 0 after its stop ends the walk for good:
  // the ancestors are visited on the way up, no right subtree is entered.
  this->store_.stopAt = -1;
  this->store_.stopAfter = 2;
  this->store_.visits.clear();
  TypeParam::Walk(&this->tree_);
  std::vector<int32_t> hard;
  for (auto& v : this->store_.visits) hard.push_back(v.first);
  EXPECT_EQ(hard, (std::vector<int32_t>{1, 2, 4}));
  this->store_.stopAfter = 0;

  // A walk started inside a Visit (here over a second tree of the same
  // instance, stopped early) leaves the outer walk going.
  Keys innerKeys;
  Store inner;
  AvlBaum innerTree{};
  innerKeys.key = {0, 10, 20, 30};
  inner.keys = &innerKeys;
  inner.nodes.assign(4, AvlKnoten{});
  inner.stopAfter = 1;  // a hard stop at its first node
  TypeParam::Bind(innerTree, inner, innerKeys);
  for (int32_t e : {2, 1, 3}) {
    innerKeys.search = innerKeys.of(e);
    innerTree.currentElement = e;
    TypeParam::Insert(&innerTree);
  }
  this->store_.stopAt = -1;
  this->store_.nestAt = 2;
  this->store_.nestedTree = &innerTree;
  this->store_.nestedWalk = &TypeParam::Walk;
  this->store_.visits.clear();
  TypeParam::Walk(&this->tree_);
  EXPECT_EQ(this->store_.visits, (V{{1, 3}, {2, 2}, {3, 3}, {4, 1}, {5, 3}, {6, 2}, {7, 3}}));
  EXPECT_EQ(inner.visits, (V{{1, 2}, {2, 1}}));
}

// ---- Clearing and its progress -----------------------------------------------

std::vector<int32_t> g_progress;
void Progress(int32_t done) { g_progress.push_back(done); }
void VisualProgress(void* display, int32_t done) {
  EXPECT_EQ(display, &g_progress);
  g_progress.push_back(done);
}

TEST(AvlClearTest, ProgressStepsOfTheThreeClearingVariants) {
  Keys keys;
  Store s;
  AvlBaum t{};
  s.keys = &keys;
  s.nodes.assign(251, AvlKnoten{1, 2, 3, 1});
  AvlFlavor::Bind(t, s, keys);

  g_progress.clear();
  AVL_NeuerBaum(&t, 250, Progress);  // every 100th, then count + 1
  EXPECT_EQ(g_progress, (std::vector<int32_t>{100, 200, 251}));
  EXPECT_EQ(int32_t{s.nodes[250].right}, 0);
  EXPECT_EQ(int32_t{s.nodes[0].right}, 3);  // slot 0 is not a node

  g_progress.clear();
  AVL_NeuerBaum(&t, 0, Progress);
  EXPECT_EQ(g_progress, (std::vector<int32_t>{1}));

  g_progress.clear();
  AVL_NeuerBaum_Visual(&g_progress, &t, 250, VisualProgress);  // step 2
  EXPECT_EQ(g_progress.size(), 126u);
  EXPECT_EQ(g_progress.front(), 2);
  EXPECT_EQ(g_progress.back(), 251);

  g_progress.clear();
  AVL_NeuerBaum_Visual(&g_progress, &t, 3, VisualProgress);  // below 99: every slot
  EXPECT_EQ(g_progress, (std::vector<int32_t>{1, 2, 3, 4}));

  BavlFlavor::Bind(t, s, keys);
  g_progress.clear();
  BAVL_NeuerBaum(&t, 3, Progress);
  EXPECT_EQ(g_progress, (std::vector<int32_t>{1, 2, 3, 4}));
}

}  // namespace

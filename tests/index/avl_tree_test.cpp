// The AVL tree in both instances (AVL_, BAVL_) over an in-memory node store:
// every mutation is checked against a std::set and the whole structure
// (order, balances, heights, parent links where they are kept) verified.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <numeric>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "kvdata/avl.h"
#include "kvdata/bavl.h"

namespace {

using Visits = std::vector<std::pair<int32_t, int32_t>>;  // (node, depth)

struct Keys {
  std::vector<int32_t> key;  // key of element n; key[0] unused
  int32_t search = 0;        // the key element 0 stands for
  int32_t of(int32_t e) const { return e == 0 ? search : key[static_cast<size_t>(e)]; }
};

struct Store {
  std::vector<AvlKnoten> nodes;
  int32_t root = 0;
  int32_t lockDepth = 0, lockCalls = 0;
  Keys* keys = nullptr;
  Visits visits;
  int32_t stopAt = -1;     // Visit returns 0 there
  int32_t stopAfter = 0;   // > 0: 0 from that many visits on
  std::function<void()> nested;  // run inside the visit of node nestAt
  int32_t nestAt = -1;
};

Store* S(void* c) { return static_cast<Store*>(c); }
int32_t Cmp(const Keys* k, int32_t a, int32_t b) { return k->of(a) < k->of(b) ? -1 : (k->of(a) > k->of(b) ? 1 : 0); }

// Store callbacks shared by both instances; only the context differs.
int32_t ReadNode(void* c, int32_t n, AvlKnoten* out) {
  *out = S(c)->nodes.at(static_cast<size_t>(n));
  return 1;
}
int32_t WriteNode(void* c, int32_t n, const AvlKnoten* in) {
  S(c)->nodes.at(static_cast<size_t>(n)) = *in;
  return 1;
}
int32_t GetRoot(void* c, int32_t* r) { return *r = S(c)->root, 1; }
int32_t SetRoot(void* c, int32_t r) { return S(c)->root = r, 1; }
void Lock(void* c) { ++S(c)->lockDepth, ++S(c)->lockCalls; }
void Unlock(void* c) { --S(c)->lockDepth; }
int32_t Visit(void* c, int32_t n, int32_t depth) {
  Store* s = S(c);
  s->visits.emplace_back(n, depth);
  if (n == s->nestAt && s->nested) s->nested();
  if (s->stopAfter > 0 && static_cast<int32_t>(s->visits.size()) >= s->stopAfter) return 0;
  return n == s->stopAt ? 0 : 1;
}
int32_t CompareKeysContext(void* c, int32_t a, int32_t b) { return Cmp(static_cast<Keys*>(c), a, b); }
int32_t CompareStoreContext(void* c, int32_t a, int32_t b) { return Cmp(S(c)->keys, a, b); }

// AVL_: store callbacks get the store, Compare gets the keys.
struct AvlFlavor {
  static constexpr bool kOneContext = false;
  static constexpr auto NewTree = &AVL_NeuerBaum;
  static constexpr auto Insert = &AVL_Einfuegen;
  static constexpr auto Search = &AVL_Suchen;
  static constexpr auto Delete = &AVL_Loeschen;
  static constexpr auto Walk = &AVL_MitBaum;
};

// BAVL_: every callback gets the compare context; the store context is
// left null so that using it would crash.
struct BavlFlavor {
  static constexpr bool kOneContext = true;
  static constexpr auto NewTree = &BAVL_NeuerBaum;
  static constexpr auto Insert = &BAVL_Einfuegen;
  static constexpr auto Search = &BAVL_Suchen;
  static constexpr auto Delete = &BAVL_Loeschen;
  static constexpr auto Walk = &BAVL_MitBaum;
};

template <typename F>
void Bind(AvlBaum& t, Store& s, Keys& k) {
  t = AvlBaum{};
  t.ReadNode = ReadNode;
  t.WriteNode = WriteNode;
  t.GetRoot = GetRoot;
  t.SetRoot = SetRoot;
  t.Visit = Visit;
  t.Lock = Lock;
  t.Unlock = Unlock;
  t.Compare = F::kOneContext ? CompareStoreContext : CompareKeysContext;
  t.storeContext = F::kOneContext ? nullptr : &s;
  t.compareContext = F::kOneContext ? static_cast<void*>(&s) : &k;
}

// One tree with its keys and node store.
template <typename F>
struct Tree {
  Keys keys;
  Store store;
  AvlBaum t{};

  // Elements 1..n with key[e] = keyOf(e); the store starts with garbage.
  void Make(int32_t n, const std::vector<int32_t>& keyOf = {}) {
    keys.key.assign(static_cast<size_t>(n) + 1, 0);
    for (int32_t e = 1; e <= n; ++e) keys.key[e] = keyOf.empty() ? e : keyOf[static_cast<size_t>(e - 1)];
    store = Store{};
    store.keys = &keys;
    store.nodes.assign(static_cast<size_t>(n) + 1, AvlKnoten{9, 9, 9, 9});
    store.root = 77;
    Bind<F>(t, store, keys);
    F::NewTree(&t, n, nullptr);
  }
  // Insertion compares with element 0 too: the new key goes into the
  // compare context first.
  int32_t Insert(int32_t e) {
    keys.search = keys.of(e);
    t.currentElement = e;
    return F::Insert(&t);
  }
  void Delete(int32_t e) {
    t.currentElement = e;
    F::Delete(&t);
  }
  int32_t Search(int32_t key) {
    keys.search = key;
    return F::Search(&t);
  }
  // The nodes a walk visits, each visit's result given by the store.
  std::vector<int32_t> Walk() {
    store.visits.clear();
    F::Walk(&t);
    std::vector<int32_t> nodes;
    for (auto& v : store.visits) nodes.push_back(v.first);
    return nodes;
  }
  AvlKnoten Node(int32_t n) const { return store.nodes.at(static_cast<size_t>(n)); }

  // Height of the subtree at n; appends its keys in order.
  int32_t Check(int32_t n, int32_t parent, bool parents, std::vector<int32_t>& inOrder) {
    if (n == 0) return 0;
    const AvlKnoten k = Node(n);
    if (parents) {
      EXPECT_EQ(int32_t{k.parent}, parent) << "parent link of " << n;
    }
    const int32_t hl = Check(k.left, n, parents, inOrder);
    inOrder.push_back(keys.of(n));
    const int32_t hr = Check(k.right, n, parents, inOrder);
    EXPECT_EQ(int32_t{k.balance}, hr - hl) << "balance of " << n;
    EXPECT_LE(std::abs(hr - hl), 1) << "node " << n;
    return 1 + std::max(hl, hr);
  }
  // The whole tree holds exactly `expected`, balanced; returns its height.
  int32_t Verify(const std::set<int32_t>& expected, bool parents) {
    std::vector<int32_t> inOrder;
    const int32_t h = Check(store.root, 0, parents, inOrder);
    EXPECT_EQ(inOrder, std::vector<int32_t>(expected.begin(), expected.end()));
    return h;
  }
};

template <typename F>
class AvlTreeTest : public ::testing::Test {
 protected:
  Tree<F> tr;
};

using Flavors = ::testing::Types<AvlFlavor, BavlFlavor>;
TYPED_TEST_SUITE(AvlTreeTest, Flavors);

TYPED_TEST(AvlTreeTest, RandomOperationsAgreeWithAStdSet) {
  // Elements 1..N carry distinct keys; element e + N carries e's key, so
  // inserting it while e is in the tree must report -e.
  constexpr int32_t N = 300;
  auto& tr = this->tr;
  std::mt19937 rng(12345);
  std::vector<int32_t> base(N);
  std::iota(base.begin(), base.end(), 1);
  std::shuffle(base.begin(), base.end(), rng);
  std::vector<int32_t> keyOf(2 * N);
  for (int32_t i = 0; i < N; ++i) keyOf[i] = keyOf[i + N] = base[i] * 3;
  tr.Make(2 * N, keyOf);

  std::set<int32_t> present;
  std::vector<int32_t> holder(static_cast<size_t>(N) * 3 + 3, 0);  // key -> element in the tree
  auto insert = [&](int32_t e) {
    const int32_t k = keyOf[e - 1];
    EXPECT_EQ(tr.Insert(e), present.count(k) ? -holder[k] : e);
    if (present.insert(k).second) holder[k] = e;
  };
  // Insertions only first: all parent links must be right.
  for (int32_t i = 0; i < N / 2; ++i) {
    insert(1 + static_cast<int32_t>(rng() % N));
    tr.Verify(present, true);
  }
  for (int step = 0; step < 4000; ++step) {
    const int32_t e = 1 + static_cast<int32_t>(rng() % (2 * N));
    const int32_t k = keyOf[e - 1];
    switch (rng() % 3) {
      case 0:
        insert(e);
        break;
      case 1:
        EXPECT_EQ(tr.Search(k), present.count(k) ? holder[k] : 0);
        EXPECT_EQ(tr.Search(k + 1), 0);
        break;
      default:
        // Deleting element e removes whichever element holds e's key.
        tr.Delete(e);
        present.erase(k);
        break;
    }
    tr.Verify(present, false);
    ASSERT_FALSE(::testing::Test::HasFailure()) << "step " << step;
  }
  EXPECT_EQ(tr.store.lockDepth, 0);
}

TYPED_TEST(AvlTreeTest, EveryInsertionAndDeletionOrderOfSmallTrees) {
  auto& tr = this->tr;
  // Deletes in `order`, verifying after each step.
  auto deleteAll = [&](const std::vector<int32_t>& order, std::set<int32_t> present) {
    for (int32_t e : order) {
      tr.Delete(e);
      present.erase(e);
      tr.Verify(present, false);
    }
    EXPECT_EQ(tr.store.root, 0);
  };
  for (int32_t n = 1; n <= 7; ++n) {
    std::vector<int32_t> perm(static_cast<size_t>(n));
    std::iota(perm.begin(), perm.end(), 1);
    do {
      tr.Make(n);
      std::set<int32_t> present;
      for (int32_t e : perm) {
        ASSERT_EQ(tr.Insert(e), e);
        present.insert(e);
        tr.Verify(present, true);
      }
      // Delete in the insertion order and, for up to 6 keys, from a tree
      // built ascending.
      deleteAll(perm, present);
      if (n <= 6) {
        tr.Make(n);
        for (int32_t e = 1; e <= n; ++e) tr.Insert(e);
        deleteAll(perm, present);
      }
      ASSERT_FALSE(::testing::Test::HasFailure());
    } while (std::next_permutation(perm.begin(), perm.end()));
  }
}

TYPED_TEST(AvlTreeTest, SmallCasesAndLocking) {
  auto& tr = this->tr;
  tr.Make(5);
  EXPECT_EQ(tr.store.root, 0);  // cleared over whatever was there
  EXPECT_EQ(int32_t{tr.Node(5).parent}, 0);
  EXPECT_EQ(tr.Search(3), 0);
  tr.Delete(3);  // absent: nothing happens
  EXPECT_EQ(tr.store.root, 0);

  for (int32_t e : {1, 2, 3}) tr.Insert(e);  // one single rotation
  EXPECT_EQ(tr.store.root, 2);
  // An element with a key already there is reported and writes nothing.
  const auto before = tr.store.nodes;
  tr.keys.key[4] = 3;
  EXPECT_EQ(tr.Insert(4), -3);
  for (size_t i = 0; i < before.size(); ++i) EXPECT_EQ(std::memcmp(&before[i], &tr.store.nodes[i], 14), 0);

  const int32_t locksBefore = tr.store.lockCalls;
  tr.Search(2);
  EXPECT_EQ(tr.store.lockCalls, locksBefore);  // searching takes no lock
  tr.Delete(2);
  EXPECT_EQ(tr.store.lockCalls, locksBefore + 1);
  EXPECT_EQ(tr.store.lockDepth, 0);
  EXPECT_EQ(TypeParam::Insert(nullptr), 0);
  EXPECT_EQ(TypeParam::Search(nullptr), 0);
  EXPECT_EQ(TypeParam::Walk(nullptr), 0);
  tr.t.currentElement = 0;
  EXPECT_EQ(TypeParam::Insert(&tr.t), 0);
}

// Parent words are part of the stored image: deletion leaves them exactly
// as existing indexes have them.
TYPED_TEST(AvlTreeTest, DeletionWritesTheParentLinksItAlwaysHas) {
  const struct {
    std::vector<int32_t> inserted;
    int32_t deleted, root;
    std::vector<std::vector<int32_t>> links;  // parent, left, right of elements 1..4
  } cases[] = {
      // Left subtree shrinks under a right-heavy node whose right child
      // leans left: a double rotation that writes no parent links (3 keeps
      // its old parent 4).
      {{2, 1, 4, 3}, 1, 3, {{0, 0, 0}, {0, 0, 0}, {4, 2, 4}, {2, 0, 0}}},
      // The mirror case updates every link.
      {{3, 4, 1, 2}, 4, 2, {{2, 0, 0}, {0, 1, 3}, {2, 0, 0}, {0, 0, 0}}},
      // A predecessor straight below the deleted node hands its left child
      // parent 0.
      {{3, 2, 4, 1}, 3, 2, {{0, 0, 0}, {0, 1, 4}, {0, 0, 0}, {2, 0, 0}}},
  };
  auto& tr = this->tr;
  for (const auto& c : cases) {
    tr.Make(4);
    for (int32_t e : c.inserted) tr.Insert(e);
    tr.Delete(c.deleted);
    EXPECT_EQ(tr.store.root, c.root) << "deleting " << c.deleted;
    for (int32_t n = 1; n <= 4; ++n) {
      if (n == c.deleted) continue;
      const AvlKnoten got = tr.Node(n);
      EXPECT_EQ(std::vector<int32_t>({got.parent, got.left, got.right}), c.links[static_cast<size_t>(n - 1)])
          << "node " << n << " after deleting " << c.deleted;
    }
  }
}

TYPED_TEST(AvlTreeTest, WalkOrderDepthsStopRuleAndNesting) {
  auto& tr = this->tr;
  tr.Make(7);
  for (int32_t e : {4, 2, 6, 1, 3, 5, 7}) tr.Insert(e);
  const Visits all{{1, 3}, {2, 2}, {3, 3}, {4, 1}, {5, 3}, {6, 2}, {7, 3}};
  EXPECT_EQ(TypeParam::Walk(&tr.t), 1);
  EXPECT_EQ(tr.store.visits, all);

  // A Visit result of 0 ends the walk of the subtree it stands in; the nodes
  // above are still visited and their results count again (4 -> 2 6 -> 1 3 5 7).
  const std::pair<int32_t, std::vector<int32_t>> stops[] = {
      {1, {1, 2, 3, 4, 5, 6, 7}}, {4, {1, 2, 3, 4}}, {6, {1, 2, 3, 4, 5, 6}}};
  for (const auto& [stop, visited] : stops) {
    tr.store.stopAt = stop;
    EXPECT_EQ(tr.Walk(), visited) << "stop at " << stop;
  }
  // A visitor that keeps answering 0 after its stop ends the walk for good:
  // the ancestors are visited on the way up, no right subtree is entered.
  tr.store.stopAt = -1;
  tr.store.stopAfter = 2;
  EXPECT_EQ(tr.Walk(), (std::vector<int32_t>{1, 2, 4}));
  tr.store.stopAfter = 0;

  // A walk started inside a Visit (here over a second tree of the same
  // instance, stopped at once) leaves the outer walk going.
  Tree<TypeParam> inner;
  inner.Make(3, {10, 20, 30});
  for (int32_t e : {2, 1, 3}) inner.Insert(e);
  inner.store.stopAfter = 1;
  tr.store.nestAt = 2;
  tr.store.nested = [&] { inner.Walk(); };
  tr.Walk();
  EXPECT_EQ(tr.store.visits, all);
  EXPECT_EQ(inner.store.visits, (Visits{{1, 2}, {2, 1}}));
}

// ---- The stored image -----------------------------------------------------------
// Designation indexes and key files on disk were built by this tree, stale
// parent words included, and a tree that rebuilt them would have to produce
// the very same bytes. So beyond the structure checks above, a long seeded
// run of inserts and deletes must leave exactly the node store it always
// has. The image is the root followed by every slot's 14-byte node in the
// little-endian layout key files use, kept here as its length and FNV-1a 64
// after each phase; the first phase whose image differs names the kind of
// operation that changed.

uint64_t Fnv1a64(const std::vector<uint8_t>& bytes) {
  uint64_t h = 0xcbf29ce484222325ull;
  for (uint8_t b : bytes) h = (h ^ b) * 0x100000001b3ull;
  return h;
}

void PutLe(std::vector<uint8_t>& out, uint32_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

std::vector<uint8_t> StoreImage(const Store& s) {
  std::vector<uint8_t> out;
  PutLe(out, static_cast<uint32_t>(s.root), 4);
  for (const AvlKnoten& k : s.nodes) {
    PutLe(out, static_cast<uint32_t>(k.parent), 4);
    PutLe(out, static_cast<uint32_t>(k.left), 4);
    PutLe(out, static_cast<uint32_t>(k.right), 4);
    PutLe(out, static_cast<uint16_t>(k.balance), 2);
  }
  return out;
}

// splitmix64: a generator fixed here, so the sequence does not depend on a
// standard library's distributions.
struct Rng {
  uint64_t s;
  uint32_t below(uint32_t n) {
    uint64_t z = (s += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return static_cast<uint32_t>((z ^ (z >> 31)) % n);
  }
};

// Nodes whose stored parent word is neither 0 nor the real parent: only the
// double rotation after a left subtree shrank leaves such words behind.
template <typename F>
int32_t StaleNonZeroParents(const Tree<F>& tr, int32_t n, int32_t parent) {
  if (n == 0) return 0;
  const AvlKnoten k = tr.Node(n);
  const int32_t stale = (k.parent != 0 && k.parent != parent) ? 1 : 0;
  return stale + StaleNonZeroParents(tr, k.left, n) + StaleNonZeroParents(tr, k.right, n);
}

TYPED_TEST(AvlTreeTest, LongSeededRunLeavesTheNodeStoreItAlwaysHas) {
  struct Golden {
    const char* phase;
    size_t length;
    uint64_t fnv;
  };
  const Golden golden[] = {
      {"random inserts", 19618, 0xbae9b6b2ae925a2full},
      {"inserts and deletes mixed", 19618, 0x4e2aa80a2f9a4505ull},
      {"ascending and descending runs", 19618, 0xa83e8f1f134c1cbeull},
      {"delete everything", 19618, 0x10acd7e7e0b247bbull},
  };

  // Elements 1..N carry distinct keys in shuffled order; element e + N
  // shares e's key, so it is refused while e is in and deleting it removes e.
  constexpr int32_t N = 700;
  auto& tr = this->tr;
  Rng rng{20240611};
  std::vector<int32_t> keyOf(2 * N);
  for (int32_t i = 0; i < N; ++i) keyOf[i] = 10 * (i + 1);
  for (int32_t i = N - 1; i > 0; --i) std::swap(keyOf[i], keyOf[rng.below(static_cast<uint32_t>(i) + 1)]);
  for (int32_t i = 0; i < N; ++i) keyOf[i + N] = keyOf[i];
  tr.Make(2 * N, keyOf);

  std::set<int32_t> present;
  auto insert = [&](int32_t e) {
    tr.Insert(e);
    present.insert(keyOf[e - 1]);
  };
  auto remove = [&](int32_t e) {
    tr.Delete(e);
    present.erase(keyOf[e - 1]);
  };
  auto element = [&] { return 1 + static_cast<int32_t>(rng.below(2 * N)); };
  // Elements 1..N sorted by key, for the runs in key order.
  std::vector<int32_t> byKey(N);
  std::iota(byKey.begin(), byKey.end(), 1);
  std::sort(byKey.begin(), byKey.end(), [&](int32_t a, int32_t b) { return keyOf[a - 1] < keyOf[b - 1]; });

  int32_t mostStale = 0;
  size_t phase = 0;
  auto checkpoint = [&] {
    tr.Verify(present, false);
    mostStale = std::max(mostStale, StaleNonZeroParents(tr, tr.store.root, 0));
    const std::vector<uint8_t> image = StoreImage(tr.store);
    const Golden& g = golden[phase++];
    if (image.size() == g.length && Fnv1a64(image) == g.fnv) return;
    ADD_FAILURE() << "the node store after '" << g.phase << "' is not the one this tree has always written:\n"
        << "  now      " << image.size() << " bytes, FNV-1a 64 0x" << std::hex << Fnv1a64(image) << "\n"
        << "  expected " << std::dec << g.length << " bytes, FNV-1a 64 0x" << std::hex << g.fnv << "\n"
        << "Existing indexes carry these bytes, stale parent words included; a rotation, a balance "
           "or a parent-link update now writes something else.";
  };

  for (int i = 0; i < 2 * N / 3; ++i) insert(element());
  checkpoint();
  for (int i = 0; i < 12000; ++i) {
    const int32_t e = element();
    if (rng.below(2) == 0) {
      insert(e);
    } else {
      remove(e);
    }
  }
  checkpoint();
  // Whole runs in key order and against it, then every other one out.
  for (int32_t e : byKey) remove(e);
  for (size_t i = 0; i < byKey.size(); i += 3) insert(byKey[i]);
  for (size_t i = byKey.size(); i-- > 0;) insert(byKey[i] + (i % 2 ? N : 0));
  for (size_t i = 0; i < byKey.size(); i += 2) remove(byKey[i]);
  checkpoint();
  while (!present.empty()) remove(element());
  EXPECT_EQ(tr.store.root, 0);
  checkpoint();

  // The run went through the double rotation that writes no parent links.
  EXPECT_GT(mostStale, 0);
}

// ---- Clearing and its progress -----------------------------------------------

std::vector<int32_t> g_progress;
void Progress(int32_t done) { g_progress.push_back(done); }
void VisualProgress(void* display, int32_t done) {
  EXPECT_EQ(display, &g_progress);
  g_progress.push_back(done);
}

TEST(AvlClearTest, ProgressStepsOfTheThreeClearingVariants) {
  Tree<AvlFlavor> tr;
  tr.Make(0);
  tr.store.nodes.assign(251, AvlKnoten{1, 2, 3, 1});
  auto progressOf = [](auto clear) {
    g_progress.clear();
    clear();
    return g_progress;
  };
  // Every 100th slot, then count + 1.
  EXPECT_EQ(progressOf([&] { AVL_NeuerBaum(&tr.t, 250, Progress); }), (std::vector<int32_t>{100, 200, 251}));
  EXPECT_EQ(int32_t{tr.Node(250).right}, 0);
  EXPECT_EQ(int32_t{tr.Node(0).right}, 3);  // slot 0 is not a node
  EXPECT_EQ(progressOf([&] { AVL_NeuerBaum(&tr.t, 0, Progress); }), (std::vector<int32_t>{1}));
  // The visual variant every second slot, below 99 slots every slot.
  const auto visual = progressOf([&] { AVL_NeuerBaum_Visual(&g_progress, &tr.t, 250, VisualProgress); });
  EXPECT_EQ(visual.size(), 126u);
  EXPECT_EQ(visual.front(), 2);
  EXPECT_EQ(visual.back(), 251);
  EXPECT_EQ(progressOf([&] { AVL_NeuerBaum_Visual(&g_progress, &tr.t, 3, VisualProgress); }),
            (std::vector<int32_t>{1, 2, 3, 4}));
  Bind<BavlFlavor>(tr.t, tr.store, tr.keys);
  EXPECT_EQ(progressOf([&] { BAVL_NeuerBaum(&tr.t, 3, Progress); }), (std::vector<int32_t>{1, 2, 3, 4}));
}

}  // namespace

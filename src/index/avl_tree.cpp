// AVL insertion, search, deletion and in-order walk over a caller's node
// store. The tree keeps nothing in memory between calls: every node goes
// through ReadNode/WriteNode, so a level reads its node once, works on the
// copy and writes it back before returning. No node a level holds in memory
// is ever written underneath it by a deeper level: the parent-link updates
// (set_parent) only touch children and grandchildren of the node being
// rebalanced, which no enclosing level holds.
//
// The copy a level works on is an unpacked Node, never the packed AvlKnoten
// the callbacks exchange: its children sit in an array indexed by side, so
// that a case and its mirror image are one piece of code run with `dir` and
// `!dir`, and nothing ever holds a reference into a packed record (which
// may be misaligned). The copy is filled from and written back to an
// AvlKnoten field by field.
#include "index/avl_tree.h"

#include "services/progress.h"

namespace kv::index {

namespace {

int32_t g_avlWalkFlag = 1;
int32_t g_bavlWalkFlag = 1;

// No AVL tree over 32-bit element numbers is higher than this; a deeper
// descent means the store is corrupt (a cycle) and is cut off.
constexpr int kMaxHeight = 64;

// Sides, as indexes into Node::child. The other side of `dir` is `!dir`.
constexpr int kLeft = 0;
constexpr int kRight = 1;

// The balance of a node leaning to `dir`: the stored balance is
// height(right) - height(left).
int16_t Lean(int dir) { return dir == kLeft ? -1 : 1; }

struct Node {
  int32_t id = 0;
  int32_t parent = 0;
  int32_t child[2] = {0, 0};  // [kLeft], [kRight]
  int16_t balance = 0;
};

// Why a subtree's side became the higher one: it grew by an insertion, or
// the sibling shrank by a deletion. The rebalancing is the same rotation
// either way; what differs is when the subtree's own height has changed.
enum class Cause { kGrew, kShrank };

bool Usable(const AvlBaum* t) {
  return t != nullptr && t->ReadNode != nullptr && t->WriteNode != nullptr && t->GetRoot != nullptr &&
         t->SetRoot != nullptr && t->Compare != nullptr;
}

class Tree {
 public:
  Tree(const TreeInstance& inst, AvlBaum* t)
      : t_(t), store_(inst.everythingGetsCompareContext ? t->compareContext : t->storeContext),
        flag_(*inst.walkFlag) {}

  int32_t root() {
    int32_t r = 0;
    t_->GetRoot(store_, &r);
    return r;
  }
  void set_root(int32_t r) { t_->SetRoot(store_, r); }
  void write_cleared(int32_t id) {
    const AvlKnoten cleared{};
    t_->WriteNode(store_, id, &cleared);
  }
  void lock() {
    if (t_->Lock) t_->Lock(store_);
  }
  void unlock() {
    if (t_->Unlock) t_->Unlock(store_);
  }

  int32_t insert_current();
  int32_t search();
  void remove_current();
  void walk_all();

 private:
  Node read(int32_t id) {
    AvlKnoten k{};  // a failed read leaves a cleared node
    t_->ReadNode(store_, id, &k);
    Node n;
    n.id = id;
    n.parent = k.parent;
    n.child[kLeft] = k.left;
    n.child[kRight] = k.right;
    n.balance = k.balance;
    return n;
  }
  void write(const Node& n) {
    AvlKnoten k{};
    k.parent = n.parent;
    k.left = n.child[kLeft];
    k.right = n.child[kRight];
    k.balance = n.balance;
    t_->WriteNode(store_, n.id, &k);
  }
  void set_parent(int32_t id, int32_t parent) {
    if (id == 0) return;
    Node n = read(id);
    n.parent = parent;
    write(n);
  }
  int32_t compare(int32_t a, int32_t b) {
    int32_t c = t_->Compare(t_->compareContext, a, b);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
  }

  void insert(int32_t parent, int32_t& p, bool& grew, int32_t& result);
  void remove(int32_t e, int32_t parent, int32_t& p, bool& shrunk);
  void take_predecessor(int32_t parent, int32_t& q, bool& shrunk, int32_t& taken);
  Node rebalance(Node p, int heavy, Cause cause, int32_t parent, bool& changed);
  void walk(int32_t n);

  void rotate_single(Node& p, Node& p1, int heavy, int32_t parent);
  static void rotate_double(Node& p, Node& p1, Node& p2, int heavy);
  void link_double_rotation(Node& p, Node& p1, Node& p2, int heavy, int32_t parent);

  AvlBaum* t_;
  void* store_;
  int32_t& flag_;
  int level_ = 0;
};

// ---- Rotations ---------------------------------------------------------------
// Role names: p is the unbalanced node, p1 its child on the heavy side, p2
// (double rotations) p1's child on the other side. The rotations change
// the in-memory copies only (apart from set_parent on the subtrees that move);
// rebalance writes p and p1 and hands the new subtree root to its caller.
// `parent` is the parent of the subtree as the caller knows it. The shapes are drawn for
// heavy = kLeft; heavy = kRight is their mirror image.

/* Single rotation: p1 rises, p goes down on the light side and takes p1's
 * inner subtree b.
 *        p            p1
 *       / \          /  \
 *     p1   c   ->   a    p
 *    /  \               / \
 *   a    b             b   c
 */
void Tree::rotate_single(Node& p, Node& p1, int heavy, int32_t parent) {
  const int light = !heavy;
  set_parent(p1.child[light], p.id);
  p.child[heavy] = p1.child[light];
  p1.child[light] = p.id;
  p.parent = p1.id;
  p1.parent = parent;
}

/* Double rotation: p2 rises above both; p1 keeps p2's subtree b on p1's
 * side, p takes p2's subtree c.
 *         p                 p2
 *        / \              /    \
 *      p1   d           p1      p
 *     /  \      ->     /  \    / \
 *    a    p2          a    b  c   d
 *        /  \
 *       b    c
 * Only the children and balances move here; the parent links are a separate
 * step (link_double_rotation), because one case leaves them alone. The
 * balances follow from p2's old balance: whichever side of p2 was the higher
 * one keeps its height.
 */
void Tree::rotate_double(Node& p, Node& p1, Node& p2, int heavy) {
  const int light = !heavy;
  p1.child[light] = p2.child[heavy];
  p2.child[heavy] = p1.id;
  p.child[heavy] = p2.child[light];
  p2.child[light] = p.id;
  const int16_t lean = Lean(heavy);
  p.balance = (p2.balance == lean) ? static_cast<int16_t>(-lean) : 0;
  p1.balance = (p2.balance == -lean) ? lean : 0;
  p2.balance = 0;
}

// The parent links of a double rotation, after rotate_double: b and c (now
// p1's light-side child and p's heavy-side child) and the three roles.
void Tree::link_double_rotation(Node& p, Node& p1, Node& p2, int heavy, int32_t parent) {
  set_parent(p1.child[!heavy], p1.id);
  set_parent(p.child[heavy], p.id);
  p2.parent = parent;
  p1.parent = p2.id;
  p.parent = p2.id;
}

// ---- Rebalancing -------------------------------------------------------------------
// The side `heavy` of p has become one level higher relative to the other:
// it grew (insertion) or the other side shrank (deletion). `changed` is the
// caller's grew or shrunk flag; it stays set while the subtree's height has
// changed, so the level above rebalances in turn. Returns the subtree's new
// root, which the caller writes; the nodes that went below it are written
// here.
//
// Parent links: every rotation writes them, except the double rotation run
// by deletion when the left subtree shrank (heavy = kRight). That one moves
// the children but writes no parent link at all, not for p2, p and p1, not
// for b and c. Every key file and designation index in the field was built
// with exactly this, so their parent words carry the resulting stale values;
// a tree that wrote them here would produce different bytes for the same
// operations. Its mirror (right subtree shrank) does write them. Nothing in
// the tree reads a parent link, so the search structure is unaffected.
Node Tree::rebalance(Node p, int heavy, Cause cause, int32_t parent, bool& changed) {
  const int16_t lean = Lean(heavy);
  const bool grew = cause == Cause::kGrew;
  if (p.balance == -lean) {
    // It leaned the other way and is even now: as high as before after an
    // insertion, one lower after a deletion.
    p.balance = 0;
    if (grew) changed = false;
    return p;
  }
  if (p.balance == 0) {
    // It leans now: one higher after an insertion, as high as before after
    // a deletion.
    p.balance = lean;
    if (!grew) changed = false;
    return p;
  }
  Node p1 = read(p.child[heavy]);
  // An insertion rotates once when p1 leans the same way. A deletion does so
  // also when p1 is even; then the subtree keeps its height.
  const bool single = grew ? p1.balance == lean : p1.balance * lean >= 0;
  if (single) {
    const bool wasEven = p1.balance == 0;
    rotate_single(p, p1, heavy, parent);
    p.balance = wasEven ? lean : 0;
    p1.balance = wasEven ? static_cast<int16_t>(-lean) : 0;
    if (grew || wasEven) changed = false;
    write(p);
    return p1;
  }
  Node p2 = read(p1.child[!heavy]);
  rotate_double(p, p1, p2, heavy);
  // The deletion case with the left subtree shrunk keeps the parent words
  // as they were, its mirror and both insertion cases rewrite them (the
  // reason is above rebalance).
  const bool leavesParentLinks = !grew && heavy == kRight;
  if (!leavesParentLinks) link_double_rotation(p, p1, p2, heavy, parent);
  // After an insertion the subtree is as high as before the insertion;
  // after a deletion it is one lower.
  if (grew) changed = false;
  write(p);
  write(p1);
  return p2;
}

// ---- Insertion --------------------------------------------------------------------

int32_t Tree::insert_current() {
  lock();
  int32_t r = root();
  bool grew = false;
  int32_t result = 0;
  insert(0, r, grew, result);
  set_root(r);
  unlock();
  return result;
}

// Inserts the current element below slot p (whose parent is `parent`);
// p becomes the subtree's new root, grew tells whether it got higher.
void Tree::insert(int32_t parent, int32_t& p, bool& grew, int32_t& result) {
  if (p == 0) {
    Node n;
    n.id = t_->currentElement;
    n.parent = parent;
    write(n);
    result = n.id;
    grew = true;
    p = n.id;
    return;
  }
  if (++level_ > kMaxHeight) {
    --level_;
    grew = false;
    return;
  }
  int32_t c = compare(0, p);
  Node n = read(p);
  if (c != 0) {
    const int dir = c < 0 ? kLeft : kRight;
    int32_t child = n.child[dir];
    insert(p, child, grew, result);
    n.child[dir] = child;
    if (grew) n = rebalance(n, dir, Cause::kGrew, parent, grew);
  } else {
    result = -p;
    grew = false;
  }
  write(n);
  p = n.id;
  --level_;
}

// ---- Search ------------------------------------------------------------------------

int32_t Tree::search() {
  int32_t n = root();
  for (int steps = 0; n != 0 && steps <= kMaxHeight; ++steps) {
    Node node = read(n);
    int32_t c = compare(0, n);
    if (c == 0) return n;
    n = node.child[c < 0 ? kLeft : kRight];
  }
  return 0;
}

// ---- Deletion ----------------------------------------------------------------------

void Tree::remove_current() {
  lock();
  int32_t r = root();
  bool shrunk = false;
  remove(t_->currentElement, 0, r, shrunk);
  set_root(r);
  unlock();
}

// Removes the node comparing equal to element e below slot p; shrunk tells
// whether the subtree got lower.
void Tree::remove(int32_t e, int32_t parent, int32_t& p, bool& shrunk) {
  if (p == 0 || level_ >= kMaxHeight) {
    shrunk = false;
    return;
  }
  ++level_;
  Node n = read(p);
  int32_t c = compare(e, p);
  if (c != 0) {
    const int dir = c < 0 ? kLeft : kRight;
    int32_t child = n.child[dir];
    remove(e, p, child, shrunk);
    n.child[dir] = child;
    if (shrunk) n = rebalance(n, !dir, Cause::kShrank, parent, shrunk);
    write(n);
    p = n.id;
  } else if (n.child[kLeft] == 0 || n.child[kRight] == 0) {
    // At most one child: it takes the node's slot.
    const int32_t only = n.child[kLeft] == 0 ? n.child[kRight] : n.child[kLeft];
    set_parent(only, parent);
    p = only;
    shrunk = true;
  } else {
    // Two children: the in-order predecessor r takes the node's place.
    int32_t left = n.child[kLeft];
    int32_t taken = 0;
    take_predecessor(0, left, shrunk, taken);
    if (taken != 0) {
      Node r;
      r.id = taken;
      r.parent = parent;
      r.child[kLeft] = left;
      r.child[kRight] = n.child[kRight];
      r.balance = n.balance;
      write(r);
      set_parent(n.child[kRight], taken);
      if (shrunk) {
        r = rebalance(r, kRight, Cause::kShrank, parent, shrunk);
        write(r);
      }
      p = r.id;
    }
  }
  --level_;
}

// Unlinks the rightmost node below slot q into `taken`; its left child
// takes its slot. `parent` is the parent handed down: 0 on the first step
// below the deleted node, so a predecessor directly below it leaves its left
// child with parent 0 (see the header on parent links).
void Tree::take_predecessor(int32_t parent, int32_t& q, bool& shrunk, int32_t& taken) {
  if (level_ >= kMaxHeight) {
    shrunk = false;
    return;
  }
  ++level_;
  Node n = read(q);
  if (n.child[kRight] != 0) {
    int32_t child = n.child[kRight];
    take_predecessor(q, child, shrunk, taken);
    n.child[kRight] = child;
    if (shrunk) n = rebalance(n, kLeft, Cause::kShrank, parent, shrunk);
    write(n);
    q = n.id;
  } else {
    taken = q;
    set_parent(n.child[kLeft], parent);
    q = n.child[kLeft];
    shrunk = true;
  }
  --level_;
}

// ---- Walk -----------------------------------------------------------------------------

void Tree::walk_all() {
  const int32_t savedDepth = t_->depth;
  const int32_t savedFlag = flag_;
  t_->depth = 0;
  flag_ = 1;
  walk(root());
  flag_ = savedFlag;
  t_->depth = savedDepth;
}

// The flag holds the last Visit result. A stop inside a left subtree ends
// that subtree's walk, but the node above is still visited when the walk
// returns to it, and its own result becomes the flag: a result above 0 there
// walks on into its right subtree. Callers that want a hard stop keep
// answering 0 once they have stopped.
void Tree::walk(int32_t n) {
  if (flag_ <= 0 || t_->depth >= kMaxHeight) return;
  ++t_->depth;
  if (n != 0) {
    Node node = read(n);
    walk(node.child[kLeft]);
    flag_ = t_->Visit(store_, n, t_->depth);
    if (flag_ > 0) walk(node.child[kRight]);
  }
  --t_->depth;
}

}  // namespace

const TreeInstance& AvlInstance() {
  static const TreeInstance inst{false, &g_avlWalkFlag};
  return inst;
}

const TreeInstance& BavlInstance() {
  static const TreeInstance inst{true, &g_bavlWalkFlag};
  return inst;
}

void ClearTree(const TreeInstance& inst, AvlBaum* tree, int32_t count, int32_t step, ClearProgress report,
               void* reportContext) {
  if (!Usable(tree)) return;
  Tree t(inst, tree);
  t.set_root(0);
  if (step < 1) step = 1;
  int64_t i = 1;
  for (; i <= count; ++i) {
    t.write_cleared(static_cast<int32_t>(i));
    if (report != nullptr && i % step == 0) report(reportContext, static_cast<int32_t>(i));
  }
  // One more report with the loop's final counter, one past the count.
  if (report != nullptr) report(reportContext, static_cast<int32_t>(i > INT32_MAX ? INT32_MAX : i));
}

int32_t Insert(const TreeInstance& inst, AvlBaum* tree) {
  if (!Usable(tree) || tree->currentElement < 1) return 0;
  return Tree(inst, tree).insert_current();
}

int32_t Search(const TreeInstance& inst, AvlBaum* tree) {
  if (!Usable(tree)) return 0;
  return Tree(inst, tree).search();
}

void Remove(const TreeInstance& inst, AvlBaum* tree) {
  if (!Usable(tree) || tree->currentElement < 1) return;
  Tree(inst, tree).remove_current();
}

int32_t Walk(const TreeInstance& inst, AvlBaum* tree) {
  if (!Usable(tree) || tree->Visit == nullptr) return 0;
  Tree(inst, tree).walk_all();
  return 1;
}

void LockTree(const TreeInstance& inst, AvlBaum* tree) {
  if (tree != nullptr) Tree(inst, tree).lock();
}

void UnlockTree(const TreeInstance& inst, AvlBaum* tree) {
  if (tree != nullptr) Tree(inst, tree).unlock();
}

namespace {

void ReportPlain(void* context, int32_t done) { (*static_cast<AvlProgressFn*>(context))(done); }

struct VisualReport {
  void* display;
  AvlVisualProgressFn fn;
};
void ReportVisual(void* context, int32_t done) {
  auto* r = static_cast<VisualReport*>(context);
  r->fn(r->display, done);
}

}  // namespace

void NewAvlTree(AvlBaum* tree, int32_t count, AvlProgressFn progress) {
  ClearTree(AvlInstance(), tree, count, ProgressStep(count), progress ? ReportPlain : nullptr, &progress);
}

void NewAvlTreeVisual(void* display, AvlBaum* tree, int32_t count, AvlVisualProgressFn progress) {
  // A hundredth of the count; small trees (below 99) report every slot.
  VisualReport r{display, progress};
  ClearTree(AvlInstance(), tree, count, (count + 1) / 100, progress ? ReportVisual : nullptr, &r);
}

void NewBavlTree(AvlBaum* tree, int32_t count, AvlProgressFn progress) {
  ClearTree(BavlInstance(), tree, count, 1, progress ? ReportPlain : nullptr, &progress);
}

}  // namespace kv::index

// AVL insertion, search, deletion and in-order walk over a caller's node
// store. The tree keeps nothing in memory between calls: every node goes
// through ReadNode/WriteNode, so a level reads its node once, works on the
// copy and writes it back before returning. No node a level holds in memory
// is ever written underneath it by a deeper level: the parent-link updates
// (set_parent) only touch children and grandchildren of the node being
// rebalanced, which no enclosing level holds.
#include "index/avl_tree.h"

#include "core/dba_progress.h"

namespace kv::index {

namespace {

int32_t g_avlWalkFlag = 1;
int32_t g_bavlWalkFlag = 1;

// No AVL tree over 32-bit element numbers is higher than this; a deeper
// descent means the store is corrupt (a cycle) and is cut off.
constexpr int kMaxHeight = 64;

struct Node {
  int32_t id = 0;
  AvlKnoten k{};
};

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
    Node n;
    n.id = id;
    t_->ReadNode(store_, id, &n.k);  // a failed read leaves a cleared node
    return n;
  }
  void write(const Node& n) { t_->WriteNode(store_, n.id, &n.k); }
  void set_parent(int32_t id, int32_t parent) {
    if (id == 0) return;
    Node n = read(id);
    n.k.parent = parent;
    write(n);
  }
  int32_t compare(int32_t a, int32_t b) {
    int32_t c = t_->Compare(t_->compareContext, a, b);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
  }

  void insert(int32_t parent, int32_t& p, bool& grew, int32_t& result);
  Node left_grew(Node p, int32_t parent, bool& grew);
  Node right_grew(Node p, int32_t parent, bool& grew);
  void remove(int32_t e, int32_t parent, int32_t& p, bool& shrunk);
  void take_predecessor(int32_t parent, int32_t& q, bool& shrunk, int32_t& taken);
  Node left_shrunk(Node p, int32_t parent, bool& shrunk);
  Node right_shrunk(Node p, int32_t parent, bool& shrunk);
  void walk(int32_t n);

  void rotate_right(Node& p, Node& p1, int32_t parent);
  void rotate_left(Node& p, Node& p1, int32_t parent);
  void rotate_left_right(Node& p, Node& p1, Node& p2, int32_t parent);
  void rotate_right_left(Node& p, Node& p1, Node& p2, int32_t parent);
  static void rotate_right_left_keeping_parent_links(Node& p, Node& p1, Node& p2);
  static void balance_after_double_rotation(Node& p, Node& p1, Node& p2, int16_t pSide);

  AvlBaum* t_;
  void* store_;
  int32_t& flag_;
  int level_ = 0;
};

// ---- Rotations ---------------------------------------------------------------
// Role names: p is the unbalanced node, p1 its child on the heavy side, p2
// (double rotations) p1's child on the other side; the subtree root they
// leave behind is returned to the caller, which writes it. `parent` is the
// parent of the subtree as the caller knows it.

/* Single rotation to the right (p is left-heavy, p1 = p.left):
 *        p            p1
 *       / \          /  \
 *     p1   c   ->   a    p
 *    /  \               / \
 *   a    b             b   c
 */
void Tree::rotate_right(Node& p, Node& p1, int32_t parent) {
  set_parent(p1.k.right, p.id);
  p.k.left = p1.k.right;
  p1.k.right = p.id;
  p.k.parent = p1.id;
  p1.k.parent = parent;
}

/* Single rotation to the left, the mirror image (p1 = p.right):
 *     p                p1
 *    / \              /  \
 *   a   p1     ->    p    c
 *      /  \         / \
 *     b    c       a   b
 */
void Tree::rotate_left(Node& p, Node& p1, int32_t parent) {
  set_parent(p1.k.left, p.id);
  p.k.right = p1.k.left;
  p1.k.left = p.id;
  p.k.parent = p1.id;
  p1.k.parent = parent;
}

// The balances after a double rotation follow from p2's old balance:
// whichever side of p2 was the higher one keeps its height.
void Tree::balance_after_double_rotation(Node& p, Node& p1, Node& p2, int16_t pSide) {
  // pSide: the balance p2 must have had for p to end up with a deficit.
  p.k.balance = (p2.k.balance == pSide) ? static_cast<int16_t>(-pSide) : 0;
  p1.k.balance = (p2.k.balance == -pSide) ? pSide : 0;
  p2.k.balance = 0;
}

/* Double rotation left-right (p1 = p.left, p2 = p1.right):
 *         p                 p2
 *        / \              /    \
 *      p1   d           p1      p
 *     /  \      ->     /  \    / \
 *    a    p2          a    b  c   d
 *        /  \
 *       b    c
 */
void Tree::rotate_left_right(Node& p, Node& p1, Node& p2, int32_t parent) {
  set_parent(p2.k.left, p1.id);
  set_parent(p2.k.right, p.id);
  p1.k.right = p2.k.left;
  p2.k.left = p1.id;
  p.k.left = p2.k.right;
  p2.k.right = p.id;
  p2.k.parent = parent;
  p1.k.parent = p2.id;
  p.k.parent = p2.id;
  balance_after_double_rotation(p, p1, p2, -1);
}

/* Double rotation right-left, the mirror image (p1 = p.right, p2 = p1.left):
 *       p                    p2
 *      / \                 /    \
 *     a   p1              p      p1
 *        /  \     ->     / \    /  \
 *       p2   d          a   b  c    d
 *      /  \
 *     b    c
 */
void Tree::rotate_right_left(Node& p, Node& p1, Node& p2, int32_t parent) {
  set_parent(p2.k.right, p1.id);
  set_parent(p2.k.left, p.id);
  p1.k.left = p2.k.right;
  p2.k.right = p1.id;
  p.k.right = p2.k.left;
  p2.k.left = p.id;
  p2.k.parent = parent;
  p1.k.parent = p2.id;
  p.k.parent = p2.id;
  balance_after_double_rotation(p, p1, p2, +1);
}

// The same right-left shape as above, as deletion runs it when a left
// subtree shrank: it moves the children but writes no parent link at all -
// not for p2, not for p and p1, not for b and c. Every key file and
// designation index in the field was built with exactly this, so their
// parent words carry the resulting stale values; a tree that wrote them
// here would produce different bytes for the same operations. Nothing in
// the tree reads a parent link, so the search structure is unaffected.
// Its mirror (right subtree shrank) is rotate_left_right, which does update
// the links.
void Tree::rotate_right_left_keeping_parent_links(Node& p, Node& p1, Node& p2) {
  p1.k.left = p2.k.right;
  p2.k.right = p1.id;
  p.k.right = p2.k.left;
  p2.k.left = p.id;
  balance_after_double_rotation(p, p1, p2, +1);
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
    Node n{t_->currentElement, {parent, 0, 0, 0}};
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
  if (c < 0) {
    int32_t child = n.k.left;
    insert(p, child, grew, result);
    n.k.left = child;
    if (grew) n = left_grew(n, parent, grew);
  } else if (c > 0) {
    int32_t child = n.k.right;
    insert(p, child, grew, result);
    n.k.right = child;
    if (grew) n = right_grew(n, parent, grew);
  } else {
    result = -p;
    grew = false;
  }
  write(n);
  p = n.id;
  --level_;
}

Node Tree::left_grew(Node p, int32_t parent, bool& grew) {
  if (p.k.balance == 1) {
    p.k.balance = 0;
    grew = false;
    return p;
  }
  if (p.k.balance == 0) {
    p.k.balance = -1;
    return p;
  }
  Node p1 = read(p.k.left);
  Node top;
  if (p1.k.balance == -1) {
    rotate_right(p, p1, parent);
    p.k.balance = 0;
    write(p);
    top = p1;
  } else {
    Node p2 = read(p1.k.right);
    rotate_left_right(p, p1, p2, parent);
    write(p1);
    write(p);
    top = p2;
  }
  top.k.balance = 0;
  grew = false;
  return top;
}

Node Tree::right_grew(Node p, int32_t parent, bool& grew) {
  if (p.k.balance == -1) {
    p.k.balance = 0;
    grew = false;
    return p;
  }
  if (p.k.balance == 0) {
    p.k.balance = 1;
    return p;
  }
  Node p1 = read(p.k.right);
  Node top;
  if (p1.k.balance == 1) {
    rotate_left(p, p1, parent);
    p.k.balance = 0;
    write(p);
    top = p1;
  } else {
    Node p2 = read(p1.k.left);
    rotate_right_left(p, p1, p2, parent);
    write(p1);
    write(p);
    top = p2;
  }
  top.k.balance = 0;
  grew = false;
  return top;
}

// ---- Search ------------------------------------------------------------------------

int32_t Tree::search() {
  int32_t n = root();
  for (int steps = 0; n != 0 && steps <= kMaxHeight; ++steps) {
    Node node = read(n);
    int32_t c = compare(0, n);
    if (c == 0) return n;
    n = c < 0 ? node.k.left : node.k.right;
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
  if (c < 0) {
    int32_t child = n.k.left;
    remove(e, p, child, shrunk);
    n.k.left = child;
    if (shrunk) n = left_shrunk(n, parent, shrunk);
    write(n);
    p = n.id;
  } else if (c > 0) {
    int32_t child = n.k.right;
    remove(e, p, child, shrunk);
    n.k.right = child;
    if (shrunk) n = right_shrunk(n, parent, shrunk);
    write(n);
    p = n.id;
  } else if (n.k.left == 0) {
    set_parent(n.k.right, parent);
    p = n.k.right;
    shrunk = true;
  } else if (n.k.right == 0) {
    set_parent(n.k.left, parent);
    p = n.k.left;
    shrunk = true;
  } else {
    // Two children: the in-order predecessor r takes the node's place.
    int32_t left = n.k.left;
    int32_t taken = 0;
    take_predecessor(0, left, shrunk, taken);
    if (taken != 0) {
      Node r{taken, {parent, left, n.k.right, n.k.balance}};
      write(r);
      set_parent(n.k.right, taken);
      if (shrunk) {
        r = left_shrunk(r, parent, shrunk);
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
  if (n.k.right != 0) {
    int32_t child = n.k.right;
    take_predecessor(q, child, shrunk, taken);
    n.k.right = child;
    if (shrunk) n = right_shrunk(n, parent, shrunk);
    write(n);
    q = n.id;
  } else {
    taken = q;
    set_parent(n.k.left, parent);
    q = n.k.left;
    shrunk = true;
  }
  --level_;
}

Node Tree::left_shrunk(Node p, int32_t parent, bool& shrunk) {
  if (p.k.balance == -1) {
    p.k.balance = 0;
    return p;
  }
  if (p.k.balance == 0) {
    p.k.balance = 1;
    shrunk = false;
    return p;
  }
  Node p1 = read(p.k.right);
  if (p1.k.balance >= 0) {
    const bool wasEven = p1.k.balance == 0;
    rotate_left(p, p1, parent);
    p.k.balance = wasEven ? 1 : 0;
    p1.k.balance = wasEven ? -1 : 0;
    if (wasEven) shrunk = false;
    write(p);
    return p1;
  }
  Node p2 = read(p1.k.left);
  rotate_right_left_keeping_parent_links(p, p1, p2);
  write(p);
  write(p1);
  return p2;
}

Node Tree::right_shrunk(Node p, int32_t parent, bool& shrunk) {
  if (p.k.balance == 1) {
    p.k.balance = 0;
    return p;
  }
  if (p.k.balance == 0) {
    p.k.balance = -1;
    shrunk = false;
    return p;
  }
  Node p1 = read(p.k.left);
  if (p1.k.balance <= 0) {
    const bool wasEven = p1.k.balance == 0;
    rotate_right(p, p1, parent);
    p.k.balance = wasEven ? -1 : 0;
    p1.k.balance = wasEven ? 1 : 0;
    if (wasEven) shrunk = false;
    write(p);
    return p1;
  }
  Node p2 = read(p1.k.right);
  rotate_left_right(p, p1, p2, parent);
  write(p);
  write(p1);
  return p2;
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
    walk(node.k.left);
    flag_ = t_->Visit(store_, n, t_->depth);
    if (flag_ > 0) walk(node.k.right);
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
  ClearTree(AvlInstance(), tree, count, dba::ProgressStep(count), progress ? ReportPlain : nullptr, &progress);
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

// Key files: finding, adding and removing keys, the ordered walk, and the
// two repairs (free chain, whole reorganisation).
//
// Slot 0 is everybody's scratch space: a search writes its key into slot
// 0's key bytes and the tree compares against "element 0", which the
// comparison reads back (from the operation's SlotCache: one read of each
// visited slot per operation). Together with the free chain, which
// is read and rewritten without a lock, this is why processes sharing one
// key file hold a lock of their own around each key operation; the tree
// only locks the root word while it restructures.
#include <cstring>

#include "services/progress.h"
#include "index/avl_tree.h"
#include "index/keyfile_internal.h"
#include "services/fileio.h"

namespace kv::index {

namespace {

void SetCurrent(BaumKeyDatei* d, int32_t slot) {
  d->currentElement = slot;
  d->tree.currentElement = slot;
}

// Writes the 32 key bytes of `record` into slot 0's key, keeping the rest
// of slot 0 (the free-list head).
bool PutSearchKey(BaumKeyDatei* d, const void* record) {
  KeyRecord head(d);
  if (!head || !ReadSlot(d, 0, head.bytes())) return false;
  std::memcpy(head.bytes() + kKeyOffset, static_cast<const uint8_t*>(record) + kKeyOffset, BBAUMLIB_KEY_SIZE);
  return WriteSlot(d, 0, head.bytes());
}

// Slot whose key equals record's, 0 if none or on a failed write.
int32_t SearchKey(BaumKeyDatei* d, const void* record) {
  if (!PutSearchKey(d, record)) return 0;
  SetCurrent(d, 0);
  return Search(BavlInstance(), &d->tree);
}

// Puts slot n back in front of the free chain and takes one off the used
// count; the record is cleared except for its link.
bool ReturnSlot(BaumKeyDatei* d, int32_t slot) {
  KeyRecord head(d);
  KeyRecord rec(d);
  if (!head || !rec || !ReadSlot(d, 0, head.bytes())) return false;
  rec.set_next_free(head.next_free());
  head.set_next_free(slot);
  head.set_payload(static_cast<int32_t>(static_cast<uint32_t>(head.payload()) - 1u));
  return WriteSlot(d, slot, rec.bytes()) && WriteSlot(d, 0, head.bytes());
}

void Report(AvlProgressFn progress, int32_t done) {
  if (progress != nullptr) progress(done);
}

// True when slot n cannot be in the tree: its node is cleared and it is not
// the root (a lone root has a cleared node too).
bool OutsideTree(BaumKeyDatei* d, int32_t slot) {
  AvlKnoten node{};
  int32_t root = 0;
  d->tree.ReadNode(d, slot, &node);
  d->tree.GetRoot(d, &root);
  return root != slot && node.parent == 0 && node.left == 0 && node.right == 0 && node.balance == 0;
}

// What a pass over every slot holds: the file open, all of it read up front
// (the reorganisation visits every slot in every pass and searches the tree
// for each), the header slot and a buffer for one record. False when any of
// it could not be had.
class WholeFilePass {
 public:
  explicit WholeFilePass(BaumKeyDatei* d) : open_(d), cache_(d, SlotCache::Keep::kThisCall), head(d), rec(d) {
    if (open_) cache_.Preload(0, d->slotCount);
    ok_ = open_ && head && rec && ReadSlot(d, 0, head.bytes());
  }
  explicit operator bool() const { return ok_; }

 private:
  OpenScope open_;
  SlotCache cache_;

 public:
  KeyRecord head;
  KeyRecord rec;

 private:
  bool ok_ = false;
};

}  // namespace

int32_t KeyFileFind(BaumKeyDatei* d, const void* record) {
  if (d == nullptr || record == nullptr) return 0;
  OpenScope open(d);
  if (!open) return 0;
  SlotCache cache(d, SlotCache::Keep::kAcrossCalls);
  TreeBound bound(d);
  return SearchKey(d, record);
}

int32_t KeyFileAdd(BaumKeyDatei* d, void* record) {
  if (d == nullptr || record == nullptr) return 0;
  OpenScope open(d);
  if (!open) return 0;
  SlotCache cache(d, SlotCache::Keep::kAcrossCalls);
  TreeBound bound(d);
  const int32_t existing = SearchKey(d, record);
  if (existing > 0) return existing;

  KeyRecord head(d);
  KeyRecord taken(d);
  if (!head || !taken || !ReadSlot(d, 0, head.bytes())) return 0;
  const int32_t slot = head.next_free();
  // An empty chain, or one that runs off the end of the file (an even slot
  // count right after creation), means full.
  if (slot < 1 || slot > d->slotCount || !ReadSlot(d, slot, taken.bytes())) return 0;
  head.set_next_free(taken.next_free());
  // A damaged count wraps as the file's 32-bit word does; no overflow.
  head.set_payload(static_cast<int32_t>(static_cast<uint32_t>(head.payload()) + 1u));
  PutI32(record, kPayloadOffset, 0);
  PutI32(record, kNextFreeOffset, 0);
  if (!WriteSlot(d, slot, record) || !WriteSlot(d, 0, head.bytes())) return 0;

  SetCurrent(d, slot);
  const int32_t inserted = Insert(BavlInstance(), &d->tree);
  if (inserted > 0) return slot;
  // Not inserted: give the slot back. An equal key that turned up in the
  // meantime is the answer.
  ReturnSlot(d, slot);
  return inserted < 0 ? -inserted : 0;
}

// The slot is linked to the chain head and then cleared entirely, so it
// becomes the only slot on the chain; older free slots come back when the
// chain is rebuilt. Existing installations depend on this order.
int32_t KeyFileRemove(BaumKeyDatei* d, int32_t slot) {
  if (d == nullptr || slot < 1 || slot > d->slotCount) return 0;
  OpenScope open(d);
  SlotCache cache(d, SlotCache::Keep::kAcrossCalls);
  KeyRecord head(d);
  KeyRecord rec(d);
  if (!open || !head || !rec || !ReadSlot(d, slot, rec.bytes())) return 0;
  TreeBound bound(d);
  // Only a slot that the tree really holds: a free slot's cleared key
  // could otherwise match, and remove, another slot's key.
  if (SearchKey(d, rec.bytes()) != slot) return 0;
  SetCurrent(d, slot);
  Remove(BavlInstance(), &d->tree);

  if (!ReadSlot(d, 0, head.bytes()) || !ReadSlot(d, slot, rec.bytes())) return 0;
  rec.set_next_free(head.next_free());
  rec.set_payload(0);
  rec.clear();
  head.set_next_free(slot);
  head.set_payload(static_cast<int32_t>(static_cast<uint32_t>(head.payload()) - 1u));
  return WriteSlot(d, slot, rec.bytes()) && WriteSlot(d, 0, head.bytes()) ? 1 : 0;
}

int32_t KeyFileWalk(BaumKeyDatei* d, AvlVisitFn visit) {
  if (d == nullptr || visit == nullptr) return 0;
  OpenScope open(d);
  if (!open) return 0;
  TreeBound bound(d);
  KeyFileSetVisit(d, bound.CapVisits(visit));
  const int32_t result = Walk(BavlInstance(), &d->tree);
  KeyFileRestoreVisit(d);
  return result;
}

int32_t KeyFileRebuildFreeList(BaumKeyDatei* d, AvlProgressFn progress) {
  if (d == nullptr) return 0;
  WholeFilePass pass(d);
  if (!pass) return 0;
  KeyRecord& head = pass.head;
  KeyRecord& rec = pass.rec;
  int32_t chain = 0;
  int32_t used = 0;
  for (int32_t n = d->slotCount; n >= 1; --n) {
    Report(progress, n);
    if (!ReadSlot(d, n, rec.bytes())) return 0;
    if (rec.payload() == 0) {
      rec.set_next_free(chain);
      chain = n;
      if (!WriteSlot(d, n, rec.bytes())) return 0;
    } else {
      ++used;
    }
  }
  head.set_next_free(chain);
  head.set_payload(used);
  const bool ok = WriteSlot(d, 0, head.bytes());
  Report(progress, 0);
  return ok ? 1 : 0;
}

// Reorganisation: free slots are cleared and chained, the used count
// recounted, the tree cleared and refilled in slot order. Slots are
// visited 1..slotCount in every pass so that no key is left out.
int32_t KeyFileReorganise(BaumKeyDatei* d, AvlProgressFn clearTree, AvlProgressFn chainPass,
                          AvlProgressFn treePass, AvlProgressFn removalPass, BaumKeyDuplicateFn duplicate) {
  if (d == nullptr) return 0;
  WholeFilePass pass(d);
  if (!pass) return 0;
  KeyRecord& head = pass.head;
  KeyRecord& rec = pass.rec;
  TreeBound bound(d);
  const int32_t step = ProgressStep(d->slotCount);
  NewBavlTree(&d->tree, d->slotCount, clearTree);

  int32_t chain = 0;
  int32_t used = 0;
  for (int32_t n = d->slotCount; n >= 1; --n) {
    if (!ReadSlot(d, n, rec.bytes())) return 0;
    if (rec.payload() == 0) {
      rec.clear();
      rec.set_next_free(chain);
      chain = n;
    } else {
      ++used;
    }
    if (!WriteSlot(d, n, rec.bytes())) return 0;
    if (n % step == 0) Report(chainPass, n);
  }
  head.set_next_free(chain);
  head.set_payload(used);
  if (!WriteSlot(d, 0, head.bytes())) return 0;

  for (int32_t n = 1; n <= d->slotCount; ++n) {
    if (!ReadSlot(d, n, rec.bytes())) return 0;
    if (rec.payload() != 0) {
      const int32_t found = SearchKey(d, rec.bytes());
      if (found == 0) {
        SetCurrent(d, n);
        Insert(BavlInstance(), &d->tree);
      } else if (duplicate != nullptr) {
        duplicate(n, found);
      }
      if (!WriteSlot(d, n, rec.bytes())) return 0;
    }
    if (n % step == 0) Report(treePass, n);
  }

  // A payload-0 slot can only still be in the tree if someone changed the
  // file during the passes above; take such a slot out of the tree alone -
  // the chain and the count of the first pass stand. A never-inserted slot
  // keeps its cleared node, which saves the search for almost every slot.
  for (int32_t n = 1; n <= d->slotCount; ++n) {
    if (!ReadSlot(d, n, rec.bytes())) return 0;
    if (rec.payload() == 0 && !OutsideTree(d, n) && SearchKey(d, rec.bytes()) == n) {
      SetCurrent(d, n);
      Remove(BavlInstance(), &d->tree);
    }
    if (n % step == 0) Report(removalPass, n);
  }
  return 1;
}

}  // namespace kv::index

// Helpers shared by the key-file sources: positioned I/O on the descriptor's
// handle, a work buffer for one key record, and a scoped nested open.
#ifndef KV_INDEX_KEYFILE_INTERNAL_H
#define KV_INDEX_KEYFILE_INTERNAL_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <unordered_map>

#include "core/nested_open.h"
#include "index/keyfile.h"
#include "services/fileio.h"
#include "services/le_fields.h"
#include "services/storage.h"

namespace kv::index {

constexpr int32_t kKeyOffset = 4;
constexpr int32_t kPayloadOffset = 36;
constexpr int32_t kNextFreeOffset = 40;

// Positioned transfers on the descriptor's open handle. While a SlotCache
// is open for the descriptor, reads within one slot are served from it and
// writes go through it (see SlotCache).
[[nodiscard]] bool ReadAt(const BaumKeyDatei* d, int64_t position, void* buffer, int32_t length);
[[nodiscard]] bool WriteAt(const BaumKeyDatei* d, int64_t position, const void* buffer, int32_t length);

// Counts one file read for KeyFileReadCount.
void CountKeyFileRead();

// What key operations have read of their file, slot by slot.
//
// A tree step used to cost three reads and three seeks: the node, the key
// of the node and the search key in slot 0, each read again at every
// comparison. A slot's key record and its node lie side by side, so the
// cache reads the whole slot (R + 14 bytes) with one read the first time
// the operation touches it, and every later look at that slot - its node,
// its key, slot 0's search key and root - comes from memory. The cache is
// exact: every read and write of the descriptor goes through ReadAt /
// WriteAt, which consult and update it, so the operation sees precisely the
// bytes it would have read from the file; a write of bytes the file already
// holds is left out. Other processes may not change the tree while an
// operation runs, which the key file's sharing rule already demands: each
// key operation runs under the caller's own lock
// (include/kvdata/bbaumlib.h), and a reorganisation runs alone.
//
// Kept across calls. A search, an add and a removal (Keep::kAcrossCalls)
// also keep what they read for the next such call on the descriptor, so the
// upper tree levels are read once rather than at every search. What is kept
// is trusted only while the file provably has not changed: each operation
// starts with the file's stamp (one fstat: identity, size, both change
// times in nanoseconds) and empties the cache unless it equals the stamp
// taken when the last operation ended, after that operation's own writes;
// and a stamp is taken as proof only where the file layer calls it exact,
// that is where any later change by any process must give another stamp
// (FileIO_Stamp). Elsewhere - network shares, coarse time stamps within the
// current tick, Windows - every call reads afresh as before. Raw record
// reads outside a key operation never see the kept bytes, so a payload
// another station wrote under its slot lock is always read from the file.
//
// Caches nest: an operation started inside another one's callback on the
// same descriptor shares the open cache.
//
// Where the images lie. A tree step looks at a slot two or three times
// (node, key, then the next node), so finding a slot's image is the
// innermost step of every search, and the slots a search visits are spread
// over the whole file. Slots up to the bound of the file lie side by side in
// one buffer indexed by slot number, each image behind a 4-byte head (its
// generation and the count of its bytes the file holds), so that a slot is
// one place in memory: for the usual 44-byte records, head and image fill
// exactly one 64-byte cache line. Emptying the store only advances the
// generation that the heads are checked against; no image is touched. A
// slot past that area (a damaged link, a file grown since) lands in a small
// map that is emptied when it fills.
class SlotStore {
 public:
  // The slot's image and the count of its bytes the file holds, kept in a
  // flat slot's head or beside a mapped image.
  class Ref {
   public:
    Ref() = default;
    Ref(uint8_t* image, uint32_t* head, int32_t* count) : bytes(image), head_(head), count_(count) {}
    explicit operator bool() const { return bytes != nullptr; }
    int32_t valid() const { return head_ != nullptr ? static_cast<int32_t>(*head_ & kValidMask) : *count_; }
    void set_valid(int32_t v) {
      if (head_ != nullptr) {
        *head_ = (*head_ & ~kValidMask) | static_cast<uint32_t>(v);
      } else {
        *count_ = v;
      }
    }
    uint8_t* bytes = nullptr;

   private:
    uint32_t* head_ = nullptr;
    int32_t* count_ = nullptr;
  };

  SlotStore() = default;
  // Slot images of `stride` bytes: slots 0..flatSlots-1 in the flat area,
  // others in the map up to `mapLimit` bytes.
  void Configure(int64_t stride, int32_t flatSlots, int64_t mapLimit);
  int64_t stride() const { return stride_; }
  int32_t flat_slots() const { return flatSlots_; }

  Ref Find(int32_t slot) { return slot >= 0 && slot < flatSlots_ ? FindFlat(slot) : FindMapped(slot); }
  // Find for a slot in the flat area; absent for any other.
  Ref FindFlat(int32_t slot) {
    if (slot < 0 || slot >= flatSlots_) return {};
    uint32_t* head = HeadOf(slot);
    if ((*head >> kValidBits) != generation_) return {};
    return {reinterpret_cast<uint8_t*>(head + 1), head, nullptr};
  }
  // The slot's image, an empty one (no valid bytes) if it was absent. A new
  // mapped image may empty the map first: a mapped Ref lasts until the next
  // Make, a flat one until the store is configured again.
  Ref Make(int32_t slot);
  void Erase(int32_t slot);
  void Clear();

 private:
  // A head: the generation in the upper bits, the valid bytes in the lower
  // (a slot is at most 65,550 bytes).
  static constexpr int kValidBits = 17;
  static constexpr uint32_t kValidMask = (uint32_t{1} << kValidBits) - 1;
  static constexpr uint32_t kGenerations = uint32_t{1} << (32 - kValidBits);
  static_assert(BBAUMLIB_MAX_RECORD_SIZE + BBAUMLIB_NODE_SIZE <= kValidMask);
  struct Image {
    int32_t valid = 0;
    std::unique_ptr<uint8_t[]> bytes;
  };
  struct FreeArea {
    void operator()(void* p) const { std::free(p); }
  };
  // A head and its image, rounded up so that every head stays aligned.
  static int64_t PitchFor(int64_t stride) { return int64_t{sizeof(uint32_t)} + (stride + 3) / 4 * 4; }
  uint32_t* HeadOf(int32_t slot) const { return reinterpret_cast<uint32_t*>(flat_ + slot * pitch_); }
  Ref FindMapped(int32_t slot);
  void ResetHeads();

  int64_t stride_ = 0;
  int64_t pitch_ = 0;
  int32_t flatSlots_ = 0;
  int64_t mapLimit_ = 0;
  uint32_t generation_ = 1;                  // 1 .. kGenerations - 1; heads start at 0
  std::unique_ptr<uint8_t, FreeArea> area_;  // the allocation
  uint8_t* flat_ = nullptr;                  // slot 0's head: area_ rounded up to a cache line
  std::unordered_map<int32_t, Image> mapped_;
};

class SlotCache {
 public:
  enum class Keep { kThisCall, kAcrossCalls };
  SlotCache(const BaumKeyDatei* d, Keep keep);
  ~SlotCache();
  SlotCache(const SlotCache&) = delete;
  SlotCache& operator=(const SlotCache&) = delete;

  // Reads slots first..last in one transfer (a reorganisation, which visits
  // every slot). Slots past the end of the file are left out.
  void Preload(int32_t first, int32_t last);

  // The open cache of d, or null.
  static SlotCache* For(const BaumKeyDatei* d);
  // Drops what was kept for d (the descriptor is going away).
  static void Forget(const BaumKeyDatei* d);
  // The file's size as the operation found it, while it has written
  // nothing; false otherwise (the caller asks the file).
  bool SizeAtStart(int64_t* size) const;
  // A read within one slot: false when the cache does not handle it (the
  // header, a range across slots); otherwise *ok tells whether all bytes
  // were there, as a file read would.
  [[nodiscard]] bool Read(int64_t position, void* buffer, int32_t length, bool* ok);
  // Bytes offset..offset+length-1 of a slot in the flat area, read as Read
  // would: in place when the file holds all of them (the pointer lasts for
  // the rest of the operation and follows its own writes), otherwise the
  // bytes there are copied into `copy`, which is returned. Null for a slot
  // past the flat area or a range beyond the slot: read it with ReadAt.
  const uint8_t* InSlot(int32_t slot, int32_t offset, int32_t length, uint8_t* copy) {
    if (const SlotStore::Ref image = slots_->FindFlat(slot); image && image.valid() == stride_ && offset >= 0 &&
                                                              int64_t{offset} + length <= stride_) {
      return image.bytes + offset;  // the common case: a whole slot already read
    }
    return InSlotRead(slot, offset, length, copy);
  }
  // True when the file already holds exactly these bytes.
  [[nodiscard]] bool Holds(int64_t position, const void* buffer, int32_t length);
  // Bytes that reached the file at position.
  void Wrote(int64_t position, const void* buffer, int32_t written);

 private:
  SlotStore::Ref Fetch(int32_t slot);
  const uint8_t* InSlotRead(int32_t slot, int32_t offset, int32_t length, uint8_t* copy);
  int32_t SlotAt(int64_t position) const;
  int32_t FlatSlotsFor(int64_t size) const;

  const BaumKeyDatei* d_;
  const SlotCache* outer_;  // the cache that was open before, of any descriptor
  bool owner_;              // false: an inner operation sharing d's cache
  int64_t stride_;
  int64_t limit_;           // bytes of slot images the store may hold
  SlotStore own_;           // the slots when nothing is kept across calls
  SlotStore* slots_;        // own_ or the descriptor's kept slots
  struct Kept* kept_ = nullptr;
  bool wrote_ = false;      // a write reached the file (or was tried)
  bool started_ = false;    // start_ holds the file's stamp at the start
  FileStamp start_;
};

// Bytes of slot images a cache may hold: during one call, and between calls
// for one descriptor. Tests lower them to take a small file through the
// paths of a large one. Returns the limits that were set.
struct SlotCacheLimits {
  int64_t perCall;
  int64_t kept;
};
SlotCacheLimits SetSlotCacheLimits(SlotCacheLimits limits);

// Record of any slot, slot 0 included, on the open file; no bound checks.
[[nodiscard]] bool ReadSlot(const BaumKeyDatei* d, int32_t slot, void* record);
[[nodiscard]] bool WriteSlot(const BaumKeyDatei* d, int32_t slot, const void* record);

using le::GetI32;
using le::PutI32;

// The slots a key operation may touch. The tree reads and writes nodes whose
// numbers come from the file itself, and it checks none of them; a damaged
// link could send a write gigabytes past the end of the file. So before the
// tree runs, the operation fixes its bound once: the larger of the
// configured slot count and the slots the file holds (a file extended by a
// station with a larger count stays usable). Every node and key access of
// the tree is checked against it; a read beyond it yields a cleared node, a
// write beyond it is dropped. Reads within it are never refused, so no
// rotation is cut short by the bound. The bound also caps a walk: a sound
// tree visits each slot once, so a walk that would visit more often than
// there are slots is following links back up the tree and is stopped.
class TreeBound {
 public:
  explicit TreeBound(const BaumKeyDatei* d);
  ~TreeBound();
  // The visit function to give the tree for a walk: it calls `visit` at
  // most once per slot of the bound and answers 0 after that.
  AvlVisitFn CapVisits(AvlVisitFn visit);
  TreeBound(const TreeBound&) = delete;
  TreeBound& operator=(const TreeBound&) = delete;
};
// The highest slot an access through d may touch: the active TreeBound's
// when one is set up for d, otherwise computed now from the open file.
int32_t HighestSlot(const BaumKeyDatei* d);

// One key record of the descriptor's record size, cleared.
class KeyRecord {
 public:
  explicit KeyRecord(const BaumKeyDatei* d) : size_(d->recordSize), block_(d->recordSize) { clear(); }
  explicit operator bool() const { return static_cast<bool>(block_); }
  uint8_t* bytes() const { return static_cast<uint8_t*>(block_.get()); }
  void clear() {
    if (block_) std::memset(block_.get(), 0, static_cast<size_t>(size_));
  }
  int32_t payload() const { return GetI32(bytes(), kPayloadOffset); }
  int32_t next_free() const { return GetI32(bytes(), kNextFreeOffset); }
  void set_payload(int32_t v) { PutI32(bytes(), kPayloadOffset, v); }
  void set_next_free(int32_t v) { PutI32(bytes(), kNextFreeOffset, v); }

 private:
  int32_t size_;
  StorageBlock block_;
};

// Nested open for the span of one operation (see core/nested_open.h for
// how the counters differ).
struct KeyFileOpenRule {
  using File = BaumKeyDatei;
  static constexpr bool kCloseAfterFailure = false;
  [[nodiscard]] static bool Open(BaumKeyDatei* d) { return KeyFileOpen(d) == 1; }
  static void Close(BaumKeyDatei* d) { KeyFileClose(d); }
};

using OpenScope = NestedOpen<KeyFileOpenRule>;

}  // namespace kv::index

#endif  // KV_INDEX_KEYFILE_INTERNAL_H

// Key files: the descriptor, creating and extending the file, the header,
// raw record access and the tree callbacks that work directly on the file.
#include <atomic>
#include <cstring>

#include "index/avl_tree.h"
#include "index/keyfile_internal.h"
#include "services/fileio.h"
#include "services/name_resolve.h"
#include "services/platform.h"

namespace kv::index {

namespace {

std::atomic<int64_t> g_reads{0};  // node reads, for benchmarks; any thread

// The bound of the key operation running on this thread (one thread per
// descriptor; operations on two descriptors may nest through callbacks, so
// each TreeBound restores the one it replaced).
struct ActiveBound {
  const BaumKeyDatei* d = nullptr;
  int32_t highest = 0;
  AvlVisitFn visit = nullptr;  // a walk's own visit function
  int64_t visits = 0;          // visits the walk has made
};
thread_local ActiveBound t_bound;
thread_local ActiveBound t_saved[8];
thread_local int t_depth = 0;

int32_t ComputeHighestSlot(const BaumKeyDatei* d) {
  // An operation's cache has the size from the stamp it began with.
  int64_t size = -1;
  const SlotCache* cache = SlotCache::For(d);
  if (cache == nullptr || !cache->SizeAtStart(&size)) size = FileIO_Size(d->handle);
  const int32_t inFile = size < 0 ? 0 : KeyFileSlotsInSize(d->recordSize, size);
  return inFile > d->slotCount ? inFile : d->slotCount;
}

bool SlotAllowed(const BaumKeyDatei* d, int32_t slot) { return slot >= 0 && slot <= HighestSlot(d); }

// A walk over a sound tree visits each slot once; links that lead back
// into the tree would make it visit without end (both links of a node
// pointing up double the walk at every level). Past one visit per slot the
// walk is stopped as a visit function stops it, by answering 0.
int32_t KV_CALLBACK BoundedVisit(void* context, int32_t element, int32_t depth) {
  if (t_bound.visit == nullptr || ++t_bound.visits > static_cast<int64_t>(t_bound.highest) + 1) return 0;
  return t_bound.visit(context, element, depth);
}

void* HandleAsContext(int32_t handle) { return reinterpret_cast<void*>(static_cast<intptr_t>(handle)); }

BaumKeyDatei* Self(void* context) { return static_cast<BaumKeyDatei*>(context); }

// ---- Tree callbacks: every one gets the descriptor (the BAVL_ instance
// hands the compare context to all of them). ------------------------------

int32_t ReadNodeFromFile(void* context, int32_t element, AvlKnoten* node) {
  BaumKeyDatei* d = Self(context);
  if (!SlotAllowed(d, element)) return 0;
  AvlKnoten n;
  if (SlotCache* cache = SlotCache::For(d)) {
    uint8_t shortRead[BBAUMLIB_NODE_SIZE];
    const uint8_t* bytes = cache->InSlot(element, d->recordSize, BBAUMLIB_NODE_SIZE, shortRead);
    if (bytes == shortRead) return 0;  // the file ends inside the node
    if (bytes != nullptr) {
      std::memcpy(&n, bytes, sizeof n);
      *node = n;
      return 1;
    }
  }
  if (!ReadAt(d, KeyNodePosition(d->recordSize, element), &n, BBAUMLIB_NODE_SIZE)) return 0;
  *node = n;
  return 1;
}

int32_t WriteNodeToFile(void* context, int32_t element, const AvlKnoten* node) {
  BaumKeyDatei* d = Self(context);
  if (!SlotAllowed(d, element)) return 0;
  return WriteAt(d, KeyNodePosition(d->recordSize, element), node, BBAUMLIB_NODE_SIZE) ? 1 : 0;
}

// The root lives in the parent word of slot 0's node.
int32_t GetRootFromFile(void* context, int32_t* root) {
  BaumKeyDatei* d = Self(context);
  return ReadAt(d, KeyNodePosition(d->recordSize, 0), root, 4) ? 1 : 0;
}

int32_t SetRootInFile(void* context, int32_t root) {
  BaumKeyDatei* d = Self(context);
  return WriteAt(d, KeyNodePosition(d->recordSize, 0), &root, 4) ? 1 : 0;
}

void LockRoot(void* context) {
  BaumKeyDatei* d = Self(context);
  FileIO_Lock(d->handle, KeyNodePosition(d->recordSize, 0), 4);
}

void UnlockRoot(void* context) {
  BaumKeyDatei* d = Self(context);
  FileIO_Unlock(d->handle, KeyNodePosition(d->recordSize, 0), 4);
}

// A slot's key where the operation's cache holds it, otherwise read into
// `copy` (left cleared for a slot outside the bound or a short read).
const uint8_t* KeyOf(const BaumKeyDatei* d, SlotCache* cache, int32_t slot, uint8_t* copy) {
  if (!SlotAllowed(d, slot)) return copy;
  if (cache != nullptr) {
    if (const uint8_t* key = cache->InSlot(slot, kKeyOffset, BBAUMLIB_KEY_SIZE, copy)) return key;
  }
  (void)ReadAt(d, KeyRecordPosition(d->recordSize, slot) + kKeyOffset, copy, BBAUMLIB_KEY_SIZE);
  return copy;
}

// Slot a's key against slot b's (slot 0 holds the search key).
int32_t CompareSlots(void* context, int32_t a, int32_t b) {
  BaumKeyDatei* d = Self(context);
  SlotCache* cache = SlotCache::For(d);
  uint8_t ka[BBAUMLIB_KEY_SIZE] = {};
  uint8_t kb[BBAUMLIB_KEY_SIZE] = {};
  const uint8_t* keyA = KeyOf(d, cache, a, ka);
  const uint8_t* keyB = KeyOf(d, cache, b, kb);
  return CompareKeys(keyA, keyB);
}

int32_t DefaultVisit(void*, int32_t, int32_t) { return 1; }

void BindTree(BaumKeyDatei* d) {
  AvlBaum& t = d->tree;
  t.ReadNode = ReadNodeFromFile;
  t.WriteNode = WriteNodeToFile;
  t.GetRoot = GetRootFromFile;
  t.SetRoot = SetRootInFile;
  t.Compare = CompareSlots;
  t.Visit = DefaultVisit;
  t.Lock = LockRoot;
  t.Unlock = UnlockRoot;
  t.storeContext = HandleAsContext(d->handle);
  t.compareContext = d;
  t.depth = 0;
  t.currentElement = 0;
}

void SetHandle(BaumKeyDatei* d, int32_t handle) {
  d->handle = handle;
  d->tree.storeContext = HandleAsContext(handle);
}

void Report(AvlProgressFn progress, int32_t done) {
  if (progress != nullptr) progress(done);
}

void StampHeader(BaumKeyDatei* d) {
  BaumKeyHeader h;
  std::memcpy(&h, d->header, sizeof h);
  h.lastWriteTime = UnixTimeNow32();
  std::memcpy(d->header, &h, sizeof h);
}

bool InSlotRange(const BaumKeyDatei* d, int32_t slot, int32_t lowest) {
  return d != nullptr && slot >= lowest && slot <= d->slotCount;
}

}  // namespace

// ---- Shared helpers ----------------------------------------------------------

TreeBound::TreeBound(const BaumKeyDatei* d) {
  if (t_depth < static_cast<int>(sizeof t_saved / sizeof t_saved[0])) t_saved[t_depth] = t_bound;
  ++t_depth;
  t_bound.d = d;
  t_bound.highest = ComputeHighestSlot(d);
  t_bound.visit = nullptr;
  t_bound.visits = 0;
}

AvlVisitFn TreeBound::CapVisits(AvlVisitFn visit) {
  t_bound.visit = visit;
  t_bound.visits = 0;
  return BoundedVisit;
}

TreeBound::~TreeBound() {
  --t_depth;
  t_bound = t_depth < static_cast<int>(sizeof t_saved / sizeof t_saved[0]) ? t_saved[t_depth] : ActiveBound{};
}

int32_t HighestSlot(const BaumKeyDatei* d) {
  return t_bound.d == d ? t_bound.highest : ComputeHighestSlot(d);
}

int64_t KeyRecordPosition(int32_t recordSize, int32_t slot) {
  return BBAUMLIB_HEADER_SIZE + static_cast<int64_t>(slot) * (static_cast<int64_t>(recordSize) + BBAUMLIB_NODE_SIZE);
}

int64_t KeyNodePosition(int32_t recordSize, int32_t slot) { return KeyRecordPosition(recordSize, slot) + recordSize; }

int32_t KeyFileSlotsInSize(int32_t recordSize, int64_t fileSize) {
  const int64_t stride = static_cast<int64_t>(recordSize) + BBAUMLIB_NODE_SIZE;
  // Slot n's record ends at 40 + n * stride + R; its node may be missing
  // (an extension writes the last record only).
  const int64_t body = fileSize - BBAUMLIB_HEADER_SIZE - recordSize;
  if (recordSize < 1 || body < stride) return 0;
  const int64_t slots = body / stride;
  return slots > INT32_MAX ? INT32_MAX : static_cast<int32_t>(slots);
}

int32_t CompareKeys(const uint8_t* a, const uint8_t* b) {
  for (int i = 0; i < BBAUMLIB_KEY_SIZE; ++i) {
    const auto x = static_cast<int8_t>(a[i]);
    const auto y = static_cast<int8_t>(b[i]);
    if (x < y) return -1;
    if (x > y) return 1;
  }
  return 0;
}

int64_t KeyFileReadCount() { return g_reads; }

void CountKeyFileRead() { ++g_reads; }

bool ReadAt(const BaumKeyDatei* d, int64_t position, void* buffer, int32_t length) {
  if (SlotCache* cache = SlotCache::For(d)) {
    bool ok = false;
    if (cache->Read(position, buffer, length, &ok)) return ok;
  }
  ++g_reads;
  return FileIO_SetPos(d->handle, position) == position && FileIO_Read(d->handle, buffer, length) == length;
}

bool WriteAt(const BaumKeyDatei* d, int64_t position, const void* buffer, int32_t length) {
  SlotCache* cache = SlotCache::For(d);
  if (cache != nullptr && d->handle != kInvalidHandle && cache->Holds(position, buffer, length)) return true;
  if (FileIO_SetPos(d->handle, position) != position) return false;
  const int32_t written = FileIO_Write(d->handle, buffer, length);
  if (cache != nullptr) cache->Wrote(position, buffer, written);
  return written == length;
}

bool ReadSlot(const BaumKeyDatei* d, int32_t slot, void* record) {
  return ReadAt(d, KeyRecordPosition(d->recordSize, slot), record, d->recordSize);
}

// Writes of slots inside a bounded operation stay within the bound; the
// record writes outside one (creation, extension, the raw writes) are
// checked against the slot count by their callers.
bool WriteSlot(const BaumKeyDatei* d, int32_t slot, const void* record) {
  if (t_bound.d == d && (slot < 0 || slot > t_bound.highest)) return false;
  return WriteAt(d, KeyRecordPosition(d->recordSize, slot), record, d->recordSize);
}

// ---- Descriptor -------------------------------------------------------------------

BaumKeyDatei* KeyFileInit(const char* path, int32_t recordSize, int32_t slotCount) {
  if (path == nullptr || recordSize < BBAUMLIB_MIN_RECORD_SIZE || recordSize > BBAUMLIB_MAX_RECORD_SIZE ||
      slotCount < 1 || std::strlen(path) >= BBAUMLIB_PATH_SIZE) {
    return nullptr;
  }
  auto* d = static_cast<BaumKeyDatei*>(Storage_Allocate(sizeof(BaumKeyDatei)));
  if (d == nullptr) return nullptr;
  std::memset(d, 0, sizeof *d);
  d->slotCount = slotCount;
  d->recordSize = recordSize;
  d->self = d;
  d->handle = kInvalidHandle;
  std::memcpy(d->path, path, std::strlen(path) + 1);
  FileIO_ResolveNameCase(d->path);  // never a second file beside one spelled otherwise
  BindTree(d);

  FileHandle probe = FileIO_OpenRWS(d->path);
  if (probe != kInvalidHandle) {
    FileIO_Close(probe);
  } else if (KeyFileCreate(d, nullptr) == 1) {
    KeyFileClearTree(d, nullptr);
  }
  return d;
}

void KeyFileExit(BaumKeyDatei* d) {
  if (d == nullptr) return;
  if (d->handle != kInvalidHandle) FileIO_Close(d->handle);
  SlotCache::Forget(d);
  Storage_Deallocate(d);
}

int32_t KeyFileOpen(BaumKeyDatei* d) {
  if (d == nullptr || d->openCount == INT16_MAX) return 0;
  if (d->openCount == 0) {
    FileHandle h = FileIO_OpenRWS(d->path);
    if (h == kInvalidHandle) return 0;
    SetHandle(d, h);
  }
  ++d->openCount;
  return 1;
}

void KeyFileClose(BaumKeyDatei* d) {
  if (d == nullptr || d->openCount <= 0) return;
  if (--d->openCount == 0) {
    FileIO_Close(d->handle);
    SetHandle(d, kInvalidHandle);
  }
}

// A new file chains slot 0 -> 1 and every slot i >= 1 to i + 2 (slot 0's
// own write of "next 2" is refused like any raw write of slot 0), so the
// chain runs 1, 3, 5, ... Files in the field look like this; the even
// slots join the chain when it is rebuilt.
int32_t KeyFileCreate(BaumKeyDatei* d, AvlProgressFn progress) {
  if (d == nullptr || d->openCount > 0) return 0;
  FileHandle h = FileIO_CreateRWS(d->path);
  if (h == kInvalidHandle) return 0;
  SetHandle(d, h);
  d->openCount = 1;

  KeyRecord rec(d);
  bool ok = static_cast<bool>(rec);
  if (ok) {
    rec.set_next_free(1);
    ok = WriteSlot(d, 0, rec.bytes());
  }
  for (int32_t i = 0; ok && i < d->slotCount; ++i) {
    Report(progress, i);
    rec.clear();
    rec.set_next_free(i + 2);
    if (i >= 1) ok = WriteSlot(d, i, rec.bytes());
  }
  if (ok) {
    Report(progress, d->slotCount);
    rec.clear();
    ok = WriteSlot(d, d->slotCount, rec.bytes());
  }
  if (ok) {
    BaumKeyHeader header{};
    header.version = BBAUMLIB_CURRENT_VERSION;
    header.lastWriteTime = UnixTimeNow32();
    std::memcpy(d->header, &header, sizeof header);
    ok = WriteAt(d, 0, d->header, BBAUMLIB_HEADER_SIZE);
  }
  d->openCount = 0;
  FileIO_Close(h);
  SetHandle(d, kInvalidHandle);
  return ok ? 1 : 0;
}

int32_t KeyFileExtend(BaumKeyDatei* d, AvlProgressFn progress, int32_t newCount) {
  if (d == nullptr || newCount <= d->slotCount) return 0;
  OpenScope open(d);
  KeyRecord rec(d);
  if (!open || !rec || !ReadAt(d, 0, d->header, BBAUMLIB_HEADER_SIZE)) return 0;
  const int32_t oldCount = d->slotCount;
  d->slotCount = newCount;
  bool ok = true;
  for (int32_t slot = oldCount + 1; ok && slot < newCount; ++slot) {
    Report(progress, slot);
    rec.set_next_free(slot + 1);
    ok = WriteSlot(d, slot, rec.bytes());
  }
  if (ok) {
    Report(progress, newCount);
    rec.set_next_free(0);
    ok = WriteSlot(d, newCount, rec.bytes());
  }
  if (ok) {
    StampHeader(d);
    ok = WriteAt(d, 0, d->header, BBAUMLIB_HEADER_SIZE);
  }
  if (!ok) d->slotCount = oldCount;
  return ok ? 1 : 0;
}

int32_t KeyFileClearTree(BaumKeyDatei* d, AvlProgressFn progress) {
  OpenScope open(d);
  if (!open) return 0;
  NewBavlTree(&d->tree, d->slotCount, progress);
  return 1;
}

// ---- Header -------------------------------------------------------------------------

int32_t KeyFileReadHeader(BaumKeyDatei* d) {
  OpenScope open(d);
  return open && ReadAt(d, 0, d->header, BBAUMLIB_HEADER_SIZE) ? 1 : 0;
}

int32_t KeyFileWriteHeader(BaumKeyDatei* d) {
  OpenScope open(d);
  return open && WriteAt(d, 0, d->header, BBAUMLIB_HEADER_SIZE) ? 1 : 0;
}

int32_t KeyFileVersion(BaumKeyDatei* d) {
  if (KeyFileReadHeader(d) != 1) return 0;
  return GetI32(d->header, 0);
}

uint32_t KeyFileLastWriteTime(BaumKeyDatei* d) {
  if (KeyFileReadHeader(d) != 1) return 0;
  return static_cast<uint32_t>(GetI32(d->header, 4));
}

int32_t KeyFileSizeAndName(BaumKeyDatei* d, int32_t* count, char* name) {
  if (d == nullptr || count == nullptr || name == nullptr) return 0;
  *count = d->slotCount;
  std::memcpy(name, d->path, BBAUMLIB_PATH_SIZE);
  return 1;
}

// ---- Records -------------------------------------------------------------------------

int32_t KeyFileReadRecord(BaumKeyDatei* d, int32_t slot, void* record) {
  if (!InSlotRange(d, slot, 0) || record == nullptr || d->handle == kInvalidHandle) return 0;
  return ReadSlot(d, slot, record) ? 1 : 0;
}

int32_t KeyFileWriteRecord(BaumKeyDatei* d, int32_t slot, const void* record) {
  if (!InSlotRange(d, slot, 1) || record == nullptr || d->handle == kInvalidHandle) return 0;
  return WriteSlot(d, slot, record) ? 1 : 0;
}

int32_t KeyFileLeseRecord(BaumKeyDatei* d, int32_t slot, void* record) {
  if (!InSlotRange(d, slot, 0) || record == nullptr) return 0;
  OpenScope open(d);
  return open ? KeyFileReadRecord(d, slot, record) : 0;
}

int32_t KeyFileSchreibeRecord(BaumKeyDatei* d, int32_t slot, const void* record) {
  if (!InSlotRange(d, slot, 1) || record == nullptr) return 0;
  OpenScope open(d);
  return open ? KeyFileWriteRecord(d, slot, record) : 0;
}

int32_t KeyFileReadFreeList(BaumKeyDatei* d, void* record) {
  if (d == nullptr || record == nullptr) return 0;
  OpenScope open(d);
  return open && ReadSlot(d, 0, record) ? 1 : 0;
}

int32_t KeyFileWriteFreeList(BaumKeyDatei* d, const void* record) {
  if (d == nullptr || record == nullptr) return 0;
  OpenScope open(d);
  return open && WriteSlot(d, 0, record) ? 1 : 0;
}

int32_t KeyFileNextFree(BaumKeyDatei* d) {
  if (d == nullptr) return 0;
  KeyRecord head(d);
  if (!head || KeyFileReadFreeList(d, head.bytes()) != 1) return 0;
  return head.next_free();
}

int32_t KeyFileUsedCount(BaumKeyDatei* d) {
  if (d == nullptr) return -1;
  KeyRecord head(d);
  if (!head || KeyFileReadFreeList(d, head.bytes()) != 1) return -1;
  return head.payload();
}

int32_t KeyFileLockSlot(BaumKeyDatei* d, int32_t slot) {
  if (!InSlotRange(d, slot, 1) || d->handle == kInvalidHandle) return 0;
  return FileIO_Lock(d->handle, KeyRecordPosition(d->recordSize, slot), d->recordSize + BBAUMLIB_NODE_SIZE) ? 1 : 0;
}

int32_t KeyFileUnlockSlot(BaumKeyDatei* d, int32_t slot) {
  if (!InSlotRange(d, slot, 1) || d->handle == kInvalidHandle) return 0;
  return FileIO_Unlock(d->handle, KeyRecordPosition(d->recordSize, slot), d->recordSize + BBAUMLIB_NODE_SIZE) ? 1
                                                                                                                : 0;
}

void KeyFileSetVisit(BaumKeyDatei* d, AvlVisitFn visit) {
  if (d != nullptr) d->tree.Visit = visit != nullptr ? visit : DefaultVisit;
}

void KeyFileRestoreVisit(BaumKeyDatei* d) { KeyFileSetVisit(d, nullptr); }

}  // namespace kv::index

// The slot cache of one key operation (see SlotCache in keyfile_internal.h).
#include <algorithm>
#include <atomic>
#include <vector>

#include "index/keyfile_internal.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace kv::index {

namespace {

// The innermost open cache of this thread; each cache links to the one that
// was open before it.
thread_local SlotCache* g_open = nullptr;

// A cache of one call holds at most this many bytes of slot images: it only
// saves reads. What is kept between calls is held smaller, as it stays in
// memory for the descriptor's life. Either limit covers the flat area; the
// map of the slots past it takes a sixteenth more.
std::atomic<int64_t> g_perCallBytes{int64_t{64} << 20};
std::atomic<int64_t> g_keptBytes{int64_t{16} << 20};

}  // namespace

// The slots kept for one descriptor between calls, and the stamp the file
// had when the last operation ended.
struct Kept {
  SlotStore slots;
  FileStamp stamp;
  bool trusted = false;  // stamp is exact and slots match the file it names
};

namespace {

// Descriptors are used by one thread at a time, but different descriptors
// may be used by different threads: the table itself is guarded.
Mutex& KeptMutex() {
  static Mutex m;
  return m;
}
std::unordered_map<const BaumKeyDatei*, Kept>& KeptTable() {
  static std::unordered_map<const BaumKeyDatei*, Kept> table;
  return table;
}

// Every descriptor forgotten counts this up. A thread remembers the last
// descriptor it used and its table entry, so that a run of calls on one
// descriptor takes the mutex once: the entry stays where it is until its
// own descriptor is forgotten (the table is node-based), and a descriptor
// made anew at the same address after that finds the count changed. A
// descriptor is handed between threads only with the caller's own
// synchronisation, which also carries the count.
std::atomic<uint64_t> g_forgotten{0};
struct LastKept {
  const BaumKeyDatei* d = nullptr;
  Kept* kept = nullptr;
  uint64_t forgotten = 0;
};
thread_local LastKept t_lastKept;

Kept* KeptFor(const BaumKeyDatei* d) {
  const uint64_t forgotten = g_forgotten.load(std::memory_order_acquire);
  if (t_lastKept.d == d && t_lastKept.forgotten == forgotten) return t_lastKept.kept;
  Kept* kept = nullptr;
  {
    MutexLock lock(KeptMutex());
    kept = &KeptTable()[d];
  }
  t_lastKept = LastKept{d, kept, forgotten};
  return kept;
}

}  // namespace

SlotCacheLimits SetSlotCacheLimits(SlotCacheLimits limits) {
  const SlotCacheLimits before{g_perCallBytes.load(), g_keptBytes.load()};
  g_perCallBytes = limits.perCall;
  g_keptBytes = limits.kept;
  return before;
}

// ---- SlotStore ---------------------------------------------------------------

void SlotStore::Configure(int64_t stride, int32_t flatSlots, int64_t mapLimit) {
  const bool sameArea = area_ && flatSlots == flatSlots_ && stride == stride_;
  stride_ = stride;
  pitch_ = PitchFor(stride);
  mapLimit_ = mapLimit;
  mapped_.clear();
  generation_ = 1;
  if (sameArea) {
    ResetHeads();
    return;
  }
  flatSlots_ = 0;
  flat_ = nullptr;
  // Zeroed memory: every head starts in generation 0, which never counts.
  // Pages never touched cost nothing.
  constexpr size_t kLine = 64;
  area_.reset(flatSlots > 0 ? static_cast<uint8_t*>(std::calloc(static_cast<size_t>(flatSlots * pitch_) + kLine, 1))
                            : nullptr);
  if (!area_) return;  // without the memory, every image goes to the map
  const auto at = reinterpret_cast<uintptr_t>(area_.get());
  flat_ = area_.get() + (kLine - at % kLine) % kLine;
  flatSlots_ = flatSlots;
}

void SlotStore::ResetHeads() {
  for (int32_t i = 0; i < flatSlots_; ++i) *HeadOf(i) = 0;
}

SlotStore::Ref SlotStore::FindMapped(int32_t slot) {
  auto it = mapped_.find(slot);
  if (it == mapped_.end()) return {};
  return {it->second.bytes.get(), nullptr, &it->second.valid};
}

SlotStore::Ref SlotStore::Make(int32_t slot) {
  if (slot >= 0 && slot < flatSlots_) {
    uint32_t* head = HeadOf(slot);
    if ((*head >> kValidBits) != generation_) *head = generation_ << kValidBits;
    return {reinterpret_cast<uint8_t*>(head + 1), head, nullptr};
  }
  auto it = mapped_.find(slot);
  if (it == mapped_.end()) {
    if (static_cast<int64_t>(mapped_.size() + 1) * stride_ > mapLimit_) mapped_.clear();
    it = mapped_.emplace(slot, Image{}).first;
    it->second.bytes = std::make_unique<uint8_t[]>(static_cast<size_t>(stride_));
  }
  return {it->second.bytes.get(), nullptr, &it->second.valid};
}

void SlotStore::Erase(int32_t slot) {
  if (slot >= 0 && slot < flatSlots_) {
    *HeadOf(slot) = 0;
  } else {
    mapped_.erase(slot);
  }
}

void SlotStore::Clear() {
  mapped_.clear();
  if (++generation_ < kGenerations) return;
  // Every 32,767th time: the old generations could count again.
  ResetHeads();
  generation_ = 1;
}

// ---- SlotCache ---------------------------------------------------------------

// Slots 0 up to the larger of the configured count and the slots in a file
// of `size` bytes, as far as the limit reaches (counted in the file's bytes,
// as the reads are; the heads come on top, as map nodes did).
int32_t SlotCache::FlatSlotsFor(int64_t size) const {
  const int32_t inFile = size < 0 ? 0 : KeyFileSlotsInSize(d_->recordSize, size);
  const int64_t wanted = int64_t{std::max(inFile, d_->slotCount)} + 1;
  return static_cast<int32_t>(std::min(wanted, limit_ / stride_));
}

SlotCache::SlotCache(const BaumKeyDatei* d, Keep keep)
    : d_(d), outer_(g_open), owner_(For(d) == nullptr),
      stride_(static_cast<int64_t>(d->recordSize) + BBAUMLIB_NODE_SIZE),
      limit_(g_perCallBytes.load(std::memory_order_relaxed)), slots_(&own_) {
  // Until a flat area is set up: every image in the map, as many as fit.
  own_.Configure(stride_, 0, limit_);
  if (!owner_) return;
  g_open = this;
  if (d->handle == kInvalidHandle) return;
  started_ = FileIO_Stamp(d->handle, &start_);
  if (keep == Keep::kThisCall) {
    own_.Configure(stride_, FlatSlotsFor(started_ ? start_.size : FileIO_Size(d->handle)), limit_ / 16);
    return;
  }
  if (!started_) return;
  kept_ = KeptFor(d);
  limit_ = g_keptBytes.load(std::memory_order_relaxed);
  const int32_t flat = FlatSlotsFor(start_.size);
  if (kept_->slots.stride() != stride_ || kept_->slots.flat_slots() < flat) {
    kept_->slots.Configure(stride_, flat, limit_ / 16);  // first use, or the file has grown
  } else if (!kept_->trusted || !kept_->stamp.SameFileState(start_)) {
    kept_->slots.Clear();
  }
  kept_->trusted = false;  // until this operation ends and stamps the file again
  slots_ = &kept_->slots;
}

SlotCache::~SlotCache() {
  if (!owner_) return;
  g_open = const_cast<SlotCache*>(outer_);
  if (kept_ == nullptr) return;
  // The operation's own writes changed the file's times: the stamp the next
  // call compares with is taken after them. Under the sharing rule nobody
  // else changes the tree in between.
  FileStamp end = start_;
  const bool stamped = !wrote_ || FileIO_Stamp(d_->handle, &end);
  kept_->stamp = end;
  kept_->trusted = stamped && end.exact;
  if (!kept_->trusted) kept_->slots.Clear();
}

void SlotCache::Forget(const BaumKeyDatei* d) {
  MutexLock lock(KeptMutex());
  if (KeptTable().erase(d) != 0) g_forgotten.fetch_add(1, std::memory_order_release);
}

bool SlotCache::SizeAtStart(int64_t* size) const {
  if (!started_ || wrote_) return false;
  *size = start_.size;
  return true;
}

SlotCache* SlotCache::For(const BaumKeyDatei* d) {
  for (SlotCache* c = g_open; c != nullptr; c = const_cast<SlotCache*>(c->outer_)) {
    if (c->d_ == d) return c;
  }
  return nullptr;
}

int32_t SlotCache::SlotAt(int64_t position) const {
  if (position < BBAUMLIB_HEADER_SIZE) return -1;
  const int64_t slot = (position - BBAUMLIB_HEADER_SIZE) / stride_;
  return slot > INT32_MAX ? -1 : static_cast<int32_t>(slot);
}

// The slot's bytes as the file holds them now; a slot the file ends inside
// is read again each time, so that bytes written there since count.
SlotStore::Ref SlotCache::Fetch(int32_t slot) {
  SlotStore::Ref image = slots_->Find(slot);
  if (image && image.valid() == stride_) return image;
  if (!image) image = slots_->Make(slot);
  const int64_t start = KeyRecordPosition(d_->recordSize, slot);
  CountKeyFileRead();
  image.set_valid(FileIO_SetPos(d_->handle, start) == start
                     ? std::max(0, FileIO_Read(d_->handle, image.bytes, static_cast<int32_t>(stride_)))
                     : 0);
  return image;
}

void SlotCache::Preload(int32_t first, int32_t last) {
  if (!owner_ || first < 0 || last < first || d_->handle == kInvalidHandle) return;
  if ((int64_t{last} - first + 1) * stride_ > limit_) return;
  // In pieces of about 4 MiB, so that a large file needs no buffer of its size.
  const int32_t perRead = static_cast<int32_t>(std::max<int64_t>(1, (int64_t{4} << 20) / stride_));
  std::vector<uint8_t> block;
  for (int32_t from = first; from <= last;) {
    const int32_t count = static_cast<int32_t>(std::min<int64_t>(perRead, int64_t{last} - from + 1));
    block.resize(static_cast<size_t>(count * stride_));
    const int64_t start = KeyRecordPosition(d_->recordSize, from);
    CountKeyFileRead();
    const int32_t got = FileIO_SetPos(d_->handle, start) == start
                            ? FileIO_Read(d_->handle, block.data(), static_cast<int32_t>(block.size()))
                            : 0;
    for (int32_t i = 0; i < count && int64_t{i} * stride_ < got; ++i) {
      SlotStore::Ref image = slots_->Make(from + i);
      const auto valid = static_cast<int32_t>(std::min<int64_t>(stride_, got - int64_t{i} * stride_));
      image.set_valid(valid);
      std::memcpy(image.bytes, block.data() + int64_t{i} * stride_, static_cast<size_t>(valid));
    }
    if (got < static_cast<int32_t>(block.size())) break;  // the end of the file
    from += count;
  }
}

bool SlotCache::Read(int64_t position, void* buffer, int32_t length, bool* ok) {
  const int32_t slot = SlotAt(position);
  if (slot < 0 || length < 1 || d_->handle == kInvalidHandle) return false;
  const int64_t offset = position - KeyRecordPosition(d_->recordSize, slot);
  if (offset + length > stride_) return false;
  const SlotStore::Ref image = Fetch(slot);
  // What a file read would deliver: the bytes up to the end of the file.
  const int64_t available = std::clamp<int64_t>(image.valid() - offset, 0, length);
  std::memcpy(buffer, image.bytes + offset, static_cast<size_t>(available));
  *ok = available == length;
  return true;
}

const uint8_t* SlotCache::InSlotRead(int32_t slot, int32_t offset, int32_t length, uint8_t* copy) {
  if (slot < 0 || slot >= slots_->flat_slots() || offset < 0 || length < 1 || int64_t{offset} + length > stride_ ||
      d_->handle == kInvalidHandle) {
    return nullptr;
  }
  const SlotStore::Ref image = Fetch(slot);
  if (image.valid() >= offset + length) return image.bytes + offset;
  const int32_t available = std::clamp(image.valid() - offset, 0, length);
  std::memcpy(copy, image.bytes + offset, static_cast<size_t>(available));
  return copy;
}

bool SlotCache::Holds(int64_t position, const void* buffer, int32_t length) {
  const int32_t slot = SlotAt(position);
  if (slot < 0 || length < 1) return false;
  const int64_t offset = position - KeyRecordPosition(d_->recordSize, slot);
  if (offset + length > stride_) return false;
  const SlotStore::Ref image = slots_->Find(slot);
  if (!image || offset + length > image.valid()) return false;
  return std::memcmp(image.bytes + offset, buffer, static_cast<size_t>(length)) == 0;
}

void SlotCache::Wrote(int64_t position, const void* buffer, int32_t written) {
  wrote_ = true;
  if (written < 1 || position < BBAUMLIB_HEADER_SIZE) return;
  const int64_t end = position + written;
  for (int32_t slot = SlotAt(position); slot >= 0 && KeyRecordPosition(d_->recordSize, slot) < end; ++slot) {
    if (SlotStore::Ref image = slots_->Find(slot)) {
      const int64_t start = KeyRecordPosition(d_->recordSize, slot);
      const int64_t from = std::max(position, start);
      const int64_t to = std::min(end, start + stride_);
      if (from - start > image.valid()) {
        // A write past the known end leaves a gap this cache cannot fill:
        // the slot is read again when needed.
        slots_->Erase(slot);
      } else {
        std::memcpy(image.bytes + (from - start), static_cast<const uint8_t*>(buffer) + (from - position),
                    static_cast<size_t>(to - from));
        image.set_valid(static_cast<int32_t>(std::max<int64_t>(image.valid(), to - start)));
      }
    }
    if (slot == INT32_MAX) break;
  }
}

}  // namespace kv::index

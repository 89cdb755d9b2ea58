// The slot cache of one key operation (see SlotCache in keyfile_internal.h).
#include <algorithm>
#include <vector>

#include "index/keyfile_internal.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace kv::index {

namespace {

// The innermost open cache of this thread; each cache links to the one that
// was open before it.
thread_local SlotCache* g_open = nullptr;

// A cache of one call that would grow past this is emptied first: it only
// saves reads. What is kept between calls is held smaller, as it stays in
// memory for the descriptor's life.
constexpr int64_t kMaxCachedBytes = int64_t{64} << 20;
constexpr int64_t kMaxKeptBytes = int64_t{16} << 20;

}  // namespace

// The slots kept for one descriptor between calls, and the stamp the file
// had when the last operation ended.
struct Kept {
  SlotCache::Images slots;
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

}  // namespace

SlotCache::SlotCache(const BaumKeyDatei* d, Keep keep)
    : d_(d), outer_(g_open), owner_(For(d) == nullptr),
      stride_(static_cast<int64_t>(d->recordSize) + BBAUMLIB_NODE_SIZE), limit_(kMaxCachedBytes), slots_(&own_) {
  if (!owner_) return;
  g_open = this;
  if (d->handle == kInvalidHandle) return;
  started_ = FileIO_Stamp(d->handle, &start_);
  if (keep != Keep::kAcrossCalls || !started_) return;
  {
    MutexLock lock(KeptMutex());
    kept_ = &KeptTable()[d];  // node-based map: the element stays where it is
  }
  if (!kept_->trusted || !kept_->stamp.SameFileState(start_)) kept_->slots.clear();
  kept_->trusted = false;  // until this operation ends and stamps the file again
  slots_ = &kept_->slots;
  limit_ = kMaxKeptBytes;
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
  if (!kept_->trusted) kept_->slots.clear();
}

void SlotCache::Forget(const BaumKeyDatei* d) {
  MutexLock lock(KeptMutex());
  KeptTable().erase(d);
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
SlotCache::Image* SlotCache::Fetch(int32_t slot) {
  auto it = slots_->find(slot);
  if (it != slots_->end() && it->second.valid == stride_) return &it->second;
  if (it == slots_->end() && static_cast<int64_t>(slots_->size() + 1) * stride_ > limit_) slots_->clear();
  Image& image = (*slots_)[slot];
  if (!image.bytes) image.bytes = std::make_unique<uint8_t[]>(static_cast<size_t>(stride_));
  const int64_t start = KeyRecordPosition(d_->recordSize, slot);
  CountKeyFileRead();
  image.valid = FileIO_SetPos(d_->handle, start) == start
                    ? std::max(0, FileIO_Read(d_->handle, image.bytes.get(), static_cast<int32_t>(stride_)))
                    : 0;
  return &image;
}

void SlotCache::Preload(int32_t first, int32_t last) {
  if (!owner_ || first < 0 || last < first || d_->handle == kInvalidHandle) return;
  if ((int64_t{last} - first + 1) * stride_ > kMaxCachedBytes) return;
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
      Image& image = (*slots_)[from + i];
      if (!image.bytes) image.bytes = std::make_unique<uint8_t[]>(static_cast<size_t>(stride_));
      image.valid = static_cast<int32_t>(std::min<int64_t>(stride_, got - int64_t{i} * stride_));
      std::memcpy(image.bytes.get(), block.data() + int64_t{i} * stride_, static_cast<size_t>(image.valid));
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
  const Image* image = Fetch(slot);
  // What a file read would deliver: the bytes up to the end of the file.
  const int64_t available = std::clamp<int64_t>(image->valid - offset, 0, length);
  std::memcpy(buffer, image->bytes.get() + offset, static_cast<size_t>(available));
  *ok = available == length;
  return true;
}

bool SlotCache::Holds(int64_t position, const void* buffer, int32_t length) const {
  const int32_t slot = SlotAt(position);
  if (slot < 0 || length < 1) return false;
  const int64_t offset = position - KeyRecordPosition(d_->recordSize, slot);
  auto it = slots_->find(slot);
  if (offset + length > stride_ || it == slots_->end() || offset + length > it->second.valid) return false;
  return std::memcmp(it->second.bytes.get() + offset, buffer, static_cast<size_t>(length)) == 0;
}

void SlotCache::Wrote(int64_t position, const void* buffer, int32_t written) {
  wrote_ = true;
  if (written < 1 || position < BBAUMLIB_HEADER_SIZE) return;
  const int64_t end = position + written;
  for (int32_t slot = SlotAt(position); slot >= 0 && KeyRecordPosition(d_->recordSize, slot) < end; ++slot) {
    auto it = slots_->find(slot);
    if (it != slots_->end()) {
      Image& image = it->second;
      const int64_t start = KeyRecordPosition(d_->recordSize, slot);
      const int64_t from = std::max(position, start);
      const int64_t to = std::min(end, start + stride_);
      if (from - start > image.valid) {
        // A write past the known end leaves a gap this cache cannot fill:
        // the slot is read again when needed.
        slots_->erase(it);
      } else {
        std::memcpy(image.bytes.get() + (from - start), static_cast<const uint8_t*>(buffer) + (from - position),
                    static_cast<size_t>(to - from));
        image.valid = static_cast<int32_t>(std::max<int64_t>(image.valid, to - start));
      }
    }
    if (slot == INT32_MAX) break;
  }
}

}  // namespace kv::index

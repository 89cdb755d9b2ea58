// The three chains of single items.
//
// Each chain is a doubly linked list of item identifiers threaded through a
// pair of fields of the item (previous, next) and headed by a record of
// another family holding the first and the last identifier: the article
// record, the designation record and the customer record. New items are
// appended at the tail, so a chain lists its items in the order they were
// linked.
//
// Lock order. Every change of the chains of one item (link, unlink, the
// move between customers of a sale or an exchange) first gathers all the
// locks it needs and only then writes:
//   1. the item's own record lock (held by the caller);
//   2. the record locks of the other items it touches (its neighbours, the
//      tails it appends to), only ever tried: when one is busy, everything
//      taken so far is let go and the caller starts again after a short,
//      random pause from a fresh read, for as long as the lock time-out;
//   3. the function lock "LCK_BEZLIB" when a designation chain changes;
//   4. the head records' locks: article, designation, then customers by
//      ascending number.
// Nobody waits for an item's lock while holding any other lock, so two
// stations can no longer wait for each other in a circle. A change that
// cannot get all its locks writes nothing; the tail an append saw before its
// locks is checked again under the head's lock.
#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "article/artlib.h"
#include "article/bezlib.h"
#include "article/database.h"
#include "core/lockdb.h"
#include "kvdata/artlib.h"
#include "kvdata/bezlib.h"
#include "partner/kunden.h"
#include "services/cause.h"
#include "services/fileio.h"
#include "services/platform.h"

namespace kv::database {

namespace {

constexpr const char* kBezLock = "LCK_BEZLIB";
constexpr int32_t kBezLockWaitMs = 10000;

// Where a chain's links lie in the item.
struct Links {
  int32_t Einzelteil::*prev;
  int32_t Einzelteil::*next;
};
constexpr Links kArticle{&Einzelteil::artPrev, &Einzelteil::artNext};
constexpr Links kDesignation{&Einzelteil::bezPrev, &Einzelteil::bezNext};
constexpr Links kCustomer{&Einzelteil::custPrev, &Einzelteil::custNext};

// First and last item of one chain, read from and written to its head record.
struct Head {
  int32_t first = 0;
  int32_t last = 0;
};

// A head record of one of the three owner families. open() also takes the
// head's lock where the family has one; close() releases it.
class HeadStore {
 public:
  virtual ~HeadStore() = default;
  virtual bool open() = 0;
  virtual void close() = 0;
  virtual bool read(Head& h) = 0;
  virtual bool write(const Head& h) = 0;
};

// A head kept in a record of the article or the designation file, changed
// under that record's lock. The two families offer the same functions:
// open / close of their file, lock / unlock of a record, lese / schreibe.
template <typename Record, auto Open, auto Close, auto Lock, auto Unlock, auto Read, auto Write>
class LockedHead : public HeadStore {
 public:
  explicit LockedHead(int32_t n) : n_(n) {}
  bool open() override {
    if (Open() == -1) return false;
    if (Lock(n_) == 1) return true;
    Close();
    return false;
  }
  void close() override {
    Unlock(n_);
    Close();
  }
  bool read(Head& h) override {
    if (Read(n_, &rec_) != 1) return false;
    h = {rec_.firstItem, rec_.lastItem};
    return true;
  }
  bool write(const Head& h) override {
    rec_.firstItem = h.first;
    rec_.lastItem = h.last;
    return Write(n_, &rec_) == 1;
  }

 private:
  int32_t n_;
  Record rec_{};
};

using ArticleHead = LockedHead<ArtikelRecord, artlib::open, artlib::close, artlib::lock_record, artlib::unlock_record,
                               artlib::lese, artlib::schreibe>;
using DesignationHead = LockedHead<Bezeichnung, bezlib::open, bezlib::close, bezlib::lock_record,
                                   bezlib::unlock_record, bezlib::lese, bezlib::schreibe>;

// The customer head sits inside the customer record. It is changed under the
// customer's record lock, held from the read of the head to its write, and
// written alone (with the record's last write stamp), so that neither a
// second till appending to the same customer nor an office saving the
// customer meanwhile can drop a link. A free customer record takes no head.
class CustomerHead : public HeadStore {
 public:
  explicit CustomerHead(int32_t n) : n_(n) {}
  bool open() override {
    lock_.emplace(n_);
    return lock_->ok();
  }
  void close() override { lock_.reset(); }
  bool read(Head& h) override { return partner::ReadChainHeads(n_, &h.first, &h.last) == 1; }
  bool write(const Head& h) override { return partner::WriteChainHeads(n_, h.first, h.last) == 1; }

 private:
  int32_t n_;
  std::optional<partner::CustomerLock> lock_;
};

// Designation head updates run under the function lock "LCK_BEZLIB" and
// leave a START / ENDED pair in the lock log.
class BezBlocking {
 public:
  BezBlocking() : held_(lockdb::BlockingStart(kBezLock, kBezLockWaitMs) == 1) {}
  ~BezBlocking() {
    if (held_) lockdb::BlockingStop(kBezLock);
  }
  BezBlocking(const BezBlocking&) = delete;
  BezBlocking& operator=(const BezBlocking&) = delete;
  bool held() const { return held_; }

 private:
  bool held_;
};

void log_event(const char* function, int32_t w1, int32_t w2, int32_t w3) {
  lockdb::LogEvent("SAME IP", "SAME USER", function, w1, w2, w3);
}

constexpr int32_t kMinPauseMs = 2;
constexpr int32_t kMaxPauseMs = 25;

enum Kind { kArticleChain = 0, kDesignationChain = 1, kCustomerChain = 2 };

Links links_of(Kind k) { return k == kArticleChain ? kArticle : k == kDesignationChain ? kDesignation : kCustomer; }

// What a look at a chain's head record found.
enum class Seen { kHead, kNoHead, kBusy };

// The head record of one chain, read without keeping its lock (to learn the
// tail or whether the head exists at all). The customer head is read under
// the customer's lock; a lock held elsewhere past the time-out is kBusy, so
// that a sale is retried instead of leaving the item outside the chain of a
// customer who exists.
Seen peek(Kind k, int32_t owner, Head& h) {
  if (k == kCustomerChain) {
    const int32_t got = partner::ReadChainHeads(owner, &h.first, &h.last);
    return got == 1 ? Seen::kHead : got < 0 ? Seen::kBusy : Seen::kNoHead;
  }
  // On Windows a record another station holds locked cannot even be read:
  // that is a busy head too, not a missing one.
  const uint32_t refusals = LockRefusals();
  bool ok = false;
  if (k == kArticleChain) {
    ArtikelRecord a;
    if (artlib::open() == -1) return Seen::kNoHead;
    ok = owner != 0 && artlib::lese(owner, &a) == 1;
    if (ok) h = {a.firstItem, a.lastItem};
    artlib::close();
  } else {
    Bezeichnung b;
    if (bezlib::open() == -1) return Seen::kNoHead;
    ok = bezlib::lese(owner, &b) == 1;
    if (ok) h = {b.firstItem, b.lastItem};
    bezlib::close();
  }
  if (ok) return Seen::kHead;
  return LockRefusals() != refusals ? Seen::kBusy : Seen::kNoHead;
}

std::unique_ptr<HeadStore> make_head(Kind k, int32_t owner) {
  if (k == kArticleChain) return std::make_unique<ArticleHead>(owner);
  if (k == kDesignationChain) return std::make_unique<DesignationHead>(owner);
  return std::make_unique<CustomerHead>(owner);
}

// Record locks of other items, taken only by trying and released together.
// The caller's own item and records this handle already holds are not taken
// (and so not released) here.
class ItemLocks {
 public:
  explicit ItemLocks(int32_t own) : own_(own) {}
  ~ItemLocks() {
    for (int32_t id : held_) unlock(id);
  }
  ItemLocks(const ItemLocks&) = delete;
  ItemLocks& operator=(const ItemLocks&) = delete;
  bool take(int32_t id) {
    if (id == 0 || id == own_ || std::find(held_.begin(), held_.end(), id) != held_.end()) return true;
    if (holds_lock(id) == 1) return true;
    if (try_lock(id) != 1) return false;
    held_.push_back(id);
    return true;
  }

 private:
  int32_t own_;
  std::vector<int32_t> held_;
};

// One link of item id set on disk; the caller holds the item's lock.
bool set_field(int32_t id, int32_t Einzelteil::*field, int32_t value) {
  Einzelteil n;
  if (read(id, &n) != 1) return false;
  n.*field = value;
  return write(id, &n) == 1;
}

// One chain step of a change: append id to owner's chain, or take r out
// of it.
struct Step {
  Step(Kind k, int32_t o, bool a) : kind(k), owner(o), add(a) {}
  Kind kind;
  int32_t owner;
  bool add;
  // An append to a head that cannot be read is left out (the item stays
  // outside that chain) instead of failing the change.
  bool optional = false;
  bool skip = false;      // an optional append left out
  bool headless = false;  // removal from a chain whose head cannot be read
  int32_t tail = 0;       // the tail an append saw before its locks
  Head head;
  std::unique_ptr<HeadStore> store;
};

// Heads opened (locked) so far, closed in reverse order.
class OpenHeads {
 public:
  ~OpenHeads() {
    for (auto it = open_.rbegin(); it != open_.rend(); ++it) (*it)->close();
  }
  bool open(HeadStore& h) {
    if (!h.open()) return false;
    open_.push_back(&h);
    return true;
  }

 private:
  std::vector<HeadStore*> open_;
};

ChainResult apply_steps(int32_t id, Einzelteil& r, std::vector<Step>& steps) {
  // Items first, only tried.
  ItemLocks items(id);
  bool designation = false;
  for (Step& s : steps) {
    Links l = links_of(s.kind);
    Head seen;
    const Seen found = peek(s.kind, s.owner, seen);
    if (found == Seen::kBusy) return ChainResult::kBusy;
    const bool readable = found == Seen::kHead;
    if (s.add) {
      if (!readable) {
        if (!s.optional) return ChainResult::kFailed;
        s.skip = true;
        continue;
      }
      if (seen.last == id) return ChainResult::kFailed;  // already its tail: linking again would loop it
      s.tail = seen.last;
      if (!items.take(s.tail)) return ChainResult::kBusy;
    } else {
      s.headless = !readable;
      if (!items.take(r.*l.prev) || !items.take(r.*l.next)) return ChainResult::kBusy;
    }
    if (s.kind == kDesignationChain) designation = true;
  }

  // Then the function lock, then the heads in their fixed order.
  std::optional<BezBlocking> bez;
  if (designation) {
    bez.emplace();
    if (!bez->held()) return ChainResult::kFailed;
  }
  std::vector<Step*> order;
  for (Step& s : steps)
    if (!s.skip && !s.headless) order.push_back(&s);
  std::sort(order.begin(), order.end(), [](const Step* a, const Step* b) {
    return a->kind != b->kind ? a->kind < b->kind : a->owner < b->owner;
  });
  bool ok = true;
  bool complete = true;
  int32_t emptied = 0;
  {
  OpenHeads heads;
  for (Step* s : order) {
    s->store = make_head(s->kind, s->owner);
    if (!heads.open(*s->store) || !s->store->read(s->head)) return ChainResult::kFailed;
    // Another station appended or removed the tail meanwhile: start again.
    if (s->add && s->head.last != s->tail) return ChainResult::kBusy;
  }

  // Everything is held: write.
  for (Step& s : steps) {
    if (s.skip) continue;
    Links l = links_of(s.kind);
    if (s.kind == kDesignationChain) {
      log_event(s.add ? "START DATABASE_AddETtoBEZKette" : "START DATABASE_RemoveETfromBEZKette", s.owner, 0, 0);
    }
    if (s.add) {
      if (s.tail != 0) {
        ok = set_field(s.tail, l.next, id) && ok;
      } else {
        s.head.first = id;
      }
      r.*l.prev = s.tail;
      r.*l.next = 0;
      s.head.last = id;
    } else {
      const int32_t prev = r.*l.prev;
      const int32_t next = r.*l.next;
      if (prev != 0) ok = set_field(prev, l.next, next) && ok;
      if (next != 0) ok = set_field(next, l.prev, prev) && ok;
      if (prev != 0 && next == 0) {
        s.head.last = prev;
      } else if (prev == 0 && next != 0) {
        s.head.first = next;
      } else if (prev == 0 && next == 0) {
        s.head = Head{};
      }
      r.*l.prev = 0;
      r.*l.next = 0;
    }
    if (s.headless) {
      complete = false;
    } else {
      const bool written = s.store->write(s.head);
      ok = written && ok;
      if (written && !s.add && s.kind == kDesignationChain && s.head.first == 0 && s.head.last == 0) {
        emptied = s.owner;
      }
    }
    if (s.kind == kDesignationChain) {
      if (s.add) {
        log_event("ENDED DATABASE_AddETtoBEZKette", s.owner, r.bezPrev, r.bezNext);
      } else {
        log_event("ENDED DATABASE_RemoveETfromBEZKette", s.owner, s.head.first, s.head.last);
      }
    }
  }
  }
  // A designation lives only as long as it has items: emptying its chain
  // deletes it (after its record lock is let go, still under LCK_BEZLIB).
  if (emptied != 0) ok = bezlib::remove(emptied) == 1 && ok;
  if (!ok) return ChainResult::kFailed;
  return complete ? ChainResult::kDone : ChainResult::kIncomplete;
}

// One attempt with the item file open.
ChainResult attempt(int32_t id, Einzelteil& r, std::vector<Step>& steps) {
  if (open() == kInvalidHandle) return ChainResult::kFailed;
  ChainResult result = apply_steps(id, r, steps);
  close();
  return result;
}

// The steps that link the item into (link) or take it out of every chain
// its record names.
std::vector<Step> chain_steps(const Einzelteil& r, bool link) {
  std::vector<Step> steps;
  steps.emplace_back(kArticleChain, r.article, link);
  if (r.designation > 0) steps.emplace_back(kDesignationChain, r.designation, link);
  if (r.customer != 0) steps.emplace_back(kCustomerChain, r.customer, link);
  return steps;
}
std::vector<Step> link_steps(const Einzelteil& r) { return chain_steps(r, true); }
std::vector<Step> unlink_steps(const Einzelteil& r) { return chain_steps(r, false); }

// For the exported single steps, whose callers hold (or not) the item's
// lock themselves: the busy case is retried here, without letting go of
// anything the caller holds.
int32_t patiently(int32_t id, Einzelteil& r, std::vector<Step> (*make)(const Einzelteil&, int32_t), int32_t arg) {
  Patience patience;
  for (;;) {
    std::vector<Step> steps = make(r, arg);
    ChainResult result = attempt(id, r, steps);
    if (result == ChainResult::kDone) return 1;
    if (result != ChainResult::kBusy || !patience.pause()) return 0;
  }
}

// The one step that links the item into (link) or takes it out of the
// chain of the given kind.
std::vector<Step> one_step(const Einzelteil& r, int32_t kind, bool link) {
  const Kind k = static_cast<Kind>(kind);
  const int32_t owner = k == kArticleChain ? r.article : k == kDesignationChain ? r.designation : r.customer;
  std::vector<Step> steps;
  steps.emplace_back(k, owner, link);
  return steps;
}
std::vector<Step> one_add(const Einzelteil& r, int32_t kind) { return one_step(r, kind, true); }
std::vector<Step> one_remove(const Einzelteil& r, int32_t kind) { return one_step(r, kind, false); }

std::vector<Step> all_add(const Einzelteil& r, int32_t) { return link_steps(r); }
std::vector<Step> all_remove(const Einzelteil& r, int32_t) { return unlink_steps(r); }

}  // namespace

Patience::Patience() : deadline_(MonotonicMs() + FileIO_GetLockTimeout()) {
  seed_ = static_cast<uint32_t>(ProcessId()) * 2654435761u ^ static_cast<uint32_t>(MonotonicMs());
}

bool Patience::pause() {
  if (MonotonicMs() >= deadline_) return false;
  seed_ = seed_ * 1103515245u + 12345u;
  SleepMs(kMinPauseMs + static_cast<int32_t>((seed_ >> 16) % (kMaxPauseMs - kMinPauseMs + 1)));
  return true;
}

ChainResult try_link(int32_t id, Einzelteil& r) {
  std::vector<Step> steps = link_steps(r);
  ChainResult result = attempt(id, r, steps);
  if (r.designation <= 0) r.bezPrev = r.bezNext = 0;
  if (r.customer == 0) r.custPrev = r.custNext = 0;
  return result;
}

ChainResult try_unlink(int32_t id, Einzelteil& r) {
  std::vector<Step> steps = unlink_steps(r);
  ChainResult result = attempt(id, r, steps);
  if (result == ChainResult::kDone || result == ChainResult::kIncomplete) {
    if (r.designation <= 0) r.bezPrev = r.bezNext = 0;
    if (r.customer == 0) r.custPrev = r.custNext = 0;
  }
  return result;
}

ChainResult try_move_customer(int32_t id, Einzelteil& r, int32_t customer) {
  std::vector<Step> steps;
  if (r.customer != 0) steps.emplace_back(kCustomerChain, r.customer, false);
  if (customer != 0) {
    steps.emplace_back(kCustomerChain, customer, true);
    steps.back().optional = true;
  }
  ChainResult result = steps.empty() ? ChainResult::kDone : attempt(id, r, steps);
  if (result == ChainResult::kBusy || result == ChainResult::kFailed) return result;
  r.customer = customer;
  if (customer == 0 || steps.back().skip) r.custPrev = r.custNext = 0;
  return result;
}

int32_t add_to_article(int32_t id, Einzelteil& r) {
  r.artPrev = r.artNext = 0;
  return patiently(id, r, one_add, kArticleChain);
}

int32_t add_to_designation(int32_t id, Einzelteil& r) {
  r.bezPrev = r.bezNext = 0;
  if (r.designation <= 0) return 1;  // items without a designation are not chained
  return patiently(id, r, one_add, kDesignationChain);
}

int32_t add_to_customer(int32_t id, Einzelteil& r) {
  r.custPrev = r.custNext = 0;
  return patiently(id, r, one_add, kCustomerChain);
}

int32_t remove_from_article(Einzelteil& r) { return patiently(0, r, one_remove, kArticleChain); }

int32_t remove_from_designation(Einzelteil& r) {
  if (r.designation <= 0) {
    r.bezPrev = r.bezNext = 0;
    return 1;
  }
  return patiently(0, r, one_remove, kDesignationChain);
}

int32_t remove_from_customer(Einzelteil& r) { return patiently(0, r, one_remove, kCustomerChain); }

// All chains or none: the locks of all three are gathered before anything
// is written.
int32_t link(int32_t id, Einzelteil& r) {
  r.artPrev = r.artNext = r.bezPrev = r.bezNext = r.custPrev = r.custNext = 0;
  int32_t result = patiently(id, r, all_add, 0);
  return result;
}

int32_t unlink(Einzelteil& r) {
  int32_t result = patiently(0, r, all_remove, 0);
  if (result == 1 && r.customer == 0) r.custPrev = r.custNext = 0;
  return result;
}

}  // namespace kv::database

// The three chains of single items.
//
// Each chain is a doubly linked list of item identifiers threaded through a
// pair of fields of the item (previous, next) and headed by a record of
// another family holding the first and the last identifier: the article
// record, the designation record and the customer record. New items are
// appended at the tail, so a chain lists its items in the order they were
// linked.
//
// Guards: a neighbour's single link is changed under that item's record
// lock. The article head is changed under the article's record lock; the
// designation head under the function lock "LCK_BEZLIB" (serialising the
// whole chain update across stations) plus the designation's record lock;
// the customer head under the customer's record lock. The caller holds the lock of the item it
// links (always before any head lock) and writes that item itself.
#include <cstring>
#include <optional>

#include "article/database.h"
#include "kvdata/artlib.h"
#include "kvdata/bezlib.h"
#include "kvdata/kvlockdb.h"
#include "partner/kunden.h"
#include "services/fileio.h"

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
// under that record's lock. Ops names the family's functions.
template <typename Ops>
class LockedHead : public HeadStore {
 public:
  explicit LockedHead(int32_t n) : n_(n) {}
  bool open() override {
    if (Ops::Open() == -1) return false;
    if (Ops::Lock(n_) == 1) return true;
    Ops::Close();
    return false;
  }
  void close() override {
    Ops::Unlock(n_);
    Ops::Close();
  }
  bool read(Head& h) override {
    if (Ops::Read(n_, &rec_) != 1) return false;
    h = {rec_.firstItem, rec_.lastItem};
    return true;
  }
  bool write(const Head& h) override {
    rec_.firstItem = h.first;
    rec_.lastItem = h.last;
    return Ops::Write(n_, &rec_) == 1;
  }

 private:
  int32_t n_;
  typename Ops::Record rec_{};
};

struct ArticleOps {
  using Record = ArtikelRecord;
  static int32_t Open() { return ARTLIB_OeffneDatenbank(); }
  static void Close() { ARTLIB_SchliesseDatenbank(); }
  static int32_t Lock(int32_t n) { return ARTLIB_LockArtikel(n); }
  static int32_t Unlock(int32_t n) { return ARTLIB_UnlockArtikel(n); }
  static int32_t Read(int32_t n, Record* r) { return ARTLIB_LeseArtikel(n, r); }
  static int32_t Write(int32_t n, Record* r) { return ARTLIB_SchreibeArtikel(n, r); }
};
using ArticleHead = LockedHead<ArticleOps>;

struct DesignationOps {
  using Record = Bezeichnung;
  static int32_t Open() { return BEZLIB_OeffneDatenbank(); }
  static void Close() { BEZLIB_SchliesseDatenbank(); }
  static int32_t Lock(int32_t n) { return BEZLIB_LockBezeichnung(n); }
  static int32_t Unlock(int32_t n) { return BEZLIB_UnlockBezeichnung(n); }
  static int32_t Read(int32_t n, Record* r) { return BEZLIB_LeseBezeichnung(n, r); }
  static int32_t Write(int32_t n, Record* r) { return BEZLIB_SchreibeBezeichnung(n, r); }
};
using DesignationHead = LockedHead<DesignationOps>;

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

// Sets one link of item id on disk under the item's record lock.
bool set_link(int32_t id, int32_t Einzelteil::*field, int32_t value) {
  if (open() == kInvalidHandle) return false;
  bool ok = false;
  if (lock(id) == 1) {
    Einzelteil n;
    if (read(id, &n) == 1) {
      n.*field = value;
      ok = write(id, &n) == 1;
    }
    unlock(id);
  }
  close();
  return ok;
}

// Append: the old tail's next and r's prev point at each other, the head's
// last (and, for an empty chain, its first) becomes id.
bool append(int32_t id, Einzelteil& r, Links links, HeadStore& store) {
  r.*links.prev = 0;
  r.*links.next = 0;
  if (!store.open()) return false;
  Head h;
  bool ok = store.read(h);
  if (ok && h.last != 0) {
    ok = set_link(h.last, links.next, id);
    if (ok) r.*links.prev = h.last;
  } else if (ok) {
    h.first = id;
  }
  if (ok) {
    h.last = id;
    ok = store.write(h);
  }
  store.close();
  return ok;
}

// Remove: the neighbours are joined, the head follows when r was at an
// end. `emptied` tells whether the chain is empty afterwards.
bool detach(Einzelteil& r, Links links, HeadStore& store, Head* after) {
  int32_t prev = r.*links.prev;
  int32_t next = r.*links.next;
  bool ok = true;
  if (prev != 0) ok = set_link(prev, links.next, next) && ok;
  if (next != 0) ok = set_link(next, links.prev, prev) && ok;
  if (!store.open()) return false;
  Head h;
  bool headOk = store.read(h);
  if (headOk) {
    if (prev != 0 && next == 0) {
      h.last = prev;
    } else if (prev == 0 && next != 0) {
      h.first = next;
    } else if (prev == 0 && next == 0) {
      h = Head{};
    }
    headOk = store.write(h);
  }
  store.close();
  if (after != nullptr) *after = h;
  r.*links.prev = 0;
  r.*links.next = 0;
  return ok && headOk;
}

// Designation head updates run under the function lock "LCK_BEZLIB" and
// leave a START / ENDED pair in the lock log.
class BezBlocking {
 public:
  BezBlocking() : held_(KVLOCKDB_Blocking_Start(kBezLock, kBezLockWaitMs) == 1) {}
  ~BezBlocking() {
    if (held_) KVLOCKDB_Blocking_Stop(kBezLock);
  }
  bool held() const { return held_; }

 private:
  bool held_;
};

void log_event(const char* function, int32_t w1, int32_t w2, int32_t w3) {
  KVLOCKDB_Log_Event("SAME IP", "SAME USER", function, w1, w2, w3);
}

}  // namespace

int32_t add_to_article(int32_t id, Einzelteil& r) {
  ArticleHead head(r.article);
  return append(id, r, kArticle, head) ? 1 : 0;
}

int32_t add_to_designation(int32_t id, Einzelteil& r) {
  r.bezPrev = r.bezNext = 0;
  if (r.designation <= 0) return 1;  // items without a designation are not chained
  BezBlocking blocking;
  if (!blocking.held()) return 0;
  log_event("START DATABASE_AddETtoBEZKette", r.designation, 0, 0);
  DesignationHead head(r.designation);
  bool ok = append(id, r, kDesignation, head);
  log_event("ENDED DATABASE_AddETtoBEZKette", r.designation, r.bezPrev, r.bezNext);
  return ok ? 1 : 0;
}

int32_t add_to_customer(int32_t id, Einzelteil& r) {
  CustomerHead head(r.customer);
  return append(id, r, kCustomer, head) ? 1 : 0;
}

int32_t remove_from_article(Einzelteil& r) {
  ArticleHead head(r.article);
  return detach(r, kArticle, head, nullptr) ? 1 : 0;
}

// A designation lives only as long as it has items: emptying its chain
// deletes it.
int32_t remove_from_designation(Einzelteil& r) {
  if (r.designation <= 0) {
    r.bezPrev = r.bezNext = 0;
    return 1;
  }
  BezBlocking blocking;
  if (!blocking.held()) return 0;
  log_event("START DATABASE_RemoveETfromBEZKette", r.designation, 0, 0);
  DesignationHead head(r.designation);
  Head after;
  bool ok = detach(r, kDesignation, head, &after);
  if (ok && after.first == 0 && after.last == 0) ok = BEZLIB_BezeichnungLoeschen(r.designation) == 1;
  log_event("ENDED DATABASE_RemoveETfromBEZKette", r.designation, after.first, after.last);
  return ok ? 1 : 0;
}

int32_t remove_from_customer(Einzelteil& r) {
  CustomerHead head(r.customer);
  return detach(r, kCustomer, head, nullptr) ? 1 : 0;
}

// Article, designation, customer, in that order; a failure leaves the
// chains joined so far again, so the item is in all of them or in none.
int32_t link(int32_t id, Einzelteil& r) {
  if (add_to_article(id, r) != 1) return 0;
  if (add_to_designation(id, r) != 1) {
    remove_from_article(r);
    return 0;
  }
  if (r.customer != 0 && add_to_customer(id, r) != 1) {
    remove_from_designation(r);
    remove_from_article(r);
    return 0;
  }
  return 1;
}

int32_t unlink(Einzelteil& r) {
  int32_t ok = remove_from_article(r);
  ok &= remove_from_designation(r);
  if (r.customer != 0) {
    ok &= remove_from_customer(r);
  } else {
    r.custPrev = r.custNext = 0;
  }
  return ok;
}

}  // namespace kv::database

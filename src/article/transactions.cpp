// The business life of a single item: sale, exchange, return, transfer,
// inventory, quantity and value changes, adoption of the article's prices
// and VAT code.
//
// The file-based transactions share one frame: lock the item's record, read
// it, check the condition, change it, write it, unlock. A failed read or
// condition writes nothing and gives 0; the lock is released in every case.
// A sale or an exchange that moves the item between customer chains first
// gathers the locks of that move; when they cannot be had (another station
// holds them past the lock time-out) nothing is written and the result is 0.
// A customer whose record cannot be read does not stop the write: the item
// then stays outside every customer chain.
#include <cstring>

#include "article/database.h"
#include "article/artlib.h"
#include "kvdata/artlib.h"
#include "services/fileio.h"
#include "services/texdefs.h"

namespace kv::database {

namespace {

constexpr int32_t kSaleAttributes = DATABASE_FLAG_SALE_ATTR;

bool has(const Einzelteil& r, int32_t bit) { return (static_cast<uint16_t>(r.flags) & bit) != 0; }
void set_bits(Einzelteil& r, int32_t bits) { r.flags = static_cast<int16_t>(static_cast<uint16_t>(r.flags) | bits); }
void clear_bits(Einzelteil& r, int32_t bits) {
  r.flags = static_cast<int16_t>(static_cast<uint16_t>(r.flags) & ~bits);
}

// What a change makes of the record it was given.
enum class Verdict { kWrite, kRefuse, kBusy, kFail };
Verdict verdict(bool write) { return write ? Verdict::kWrite : Verdict::kRefuse; }
Verdict verdict(Verdict v) { return v; }
Verdict verdict(ChainResult c) {
  if (c == ChainResult::kBusy) return Verdict::kBusy;
  return c == ChainResult::kFailed ? Verdict::kFail : Verdict::kWrite;
}

// The common frame. change(record) says whether the record is written, or
// that a chain neighbour was busy (then the change starts again).
template <typename Change>
int32_t update_locked(int32_t id, Change change) {
  int32_t result = 0;
  RetryWhileBusy(id, [&] {
    Verdict v = Verdict::kRefuse;
    Einzelteil r;
    if (read(id, &r) == 1 && has(r, DATABASE_FLAG_BENUTZT)) v = verdict(change(r));
    if (v == Verdict::kWrite) result = write(id, &r);
    return v == Verdict::kBusy;
  });
  return result;
}

// Sale steps that need no file: flags, dates, references, VAT code.
bool apply_sale(const EinzelteilVerkauf& b, Einzelteil& r) {
  if (has(r, DATABASE_FLAG_RETOURE)) return false;
  set_bits(r, DATABASE_FLAG_VERKAUFT | (b.flags & kSaleAttributes));
  // Compared before the location is overwritten: the date records a move.
  if (r.location != b.location) r.locationDate = b.saleDate;
  r.saleRef = b.saleRef;
  r.location = b.location;
  r.documentRef = b.documentRef;
  r.previousDocumentRef = b.previousDocumentRef;
  r.saleDate = b.saleDate;
  r.saleTime = b.saleTime;
  r.quantity = b.quantity;
  if (b.vatCode <= 5) r.vatCode = b.vatCode;
  return true;
}

// Exchange steps that need no file; true when the item was sold.
bool apply_exchange(const EinzelteilBuchung& b, Einzelteil& r, uint16_t time) {
  clear_bits(r, DATABASE_FLAG_RETOURE);
  r.saleTime = time;
  if (!has(r, DATABASE_FLAG_VERKAUFT)) return false;
  clear_bits(r, DATABASE_FLAG_VERKAUFT | kSaleAttributes);
  r.previousDocumentRef = r.documentRef;
  r.saleRef = 0;
  r.documentRef = 0;
  r.locationDate = b.date;
  r.location = b.location;
  ++r.exchangeCount;
  r.exchangeDate = b.date;
  return true;
}

}  // namespace

int32_t sell(const EinzelteilVerkauf* b) {
  if (b == nullptr) return 0;
  return update_locked(b->item, [&](Einzelteil& r) {
    if (!apply_sale(*b, r)) return Verdict::kRefuse;
    // A sale without a customer leaves the item outside every customer chain.
    if (b->customer != r.customer) return verdict(try_move_customer(b->item, r, b->customer));
    return Verdict::kWrite;
  });
}

int32_t sell_in_memory(const EinzelteilVerkauf* b, Einzelteil* r) {
  if (b == nullptr || r == nullptr || !apply_sale(*b, *r)) return 0;
  r->customer = b->customer;
  r->custPrev = r->custNext = 0;
  return 1;
}

int32_t exchange(const EinzelteilBuchung* b, uint16_t time) {
  if (b == nullptr) return 0;
  return update_locked(b->item, [&](Einzelteil& r) {
    if (apply_exchange(*b, r, time)) {
      if (r.customer != 0) {
        Verdict v = verdict(try_move_customer(b->item, r, 0));
        if (v != Verdict::kWrite) return v;
      }
      r.custPrev = r.custNext = 0;
      // The adoption writes the item itself (without a lock); this write
      // follows it and carries the same code.
      r.vatCode = adopt_vat(b->item);
    }
    return Verdict::kWrite;
  });
}

int32_t exchange_in_memory(const EinzelteilBuchung* b, Einzelteil* r, uint16_t time) {
  if (b == nullptr || r == nullptr || !apply_exchange(*b, *r, time)) return 0;
  r->custPrev = r->custNext = r->customer = 0;
  return 1;
}

// Without deletion the item is exchanged and then its flag word is reduced
// to the return bit, which the exchange has just cleared: the word ends as
// 0 and the slot is no longer in use although its data stays readable.
// Stock programs rely on exactly that.
int32_t give_back(const EinzelteilBuchung* b, int32_t deleteItem) {
  if (b == nullptr) return 0;
  if (deleteItem != 0) return delete_item(b->item);
  Einzelteil r;
  if (lese(b->item, &r) != 1 || !has(r, DATABASE_FLAG_BENUTZT)) return 0;
  // An exchange that could not take the item out of its customer's chain
  // changed nothing; the return then changes nothing either.
  if (exchange(b, TEXDEFS_GetUhrZeit(nullptr)) != 1) return 0;
  return update_locked(b->item, [](Einzelteil& after) {
    after.flags = static_cast<int16_t>(after.flags & DATABASE_FLAG_RETOURE);
    return true;
  });
}

int32_t transfer(const EinzelteilBuchung* b, bool alsoSold) {
  if (b == nullptr) return 0;
  return update_locked(b->item, [&](Einzelteil& r) {
    bool sold = has(r, DATABASE_FLAG_VERKAUFT);
    if (sold && !alsoSold) return false;
    r.location = b->location;
    if (!sold) {
      r.locationDate = b->date;
      r.quantity = b->quantity;
    }
    return true;
  });
}

int32_t transfer_in_memory(const EinzelteilBuchung* b, Einzelteil* r) {
  if (b == nullptr || r == nullptr || !has(*r, DATABASE_FLAG_BENUTZT) || has(*r, DATABASE_FLAG_VERKAUFT)) return 0;
  r->locationDate = b->date;
  r->location = b->location;
  r->quantity = b->quantity;
  return 1;
}

int32_t count_inventory(const EinzelteilBuchung* b) {
  if (b == nullptr) return 0;
  return update_locked(b->item, [&](Einzelteil& r) {
    r.inventoryValueRef = b->location;
    r.inventoryDate = b->date;
    set_bits(r, DATABASE_FLAG_INVENTUR);
    if (!has(r, DATABASE_FLAG_MENGE)) {
      r.inventoryRef = b->inventoryRef;
      r.quantity = 1;
    } else {
      r.quantity += b->quantity;
    }
    return true;
  });
}

int32_t change_quantity(const int32_t* request) {
  if (request == nullptr) return 0;
  return update_locked(request[1], [&](Einzelteil& r) {
    int64_t q = static_cast<int64_t>(r.quantity) + request[6];
    r.quantity = q < 0 ? 0 : (q > INT32_MAX ? INT32_MAX : static_cast<int32_t>(q));
    return true;
  });
}

// It adds, whatever the name says: the callers book deltas through it.
int32_t add_quantity2(const int32_t* request) {
  if (request == nullptr) return 0;
  return update_locked(request[1], [&](Einzelteil& r) {
    r.quantity2 = static_cast<int32_t>(static_cast<uint32_t>(r.quantity2) + static_cast<uint32_t>(request[6]));
    return true;
  });
}

int32_t change_value(const int32_t* request) {
  if (request == nullptr) return 0;
  struct Copy {
    int32_t mask;
    int32_t word;
    int32_t Einzelteil::*field;
  };
  static constexpr Copy kCopies[] = {
      {0x02, 2, &Einzelteil::price1First}, {0x04, 3, &Einzelteil::price2First},
      {0x08, 4, &Einzelteil::price3First}, {0x10, 5, &Einzelteil::price1Second},
      {0x20, 6, &Einzelteil::price2Second}, {0x40, 7, &Einzelteil::price3Second},
      {0x01, 8, &Einzelteil::value},
  };
  return update_locked(request[1], [&](Einzelteil& r) {
    for (const Copy& c : kCopies)
      if ((request[0] & c.mask) != 0) r.*c.field = request[c.word];
    return true;
  });
}

// The three price pairs an item takes over from its article.
struct PriceField {
  int32_t Einzelteil::*item;
  int32_t ArtikelRecord::*article;
};
constexpr PriceField kPrices[] = {
    {&Einzelteil::price1First, &ArtikelRecord::price1First}, {&Einzelteil::price1Second, &ArtikelRecord::price1Second},
    {&Einzelteil::price2First, &ArtikelRecord::price2First}, {&Einzelteil::price2Second, &ArtikelRecord::price2Second},
    {&Einzelteil::price3First, &ArtikelRecord::price3First}, {&Einzelteil::price3Second, &ArtikelRecord::price3Second},
};

int32_t adopt_prices(int32_t id) {
  if (open() == kInvalidHandle) return 0;
  int32_t result = 0;
  Einzelteil r;
  ArtikelRecord a;
  if (read(id, &r) == 1 && artlib::lese(r.article, &a) == 1) {
    for (const PriceField& p : kPrices) r.*p.item = a.*p.article;
    result = write(id, &r);
  }
  close();
  return result;
}

uint16_t adopt_vat(int32_t id) {
  uint16_t result = 2;
  if (open() == kInvalidHandle) return result;
  Einzelteil r;
  ArtikelRecord a;
  if (read(id, &r) == 1) {
    result = r.vatCode;
    if (artlib::lese(r.article, &a) == 1) {
      r.vatCode = a.vatCode;
      if (write(id, &r) == 1) result = r.vatCode;
    }
  }
  close();
  return result;
}

}  // namespace kv::database

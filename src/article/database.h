// The single-item file TEILE.DBA: file, records, allocation and the three
// chains (database.cpp); the transactions on single items (transactions.cpp).
#ifndef KV_ARTICLE_DATABASE_H
#define KV_ARTICLE_DATABASE_H

#include <cstdint>

#include "kvdata/database.h"
#include "services/fileio.h"

namespace kv::database {

// ---- file and records ----
int32_t init(int32_t size, const char* path);
void size_and_name(int32_t* size, char* path);
int32_t create(DatabaseProgressCallback progress);
int32_t enlarge();
int32_t open();
void close();
int32_t version();
int32_t read_header(int32_t handle, void* header);
int32_t write_header(int32_t handle, const void* header);
int32_t file_pos(int32_t n);
int32_t do_update(int32_t newVersion, int32_t oldVersion);
int32_t read(int32_t id, void* record);
int32_t write(int32_t id, const void* record);
int32_t get(int32_t id, void* record);
int32_t lese(int32_t id, void* record);
int32_t valid(int32_t id, void* record);
int32_t lock(int32_t id);
int32_t unlock(int32_t id);
// lock() without waiting: 0 at once while another handle holds the record.
int32_t try_lock(int32_t id);
// 1 when this process's handle already holds the record's lock.
int32_t holds_lock(int32_t id);
int32_t block_read(int32_t handle, int32_t first, void* buffer, int32_t count);
int32_t block_write(int32_t handle, int32_t first, const void* buffer, int32_t count);
int32_t free_id();
int32_t new_item(const void* record);
int32_t new_item_with_id(int32_t id, const void* record);
int32_t delete_item(int32_t id);
int32_t item_vat(int32_t id);
int32_t article_vat(int32_t id);

// ---- chains ----
// What one attempt at changing an item's chains came to. kBusy: another
// station holds a record the change needs; nothing was written, and a caller
// holding the item's own lock lets it go, pauses (Patience) and starts again
// from a fresh read. kIncomplete: done, but a head record that cannot be
// read (an article 0, a designation or customer outside its file) was left
// as it is. kFailed: a lock refused past the time-out or a failed read or
// write.
enum class ChainResult { kDone, kIncomplete, kBusy, kFailed };
// The pauses between attempts, random and short, for as long as the host
// lock time-out from construction.
class Patience {
 public:
  Patience();
  // false once the time-out has passed; otherwise sleeps a little.
  [[nodiscard]] bool pause();

 private:
  int64_t deadline_;
  uint32_t seed_;
};
// The frame of a change of one item while other stations work: opens the
// file, takes the item's lock and runs attempt(), which reads the item afresh
// and writes it or not; when attempt() returns true (a neighbour was busy,
// nothing written) the lock is let go too (the neighbour's holder may be
// waiting for it) and, after a pause, everything runs again, for as long as
// the lock time-out. Nothing runs when the file does not open or the item's
// lock is refused.
template <typename Attempt>
void RetryWhileBusy(int32_t id, Attempt attempt) {
  if (open() == kInvalidHandle) return;
  Patience patience;
  for (;;) {
    if (lock(id) != 1) break;
    const bool busy = attempt();
    unlock(id);
    if (!busy || !patience.pause()) break;
  }
  close();
}
// One attempt each; the caller holds item id's lock and writes r after
// kDone or kIncomplete. The move takes the item out of its customer's chain
// and appends it to `customer`'s (0: none; a customer whose record cannot be
// read leaves it outside every customer chain) and sets r.customer.
ChainResult try_link(int32_t id, Einzelteil& r);
ChainResult try_unlink(int32_t id, Einzelteil& r);
ChainResult try_move_customer(int32_t id, Einzelteil& r, int32_t customer);
// The exported forms: they retry a busy attempt themselves, keeping every
// lock the caller holds.
int32_t link(int32_t id, Einzelteil& r);
int32_t unlink(Einzelteil& r);
int32_t add_to_article(int32_t id, Einzelteil& r);
int32_t add_to_designation(int32_t id, Einzelteil& r);
int32_t add_to_customer(int32_t id, Einzelteil& r);
int32_t remove_from_article(Einzelteil& r);
int32_t remove_from_designation(Einzelteil& r);
int32_t remove_from_customer(Einzelteil& r);

// ---- records in memory ----
void clear(Einzelteil& r);
int32_t flag(const void* record, int32_t mask);  // masked bits, 0 for null
int32_t is_quantity(const void* record);
int32_t is_ean_quantity(const void* record);
int32_t quantity(const void* record);

// ---- transactions ----
int32_t sell(const EinzelteilVerkauf* b);
int32_t sell_in_memory(const EinzelteilVerkauf* b, Einzelteil* r);
int32_t exchange(const EinzelteilBuchung* b, uint16_t time);
int32_t exchange_in_memory(const EinzelteilBuchung* b, Einzelteil* r, uint16_t time);
int32_t give_back(const EinzelteilBuchung* b, int32_t deleteItem);
int32_t transfer(const EinzelteilBuchung* b, bool alsoSold);
int32_t transfer_in_memory(const EinzelteilBuchung* b, Einzelteil* r);
int32_t count_inventory(const EinzelteilBuchung* b);
int32_t change_quantity(const int32_t* request);
int32_t add_quantity2(const int32_t* request);
int32_t change_value(const int32_t* request);
int32_t adopt_prices(int32_t id);
uint16_t adopt_vat(int32_t id);

}  // namespace kv::database

#endif  // KV_ARTICLE_DATABASE_H

// The families a single item touches, set up in one data directory the same
// way by the test and by every worker process.
#ifndef KVTEST_STRESS_FAMILIES_H
#define KVTEST_STRESS_FAMILIES_H

#include <cstdint>
#include <set>
#include <string>

#include "kvdata/database.h"
#include "shop.h"

namespace stress {

constexpr int32_t kItems = 6000;  // N of TEILE.DBA
constexpr int32_t kArticles = 40;
constexpr int32_t kDesignations = 30;
constexpr int32_t kLiving = 12;   // designations in use, each kept alive by one item
constexpr int32_t kCustomers = 10;

// Initialises lock database (function locks on, as at a till), customers,
// articles, designations, EAN items, item extras and single items in dir;
// `user` names the station in the lock log.
bool InitFamilies(const std::string& dir, const std::string& user);
// Creates TEILE.DBA, customers 1..kCustomers and designations 1..kLiving,
// each designation with one item that keeps it alive; those items' numbers
// go to anchors. False when any step fails.
bool CreateShop(std::set<int32_t>* anchors);
// An item record in use.
inline Einzelteil Item(int32_t article, int32_t designation, int32_t customer, int32_t value) {
  return kvtest::ItemRecord(article, designation, customer, value);
}

}  // namespace stress

#endif  // KVTEST_STRESS_FAMILIES_H

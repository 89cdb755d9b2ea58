// The families a single item touches (lock database, customers, articles,
// designations, EAN items, item extras, single items), set up in one data
// directory the same way by a test and by its worker processes.
#ifndef KVTEST_SHOP_H
#define KVTEST_SHOP_H

#include <cstdint>
#include <string>

#include "kvdata/database.h"

namespace kvtest {

// Initialises every family in dir (ending with a separator) with function
// locks and the lock log on, as at a till; `user` names the station in the
// log. False when an Init fails.
bool InitShop(const std::string& dir, int32_t items, int32_t articles, int32_t designations, const char* user);
// An item record in use.
Einzelteil ItemRecord(int32_t article, int32_t designation, int32_t customer, int32_t value = 0);

}  // namespace kvtest

#endif  // KVTEST_SHOP_H

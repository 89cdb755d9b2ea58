#include "shop.h"

#include <cstring>

#include "kvdata/artlib.h"
#include "kvdata/bezlib.h"
#include "kvdata/eanteile.h"
#include "kvdata/kundendba.h"
#include "kvdata/kvlockdb.h"
#include "kvdata/teilezusatz.h"

namespace kvtest {

bool InitShop(const std::string& dir, int32_t items, int32_t articles, int32_t designations, const char* user) {
  const char* d = dir.c_str();
  const std::string any = dir + "TEILE.DBA";
  if (KVLOCKDB_Init(any.c_str()) == nullptr) return false;
  KVLOCKDB_IPUSERInit("10.0.0.7", user, 1);
  if (KundenDBA_Init(any.c_str()) == 0) return false;
  if (ARTLIB_Init(articles, d) != ARTLIB_CURRENT_VERSION) return false;
  if (BEZLIB_Init(designations, d) != 1) return false;
  if (EANTEILE_Init(items, d) != 1 || TeileZusatz_Init(items, d) != 1) return false;
  return DATABASE_Init(items, d) == 1;
}

Einzelteil ItemRecord(int32_t article, int32_t designation, int32_t customer, int32_t value) {
  Einzelteil r;
  std::memset(&r, 0, sizeof r);
  DATABASE_ClearEinzelteil(&r);
  r.flags = DATABASE_FLAG_BENUTZT;
  r.article = article;
  r.designation = designation;
  r.customer = customer;
  r.location = 1;
  r.vatCode = 1;
  r.value = value;
  return r;
}

}  // namespace kvtest

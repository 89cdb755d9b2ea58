#include "families.h"

#include <cstdio>
#include <cstring>

#include "kvdata/artlib.h"
#include "kvdata/bezlib.h"
#include "kvdata/eanteile.h"
#include "kvdata/kundendba.h"
#include "kvdata/kvlockdb.h"
#include "kvdata/teilezusatz.h"

namespace stress {

bool InitFamilies(const std::string& dir, const std::string& user) {
  const char* d = dir.c_str();
  const std::string any = dir + "TEILE.DBA";
  if (KVLOCKDB_Init(any.c_str()) == nullptr) return false;
  KVLOCKDB_IPUSERInit("10.0.0.9", user.c_str(), 1);
  if (KundenDBA_Init(any.c_str()) == 0) return false;
  if (ARTLIB_Init(kArticles, d) != ARTLIB_CURRENT_VERSION) return false;
  if (BEZLIB_Init(kDesignations, d) != 1) return false;
  if (EANTEILE_Init(kItems, d) != 1 || TeileZusatz_Init(kItems, d) != 1) return false;
  return DATABASE_Init(kItems, d) == 1;
}

bool CreateShop(std::set<int32_t>* anchors) {
  if (DATABASE_CreateDatenbank(nullptr) != 1) return false;
  for (int32_t c = 1; c <= kCustomers; ++c) {
    if (KundenDBA_NeuerKunde() != c) return false;
    Kunde k;
    KundenDBA_ClearKunde(&k);
    k.refCount = 1;
    k.flags = KUNDE_FLAG_BENUTZBAR;
    std::snprintf(k.surname, sizeof k.surname, "Kundin%d", c);
    if (KundenDBA_SchreibeKunde(c, &k, 1) != 1) return false;
  }
  for (int32_t b = 1; b <= kLiving; ++b) {
    if (BEZLIB_NeueBezeichnung(("Bezeichnung " + std::to_string(b)).c_str()) != b) return false;
    Einzelteil r = Item(b, b, 0, 0);
    const int32_t id = DATABASE_NeuesTeil(&r);
    if (id == 0) return false;
    anchors->insert(id);
  }
  return true;
}

Einzelteil Item(int32_t article, int32_t designation, int32_t customer, int32_t value) {
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

}  // namespace stress

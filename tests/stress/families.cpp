#include "families.h"

#include <cstdio>

#include "kvdata/bezlib.h"
#include "kvdata/kundendba.h"

namespace stress {

bool InitFamilies(const std::string& dir, const std::string& user) {
  return kvtest::InitShop(dir, kItems, kArticles, kDesignations, user.c_str());
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

}  // namespace stress

// Demo step: the till sale. Creates the article, designation and
// single-item files, one article, one designation, one customer and one
// item, sells the item and shows it before and after, with the customer's
// chain of bought items.
#include <cstring>
#include <ostream>
#include <string>

#include "item_print.h"
#include "kvdata/artlib.h"
#include "kvdata/bezlib.h"
#include "kvdata/database.h"
#include "kvdata/eanteile.h"
#include "kvdata/kundendba.h"
#include "kvdata/kvlockdb.h"
#include "kvdata/teilezusatz.h"
#include "services/texdefs.h"
#include "tool.h"

namespace {

constexpr int32_t kItems = 5000;

bool InitFiles(const std::string& dir, std::ostream& out) {
  std::string anyFile = dir + DATABASE_FILE_NAME;
  const char* d = dir.c_str();
  if (KVLOCKDB_Init(anyFile.c_str()) == nullptr || KundenDBA_Init(anyFile.c_str()) == 0) return false;
  KVLOCKDB_IPUSERInit("192.168.10.21", "KASSE1", 1);
  if (ARTLIB_Init(1000, d) != ARTLIB_CURRENT_VERSION || BEZLIB_Init(500, d) != 1) return false;
  if (EANTEILE_Init(kItems, d) != 1 || TeileZusatz_Init(kItems, d) != 1) return false;
  if (DATABASE_Init(kItems, d) != 1 || DATABASE_CreateDatenbank(nullptr) != 1) return false;
  out << "created " ARTLIB_FILE_NAME ", " BEZLIB_FILE_NAME ", " EANTEILE_FILE_NAME ", " TEILEZUSATZ_FILE_NAME
         " and " DATABASE_FILE_NAME " ("
      << kItems << " items)\n";
  return true;
}

int32_t MakeCustomer(std::ostream& out) {
  int32_t n = KundenDBA_NeuerKunde();
  Kunde k{};
  if (n == 0 || KundenDBA_LeseKunde(n, &k) != 1) return 0;
  // The number is taken but its record still carries the free chain's head:
  // the customer is made a live one before it is saved.
  k.refCount = 1;
  k.flags |= KUNDE_FLAG_BENUTZBAR;
  std::strcpy(k.firstName, "Erika");
  std::strcpy(k.surname, "Mustermann");
  if (KundenDBA_SchreibeKunde(n, &k, 1) != 1) return 0;
  out << "customer " << n << ": Erika Mustermann\n";
  return n;
}

void PrintCustomerChain(int32_t customer, std::ostream& out) {
  Kunde k{};
  if (KundenDBA_LeseKunde(customer, &k) != 1) return;
  out << "customer " << customer << " chain: first " << k.firstItem << ", last " << k.lastItem << ", items";
  for (int32_t id = k.firstItem, guard = 0; id != 0 && guard < kItems; ++guard) {
    Einzelteil r;
    if (DATABASE_LeseEinzelteil(id, &r) != 1) break;
    out << " " << id;
    id = r.custNext;
  }
  out << "\n";
}

int Run(const std::string& dir, std::ostream& out) {
  if (!InitFiles(dir, out)) return 1;

  ArtikelRecord a;
  ARTLIB_ClearArtikel(&a);
  std::strcpy(a.text, "Sommerkleid Leinen");
  a.price1First = 8990;  // sale price in cents
  a.price1Second = 4200;
  a.vatCode = 1;
  if (ARTLIB_SchreibeArtikel(17, &a) != 1) return 2;
  out << "article 17: " << a.text << ", " << a.price1First << " cents, VAT code " << a.vatCode << "\n";
  int32_t bez = BEZLIB_NeueBezeichnung("Kleid blau Gr. 38");
  if (bez == 0) return 3;
  out << "designation " << bez << ": Kleid blau Gr. 38\n";
  int32_t customer = MakeCustomer(out);
  if (customer == 0) return 4;

  Einzelteil item;
  std::memset(&item, 0, sizeof item);
  DATABASE_ClearEinzelteil(&item);
  item.flags = DATABASE_FLAG_BENUTZT;
  item.article = 17;
  item.designation = bez;
  item.location = 1;
  item.quantity = 1;
  int32_t id = DATABASE_NeuesTeil(&item);
  // The item takes its prices and VAT code from its article.
  if (id == 0 || DATABASE_EinzelteilPreisanpassungAnArtikel(id) != 1) return 5;
  DATABASE_EinzelteilMWSTanpassungAnArtikel(id);
  if (DATABASE_LeseEinzelteil(id, &item) != 1) return 6;
  out << "new item, before the sale:\n";
  kvtool::PrintItem(out, id, item);

  EinzelteilVerkauf sale{};
  sale.item = id;
  sale.documentRef = 100234;  // the till's receipt
  sale.location = 1;
  sale.saleRef = 1;
  sale.customer = customer;
  sale.quantity = 1;
  sale.flags = 0x0080;
  sale.saleDate = kv::TEXDEFS_Heute(nullptr);
  sale.saleTime = kv::TEXDEFS_GetUhrZeit(nullptr);
  sale.vatCode = 1;
  if (DATABASE_EinzelteilVerkaufen(&sale) != 1 || DATABASE_LeseEinzelteil(id, &item) != 1) return 7;
  out << "sold at the till, after the sale:\n";
  kvtool::PrintItem(out, id, item);
  PrintCustomerChain(customer, out);
  return 0;
}

kvtool::DemoRegistrar registrar(40, "Articles and the till sale", Run);

}  // namespace

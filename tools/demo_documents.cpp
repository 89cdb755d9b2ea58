// Demo step: an order with three positions, an invoice with its details,
// and three of the shop's own EAN codes.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include "kvdata/auftragdba.h"
#include "kvdata/eandata.h"
#include "kvdata/nummern.h"
#include "kvdata/rechnungdba.h"
#include "tool.h"

namespace kvtool {

namespace {

constexpr int32_t kInvoiceRange = 1;  // "RECHNUNGS NR"

// An earlier step normally made NUMMERN.DAT; an empty one (all counters 0)
// keeps this step runnable on its own.
void EnsureNumberFile(const std::string& dir) {
  const std::string path = dir + "NUMMERN.DAT";
  if (!std::filesystem::exists(path)) std::ofstream(path, std::ios::binary).write(std::string(800, '\0').data(), 800);
  Nummern_Init(path.c_str());
}

int DemoOrder(const std::string& dir, std::ostream& out) {
  const std::string orders = dir + "AUFTRAG/";
  std::filesystem::create_directories(orders);
  AUFTRAGDBA_Init(0, orders.c_str());
  const int32_t n = AUFTRAGDBA_NeuerAuftrag();
  std::vector<char> block(AUFTRAGDBA_BLOCK);
  // Header: the library knows the kind (offset 8) and the content flag (1046);
  // the demo puts a supplier text at 20 for the listing.
  std::memcpy(block.data() + 8, "BST", 3);
  std::snprintf(block.data() + 20, 40, "Supplier 4711");
  block[1046] = 1;
  if (AUFTRAGDBA_SchreibeAuftragsKopf(n, block.data()) != 1) return 1;
  char path[260];
  out << "order " << n << ": " << AUFTRAGDBA_MakeFileName(n, path) << "\n";
  const char* items[] = {"12 x shirt, blue", "6 x trousers, grey", "24 x socks"};
  for (const char* item : items) {
    std::fill(block.begin(), block.end(), 0);
    block[0] = 1;  // an existing position
    std::snprintf(block.data() + 2, 60, "%s", item);
    const int32_t p = AUFTRAGDBA_NeuePOSITION(n, block.data());
    if (p == 0) return 1;
    out << "   position " << p << ": " << item << "\n";
  }
  out << "   file size " << std::filesystem::file_size(path) << " bytes (header + 3 x position and reference copy), "
      << "still empty: " << (AUFTRAGDBA_AuftragIstNochLeer(n) ? "yes" : "no") << "\n";
  return 0;
}

int DemoInvoice(const std::string& dir, std::ostream& out) {
  const std::string invoices = dir + "RECHNUNG/";
  std::filesystem::create_directories(invoices);
  RechnungDBA_Init(1, invoices.c_str());
  int32_t n = 0;
  Nummern_NummernLesen(&n, kInvoiceRange);
  ++n;
  if (Nummern_NummernSchreiben(n, kInvoiceRange) != 1) return 1;
  const int32_t h = RechnungDBA_New(n);
  if (h == -1) return 1;
  std::vector<char> record(RECHNUNGDBA_RECORD), detail(RECHNUNGDBA_DETAIL);
  std::snprintf(record.data(), 40, "Invoice %d", n);
  bool ok = RechnungDBA_WriteRECHNUNG(h, record.data()) == 1;
  for (int k = 1; k <= 3 && ok; ++k) {
    std::snprintf(detail.data(), 40, "detail line %d", k);
    ok = RechnungDBA_WriteRECHNUNGDETAIL(h, detail.data()) == 1;
  }
  RechnungDBA_Close(h);
  if (!ok || RechnungDBA_Change_Status(n, 2, nullptr) != 1) return 1;
  char path[260];
  out << "invoice " << n << ": " << RechnungDBA_CreateFileName(n, path) << ", "
      << std::filesystem::file_size(path) << " bytes, status " << RechnungDBA_Hole_Status(n) << "\n";
  return 0;
}

int DemoOwnEan(const std::string& dir, std::ostream& out) {
  EANDATA_Init((dir + "EANDATA.DAT").c_str());
  for (int i = 0; i < 3; ++i) {
    char code[14] = "##";
    if (EANDATA_ErzeugeEigeneEAN(code) != 1) return 1;
    out << "own EAN " << code << (EANDATA_IstCodeOK(code, EANDATA_KIND_EAN13) ? " (valid)" : " (INVALID)") << "\n";
  }
  return 0;
}

int Run(const std::string& dir, std::ostream& out) {
  EnsureNumberFile(dir);
  if (int rc = DemoOrder(dir, out)) return rc;
  if (int rc = DemoInvoice(dir, out)) return 10 + rc;
  return DemoOwnEan(dir, out) ? 20 : 0;
}

const DemoRegistrar kStep(50, "Orders, invoices and own EAN codes", Run);

}  // namespace

}  // namespace kvtool

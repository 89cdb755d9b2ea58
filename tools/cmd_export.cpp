// kvdata export DIR customers|articles|items|orders|invoices --format csv|json
//
// Reads the raw files (nothing is opened for writing) and writes UTF-8 with
// the field names of the public record structures. Texts are converted from
// Windows-1252. A CSV text cell that starts with '=', '+', '-' or '@' gets a
// leading apostrophe, so that a spreadsheet shows it instead of running it
// as a formula.
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "admin_util.h"
#include "dba_tool_util.h"
#include "kvdata/artlib.h"
#include "kvdata/auftragdba.h"
#include "kvdata/database.h"
#include "kvdata/dba.h"
#include "kvdata/kundendba.h"
#include "kvdata/rechnungdba.h"
#include "services/encoding.h"
#include "tool.h"

namespace kvtool {

namespace {

namespace fs = std::filesystem;

enum class Type { kI32, kI16, kU16, kI64, kText, kTime32 };

struct Field {
  const char* name;
  Type type;
  size_t offset;
  size_t size;  // texts only
};

#define KV_INT(S, f) {#f, Type::kI32, offsetof(S, f), 0}
#define KV_TEXT(S, f) {#f, Type::kText, offsetof(S, f), sizeof(S::f)}

const Field kCustomerFields[] = {
    KV_INT(Kunde, refCount), {"flags", Type::kU16, offsetof(Kunde, flags), 0}, KV_TEXT(Kunde, shortKey),
    KV_TEXT(Kunde, salutation), KV_TEXT(Kunde, firstName), KV_TEXT(Kunde, surname), KV_TEXT(Kunde, street),
    KV_TEXT(Kunde, countryCode), KV_TEXT(Kunde, postalCode), KV_TEXT(Kunde, city), KV_TEXT(Kunde, telephone),
    KV_TEXT(Kunde, telephone2), KV_TEXT(Kunde, text1), KV_TEXT(Kunde, text2), KV_TEXT(Kunde, text3),
    KV_TEXT(Kunde, shortText), KV_TEXT(Kunde, title), {"code1", Type::kU16, offsetof(Kunde, code1), 0},
    {"code2", Type::kU16, offsetof(Kunde, code2), 0}, {"code3", Type::kU16, offsetof(Kunde, code3), 0},
    {"code4", Type::kU16, offsetof(Kunde, code4), 0}, KV_INT(Kunde, extWord1), KV_INT(Kunde, extWord2),
    KV_TEXT(Kunde, bankCode), KV_TEXT(Kunde, accountNumber), KV_TEXT(Kunde, bankText1), KV_TEXT(Kunde, bankText2),
    KV_TEXT(Kunde, bankText3), KV_INT(Kunde, value1), KV_INT(Kunde, value2), KV_INT(Kunde, value3),
    {"value4", Type::kI16, offsetof(Kunde, value4), 0}, KV_TEXT(Kunde, referenceText), KV_TEXT(Kunde, bic),
    KV_TEXT(Kunde, iban), {"lastWriteDate", Type::kU16, offsetof(Kunde, lastWriteDate), 0},
    {"lastWriteTime", Type::kU16, offsetof(Kunde, lastWriteTime), 0}, KV_INT(Kunde, firstItem),
    KV_INT(Kunde, lastItem), KV_TEXT(Kunde, freeAddress)};

const Field kArticleFields[] = {
    KV_INT(ArtikelRecord, firstItem),   KV_INT(ArtikelRecord, lastItem),     KV_INT(ArtikelRecord, price1First),
    KV_INT(ArtikelRecord, price1Second), KV_INT(ArtikelRecord, price2First), KV_INT(ArtikelRecord, price2Second),
    KV_INT(ArtikelRecord, price3First), KV_INT(ArtikelRecord, price3Second), KV_TEXT(ArtikelRecord, text),
    {"vatCode", Type::kU16, offsetof(ArtikelRecord, vatCode), 0},
    {"lastWrite", Type::kI64, offsetof(ArtikelRecord, lastWrite), 0}};

#define KV_U16(S, f) {#f, Type::kU16, offsetof(S, f), 0}
const Field kItemFields[] = {
    KV_INT(Einzelteil, artPrev),    KV_INT(Einzelteil, artNext),     KV_INT(Einzelteil, article),
    KV_INT(Einzelteil, bezPrev),    KV_INT(Einzelteil, bezNext),     KV_INT(Einzelteil, designation),
    KV_INT(Einzelteil, custPrev),   KV_INT(Einzelteil, custNext),    KV_INT(Einzelteil, customer),
    KV_INT(Einzelteil, saleRef),    KV_INT(Einzelteil, location),    KV_INT(Einzelteil, inventoryValueRef),
    KV_INT(Einzelteil, price1First), KV_INT(Einzelteil, price1Second), KV_INT(Einzelteil, documentRef),
    KV_INT(Einzelteil, price2First), KV_INT(Einzelteil, price2Second), KV_INT(Einzelteil, inventoryRef),
    KV_INT(Einzelteil, price3First), KV_INT(Einzelteil, price3Second), KV_INT(Einzelteil, previousDocumentRef),
    KV_INT(Einzelteil, value),      KV_INT(Einzelteil, quantity),    KV_INT(Einzelteil, quantity2),
    KV_U16(Einzelteil, exchangeCount), KV_U16(Einzelteil, creationTime), KV_U16(Einzelteil, vatCode),
    KV_U16(Einzelteil, date1),      KV_U16(Einzelteil, inventoryDate), KV_U16(Einzelteil, locationDate),
    KV_U16(Einzelteil, exchangeDate), KV_U16(Einzelteil, saleDate),  KV_U16(Einzelteil, saleTime),
    {"flags", Type::kI16, offsetof(Einzelteil, flags), 0}};

// Orders and invoices: only the fields the library itself knows; the rest
// of their blocks belongs to the application.
const Field kOrderFields[] = {{"lastWrite", Type::kTime32, 2, 0},
                              {"kind", Type::kText, 8, 4},
                              {"version", Type::kI32, 994, 0},
                              {"content", Type::kI32, 1046, 0}};
const Field kInvoiceFields[] = {{"status", Type::kI32, 504, 0}, {"version", Type::kI32, 548, 0}};

struct Row {
  int64_t number;  // for invoices the file name says the number only with the prefix: see `file`
  std::vector<uint8_t> bytes;
  int64_t extra;  // positions of an order, details of an invoice
  std::string file;  // documents: the file name
};

nlohmann::json Value(const Field& f, const std::vector<uint8_t>& b) {
  switch (f.type) {
    case Type::kI32: return Word32(b, static_cast<int64_t>(f.offset));
    case Type::kI16: return Word16(b, static_cast<int64_t>(f.offset));
    case Type::kU16: return static_cast<uint16_t>(Word16(b, static_cast<int64_t>(f.offset)));
    case Type::kI64: {
      int64_t v = 0;
      if (f.offset + 8 <= b.size()) std::memcpy(&v, b.data() + f.offset, 8);
      return v;
    }
    case Type::kTime32: {
      const auto t = static_cast<uint32_t>(Word32(b, static_cast<int64_t>(f.offset)));
      return t == 0 ? nlohmann::json(nullptr) : nlohmann::json(FormatUnixTime(t));
    }
    case Type::kText: {
      if (f.offset + f.size > b.size()) return "";
      const char* p = reinterpret_cast<const char*>(b.data() + f.offset);
      return kv::Cp1252ToUtf8(p, f.size);
    }
  }
  return nullptr;
}

std::string CsvCell(const nlohmann::json& v, bool text) {
  if (v.is_null()) return "";
  std::string s = v.is_string() ? v.get<std::string>() : v.dump();
  if (text && !s.empty() && (s[0] == '=' || s[0] == '+' || s[0] == '-' || s[0] == '@')) s = "'" + s;
  if (s.find_first_of(",\"\r\n") == std::string::npos) return s;
  std::string q = "\"";
  for (char c : s) q += c == '"' ? std::string("\"\"") : std::string(1, c);
  return q + "\"";
}

std::vector<uint8_t> LoadFile(const std::string& path) {
  std::vector<uint8_t> b;
  int err = 0;
  if (!ReadWholeFile(path, &b, &err)) Fail("export", "cannot open the file", path, err);
  return b;
}

// The records of a fixed-record file for which `keep` holds.
std::vector<Row> FixedRows(const std::string& path, int32_t size, bool (*keep)(const uint8_t*)) {
  const std::vector<uint8_t> b = LoadFile(path);
  std::vector<Row> rows;
  for (int64_t n = 1; 40 + (n + 1) * size <= static_cast<int64_t>(b.size()); ++n) {
    const uint8_t* r = b.data() + 40 + n * size;
    if (keep(r)) rows.push_back({n, std::vector<uint8_t>(r, r + size), 0, {}});
  }
  return rows;
}

std::vector<Row> CustomerRows(const std::string& dir) {
  const std::string path = dir + "KUNDEN.DBA";
  const std::vector<uint8_t> b = LoadFile(path);
  if (b.size() < DBA_HEADER_SIZE) Fail("export", "shorter than its header", path, 0, kExitDefects);
  const int64_t tables = 40 + 8 * static_cast<int64_t>(std::max(0, Word32(b, 20)));
  std::vector<Row> rows;
  for (int64_t n = 1; tables + (n + 1) * KUNDE_RECORD_SIZE <= static_cast<int64_t>(b.size()); ++n) {
    const uint8_t* r = b.data() + tables + n * KUNDE_RECORD_SIZE;
    if (Word32(b, tables + n * KUNDE_RECORD_SIZE) == -1) continue;
    rows.push_back({n, std::vector<uint8_t>(r, r + KUNDE_RECORD_SIZE), 0, {}});
  }
  return rows;
}

// Document files of the directory's subfolder (or the directory itself),
// numbered by the digits of their names.
std::vector<Row> DocumentRows(const std::string& dir, const char* sub, const char* prefix, const char* suffix,
                              int64_t headSize, int64_t block, int64_t perExtra) {
  std::vector<Row> rows;
  for (const std::string& d : {dir + sub, dir}) {
    std::error_code ec;
    for (fs::directory_iterator it(d, ec), end; !ec && it != end; it.increment(ec)) {
      std::string name = it->path().filename().string(), upper = name;
      for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      if (upper.rfind(prefix, 0) != 0 || upper.size() < std::strlen(suffix) ||
          upper.compare(upper.size() - std::strlen(suffix), std::string::npos, suffix) != 0) {
        continue;
      }
      std::vector<uint8_t> head(static_cast<size_t>(headSize));
      std::FILE* fp = std::fopen(it->path().string().c_str(), "rb");
      if (fp == nullptr) continue;
      head.resize(std::fread(head.data(), 1, head.size(), fp));
      std::fclose(fp);
      const int64_t size = static_cast<int64_t>(it->file_size(ec));
      const std::string digits = name.substr(std::strlen(prefix), name.size() - std::strlen(prefix) - std::strlen(suffix));
      rows.push_back({std::strtoll(digits.c_str(), nullptr, 10), head, size > block ? (size - block) / perExtra : 0,
                      name});
    }
    if (!rows.empty()) break;
  }
  std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.file < b.file; });
  return rows;
}

void Export(const std::string& dirArg, const std::string& what, const std::string& format) {
  const std::string dir = OpenDataDirectory("export", dirArg);
  std::vector<Row> rows;
  const Field* fields = nullptr;
  size_t count = 0;
  const char* extraName = nullptr;
  if (what == "customers") {
    rows = CustomerRows(dir);
    fields = kCustomerFields;
    count = std::size(kCustomerFields);
  } else if (what == "articles") {
    // An article exists when a price, a chain head or its text is set.
    rows = FixedRows(dir + ARTLIB_FILE_NAME, ARTLIB_RECORD_SIZE, [](const uint8_t* r) {
      return std::any_of(r, r + 36, [](uint8_t c) { return c != 0; }) || r[offsetof(ArtikelRecord, text)] != 0;
    });
    fields = kArticleFields;
    count = std::size(kArticleFields);
  } else if (what == "items") {
    rows = FixedRows(dir + DATABASE_FILE_NAME, DATABASE_RECORD_SIZE,
                     [](const uint8_t* r) { return (r[offsetof(Einzelteil, flags)] & DATABASE_FLAG_BENUTZT) != 0; });
    fields = kItemFields;
    count = std::size(kItemFields);
  } else if (what == "orders") {
    rows = DocumentRows(dir, "AUFTRAG", "AFT", ".DAT", 1050, AUFTRAGDBA_BLOCK, 2 * int64_t{AUFTRAGDBA_BLOCK});
    fields = kOrderFields;
    count = std::size(kOrderFields);
    extraName = "positions";
  } else {
    rows = DocumentRows(dir, "RECHNUNG", "RECH", ".REC", RECHNUNGDBA_RECORD, RECHNUNGDBA_RECORD, RECHNUNGDBA_DETAIL);
    fields = kInvoiceFields;
    count = std::size(kInvoiceFields);
    extraName = "details";
  }
  // An invoice's file name holds a prefix and the number in one run of
  // digits ("RECH%03d%05d" and "RECH%08d" look alike): it is named by its file.
  const bool byFile = what == "invoices";
  if (format == "json") {
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const Row& r : rows) {
      nlohmann::ordered_json o = byFile ? nlohmann::ordered_json{{"file", r.file}} : nlohmann::ordered_json{{"number", r.number}};
      for (size_t i = 0; i < count; ++i) o[fields[i].name] = nlohmann::ordered_json::parse(Value(fields[i], r.bytes).dump());
      if (extraName != nullptr) o[extraName] = r.extra;
      all.push_back(o);
    }
    std::cout << all.dump(2) << "\n";
    return;
  }
  std::cout << (byFile ? "file" : "number");
  for (size_t i = 0; i < count; ++i) std::cout << ',' << fields[i].name;
  if (extraName != nullptr) std::cout << ',' << extraName;
  std::cout << "\r\n";
  for (const Row& r : rows) {
    if (byFile) {
      std::cout << CsvCell(r.file, true);
    } else {
      std::cout << r.number;
    }
    for (size_t i = 0; i < count; ++i) std::cout << ',' << CsvCell(Value(fields[i], r.bytes), fields[i].type == Type::kText);
    if (extraName != nullptr) std::cout << ',' << r.extra;
    std::cout << "\r\n";
  }
}

const CommandRegistrar kExport("export", "write customers, articles, items, orders or invoices as CSV or JSON (UTF-8)",
                               [](CLI::App& app) {
                                 auto dir = std::make_shared<std::string>();
                                 auto what = std::make_shared<std::string>();
                                 auto format = std::make_shared<std::string>("csv");
                                 app.add_option("dir", *dir, "data directory (default: $KVDATA_DIR)");
                                 app.add_option("what", *what, "customers, articles, items, orders or invoices");
                                 app.add_option("--format", *format, "csv or json")
                                     ->check(CLI::IsMember({"csv", "json"}));
                                 app.callback([dir, what, format] {
                                   // With KVDATA_DIR the directory may be left out: the one
                                   // word given is then the kind.
                                   const char* env = std::getenv("KVDATA_DIR");
                                   if (what->empty() && env != nullptr && *env != '\0') {
                                     *what = *dir;
                                     *dir = env;
                                   }
                                   static const char* const kKinds[] = {"customers", "articles", "items", "orders",
                                                                        "invoices"};
                                   if (dir->empty() || std::find(std::begin(kKinds), std::end(kKinds), *what) == std::end(kKinds)) {
                                     Fail("export", "give a data directory and one of customers, articles, items, "
                                                    "orders, invoices");
                                   }
                                   Export(*dir, *what, *format);
                                 });
                               });

}  // namespace

}  // namespace kvtool

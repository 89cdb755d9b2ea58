// kvdata customers DIR [--csv]: list the customers of a data directory.
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "kvdata/kundendba.h"
#include "services/encoding.h"
#include "services/fileio.h"
#include "admin_util.h"
#include "tool.h"

namespace kvtool {

namespace {

struct Options {
  std::string dir;
  bool csv = false;
};

// Tells the user and ends the command with exit code 1 (CLI11 does not print
// the text of a RuntimeError).
[[noreturn]] void Fail(const std::string& message, const std::string& file, int err) {
  kvtool::Fail("customers", message, file, err);
}

struct Row {
  int32_t number;
  std::vector<std::string> fields;  // UTF-8
};

const char* const kColumns[] = {"surname", "first name", "street", "country", "postal code",
                                "city", "telephone", "IBAN", "BIC", "flags"};

template <size_t N>
std::string Text(const char (&field)[N]) {
  return kv::Cp1252ToUtf8(field, N);
}

std::vector<Row>* g_rows = nullptr;

int32_t KV_CALLBACK Collect(int32_t number, void* record) {
  const Kunde& k = *static_cast<const Kunde*>(record);
  char flags[8];
  std::snprintf(flags, sizeof flags, "0x%04x", k.flags);
  g_rows->push_back({number,
                     {Text(k.surname), Text(k.firstName), Text(k.street), Text(k.countryCode), Text(k.postalCode),
                      Text(k.city), Text(k.telephone), Text(k.iban), Text(k.bic), flags}});
  return 0;
}

// Characters, not bytes, so that umlauts keep the columns straight.
size_t Width(const std::string& s) {
  size_t n = 0;
  for (unsigned char c : s) n += (c & 0xC0) != 0x80;
  return n;
}

std::string Csv(const std::string& s) {
  if (s.find_first_of(",\"\r\n") == std::string::npos) return s;
  std::string q = "\"";
  for (char c : s) q += c == '"' ? std::string("\"\"") : std::string(1, c);
  return q + "\"";
}

void PrintCsv(const std::vector<Row>& rows) {
  std::cout << "number";
  for (const char* c : kColumns) std::cout << ',' << Csv(c);
  std::cout << "\r\n";
  for (const Row& r : rows) {
    std::cout << r.number;
    for (const std::string& f : r.fields) std::cout << ',' << Csv(f);
    std::cout << "\r\n";
  }
}

void PrintTable(const std::vector<Row>& rows) {
  std::vector<size_t> widths;
  for (const char* c : kColumns) widths.push_back(Width(c));
  for (const Row& r : rows) {
    for (size_t i = 0; i < r.fields.size(); ++i) widths[i] = std::max(widths[i], Width(r.fields[i]));
  }
  auto line = [&](const std::string& number, const std::vector<std::string>& fields) {
    std::string s = std::string(number.size() < 7 ? 7 - number.size() : 0, ' ') + number;
    for (size_t i = 0; i < fields.size(); ++i) {
      s += "  " + fields[i];
      if (i + 1 < fields.size()) s += std::string(widths[i] - Width(fields[i]), ' ');
    }
    std::cout << s << "\n";
  };
  line("number", std::vector<std::string>(std::begin(kColumns), std::end(kColumns)));
  for (const Row& r : rows) line(std::to_string(r.number), r.fields);
  std::cout << rows.size() << " customers\n";
}

void List(const Options& o) {
  std::string dir = OpenDataDirectory("customers", o.dir);
  std::string path = dir + "KUNDEN.DBA";
  // The listing only reads: without a customer file nothing is created.
  if (!kv::FileIO_Exist(path.c_str()) || KundenZweiteDBA_Init(path.c_str()) == 0) {
    Fail("no customer file", path, ENOENT);
  }
  std::vector<Row> rows;
  g_rows = &rows;
  int32_t ok = KundenZweiteDBA_MitAllenKunden(Collect);
  g_rows = nullptr;
  if (!ok) Fail("cannot read the customer file", path, 0);
  if (o.csv) {
    PrintCsv(rows);
  } else {
    PrintTable(rows);
  }
}

const CommandRegistrar kCustomers("customers", "list the customers of a data directory", [](CLI::App& app) {
  auto o = std::make_shared<Options>();
  AddDirOption(app, o->dir);
  app.add_flag("--csv", o->csv, "CSV in UTF-8 instead of a table");
  app.callback([o] { List(*o); });
});

}  // namespace

}  // namespace kvtool

// Reorganisations against their nearest SQLite peer: a key file of 64,000
// keys (BBAUMLIB_Reorganisieren against REINDEX of the same keys) and a
// customer file of 256,000 customers (KundenDBA_Reo, which ends in DBA_Reo,
// against VACUUM of the same records). Prints processor seconds of this
// process (see bench/versus_sqlite.cpp on why not the wall clock) and the
// ratio.
//
//   bench_reorganise [keys] [customers]     (default 64000 256000)
#include <sqlite3.h>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "kvdata/bbaumlib.h"
#include "kvdata/kundendba.h"

namespace {

namespace fs = std::filesystem;

void Fail(const char* what) {
  std::fprintf(stderr, "bench_reorganise: %s\n", what);
  std::exit(1);
}

template <typename Work>
double Seconds(Work work) {
  const std::clock_t start = std::clock();
  work();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

void Exec(sqlite3* db, const char* sql) {
  if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail(sqlite3_errmsg(db));
}

sqlite3* OpenSql(const fs::path& file) {
  sqlite3* db = nullptr;
  if (sqlite3_open(file.string().c_str(), &db) != SQLITE_OK) Fail("sqlite3_open");
  Exec(db, "PRAGMA journal_mode=WAL");
  Exec(db, "PRAGMA synchronous=NORMAL");
  return db;
}

void Row(const char* work, double kv, double sql) {
  std::printf("| %-40s | %8.3f | %8.3f | %6.2f |\n", work, kv, sql, kv / sql);
  std::fflush(stdout);
}

void KeyFile(const fs::path& dir, int32_t count) {
  std::mt19937_64 rng(3);
  std::vector<BaumKey> keys(static_cast<size_t>(count));
  for (BaumKey& k : keys) {
    std::memset(&k, 0, sizeof k);
    for (size_t i = 0; i < sizeof k.key; i += 8) {
      uint64_t v = rng();
      std::memcpy(k.key + i, &v, 8);
    }
  }
  const std::string path = (dir / "MAPARTID.DBA").string();
  BaumKeyDatei* d = BBAUMLIB_Init(path.c_str(), 44, count);
  if (d == nullptr || BBAUMLIB_ErzeugeFreelist(d, nullptr) != 1) Fail("key file");
  BBAUMLIB_OeffneDatenbank(d);
  int32_t payload = 0;
  for (BaumKey k : keys) {
    const int32_t slot = BBAUMLIB_BAUMKEYAnlegen(d, &k);
    k.payload = ++payload;
    if (slot < 1 || BBAUMLIB_WriteBAUMKEY(d, slot, &k) != 1) Fail("key add");
  }
  BBAUMLIB_SchliesseDatenbank(d);
  const double kv = Seconds([&] {
    if (BBAUMLIB_Reorganisieren(d, nullptr, nullptr, nullptr, nullptr, nullptr) != 1) Fail("reorganise");
  });
  BBAUMLIB_Exit(d);

  sqlite3* db = OpenSql(dir / "keys.db");
  Exec(db, "CREATE TABLE keys(key BLOB PRIMARY KEY, slot INTEGER) WITHOUT ROWID");
  Exec(db, "BEGIN");
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO keys VALUES(?1, ?2)", -1, &insert, nullptr);
  for (size_t i = 0; i < keys.size(); ++i) {
    sqlite3_bind_blob(insert, 1, keys[i].key, BBAUMLIB_KEY_SIZE, SQLITE_STATIC);
    sqlite3_bind_int64(insert, 2, static_cast<int64_t>(i) + 1);
    if (sqlite3_step(insert) != SQLITE_DONE) Fail("sqlite insert");
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  Exec(db, "COMMIT");
  const double sql = Seconds([&] { Exec(db, "REINDEX keys"); });
  sqlite3_close(db);
  char work[64];
  std::snprintf(work, sizeof work, "key file, %d keys (REINDEX)", count);
  Row(work, kv, sql);
}

void Customers(const fs::path& dir, int32_t count) {
  const std::string init = (dir / "KUNDEN.DBA").string();
  if (KundenDBA_Init(init.c_str()) == 0) Fail("KundenDBA_Init");
  // Filled the administrative way: a header for count customers, then the
  // records in blocks; every tenth one is left without flags and surname,
  // so that the reorganisation has records to free.
  constexpr int32_t kBlock = 1000;
  std::vector<Kunde> block(kBlock);
  if (KundenDBA_CreateHeader(count, 540) != 1 || KundenDBA_Open() != 1) Fail("customer header");
  for (int32_t first = 1; first <= count; first += kBlock) {
    const int32_t n = std::min(kBlock, count - first + 1);
    for (int32_t i = 0; i < n; ++i) {
      Kunde& k = block[static_cast<size_t>(i)];
      KundenDBA_ClearKunde(&k);
      if ((first + i) % 10 == 0) continue;
      k.refCount = 1;
      k.flags = KUNDE_FLAG_BENUTZBAR;
      std::snprintf(k.surname, sizeof k.surname, "Kunde%07d", first + i);
    }
    // The last number cannot be written in a block.
    const int32_t inBlock = first + n > KUNDEN_MAX ? n - 1 : n;
    if (inBlock > 0 && KundenDBA_WriteBlock(first, block.data(), inBlock) != 1) Fail("customer block");
    if (inBlock < n) KundenDBA_Write(first + n - 1, &block[static_cast<size_t>(n - 1)]);
  }
  KundenDBA_Close();
  const double kv = Seconds([&] {
    if (KundenDBA_Reo() != 1) Fail("KundenDBA_Reo");
  });

  sqlite3* db = OpenSql(dir / "customers.db");
  Exec(db, "CREATE TABLE kunden(nr INTEGER PRIMARY KEY, rec BLOB NOT NULL)");
  Exec(db, "BEGIN");
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO kunden VALUES(?1, ?2)", -1, &insert, nullptr);
  Kunde k;
  KundenDBA_ClearKunde(&k);
  for (int32_t nr = 1; nr <= count; ++nr) {
    std::snprintf(k.surname, sizeof k.surname, "Kunde%07d", nr);
    sqlite3_bind_int64(insert, 1, nr);
    sqlite3_bind_blob(insert, 2, &k, sizeof k, SQLITE_STATIC);
    if (sqlite3_step(insert) != SQLITE_DONE) Fail("sqlite insert");
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  Exec(db, "COMMIT");
  Exec(db, "DELETE FROM kunden WHERE nr % 10 = 0");
  const double sql = Seconds([&] { Exec(db, "VACUUM"); });
  sqlite3_close(db);
  char work[64];
  std::snprintf(work, sizeof work, "customer file, %d customers (VACUUM)", count);
  Row(work, kv, sql);
}

}  // namespace

int main(int argc, char** argv) {
  const int32_t keys = argc > 1 ? std::max(1, std::atoi(argv[1])) : 64000;
  const int32_t customers = argc > 2 ? std::clamp(std::atoi(argv[2]), 1, KUNDEN_MAX) : KUNDEN_MAX;
  const fs::path dir = fs::temp_directory_path() / ("kvdata-bench-reorganise-" + std::to_string(std::random_device{}()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  std::printf("| %-40s | %8s | %8s | %6s |\n", "reorganisation", "kvdata s", "SQLite s", "ratio");
  std::printf("|%s|%s|%s|%s|\n", std::string(42, '-').c_str(), std::string(10, '-').c_str(),
              std::string(10, '-').c_str(), std::string(8, '-').c_str());
  KeyFile(dir, keys);
  Customers(dir, customers);
  fs::remove_all(dir);
  return 0;
}

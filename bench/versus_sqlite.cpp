// kvdata against SQLite on the same work, side by side in one run: 20,000
// customers of 1,299 bytes (new + save with search entries, read with and
// without an open bracket, save, walk) and 20,000 random 32-byte keys (add,
// look up). SQLite runs as a careful program would use it: WAL journal,
// synchronous=NORMAL, prepared statements, one open connection, one
// transaction per operation (each kvdata call is on disk when it returns).
//
// Every case runs three times for each side, alternately, and the best run
// counts. The time is the processor time of this process (user and
// system), not the wall clock: on a shared machine the wall clock measures
// mostly the other programs. Neither side waits for the disk (no flush per
// operation: kvdata never flushes, SQLite's WAL with synchronous=NORMAL only
// at checkpoints), so the two agree on an idle machine. Prints microseconds
// per operation and the ratio kvdata / SQLite.
//
//   bench_versus_sqlite [count]        (default 20000)
//   bench_versus_sqlite --kvdata-only CASE OPS [count]
// The second form runs only the kvdata side, once: the cases before CASE
// (1-based) in full, as the set-up they are for the later ones, then CASE
// with OPS operations. scripts/syscalls.sh runs it under strace with OPS = 0
// and OPS = count; the difference divided by count is the number of system
// calls per operation.
#include <sqlite3.h>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kvdata/bbaumlib.h"
#include "kvdata/kundendba.h"

namespace {

namespace fs = std::filesystem;

int32_t g_count = 20000;
constexpr int32_t kKeySlots = 64000;  // capacity of the ID mapping files

// A directory of this run's own, so that two runs never share files.
fs::path BenchDir(const char* name) {
  static const std::string run = std::to_string(std::random_device{}());
  fs::path dir = fs::temp_directory_path() / ("kvdata-versus-" + run + "-" + name);
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

void Fail(const char* what) {
  std::fprintf(stderr, "bench_versus_sqlite: %s\n", what);
  std::exit(1);
}

// ---- the work ----------------------------------------------------------------

Kunde MakeCustomer(int32_t i) {
  Kunde k;
  KundenDBA_ClearKunde(&k);
  k.refCount = 1;
  k.flags = KUNDE_FLAG_BENUTZBAR;
  std::snprintf(k.firstName, sizeof k.firstName, "Vorname%d", i);
  std::snprintf(k.surname, sizeof k.surname, "Kunde%07d", i);
  std::snprintf(k.street, sizeof k.street, "Hauptstrasse %d", i % 200 + 1);
  std::snprintf(k.postalCode, sizeof k.postalCode, "%05d", 10000 + i % 89999);
  std::snprintf(k.city, sizeof k.city, "Stadt");
  std::snprintf(k.bankCode, sizeof k.bankCode, "%08d", 10000000 + i % 999);
  std::snprintf(k.accountNumber, sizeof k.accountNumber, "%010d", i);
  return k;
}

std::vector<BaumKey> RandomKeys(int32_t count) {
  std::mt19937_64 rng(17);
  std::vector<BaumKey> keys(static_cast<size_t>(count));
  for (BaumKey& k : keys) {
    std::memset(&k, 0, sizeof k);
    for (size_t i = 0; i < sizeof k.key; i += 8) {
      uint64_t v = rng();
      std::memcpy(k.key + i, &v, 8);
    }
  }
  return keys;
}

// Numbers 1..count in a fixed random order, for reads by number.
std::vector<int32_t> Shuffled(int32_t count) {
  std::vector<int32_t> order(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) order[static_cast<size_t>(i)] = i + 1;
  std::shuffle(order.begin(), order.end(), std::mt19937(5));
  return order;
}

// ---- SQLite --------------------------------------------------------------------

class Sql {
 public:
  explicit Sql(const fs::path& file) {
    if (sqlite3_open((file).string().c_str(), &db_) != SQLITE_OK) Fail("sqlite3_open");
    Exec("PRAGMA journal_mode=WAL");
    Exec("PRAGMA synchronous=NORMAL");
  }
  ~Sql() {
    for (sqlite3_stmt* s : stmts_) sqlite3_finalize(s);
    sqlite3_close(db_);
  }
  void Exec(const char* sql) {
    if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail(sqlite3_errmsg(db_));
  }
  sqlite3_stmt* Prepare(const char* sql) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &s, nullptr) != SQLITE_OK) {
      Fail(sqlite3_errmsg(db_));
    }
    stmts_.push_back(s);
    return s;
  }
  // Runs a statement that returns no rows and resets it.
  static void Step(sqlite3_stmt* s) {
    if (sqlite3_step(s) != SQLITE_DONE) Fail("sqlite3_step");
    sqlite3_reset(s);
  }

 private:
  sqlite3* db_ = nullptr;
  std::vector<sqlite3_stmt*> stmts_;
};

// The customer tables: the record, and the two search entries as kvdata
// keeps them (12 and 24 bytes) under the same number.
struct SqlCustomers {
  Sql db;
  sqlite3_stmt *begin, *commit, *insertRecord, *insertName, *insertBank, *updateRecord, *updateName,
      *updateBank, *select, *walk;
  explicit SqlCustomers(const fs::path& dir) : db(dir / "customers.db") {
    db.Exec("CREATE TABLE kunden(nr INTEGER PRIMARY KEY, rec BLOB NOT NULL)");
    db.Exec("CREATE TABLE kundsuch(nr INTEGER PRIMARY KEY, entry BLOB NOT NULL)");
    db.Exec("CREATE TABLE kundblzsuch(nr INTEGER PRIMARY KEY, entry BLOB NOT NULL)");
    begin = db.Prepare("BEGIN");
    commit = db.Prepare("COMMIT");
    insertRecord = db.Prepare("INSERT INTO kunden(nr, rec) VALUES(NULL, ?1)");
    insertName = db.Prepare("INSERT INTO kundsuch(nr, entry) VALUES(?1, ?2)");
    insertBank = db.Prepare("INSERT INTO kundblzsuch(nr, entry) VALUES(?1, ?2)");
    updateRecord = db.Prepare("UPDATE kunden SET rec = ?2 WHERE nr = ?1");
    updateName = db.Prepare("UPDATE kundsuch SET entry = ?2 WHERE nr = ?1");
    updateBank = db.Prepare("UPDATE kundblzsuch SET entry = ?2 WHERE nr = ?1");
    select = db.Prepare("SELECT rec FROM kunden WHERE nr = ?1");
    walk = db.Prepare("SELECT nr, rec FROM kunden ORDER BY nr");
  }
  void Save(sqlite3_stmt* record, sqlite3_stmt* name, sqlite3_stmt* bank, int64_t nr, const Kunde& k) {
    Sql::Step(begin);
    if (record == insertRecord) {
      sqlite3_bind_blob(record, 1, &k, sizeof k, SQLITE_STATIC);
      Sql::Step(record);
      nr = sqlite3_last_insert_rowid(sqlite3_db_handle(record));
    } else {
      sqlite3_bind_int64(record, 1, nr);
      sqlite3_bind_blob(record, 2, &k, sizeof k, SQLITE_STATIC);
      Sql::Step(record);
    }
    sqlite3_bind_int64(name, 1, nr);
    sqlite3_bind_blob(name, 2, k.surname, 12, SQLITE_STATIC);
    Sql::Step(name);
    sqlite3_bind_int64(bank, 1, nr);
    sqlite3_bind_blob(bank, 2, k.bankCode, 24, SQLITE_STATIC);
    Sql::Step(bank);
    Sql::Step(commit);
  }
  bool Read(int64_t nr, Kunde* k) {
    sqlite3_bind_int64(select, 1, nr);
    bool ok = sqlite3_step(select) == SQLITE_ROW && sqlite3_column_bytes(select, 0) == sizeof *k;
    if (ok) std::memcpy(k, sqlite3_column_blob(select, 0), sizeof *k);
    sqlite3_reset(select);
    return ok;
  }
};

// ---- measuring -------------------------------------------------------------------

// A run gets the number of operations to do (the walk: walks to do).
using Run = std::function<void(int32_t)>;
struct Case {
  const char* name;
  std::function<void()> setUpKv;
  Run runKv;
  std::function<void()> setUpSql;
  Run runSql;
};

double TimeOnce(const std::function<void()>& setUp, const Run& run) {
  setUp();
  const std::clock_t start = std::clock();
  run(g_count);
  return static_cast<double>(std::clock() - start) * 1e6 / CLOCKS_PER_SEC;
}

void RunCase(const Case& c) {
  double kv = 1e300, sql = 1e300;
  for (int round = 0; round < 3; ++round) {
    kv = std::min(kv, TimeOnce(c.setUpKv, c.runKv));
    sql = std::min(sql, TimeOnce(c.setUpSql, c.runSql));
  }
  const double n = g_count;
  std::printf("| %-44s | %9.2f | %9.2f | %6.2f |\n", c.name, kv / n, sql / n, kv / sql);
  std::fflush(stdout);
}

int32_t g_walked = 0;
int32_t CountCustomer(int32_t, void* record) {
  g_walked += static_cast<const Kunde*>(record)->surname[0] != 0 ? 1 : 0;
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  int syscallCase = 0, syscallOps = 0;
  int arg = 1;
  if (argc > 3 && std::strcmp(argv[1], "--kvdata-only") == 0) {
    syscallCase = std::atoi(argv[2]);
    syscallOps = std::max(0, std::atoi(argv[3]));
    arg = 4;
  }
  if (argc > arg) g_count = std::max(1, std::atoi(argv[arg]));
  const int32_t n = g_count;
  std::vector<Kunde> customers;
  for (int32_t i = 0; i < n; ++i) customers.push_back(MakeCustomer(i + 1));
  const std::vector<int32_t> order = Shuffled(n);
  const std::vector<BaumKey> keys = RandomKeys(n);
  auto first = [&](int32_t ops) { return order.begin() + std::min<int32_t>(ops, n); };

  // Each side's files live in their own directory; the customer file and the
  // key file filled by the first cases serve the cases after them.
  const fs::path kvDir = BenchDir("kvdata");
  const fs::path sqlDir = BenchDir("sqlite");
  const std::string kvInit = (kvDir / "KUNDEN.DBA").string();
  const std::string keyPath = (kvDir / "MAPARTID.DBA").string();
  std::unique_ptr<SqlCustomers> sql;
  BaumKeyDatei* keyFile = nullptr;
  std::unique_ptr<Sql> keyDb;
  sqlite3_stmt *keyInsert = nullptr, *keySelect = nullptr;

  auto freshKv = [&] {
    for (const char* f : {"KUNDEN.DBA", "KUNDSUCH.DBA", "KUNDBLZSUCH.DBA"}) fs::remove(kvDir / f);
    if (KundenDBA_Init(kvInit.c_str()) == 0) Fail("KundenDBA_Init");
  };
  auto freshSql = [&] {
    sql.reset();
    for (const char* f : {"customers.db", "customers.db-wal", "customers.db-shm"}) fs::remove(sqlDir / f);
    sql = std::make_unique<SqlCustomers>(sqlDir);
  };
  auto none = [] {};
  auto sqlRead = [&](int32_t ops) {
    Kunde k;
    for (auto it = order.begin(); it != first(ops); ++it) {
      if (!sql->Read(*it, &k)) Fail("sqlite read");
    }
  };

  const std::vector<Case> cases = {
      {"new customer + save with search entries", freshKv,
       [&](int32_t ops) {
         for (int32_t i = 0; i < ops; ++i) {
           Kunde k = customers[static_cast<size_t>(i)];
           const int32_t nr = KundenDBA_NeuerKunde();
           if (nr == 0 || KundenDBA_SchreibeKunde(nr, &k, 1) != 1) Fail("new customer");
         }
       },
       freshSql,
       [&](int32_t ops) {
         for (int32_t i = 0; i < ops; ++i) {
           sql->Save(sql->insertRecord, sql->insertName, sql->insertBank, 0, customers[static_cast<size_t>(i)]);
         }
       }},
      {"read a customer (KundenDBA_LeseKunde)", none,
       [&](int32_t ops) {
         Kunde k;
         for (auto it = order.begin(); it != first(ops); ++it) {
           if (KundenDBA_LeseKunde(*it, &k) != 1) Fail("LeseKunde");
         }
       },
       none, sqlRead},
      {"read a customer inside KundenDBA_Open/Close", none,
       [&](int32_t ops) {
         Kunde k;
         KundenDBA_Open();
         for (auto it = order.begin(); it != first(ops); ++it) {
           if (KundenDBA_Read(*it, &k) != 1) Fail("KundenDBA_Read");
         }
         KundenDBA_Close();
       },
       none, sqlRead},
      {"save a customer with search entries", none,
       [&](int32_t ops) {
         for (auto it = order.begin(); it != first(ops); ++it) {
           Kunde k = customers[static_cast<size_t>(*it - 1)];
           k.value1 = *it;
           if (KundenDBA_SchreibeKunde(*it, &k, 1) != 1) Fail("SchreibeKunde");
         }
       },
       none,
       [&](int32_t ops) {
         for (auto it = order.begin(); it != first(ops); ++it) {
           Kunde k = customers[static_cast<size_t>(*it - 1)];
           k.value1 = *it;
           sql->Save(sql->updateRecord, sql->updateName, sql->updateBank, *it, k);
         }
       }},
      // The same saves inside one bracket, which holds the three files open.
      {"save a customer inside KundenDBA_Open/Close", none,
       [&](int32_t ops) {
         KundenDBA_Open();
         for (auto it = order.begin(); it != first(ops); ++it) {
           Kunde k = customers[static_cast<size_t>(*it - 1)];
           k.value1 = *it + 1;
           if (KundenDBA_SchreibeKunde(*it, &k, 1) != 1) Fail("SchreibeKunde in bracket");
         }
         KundenDBA_Close();
       },
       none,
       [&](int32_t ops) {
         for (auto it = order.begin(); it != first(ops); ++it) {
           Kunde k = customers[static_cast<size_t>(*it - 1)];
           k.value1 = *it + 1;
           sql->Save(sql->updateRecord, sql->updateName, sql->updateBank, *it, k);
         }
       }},
      // Per customer visited: one walk over all of them.
      {"walk all customers (per customer)", none,
       [&](int32_t ops) {
         if (ops == 0) return;
         g_walked = 0;
         KundenDBA_MitAllenKunden(CountCustomer);
         if (g_walked != n) Fail("walk");
       },
       none,
       [&](int32_t ops) {
         if (ops == 0) return;
         g_walked = 0;
         sqlite3_stmt* s = sql->walk;
         Kunde k;
         while (sqlite3_step(s) == SQLITE_ROW) {
           std::memcpy(&k, sqlite3_column_blob(s, 1), sizeof k);
           CountCustomer(static_cast<int32_t>(sqlite3_column_int64(s, 0)), &k);
         }
         sqlite3_reset(s);
         if (g_walked != n) Fail("sqlite walk");
       }},
      {"add a key (BBAUMLIB_BAUMKEYAnlegen)",
       [&] {
         if (keyFile != nullptr) BBAUMLIB_Exit(keyFile);
         fs::remove(keyPath);
         keyFile = BBAUMLIB_Init(keyPath.c_str(), 44, kKeySlots);
         if (keyFile == nullptr || BBAUMLIB_ErzeugeFreelist(keyFile, nullptr) != 1) Fail("key file");
       },
       [&](int32_t ops) {
         BBAUMLIB_OeffneDatenbank(keyFile);
         for (int32_t i = 0; i < ops; ++i) {
           BaumKey k = keys[static_cast<size_t>(i)];
           if (BBAUMLIB_BAUMKEYAnlegen(keyFile, &k) < 1) Fail("BAUMKEYAnlegen");
         }
         BBAUMLIB_SchliesseDatenbank(keyFile);
       },
       [&] {
         keyDb.reset();
         for (const char* f : {"keys.db", "keys.db-wal", "keys.db-shm"}) fs::remove(sqlDir / f);
         keyDb = std::make_unique<Sql>(sqlDir / "keys.db");
         keyDb->Exec("CREATE TABLE keys(key BLOB PRIMARY KEY, slot INTEGER) WITHOUT ROWID");
         keyInsert = keyDb->Prepare("INSERT INTO keys(key, slot) VALUES(?1, ?2)");
         keySelect = keyDb->Prepare("SELECT slot FROM keys WHERE key = ?1");
       },
       [&](int32_t ops) {
         for (int32_t i = 0; i < ops; ++i) {
           sqlite3_bind_blob(keyInsert, 1, keys[static_cast<size_t>(i)].key, BBAUMLIB_KEY_SIZE, SQLITE_STATIC);
           sqlite3_bind_int64(keyInsert, 2, i + 1);
           Sql::Step(keyInsert);
         }
       }},
      {"look up a key (BBAUMLIB_BAUMKEYVorhanden)", none,
       [&](int32_t ops) {
         BBAUMLIB_OeffneDatenbank(keyFile);
         for (auto it = order.begin(); it != first(ops); ++it) {
           if (BBAUMLIB_BAUMKEYVorhanden(keyFile, &keys[static_cast<size_t>(*it - 1)]) < 1) Fail("Vorhanden");
         }
         BBAUMLIB_SchliesseDatenbank(keyFile);
       },
       none,
       [&](int32_t ops) {
         for (auto it = order.begin(); it != first(ops); ++it) {
           sqlite3_bind_blob(keySelect, 1, keys[static_cast<size_t>(*it - 1)].key, BBAUMLIB_KEY_SIZE,
                             SQLITE_STATIC);
           if (sqlite3_step(keySelect) != SQLITE_ROW) Fail("sqlite key lookup");
           sqlite3_reset(keySelect);
         }
       }},
  };

  if (syscallCase > 0) {
    if (syscallCase > static_cast<int>(cases.size())) Fail("no such case");
    for (int i = 0; i < syscallCase; ++i) {
      const Case& c = cases[static_cast<size_t>(i)];
      c.setUpKv();
      c.runKv(i + 1 == syscallCase ? syscallOps : n);
    }
  } else {
    std::printf("%d operations per case; processor microseconds per operation, best of 3\n\n", n);
    std::printf("| %-44s | %9s | %9s | %6s |\n", "work", "kvdata", "SQLite", "ratio");
    std::printf("|%s|%s|%s|%s|\n", std::string(46, '-').c_str(), std::string(11, '-').c_str(),
                std::string(11, '-').c_str(), std::string(8, '-').c_str());
    for (const Case& c : cases) RunCase(c);
  }

  if (keyFile != nullptr) BBAUMLIB_Exit(keyFile);
  sql.reset();
  keyDb.reset();
  fs::remove_all(kvDir);
  fs::remove_all(sqlDir);
  return 0;
}

// A FIFO in place of a data file: every reader fails as for a missing file
// and returns at once. Each call runs in a worker process with a deadline,
// so a call that blocks fails the test instead of hanging the suite.
#if !defined(_WIN32)
#include <sys/stat.h>

#include <string>

#include "dba_util.h"
#include "kvdata/dba.h"
#include "kvdata/kundendba.h"
#include "kvdata/kvlockdb.h"
#include "kvdata/nummern.h"
#include "kvtest.h"

namespace {

// The worker's exit code, or -2 (the worker is killed) when it has not
// ended within 20 s.
int RunWithDeadline(const std::string& name, const std::string& dir) {
  return kvtest::RunWorkers(name, {{dir}}, 20000).front();
}

void MakeFifo(const std::string& path) { ASSERT_EQ(mkfifo(path.c_str(), 0666), 0) << path; }

bool IsFifo(const std::string& path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0 && S_ISFIFO(st.st_mode);
}

// Exit codes: 10 + what the caller saw, so that 0/1 results stay apart from
// a crash (-1) and a hang.
KVTEST_WORKER(fifo_dba) {
  DbaFile f = kvtest::MakeDba(args.at(0) + "FIFO.DBA", 32, 0);
  uint8_t record[32];
  const int32_t read = DBA_ReadDATA(&f, 1, record);
  // Left as after a missing file: count 1, handle -1.
  if (f.openCount != 1 || f.handle != -1) return 3;
  DBA_CloseDBA(&f);
  const int32_t written = DBA_WriteDATA(&f, 1, record);
  DBA_CloseDBA(&f);
  return 10 + read + 2 * written + 4 * DBA_NeueDBA(&f);
}

KVTEST_WORKER(fifo_customers) {
  const std::string dir = args.at(0);
  KundenDBA_Init((dir + "KUNDEN.DBA").c_str());
  Kunde k;
  const int32_t read = KundenDBA_LeseKunde(1, &k);
  KundenDBA_LoescheKunde(1);
  return 10 + read + 2 * KundenDBA_NeuerKunde();
}

KVTEST_WORKER(fifo_numbers_write) {
  Nummern_Init((args.at(0) + "x").c_str());
  // Nobody answers the question: the default creates the file anew, which
  // must fail on the FIFO rather than write into it.
  return 10 + Nummern_NummernSchreiben(5, 2);
}

KVTEST_WORKER(fifo_numbers_read) {
  Nummern_Init((args.at(0) + "x").c_str());
  int32_t value = 0;
  Nummern_NummernLesen(&value, 2);
  return 20;  // not reached: a missing number file ends the process with 1
}

KVTEST_WORKER(fifo_lock_log) {
  KVLOCKDB_Init((args.at(0) + "x").c_str());
  KVLOCKDB_IPUSERInit("10.0.0.1", "tester", 1);
  KVLOCKDB_Log_Event("SAME IP", "SAME USER", "START FIFO", 1, 2, 3);
  KVLOCKDB_Log_Event("SAME IP", "SAME USER", "ENDED FIFO", 1, 2, 3);
  return 10;
}

class NonRegularFiles : public kvtest::DataDirTest {};

TEST_F(NonRegularFiles, DbaAndCustomerFilesFailAsIfMissing) {
  MakeFifo(file("FIFO.DBA"));
  EXPECT_EQ(RunWithDeadline("fifo_dba", dir()), 10);  // read, write and create all fail
  EXPECT_TRUE(IsFifo(file("FIFO.DBA")));

  MakeFifo(file("KUNDEN.DBA"));
  EXPECT_EQ(RunWithDeadline("fifo_customers", dir()), 10);
  EXPECT_TRUE(IsFifo(file("KUNDEN.DBA")));
}

TEST_F(NonRegularFiles, NumberFileAndLockLogNeverBlock) {
  MakeFifo(file("NUMMERN.DAT"));
  EXPECT_EQ(RunWithDeadline("fifo_numbers_write", dir()), 10);
  EXPECT_EQ(RunWithDeadline("fifo_numbers_read", dir()), 1);
  EXPECT_TRUE(IsFifo(file("NUMMERN.DAT")));

  MakeFifo(file("kvlogfile.txt"));
  EXPECT_EQ(RunWithDeadline("fifo_lock_log", dir()), 10);
  EXPECT_TRUE(IsFifo(file("kvlogfile.txt")));
  // The log lock went with the failed write: the next station is not kept
  // waiting for an orphan.
  EXPECT_FALSE(kvtest::FileExists(file("kvlogfile.lok")));
}

}  // namespace
#endif

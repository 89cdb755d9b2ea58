// The customer family's files: descriptors, set-up, search entries and the
// rebuild of a missing search file.
#include <cstring>
#include <vector>

#include "core/nested_open.h"
#include "partner/kunden.h"
#include "services/action.h"
#include "services/cause.h"
#include "services/fileio.h"
#include "services/name_resolve.h"
#include "services/process_state.h"
#include "services/sepa.h"

namespace kv::partner {

namespace {

constexpr const char* kCustomerName = "KUNDEN.DBA";
constexpr const char* kNameSearchName = "KUNDSUCH.DBA";
constexpr const char* kBankSearchName = "KUNDBLZSUCH.DBA";

DbaFile MakeClosed(int32_t recordSize) {
  DbaFile f{};
  f.handle = -1;
  f.recordSize = recordSize;
  return f;
}

std::string& Directory() {
  static std::string dir;
  return dir;
}

// Levels of the KundenDBA_Open bracket that hold a search file open: a level
// whose open of the search file failed holds nothing, and its close leaves
// the search file alone.
struct BracketHolds {
  int32_t name = 0;
  int32_t bank = 0;
};
BracketHolds& Holds() { return FamilyState<BracketHolds>(); }

void HoldSearchFile(DbaFile& file, int32_t& holds) {
  if (dba::Open(&file)) {
    ++holds;
  } else {
    // Undone at once, so that a search file that is missing now is found
    // once it exists, and the caller's own count stays as it was.
    dba::Close(&file);
  }
}

void ReleaseSearchFile(DbaFile& file, int32_t& holds) {
  if (holds < 1) return;
  --holds;
  dba::Close(&file);
}

// Copies at most size bytes of a string field, stopping at its terminator;
// the rest of the target stays zero.
void CopyBounded(char* dst, const char* src, size_t size) {
  size_t n = strnlen(src, size);
  std::memcpy(dst, src, n);
}

// Walks the customer file and writes the entry makeEntry builds for every
// customer in use at the same number of the search file.
template <typename Entry, typename MakeEntry>
int32_t RebuildSearchFile(DbaFile& search, MakeEntry makeEntry) {
  DbaFile& customers = CustomerFile();
  DbaOpen customersOpen(&customers);
  if (!customersOpen) return 0;
  DbaOpen searchOpen(&search);
  if (!searchOpen) return 0;
  Progress progress("KUNDEN.DBA", dba::UsedItems(&customers), kProgressEndReported);
  Kunde k;
  for (int32_t n = dba::FirstItem(&customers, &k); n != 0; n = dba::NextItem(&customers, &k)) {
    Entry e = makeEntry(k);
    dba::SetData(&search, n, &e, sizeof e);
    progress.Step();
  }
  return 1;
}

// Customer files of versions 520 and 530 hold shorter records until
// KundenDBA_DoUpdate converts them.
bool WaitsForUpgrade(DbaFile& customers) {
  int32_t v = dba::GetVersion(&customers);
  return v == 520 || v == 530;
}

}  // namespace

DbaFile& CustomerFile() {
  static DbaFile f = MakeClosed(KUNDE_RECORD_SIZE);
  return f;
}
DbaFile& NameSearchFile() {
  static DbaFile f = MakeClosed(sizeof(KundeSuchEintrag));
  return f;
}
DbaFile& BankSearchFile() {
  static DbaFile f = MakeClosed(sizeof(KundeBLZSuchEintrag));
  return f;
}
DbaFile& SecondCustomerFile() {
  static DbaFile f = MakeClosed(KUNDE_RECORD_SIZE);
  return f;
}

const std::string& DataDirectory() { return Directory(); }

bool InRange(int32_t number) {
  if (number >= 1 && number <= KUNDEN_MAX) return true;
  NoteFailure(Cause::kBadArgument, "customer number %d outside 1..%d", number, KUNDEN_MAX);
  return false;
}

std::string DirectoryOf(const char* path) {
  char dir[kMaxPath] = {0};
  (void)DataDirectoryOf(path, dir);
  FileIO_MakePathName(dir);
  return dir;
}

std::string FileIn(const std::string& directory, const char* name) { return ResolvedFileIn(directory, name); }

void SetUpDescriptor(DbaFile& file, const std::string& directory, const char* name, int32_t recordSize) {
  if (file.openCount > 0) dba::Close(&file);
  file = MakeClosed(recordSize);
  (void)CopyPath(file.path, FileIn(directory, name).c_str());
}

int32_t Init(const char* path) {
  if (path == nullptr) return 0;
  std::string dir = DirectoryOf(path);
  if (dir.size() + std::strlen(kBankSearchName) >= static_cast<size_t>(kMaxPath)) return 0;
  Directory() = dir;
  // The descriptors start afresh: an open bracket holds nothing any more.
  Holds() = BracketHolds{};
  SEPA_SetDataDirectory(dir.c_str());
  SetUpDescriptor(CustomerFile(), dir, kCustomerName, KUNDE_RECORD_SIZE);
  SetUpDescriptor(NameSearchFile(), dir, kNameSearchName, sizeof(KundeSuchEintrag));
  SetUpDescriptor(BankSearchFile(), dir, kBankSearchName, sizeof(KundeBLZSuchEintrag));

  int32_t result = dba::NeueDba(&CustomerFile());
  if (!result || WaitsForUpgrade(CustomerFile())) return result;
  bool nameExisted = FileIO_Exist(NameSearchFile().path) != 0;
  bool bankExisted = FileIO_Exist(BankSearchFile().path) != 0;
  result = dba::NeueDba(&NameSearchFile());
  if (result && !nameExisted) result = RebuildSearchFile<KundeSuchEintrag>(NameSearchFile(), NameEntry);
  if (!result) return 0;
  result = dba::NeueDba(&BankSearchFile());
  if (result && !bankExisted) result = RebuildSearchFile<KundeBLZSuchEintrag>(BankSearchFile(), RebuiltBankEntry);
  return result;
}

int32_t InitSecond(const char* path) {
  if (path == nullptr) return 0;
  SetUpDescriptor(SecondCustomerFile(), DirectoryOf(path), kCustomerName, KUNDE_RECORD_SIZE);
  return dba::NeueDba(&SecondCustomerFile());
}

KundeSuchEintrag NameEntry(const Kunde& k) {
  KundeSuchEintrag e{};
  e.marker = KUNDE_SUCH_MARKER;
  std::memcpy(e.name, k.surname, sizeof e.name);
  e.terminator = 0;
  return e;
}

KundeBLZSuchEintrag BankEntry(const Kunde& k) {
  KundeBLZSuchEintrag e{};
  e.marker = KUNDE_SUCH_MARKER;
  CopyBounded(e.bankCode, k.bankCode, sizeof e.bankCode);
  CopyBounded(e.accountNumber, k.accountNumber, sizeof e.accountNumber);
  e.bankCode[8] = 0;
  e.accountNumber[10] = 0;
  return e;
}

KundeBLZSuchEintrag RebuiltBankEntry(const Kunde& k) {
  KundeBLZSuchEintrag e{};
  e.marker = KUNDE_SUCH_MARKER;
  std::memcpy(e.bankCode, k.bankCode, 8);
  std::memcpy(e.accountNumber, k.accountNumber, 10);
  return e;
}

void WriteSearchEntry(DbaFile& file, int32_t number, const void* entry, int32_t entrySize) {
  // Inside a KundenDBA_Open bracket the file is open already and this costs
  // the write alone.
  // A failed open is closed again too, which resets the descriptor, so that
  // the file is found again once it exists.
  if (DbaOpen open(&file); open) dba::SetData(&file, number, entry, entrySize);
}

int32_t OpenBracket() {
  DbaFile& customers = CustomerFile();
  const int32_t result = dba::Open(&customers);
  if (result) {
    HoldSearchFile(NameSearchFile(), Holds().name);
    HoldSearchFile(BankSearchFile(), Holds().bank);
  }
  return result;
}

int32_t CloseBracket() {
  ReleaseSearchFile(BankSearchFile(), Holds().bank);
  ReleaseSearchFile(NameSearchFile(), Holds().name);
  return dba::Close(&CustomerFile()) != nullptr ? 1 : 0;
}

}  // namespace kv::partner

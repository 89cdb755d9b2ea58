// The customer family's files: descriptors, set-up, search entries and the
// rebuild of a missing search file.
#include <cstring>
#include <vector>

#include "partner/kunden.h"
#include "services/action.h"
#include "services/cause.h"
#include "services/fileio.h"
#include "services/name_resolve.h"
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
  if (!DBA_OpenDBA(&customers)) {
    DBA_CloseDBA(&customers);
    return 0;
  }
  if (!DBA_OpenDBA(&search)) {
    DBA_CloseDBA(&search);
    DBA_CloseDBA(&customers);
    return 0;
  }
  WalkProgress progress("KUNDEN.DBA", DBA_UsedITEMs(&customers));
  Kunde k;
  for (int32_t n = DBA_FirstITEM(&customers, &k); n != 0; n = DBA_NextITEM(&customers, &k)) {
    Entry e = makeEntry(k);
    DBA_SetDATA(&search, n, &e, sizeof e);
    progress.Step();
  }
  DBA_CloseDBA(&search);
  DBA_CloseDBA(&customers);
  return 1;
}

// Customer files of versions 520 and 530 hold shorter records until
// KundenDBA_DoUpdate converts them.
bool WaitsForUpgrade(DbaFile& customers) {
  int32_t v = DBA_GetVersion(&customers);
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
  DataDirectoryOf(path, dir);
  FileIO_MakePathName(dir);
  return dir;
}

std::string FileIn(const std::string& directory, const char* name) { return ResolvedFileIn(directory, name); }

void SetUpDescriptor(DbaFile& file, const std::string& directory, const char* name, int32_t recordSize) {
  if (file.openCount > 0) DBA_CloseDBA(&file);
  file = MakeClosed(recordSize);
  CopyPath(file.path, FileIn(directory, name).c_str());
}

int32_t Init(const char* path) {
  if (path == nullptr) return 0;
  std::string dir = DirectoryOf(path);
  if (dir.size() + std::strlen(kBankSearchName) >= static_cast<size_t>(kMaxPath)) return 0;
  Directory() = dir;
  SEPA_SetDataDirectory(dir.c_str());
  SetUpDescriptor(CustomerFile(), dir, kCustomerName, KUNDE_RECORD_SIZE);
  SetUpDescriptor(NameSearchFile(), dir, kNameSearchName, sizeof(KundeSuchEintrag));
  SetUpDescriptor(BankSearchFile(), dir, kBankSearchName, sizeof(KundeBLZSuchEintrag));

  int32_t result = DBA_NeueDBA(&CustomerFile());
  if (!result || WaitsForUpgrade(CustomerFile())) return result;
  bool nameExisted = FileIO_Exist(NameSearchFile().path) != 0;
  bool bankExisted = FileIO_Exist(BankSearchFile().path) != 0;
  result = DBA_NeueDBA(&NameSearchFile());
  if (result && !nameExisted) result = RebuildSearchFile<KundeSuchEintrag>(NameSearchFile(), NameEntry);
  if (!result) return 0;
  result = DBA_NeueDBA(&BankSearchFile());
  if (result && !bankExisted) result = RebuildSearchFile<KundeBLZSuchEintrag>(BankSearchFile(), RebuiltBankEntry);
  return result;
}

int32_t InitSecond(const char* path) {
  if (path == nullptr) return 0;
  SetUpDescriptor(SecondCustomerFile(), DirectoryOf(path), kCustomerName, KUNDE_RECORD_SIZE);
  return DBA_NeueDBA(&SecondCustomerFile());
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
  if (DBA_OpenDBA(&file)) DBA_SetDATA(&file, number, entry, entrySize);
  // Closing after a failed open too resets the descriptor, so that the file
  // is found again once it exists.
  DBA_CloseDBA(&file);
}

WalkProgress::WalkProgress(const char* title, int32_t total)
    : dlg_(Action_OpenDlg(nullptr, 0)), step_(DBA_GetAnzeigeTeiler(total)) {
  Action_SetDlgTitel(dlg_, title);
  Action_ProgressStart(dlg_, 1, total);
}

WalkProgress::~WalkProgress() {
  Action_ProgressTo(dlg_, done_);
  Action_ProgressEnd(dlg_);
  Action_CloseDlg(dlg_);
}

void WalkProgress::Step() {
  if (++done_ % step_ == 0) Action_ProgressTo(dlg_, done_);
}

}  // namespace kv::partner

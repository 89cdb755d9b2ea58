// Versions and upgrades of the customer file.
//
// Every upgrade copies the whole file into a temporary file first, slot by
// slot (free slots too, so numbers, free chain and header stay valid), and
// only then swaps it in, in one step (FileIO_ReplaceFile): KUNDEN.DBA names
// the complete old file or the complete new one at every moment, so neither
// a crash nor another station's Init in between finds it missing and makes
// an empty one. When the swap fails the old file stays. Old search files
// are deleted once the new file is in place; KundenDBA_Init rebuilds them.
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

#include "core/nested_open.h"
#include "partner/kunden.h"
#include "services/fileio.h"
#include "services/hostui.h"
#include "services/platform.h"
#include "services/sepa.h"
#include "services/syserror.h"

#include "kvdata/kvhost.h"

namespace kv::partner {

namespace {

constexpr int32_t kSize520 = 550;
constexpr int32_t kSize530 = 574;
constexpr int32_t kSizeOldest = 438;
constexpr int32_t kExtensionSize = 100;
constexpr int32_t kExtensionOffset = 600;

constexpr const char* kCustomerName = "KUNDEN.DBA";
constexpr const char* kExtensionName = "KUNDENEW.DBA";
constexpr const char* kOldestTarget = "NKUNDEN.DBA";
constexpr const char* kTarget530 = "KUNDEN530.DBA";
constexpr const char* kTarget540 = "KUNDEN540.DBA";
constexpr const char* kNameSearchName = "KUNDSUCH.DBA";
constexpr const char* kBankSearchName = "KUNDBLZSUCH.DBA";

// Where the fields of the 574-byte record (format 530) lie in the current
// record. Strings are copied as strings (up to their terminator, cut to the
// new field); everything else byte by byte.
struct FieldMove {
  int32_t from;
  int32_t to;
  int32_t fromSize;
  int32_t toSize;  // 0: raw bytes, fromSize of them
};
constexpr FieldMove kMoves530[] = {
    {0, 0, 4, 0},       {4, 4, 4, 0},       {8, 8, 2, 0},        // item head, flags
    {10, 10, 9, 9},     {19, 19, 21, 21},   {40, 40, 41, 65},    // short key, salutation, first name
    {81, 105, 41, 65},  {122, 170, 41, 65}, {163, 235, 5, 5},    // surname, street, country
    {168, 240, 7, 9},   {175, 249, 41, 65}, {216, 314, 21, 21},  // postal code, city, telephone
    {237, 335, 21, 21}, {258, 356, 41, 65}, {299, 421, 41, 65},  // telephone 2, text 1, text 2
    {340, 486, 41, 65}, {381, 551, 21, 21}, {402, 572, 20, 20},  // text 3, short text, title
    {422, 592, 8, 0},   {430, 600, 8, 0},                         // codes 1..4, extension words
    {438, 608, 9, 9},   {447, 617, 11, 11}, {458, 628, 13, 13},  // bank code, account, bank text 1
    {471, 641, 13, 13}, {484, 654, 13, 13},                       // bank texts 2, 3
    {516, 783, 12, 0},  {528, 795, 2, 0},   {530, 797, 12, 12},  // values 1..4, reference text
    {542, 809, 32, 0},                                            // values 5..12
};

void MoveField(const uint8_t* old, uint8_t* rec, const FieldMove& m) {
  if (m.toSize == 0) {
    std::memcpy(rec + m.to, old + m.from, static_cast<size_t>(m.fromSize));
    return;
  }
  size_t n = strnlen(reinterpret_cast<const char*>(old + m.from), static_cast<size_t>(m.fromSize));
  if (n > static_cast<size_t>(m.toSize - 1)) n = static_cast<size_t>(m.toSize - 1);
  std::memcpy(rec + m.to, old + m.from, n);
}

// Moves every field that lies inside the first oldSize bytes of an old record.
void MoveFields(const uint8_t* old, int32_t oldSize, Kunde& k) {
  std::memset(&k, 0, sizeof k);
  for (const FieldMove& m : kMoves530) {
    if (m.from + m.fromSize <= oldSize) MoveField(old, reinterpret_cast<uint8_t*>(&k), m);
  }
}

// German customers get IBAN and BIC from bank code and account number.
void DeriveIban(Kunde& k) {
  if (k.countryCode[0] != 'D' || k.bankCode[0] == 0 || k.accountNumber[0] == 0) return;
  char bankCode[sizeof k.bankCode + 1] = {0};
  char account[sizeof k.accountNumber + 1] = {0};
  std::memcpy(bankCode, k.bankCode, sizeof k.bankCode);
  std::memcpy(account, k.accountNumber, sizeof k.accountNumber);
  char iban[kIbanSize];
  char bic[kBicSize];
  if (SEPA_MakeIBAN(bankCode, account, "DE", iban)) std::memcpy(k.iban, iban, std::strlen(iban) + 1);
  if (SEPA_BANKEN_BIC_Ermitteln(bankCode, bic)) std::memcpy(k.bic, bic, std::strlen(bic) + 1);
}

void ReportSwapFailure(int32_t error) {
  HostBeep(0);
  char text[160];
  std::snprintf(text, sizeof text,
                "Kundendaten kopieren gescheiter, Grund ist Fehler Nr.%ld. \nBitte Quendor informieren!",
                static_cast<long>(error));
  HostMessageBox(text, "KALVORA", KV_MB_ICONINFORMATION);
}

// Puts dir + tempName in place of KUNDEN.DBA (see the top of this file) and
// drops the search files of the old file if asked. On failure the old file
// stays, the temporary file is removed and the user has been told.
bool SwapIn(const std::string& dir, const char* tempName, bool dropSearchFiles) {
  std::string customers = FileIn(dir, kCustomerName);
  std::string temp = FileIn(dir, tempName);
  if (FileIO_ReplaceFile(temp.c_str(), customers.c_str())) {
    if (dropSearchFiles) {
      FileIO_DeleteFile(FileIn(dir, kNameSearchName).c_str());
      FileIO_DeleteFile(FileIn(dir, kBankSearchName).c_str());
    }
    return true;
  }
  int32_t error = LastSystemError();
  FileIO_DeleteFile(temp.c_str());
  ReportSwapFailure(error);
  return false;
}

DbaFile Descriptor(const std::string& dir, const char* name, int32_t recordSize) {
  DbaFile f{};
  SetUpDescriptor(f, dir, name, recordSize);
  return f;
}

// Customer file of dir with recordSize-byte records? Items are written at
// n * R + 40 + 8C, so a file of R-byte records ends on such a boundary.
bool HoldsRecordsOf(DbaFile& f, int32_t recordSize) {
  if (!dba::InspectExisting(&f)) return false;
  FileHandle h = FileIO_OpenROS(f.path);
  int64_t size = FileIO_Size(h);
  FileIO_Close(h);
  int64_t items = size - DBA_HEADER_SIZE - 8 * int64_t{f.idCapacity};
  return items == 0 || (items > 0 && items % recordSize == 0);
}

using Converter = std::function<void(int32_t n, const uint8_t* old, Kunde& out)>;

// Copies every slot of `from` into a new file `to` (created here with the
// same identifier capacity and the header of `from`, version := version),
// converting each record. newSize bytes of out are written per slot.
bool CopyConverted(DbaFile& from, DbaFile& to, int32_t newSize, int32_t version, const Converter& convert) {
  if (!dba::InspectExisting(&from)) return false;
  to.idCapacity = from.idCapacity;
  dba::InitDba(&to);
  bool ok = false;
  {
    DbaOpen fromOpen(&from);
    DbaOpen toOpen(&to);
    if (!fromOpen || !toOpen) return false;
    DbaHeader h{};
    ok = dba::GetHeader(&from, &h) != 0;
    h.version = version;
    ok = ok && dba::SetHeader(&to, &h);
    for (int32_t c = 1; ok && c <= from.idCapacity; ++c) {
      ok = dba::SetExternId(&to, c, dba::GetExternId(&from, c)) &&
           dba::SetIdFromExtern(&to, c, dba::GetIdFromExtern(&from, c));
    }
    Progress progress(to.path, h.slotCount, kProgressEndReported);
    std::vector<uint8_t> old(static_cast<size_t>(from.recordSize));
    Kunde out;
    for (int32_t n = 1; ok && dba::GetData(&from, n, old.data(), from.recordSize); ++n) {
      convert(n, old.data(), out);
      ok = dba::SetData(&to, n, &out, newSize) != 0;
      progress.Step();
    }
  }
  if (!ok) FileIO_DeleteFile(to.path);
  return ok;
}

bool Convert520To530(const std::string& dir) {
  DbaFile from = Descriptor(dir, kCustomerName, kSize520);
  DbaFile to = Descriptor(dir, kTarget530, kSize530);
  if (!HoldsRecordsOf(from, kSize520)) return false;
  // The 574-byte record is the 550-byte one followed by 24 zero bytes.
  bool ok = CopyConverted(from, to, kSize530, 530, [](int32_t, const uint8_t* old, Kunde& out) {
    std::memset(&out, 0, sizeof out);
    std::memcpy(&out, old, kSize520);
  });
  return ok && SwapIn(dir, kTarget530, true);
}

bool Convert530To540(const std::string& dir) {
  DbaFile from = Descriptor(dir, kCustomerName, kSize530);
  DbaFile to = Descriptor(dir, kTarget540, KUNDE_RECORD_SIZE);
  if (!HoldsRecordsOf(from, kSize530)) return false;
  bool ok = CopyConverted(from, to, KUNDE_RECORD_SIZE, KUNDE_VERSION, [](int32_t, const uint8_t* old, Kunde& out) {
    MoveFields(old, kSize530, out);
    DeriveIban(out);
  });
  return ok && SwapIn(dir, kTarget540, true);
}

// The oldest format: 438-byte records (the fields of the 530 record up to
// and including the two extension words) plus KUNDENEW.DBA, whose 100-byte
// record of the same number becomes the extension block at offset 600.
// Search entries are written afresh for every number, zeroed for free ones.
bool ConvertOldest(const std::string& dir) {
  DbaFile from = Descriptor(dir, kCustomerName, kSizeOldest);
  DbaFile ext = Descriptor(dir, kExtensionName, kExtensionSize);
  DbaFile to = Descriptor(dir, kOldestTarget, KUNDE_RECORD_SIZE);
  DbaFile names = Descriptor(dir, kNameSearchName, sizeof(KundeSuchEintrag));
  DbaFile banks = Descriptor(dir, kBankSearchName, sizeof(KundeBLZSuchEintrag));
  if (!HoldsRecordsOf(from, kSizeOldest)) return false;
  dba::NeueDba(&names);
  dba::NeueDba(&banks);
  bool ok;
  {
    // Each of the three may be missing; its reads and writes then fail alone.
    DbaOpen extOpen(&ext);
    DbaOpen namesOpen(&names);
    DbaOpen banksOpen(&banks);
    ok = CopyConverted(from, to, KUNDE_RECORD_SIZE, KUNDE_VERSION, [&](int32_t n, const uint8_t* old, Kunde& out) {
      MoveFields(old, kSizeOldest, out);
      uint8_t extension[kExtensionSize];
      if (dba::GetData(&ext, n, extension, kExtensionSize)) {
        std::memcpy(reinterpret_cast<uint8_t*>(&out) + kExtensionOffset, extension, kExtensionSize);
      }
      // Every number gets its entries afresh; a free one gets the zeroed
      // entries a delete leaves, so that nothing a KundenDBA_Init wrote from
      // the unconverted records can still be found.
      const bool used = out.refCount != -1;
      KundeSuchEintrag name = used ? NameEntry(out) : KundeSuchEintrag{};
      dba::SetData(&names, n, &name, sizeof name);
      KundeBLZSuchEintrag bank = used ? BankEntry(out) : KundeBLZSuchEintrag{};
      dba::SetData(&banks, n, &bank, sizeof bank);
    });
  }
  if (!ok || !SwapIn(dir, kOldestTarget, false)) return false;
  FileIO_DeleteFile(ext.path);
  return true;
}

}  // namespace

int32_t CheckConversionRequired(const char* path) {
  if (path == nullptr) return 0;
  std::string dir = DirectoryOf(path);
  DbaFile f = Descriptor(dir, kCustomerName, KUNDE_RECORD_SIZE);
  if (!dba::InspectExisting(&f)) return 0;
  int32_t version = dba::GetVersion(&f);
  if (version == KUNDE_VERSION || version == 520 || version == 530) return version;
  if (version < 520 && FileIO_Exist(FileIn(dir, kExtensionName).c_str())) {
    return ConvertOldest(dir) ? KUNDE_VERSION : 0;
  }
  if (!HoldsRecordsOf(f, KUNDE_RECORD_SIZE)) return version;
  dba::SetVersion(&f, KUNDE_VERSION);
  return KUNDE_VERSION;
}

int32_t DoUpdate(int32_t newVersion, int32_t oldVersion) {
  std::string dir = DataDirectory();
  if (dir.empty()) return 1;
  bool ran = false;
  bool ok = true;
  bool current = false;
  if (newVersion >= 530 && oldVersion <= 520) {
    ran = true;
    ok = Convert520To530(dir);
  }
  if (ok && newVersion >= 540 && oldVersion <= 530) {
    ran = true;
    ok = Convert530To540(dir);
    current = ok;
  }
  // The tidy-up reads 1299-byte records: it runs once the file has them.
  if (current) {
    std::string customers = FileIn(dir, kCustomerName);
    // A handle opened before the swap would still point at the old file.
    SetUpDescriptor(CustomerFile(), dir, kCustomerName, KUNDE_RECORD_SIZE);
    Reorganise();
    Init(customers.c_str());
  }
  return ran ? 0 : 1;
}

int32_t MergeExtension(const char* path) {
  if (path == nullptr) return 0;
  std::string dir = DirectoryOf(path);
  DbaFile customers = Descriptor(dir, kCustomerName, KUNDE_RECORD_SIZE);
  DbaFile ext = Descriptor(dir, kExtensionName, kExtensionSize);
  DbaFile names = Descriptor(dir, kNameSearchName, sizeof(KundeSuchEintrag));
  dba::NeueDba(&names);
  bool opened;
  {
    DbaOpen customersOpen(&customers);
    DbaOpen extOpen(&ext);
    DbaOpen namesOpen(&names);
    opened = customersOpen && extOpen && namesOpen;
    if (opened) {
      Progress progress(customers.path, dba::UsedItems(&customers), kProgressEndReported);
      Kunde k;
      for (int32_t n = dba::FirstItem(&customers, &k); n != 0; n = dba::NextItem(&customers, &k)) {
        uint8_t extension[kExtensionSize];
        if (dba::GetData(&ext, n, extension, kExtensionSize)) {
          std::memcpy(reinterpret_cast<uint8_t*>(&k) + kExtensionOffset, extension, kExtensionSize);
          std::memset(k.referenceText, 0, sizeof k.referenceText);
          dba::SetData(&customers, n, &k, KUNDE_RECORD_SIZE);
        }
        KundeSuchEintrag name = NameEntry(k);
        dba::SetData(&names, n, &name, sizeof name);
        progress.Step();
      }
  }
  }
  if (!opened) return 0;
  dba::SetVersion(&customers, KUNDE_VERSION);
  return FileIO_DeleteFile(ext.path) ? 1 : 0;
}

}  // namespace kv::partner

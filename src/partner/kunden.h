// The customer family: KUNDEN.DBA with its name and bank search files, the
// customer file of a second data directory, and the upgrades of older
// customer files. The exported KundenDBA_* functions forward here.
#ifndef KV_PARTNER_KUNDEN_H
#define KV_PARTNER_KUNDEN_H

#include <cstdint>
#include <optional>
#include <string>

#include "core/dba_file.h"
#include "services/progress.h"

#include "kvdata/kundendba.h"

namespace kv::partner {

// ---- files (kunden_files.cpp) ----
// The process-wide descriptors; their paths are empty until Init.
DbaFile& CustomerFile();
DbaFile& NameSearchFile();
DbaFile& BankSearchFile();
DbaFile& SecondCustomerFile();
// Data directory fixed by Init, with a trailing separator ("" before).
const std::string& DataDirectory();
// Fills a closed descriptor for file `name` of `directory`.
void SetUpDescriptor(DbaFile& file, const std::string& directory, const char* name, int32_t recordSize);
// The data directory of path (the path itself when it names an existing
// directory, else its directory part), with a trailing separator.
std::string DirectoryOf(const char* path);
// Path of file `name` of `directory`, spelled as the file on disk when one
// exists under another case.
std::string FileIn(const std::string& directory, const char* name);
[[nodiscard]] bool InRange(int32_t number);

int32_t Init(const char* path);
int32_t InitSecond(const char* path);

// Search entries of a record: as written by a customer write (strings bounded
// by their fields, zero-padded) ...
KundeSuchEintrag NameEntry(const Kunde& k);
KundeBLZSuchEintrag BankEntry(const Kunde& k);
// ... and as a rebuild writes them (bank code and account copied byte by
// byte, 8 and 10 bytes).
KundeBLZSuchEintrag RebuiltBankEntry(const Kunde& k);
// Writes entry (entrySize bytes) at number of a search file when it opens;
// a file that does not open is skipped.
void WriteSearchEntry(DbaFile& file, int32_t number, const void* entry, int32_t entrySize);

// KundenDBA_Open / KundenDBA_Close: the nested open of the customer file
// (results as DBA_OpenDBA / DBA_CloseDBA). A level whose customer file
// opens also holds both search files open until its close, so that the
// saves and deletes inside the bracket open and close no file.
int32_t OpenBracket();
int32_t CloseBracket();

// ---- records (kunden.cpp) ----
void Clear(Kunde& k);
void Stamp(Kunde& k);
int32_t WriteImport(int32_t number, void* record);
int32_t ReadBlock(int32_t first, void* records, int32_t count);
int32_t WriteBlock(int32_t first, void* records, int32_t count);
int32_t MaxNumber();
int32_t ForEach(DbaFile& file, DbaItemCallback callback, bool readWrite);
int32_t Reorganise();
int32_t DeclarationIssued(int32_t number);
int32_t CreateHeader(int32_t count, int32_t version);
int32_t SearchReadBlock(DbaFile& file, int32_t first, void* entries, int32_t count);

// ---- one customer between stations (kunden_shared.cpp) ----
// Customer `number`'s record lock: the 1299 bytes of its item in KUNDEN.DBA,
// taken through the customer file's descriptor (opened one level for the
// lock's lifetime), waiting up to the host lock time-out. Inside a scope
// that already holds it through the same descriptor it is granted at once.
class CustomerLock {
 public:
  explicit CustomerLock(int32_t number);
  ~CustomerLock();
  CustomerLock(const CustomerLock&) = delete;
  CustomerLock& operator=(const CustomerLock&) = delete;
  // The file opened (an unopened file has no customer to lock).
  [[nodiscard]] bool opened() const { return opened_; }
  // The lock is held.
  [[nodiscard]] bool ok() const { return range_.has_value() && range_->ok(); }
  // The record exists in the file but another station holds its lock.
  [[nodiscard]] bool busy() const { return range_.has_value() && !range_->ok(); }

 private:
  bool opened_ = false;
  std::optional<dba::HeldRange> range_;
};

// Takes a number from the free chain and marks its record taken (a cleared
// record with reference count 1), so that a save can tell it from a number
// another station has freed. 0 when the file is full or the mark failed
// (the number then goes back to the chain).
int32_t NewNumber();
// KundenDBA_SchreibeKunde (file opened here) and KundenDBA_Write (inside
// the caller's open bracket: 0 when the file is not open): under the
// customer's lock, refuses a record that is free on disk (0, nothing
// written, search files untouched), keeps the chain heads that are on disk
// (copied into record), then search entries, stamp and write.
int32_t Write(int32_t number, void* record, int32_t updateSearch);
int32_t WriteOpen(int32_t number, void* record);
// Under the customer's lock: a free record is left alone (1); otherwise the
// cleared record and the free head go out in one write, then the header.
// 0 when the lock or the free was refused (the record stays as it was).
int32_t Delete(int32_t number);
// Sets the usable flag on every customer in use 1..MaxNumber, each under
// its lock (a record another station holds past the time-out is skipped).
int32_t AllUsable();
int32_t SetDeclaration(int32_t number, bool on);
// The chain heads of the single items sold to a customer (record bytes
// 911 and 915). Read: 1 with the heads; 0 when the customer has no record
// that could head a chain (no file, a number outside it, a free or short
// record); -1 when the customer's lock could not be had within the lock
// time-out, which says nothing about the record and must not be taken for
// "no customer". Write:
// last write date and time and both heads (bytes 907..918) in one write,
// under the customer's lock; 0 for a free record or a refused lock.
int32_t ReadChainHeads(int32_t number, int32_t* first, int32_t* last);
int32_t WriteChainHeads(int32_t number, int32_t first, int32_t last);

// ---- address texts (kunden_address.cpp) ----
int32_t IsEmpty(const void* record, int32_t mode);
int32_t Address(int32_t number, char* text, int32_t mode);
int32_t AddressWithTelephone(int32_t number, char* text, const char* label);

// ---- versions and upgrades (kunden_upgrade.cpp) ----
int32_t CheckConversionRequired(const char* path);
int32_t DoUpdate(int32_t newVersion, int32_t oldVersion);
int32_t MergeExtension(const char* path);

}  // namespace kv::partner

#endif  // KV_PARTNER_KUNDEN_H

// Demo step: an ID mapping file with a few keys added, found and removed.
#include <cstring>
#include <ostream>
#include <string>

#include "article/idmap.h"
#include "index/keyfile_check.h"
#include "kvdata/bbaumlib.h"
#include "tool.h"

namespace {

BaumKey MakeKey(const char* text) {
  BaumKey k{};
  std::memcpy(k.key, text, std::strlen(text));
  return k;
}

int Demo(const std::string& dir, std::ostream& out) {
  BaumKeyDatei* d = kv::idmap::InitIdMapFile(dir.c_str(), "MAPEANID.DBA");
  if (d == nullptr) {
    out << "cannot create MAPEANID.DBA\n";
    return 1;
  }
  out << "MAPEANID.DBA: " << d->slotCount << " slots, " << BBAUMLIB_BenutzteBAUMKEYs(d) << " in use\n";
  const char* eans[] = {"4006381333931", "4012345678901", "5449000000996", "9783161484100"};
  int32_t payload = 1001;
  for (const char* ean : eans) {
    BaumKey k = MakeKey(ean);
    const int32_t slot = BBAUMLIB_BAUMKEYAnlegen(d, &k);
    if (slot <= 0) {
      out << "cannot add " << ean << "\n";
      BBAUMLIB_Exit(d);
      return 1;
    }
    k.payload = payload++;
    BBAUMLIB_SchreibeBAUMKEY(d, slot, &k);
    out << "added " << ean << " -> article " << k.payload << " in slot " << slot << "\n";
  }
  BaumKey probe = MakeKey("5449000000996");
  const int32_t found = BBAUMLIB_BAUMKEYVorhanden(d, &probe);
  BaumKey record{};
  BBAUMLIB_LeseBAUMKEY(d, found, &record);
  out << "found 5449000000996 in slot " << found << " -> article " << record.payload << "\n";
  BaumKey gone = MakeKey("4012345678901");
  const int32_t removedSlot = BBAUMLIB_BAUMKEYVorhanden(d, &gone);
  BBAUMLIB_BAUMKEYLoeschen(d, removedSlot);
  out << "removed 4012345678901 (slot " << removedSlot << "), found now: " << BBAUMLIB_BAUMKEYVorhanden(d, &gone)
      << "\n";

  kv::index::KeyFileCheck check;
  const bool ok = kv::index::CheckKeyFile(d, &check) && check.defects.empty();
  out << "in key order:";
  for (const auto& e : check.keys) {
    const char* text = reinterpret_cast<const char*>(e.record.key);
    out << " " << std::string(text, strnlen(text, sizeof e.record.key));
  }
  out << "\n" << check.usedCount << " keys in use, tree " << (ok ? "checked, no defects" : "DEFECTIVE") << "\n";
  BBAUMLIB_Exit(d);
  return ok ? 0 : 1;
}

kvtool::DemoRegistrar registrar(60, "Key files: an ID mapping file", Demo);

}  // namespace

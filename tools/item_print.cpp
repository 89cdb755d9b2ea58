#include "item_print.h"

#include <cstdio>

#include "services/fileio.h"
#include "services/texdefs.h"

namespace kvtool {

namespace {

std::string DateText(uint16_t date) {
  if (date == 0) return "-";
  char text[11];
  kv::TEXDEFS_IntegerToDatum(date, text);
  return std::string(text) + " (" + std::to_string(date) + ")";
}

std::string TimeText(uint16_t time) {
  int32_t h, m, s;
  kv::UnpackTimeOfDay(time, &h, &m, &s);
  char text[16];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", h, m, s);
  return text;
}

}  // namespace

std::string ItemFlagsText(int16_t flags) {
  static const struct {
    int32_t bit;
    const char* name;
  } kNames[] = {
      {DATABASE_FLAG_BENUTZT, "in use"},      {DATABASE_FLAG_VERKAUFT, "sold"},
      {DATABASE_FLAG_INVENTUR, "inventoried"}, {DATABASE_FLAG_RETOURE, "return"},
      {DATABASE_FLAG_EAN, "EAN-coded"},       {DATABASE_FLAG_MENGE, "quantity item"},
      {DATABASE_FLAG_RESERVED6, "bit 6"},
  };
  uint16_t word = static_cast<uint16_t>(flags);
  std::string text;
  for (const auto& n : kNames) {
    if ((word & n.bit) == 0) continue;
    text += text.empty() ? "" : ", ";
    text += n.name;
  }
  if ((word & DATABASE_FLAG_SALE_ATTR) != 0) {
    char attr[32];
    std::snprintf(attr, sizeof attr, "sale attributes 0x%04X", word & DATABASE_FLAG_SALE_ATTR);
    text += text.empty() ? "" : ", ";
    text += attr;
  }
  return text.empty() ? "free" : text;
}

void PrintItem(std::ostream& out, int32_t id, const Einzelteil& r) {
  char flags[8];
  std::snprintf(flags, sizeof flags, "0x%04X", static_cast<uint16_t>(r.flags));
  out << "item " << id << "\n"
      << "  flags            " << flags << " (" << ItemFlagsText(r.flags) << ")\n"
      << "  article          " << r.article << "  chain prev " << r.artPrev << " next " << r.artNext << "\n"
      << "  designation      " << r.designation << "  chain prev " << r.bezPrev << " next " << r.bezNext << "\n"
      << "  customer         " << r.customer << "  chain prev " << r.custPrev << " next " << r.custNext << "\n"
      << "  location         " << r.location << " since " << DateText(r.locationDate) << "\n"
      << "  prices           " << r.price1First << "/" << r.price1Second << "  " << r.price2First << "/"
      << r.price2Second << "  " << r.price3First << "/" << r.price3Second << "\n"
      << "  value            " << r.value << "\n"
      << "  quantity         " << r.quantity << " (counted as " << DATABASE_GetMenge(&r) << "), second counter "
      << r.quantity2 << "\n"
      << "  VAT code         " << r.vatCode << "\n"
      << "  sale             ref " << r.saleRef << ", document " << r.documentRef << " (previous "
      << r.previousDocumentRef << "), " << DateText(r.saleDate) << " " << TimeText(r.saleTime) << "\n"
      << "  exchanges        " << r.exchangeCount << ", last " << DateText(r.exchangeDate) << "\n"
      << "  inventory        ref " << r.inventoryRef << ", value ref " << r.inventoryValueRef << ", "
      << DateText(r.inventoryDate) << "\n"
      << "  created at       " << TimeText(r.creationTime) << "\n";
}

int32_t ItemFileSize(const std::string& dir) {
  std::string path = dir;
  if (!path.empty() && !kv::IsPathSep(path.back())) path += kv::kPathSep;
  path += DATABASE_FILE_NAME;
  kv::FileHandle h = kv::FileIO_OpenROS(path.c_str());
  if (h == kv::kInvalidHandle) return 0;
  int64_t size = kv::FileIO_Size(h);
  kv::FileIO_Close(h);
  int64_t records = (size - DATABASE_HEADER_SIZE) / DATABASE_RECORD_SIZE;
  return records < 2 || records - 1 > INT32_MAX ? 0 : static_cast<int32_t>(records - 1);
}

}  // namespace kvtool

// Printing of single items for the item command and the till-sale demo.
#ifndef KVDATA_TOOLS_ITEM_PRINT_H
#define KVDATA_TOOLS_ITEM_PRINT_H

#include <cstdint>
#include <ostream>
#include <string>

#include "kvdata/database.h"

namespace kvtool {

// The flag word spelled out: "in use, sold, attributes 0x0180".
std::string ItemFlagsText(int16_t flags);
// Every field of an item, one per line, indented by two blanks.
void PrintItem(std::ostream& out, int32_t id, const Einzelteil& r);
// N of the TEILE.DBA in dir from its length; 0 when it is missing or too short.
int32_t ItemFileSize(const std::string& dir);

}  // namespace kvtool

#endif  // KVDATA_TOOLS_ITEM_PRINT_H

// The EAN-item file (see include/kvdata/eanteile.h for the layout).
#ifndef KV_EAN_EANTEILE_H
#define KV_EAN_EANTEILE_H

#include <cstdint>

namespace kv::eanteile {

int32_t init(int32_t count, const char* path);
int32_t store(int32_t item, const char* ean);
int32_t read(int32_t item, char* ean);
int32_t remove(int32_t item);

}  // namespace kv::eanteile

#endif  // KV_EAN_EANTEILE_H

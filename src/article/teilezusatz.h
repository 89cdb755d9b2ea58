// Item extras (see include/kvdata/teilezusatz.h for the layout).
#ifndef KV_ARTICLE_TEILEZUSATZ_H
#define KV_ARTICLE_TEILEZUSATZ_H

#include <cstdint>

namespace kv::teilezusatz {

int32_t init(int32_t count, const char* path);
int32_t read(int32_t item, void* record);
int32_t write(int32_t item, const void* record);
int32_t remove(int32_t item);

}  // namespace kv::teilezusatz

#endif  // KV_ARTICLE_TEILEZUSATZ_H

// The designation file (see include/kvdata/bezlib.h for the layout).
#ifndef KV_ARTICLE_BEZLIB_H
#define KV_ARTICLE_BEZLIB_H

#include <cstdint>

namespace kv::bezlib {

int32_t init(int32_t count, const char* path);
int32_t open();
void close();
int32_t lock_record(int32_t n);
int32_t unlock_record(int32_t n);
int32_t read_record(int32_t handle, int32_t n, void* record);
int32_t write_record(int32_t handle, int32_t n, const void* record);
int32_t lese(int32_t n, void* record);
int32_t schreibe(int32_t n, const void* record);
int32_t new_designation(const char* text);
int32_t remove(int32_t n);

}  // namespace kv::bezlib

#endif  // KV_ARTICLE_BEZLIB_H

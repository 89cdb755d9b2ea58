// The article file: one process-wide handle on the own file, one on a
// foreign file, records of 660 bytes behind a 40-byte header.
#ifndef KV_ARTICLE_ARTLIB_H
#define KV_ARTICLE_ARTLIB_H

#include <cstdint>

namespace kv::artlib {

int32_t init(int32_t count, const char* path);
int32_t version();
int32_t open();
void close();
int32_t read_record(int32_t handle, int32_t n, void* record);
int32_t write_record(int32_t handle, int32_t n, void* record);
int32_t lese(int32_t n, void* record);
int32_t schreibe(int32_t n, void* record);
int32_t lock_record(int32_t n);
int32_t unlock_record(int32_t n);
int32_t block_read(int32_t handle, int32_t first, int32_t count, void* buffer);
int32_t read_complete(void* buffer, int32_t size);
void clear(void* record);
int32_t file_pos(int32_t n);
int32_t max_count();
void size_and_name(int32_t* count, char* path);
uint32_t last_write_time();
int32_t is_valid_article(int32_t n, const char* text);
int32_t open_foreign(const char* path);
int32_t read_foreign(int32_t n, void* record);
void close_foreign();
int32_t read_header(int32_t handle, void* header);
int32_t write_header(int32_t handle, const void* header);
int32_t create();
int32_t enlarge();
int32_t do_update(int32_t newVersion, int32_t oldVersion);

}  // namespace kv::artlib

#endif  // KV_ARTICLE_ARTLIB_H

// The calls of the single-item chains into the customer family and the
// lock database, and the place of the customer chain's head in the
// customer record.
#ifndef KV_ARTICLE_PARTNER_CALLS_H
#define KV_ARTICLE_PARTNER_CALLS_H

#include <cstdint>

extern "C" {
int32_t KundenDBA_LeseKunde(int32_t number, void* record);
int32_t KundenDBA_SchreibeKunde(int32_t number, const void* record, int32_t updateSearch);
int32_t KVLOCKDB_Blocking_Start(const char* name, int32_t timeoutMs);
void KVLOCKDB_Blocking_Stop(const char* name);
void KVLOCKDB_Log_Event(const char* ip, const char* user, const char* function, int32_t w1, int32_t w2,
                        int32_t w3);
}

namespace kv::database {

// Customer record: size and the first / last single item of its chain.
constexpr int32_t kCustomerRecordSize = 1299;
constexpr int32_t kCustomerFirstItem = 911;
constexpr int32_t kCustomerLastItem = 915;

}  // namespace kv::database

#endif  // KV_ARTICLE_PARTNER_CALLS_H

#ifndef KV_CORE_DBA_PROGRESS_H
#define KV_CORE_DBA_PROGRESS_H

#include <cstdint>

namespace kv::dba {

// Walks over count items update a progress display every k-th item:
// <=200: 10; <=20000: 100; <=200000: 1000; above: 10000.
int32_t ProgressStep(int32_t count);

}  // namespace kv::dba

#endif  // KV_CORE_DBA_PROGRESS_H

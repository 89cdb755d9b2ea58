// Progress step of walks over DBA files and trees.
#include "core/dba_progress.h"

namespace kv::dba {

int32_t ProgressStep(int32_t count) {
  if (count <= 200) return 10;
  if (count <= 20000) return 100;
  if (count <= 200000) return 1000;
  return 10000;
}

}  // namespace kv::dba

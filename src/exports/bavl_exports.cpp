// BAVL_*: the key files' instance of the AVL tree, forwarding to src/index.
#include "index/avl_tree.h"
#include "kvdata/bavl.h"

using kv::index::BavlInstance;

extern "C" {

KV_API void BAVL_NeuerBaum(AvlBaum* tree, int32_t count, AvlProgressFn progress) {
  kv::index::NewBavlTree(tree, count, progress);
}
KV_API int32_t BAVL_Einfuegen(AvlBaum* tree) { return kv::index::Insert(BavlInstance(), tree); }
KV_API int32_t BAVL_Suchen(AvlBaum* tree) { return kv::index::Search(BavlInstance(), tree); }
KV_API void BAVL_Loeschen(AvlBaum* tree) { kv::index::Remove(BavlInstance(), tree); }
KV_API int32_t BAVL_MitBaum(AvlBaum* tree) { return kv::index::Walk(BavlInstance(), tree); }
KV_API void BAVL_LockBaum(AvlBaum* tree) { kv::index::LockTree(BavlInstance(), tree); }
KV_API void BAVL_UnLockBaum(AvlBaum* tree) { kv::index::UnlockTree(BavlInstance(), tree); }

}  // extern "C"

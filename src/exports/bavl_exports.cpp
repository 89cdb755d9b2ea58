// BAVL_*: the key files' instance of the AVL tree, forwarding to src/index.
#include "exports/guard.h"
#include "index/avl_tree.h"
#include "kvdata/bavl.h"

using kv::index::BavlInstance;

extern "C" {

KV_API void BAVL_NeuerBaum(AvlBaum* tree, int32_t count, AvlProgressFn progress) KV_TRY_VOID {
  kv::index::NewBavlTree(tree, count, progress);
} KV_CATCH_VOID
KV_API int32_t BAVL_Einfuegen(AvlBaum* tree) KV_TRY(int32_t) { return kv::index::Insert(BavlInstance(), tree); } KV_CATCH(0)
KV_API int32_t BAVL_Suchen(AvlBaum* tree) KV_TRY(int32_t) { return kv::index::Search(BavlInstance(), tree); } KV_CATCH(0)
KV_API void BAVL_Loeschen(AvlBaum* tree) KV_TRY_VOID { kv::index::Remove(BavlInstance(), tree); } KV_CATCH_VOID
KV_API int32_t BAVL_MitBaum(AvlBaum* tree) KV_TRY(int32_t) { return kv::index::Walk(BavlInstance(), tree); } KV_CATCH(0)
KV_API void BAVL_LockBaum(AvlBaum* tree) KV_TRY_VOID { kv::index::LockTree(BavlInstance(), tree); } KV_CATCH_VOID
KV_API void BAVL_UnLockBaum(AvlBaum* tree) KV_TRY_VOID { kv::index::UnlockTree(BavlInstance(), tree); } KV_CATCH_VOID

}  // extern "C"

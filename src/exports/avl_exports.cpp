// AVL_*: the AVL tree over a caller's node store, forwarding to src/index.
#include "exports/guard.h"
#include "index/avl_tree.h"
#include "kvdata/avl.h"

using kv::index::AvlInstance;

extern "C" {

KV_API void AVL_NeuerBaum(AvlBaum* tree, int32_t count, AvlProgressFn progress) KV_TRY_VOID {
  kv::index::NewAvlTree(tree, count, progress);
} KV_CATCH_VOID
KV_API void AVL_NeuerBaum_Visual(void* display, AvlBaum* tree, int32_t count, AvlVisualProgressFn progress) KV_TRY_VOID {
  kv::index::NewAvlTreeVisual(display, tree, count, progress);
} KV_CATCH_VOID
KV_API int32_t AVL_Einfuegen(AvlBaum* tree) KV_TRY(int32_t) { return kv::index::Insert(AvlInstance(), tree); } KV_CATCH(0)
KV_API int32_t AVL_Suchen(AvlBaum* tree) KV_TRY(int32_t) { return kv::index::Search(AvlInstance(), tree); } KV_CATCH(0)
KV_API void AVL_Loeschen(AvlBaum* tree) KV_TRY_VOID { kv::index::Remove(AvlInstance(), tree); } KV_CATCH_VOID
KV_API int32_t AVL_MitBaum(AvlBaum* tree) KV_TRY(int32_t) { return kv::index::Walk(AvlInstance(), tree); } KV_CATCH(0)
KV_API void AVL_LockBaum(AvlBaum* tree) KV_TRY_VOID { kv::index::LockTree(AvlInstance(), tree); } KV_CATCH_VOID
KV_API void AVL_UnLockBaum(AvlBaum* tree) KV_TRY_VOID { kv::index::UnlockTree(AvlInstance(), tree); } KV_CATCH_VOID

}  // extern "C"

// AVL_* and BAVL_*: the two instances of the AVL tree over a caller's node
// store (BAVL_ is the key files' one), forwarding to src/index.
#include "exports/guard.h"
#include "index/avl_tree.h"
#include "kvdata/avl.h"
#include "kvdata/bavl.h"

// One instance's functions: the same tree, told apart by the instance.
#define KV_TREE_EXPORTS(instance, NeuerBaum, newTree, Einfuegen, Suchen, Loeschen, MitBaum, LockBaum, UnLockBaum)     \
  KV_API void NeuerBaum(AvlBaum* tree, int32_t count, AvlProgressFn progress) KV_TRY_VOID {                           \
    kv::index::newTree(tree, count, progress);                                                                        \
  } KV_CATCH_VOID                                                                                                     \
  KV_API int32_t Einfuegen(AvlBaum* tree) KV_TRY(int32_t) { return kv::index::Insert(instance(), tree); } KV_CATCH(0) \
  KV_API int32_t Suchen(AvlBaum* tree) KV_TRY(int32_t) { return kv::index::Search(instance(), tree); } KV_CATCH(0)    \
  KV_API void Loeschen(AvlBaum* tree) KV_TRY_VOID { kv::index::Remove(instance(), tree); } KV_CATCH_VOID              \
  KV_API int32_t MitBaum(AvlBaum* tree) KV_TRY(int32_t) { return kv::index::Walk(instance(), tree); } KV_CATCH(0)     \
  KV_API void LockBaum(AvlBaum* tree) KV_TRY_VOID { kv::index::LockTree(instance(), tree); } KV_CATCH_VOID            \
  KV_API void UnLockBaum(AvlBaum* tree) KV_TRY_VOID { kv::index::UnlockTree(instance(), tree); } KV_CATCH_VOID

extern "C" {

KV_TREE_EXPORTS(kv::index::AvlInstance, AVL_NeuerBaum, NewAvlTree, AVL_Einfuegen, AVL_Suchen, AVL_Loeschen, AVL_MitBaum,
                AVL_LockBaum, AVL_UnLockBaum)
KV_TREE_EXPORTS(kv::index::BavlInstance, BAVL_NeuerBaum, NewBavlTree, BAVL_Einfuegen, BAVL_Suchen, BAVL_Loeschen,
                BAVL_MitBaum, BAVL_LockBaum, BAVL_UnLockBaum)

// Only the first instance has a progress display of its own.
KV_API void AVL_NeuerBaum_Visual(void* display, AvlBaum* tree, int32_t count, AvlVisualProgressFn progress) KV_TRY_VOID {
  kv::index::NewAvlTreeVisual(display, tree, count, progress);
} KV_CATCH_VOID

}  // extern "C"

// AVL_*: the AVL tree over a caller's node store, forwarding to src/index.
#include "index/avl_tree.h"
#include "kvdata/avl.h"

using kv::index::AvlInstance;

extern "C" {

KV_API void AVL_NeuerBaum(AvlBaum* tree, int32_t count, AvlProgressFn progress) {
  kv::index::NewAvlTree(tree, count, progress);
}
KV_API void AVL_NeuerBaum_Visual(void* display, AvlBaum* tree, int32_t count, AvlVisualProgressFn progress) {
  kv::index::NewAvlTreeVisual(display, tree, count, progress);
}
KV_API int32_t AVL_Einfuegen(AvlBaum* tree) { return kv::index::Insert(AvlInstance(), tree); }
KV_API int32_t AVL_Suchen(AvlBaum* tree) { return kv::index::Search(AvlInstance(), tree); }
KV_API void AVL_Loeschen(AvlBaum* tree) { kv::index::Remove(AvlInstance(), tree); }
KV_API int32_t AVL_MitBaum(AvlBaum* tree) { return kv::index::Walk(AvlInstance(), tree); }
KV_API void AVL_LockBaum(AvlBaum* tree) { kv::index::LockTree(AvlInstance(), tree); }
KV_API void AVL_UnLockBaum(AvlBaum* tree) { kv::index::UnlockTree(AvlInstance(), tree); }

}  // extern "C"

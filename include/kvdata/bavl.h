/* The AVL tree's second instance, used by the key files (BAVL_*).
 *
 * Same descriptor, arguments, results and algorithms as AVL_* (avl.h). The
 * one difference: every callback - ReadNode, WriteNode, GetRoot, SetRoot,
 * Compare, Visit, Lock, Unlock - receives the descriptor's compareContext;
 * storeContext is not read. The walk's stop flag is a process-wide variable
 * of its own, so an AVL_MitBaum walk and a BAVL_MitBaum walk never disturb
 * each other. */
#ifndef KVDATA_BAVL_H
#define KVDATA_BAVL_H

#include "kv_export.h"
#include "avl.h"

KV_EXTERN_C_BEGIN

/* SetRoot(0) and a cleared node into slots 1..count, progress(i) after every
 * slot, then progress(count + 1). Null progress allowed. No lock. */
KV_API void BAVL_NeuerBaum(AvlBaum* tree, int32_t count, AvlProgressFn progress);
/* As AVL_Einfuegen: element number, or minus the equal node's number; 0 on
 * bad input. Lock/Unlock around it. */
KV_API int32_t BAVL_Einfuegen(AvlBaum* tree);
/* As AVL_Suchen: the equal node or 0. No lock. */
KV_API int32_t BAVL_Suchen(AvlBaum* tree);
/* As AVL_Loeschen. Lock/Unlock around it. */
KV_API void BAVL_Loeschen(AvlBaum* tree);
/* As AVL_MitBaum, with its own stop flag. Returns 1 (0 on bad input). */
KV_API int32_t BAVL_MitBaum(AvlBaum* tree);
/* Call Lock / Unlock with the compare context. */
KV_API void BAVL_LockBaum(AvlBaum* tree);
KV_API void BAVL_UnLockBaum(AvlBaum* tree);

KV_EXTERN_C_END

#endif /* KVDATA_BAVL_H */

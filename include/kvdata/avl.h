/* AVL tree over a caller-supplied node store (AVL_*), with the AvlBaum
 * descriptor and the AvlKnoten node.
 *
 * The tree owns no memory. Nodes are addressed by 32-bit element numbers
 * counted from 1 (0 = no node); the node of element n lives in the caller's
 * slot n. Every node read or write, the root, every key comparison, every
 * visit and the lock go through the callbacks in the descriptor. The key of a
 * node is not stored in the node: Compare looks it up by element number,
 * element 0 standing for the search key the caller has put into the compare
 * context.
 *
 * AVL_* hands storeContext to ReadNode, WriteNode, GetRoot, SetRoot, Visit,
 * Lock and Unlock and compareContext to Compare. (The BAVL_* instance in
 * bavl.h hands compareContext to all of them.)
 *
 * Parent links: insertion keeps every parent link right. Deletion keeps
 * them where it rotates or splices a node out, except in two places where
 * existing files carry stale links and this tree reproduces them exactly:
 * the double rotation after a left subtree shrank writes no parent links,
 * and a predecessor taken from directly below the deleted node hands its
 * left child parent 0. Nothing in the tree reads a parent link.
 *
 * A failed ReadNode or WriteNode is not detected by the tree. */
#ifndef KVDATA_AVL_H
#define KVDATA_AVL_H

#include <stddef.h>

#include "kv_export.h"

KV_EXTERN_C_BEGIN

/* One node as ReadNode/WriteNode exchange it; also the 14-byte node that key
 * files store beside every key record. */
KV_PACK_BEGIN
typedef struct AvlKnoten {
    int32_t parent;   /*  0: element number of the parent, 0 at the root */
    int32_t left;     /*  4: left child, 0 if none */
    int32_t right;    /*  8: right child, 0 if none */
    int16_t balance;  /* 12: height(right) - height(left): -1, 0 or +1 */
} AvlKnoten;
KV_PACK_END

KV_STATIC_ASSERT(sizeof(AvlKnoten) == 14, "AvlKnoten is 14 bytes");
KV_STATIC_ASSERT(offsetof(AvlKnoten, parent) == 0, "AvlKnoten.parent");
KV_STATIC_ASSERT(offsetof(AvlKnoten, left) == 4, "AvlKnoten.left");
KV_STATIC_ASSERT(offsetof(AvlKnoten, right) == 8, "AvlKnoten.right");
KV_STATIC_ASSERT(offsetof(AvlKnoten, balance) == 12, "AvlKnoten.balance");

/* Callbacks. The store callbacks return 1 on success, 0 on failure; the tree
 * ignores their results. */
typedef int32_t (KV_CALLBACK *AvlReadNodeFn)(void* context, int32_t element, AvlKnoten* node);
typedef int32_t (KV_CALLBACK *AvlWriteNodeFn)(void* context, int32_t element, const AvlKnoten* node);
typedef int32_t (KV_CALLBACK *AvlGetRootFn)(void* context, int32_t* root);
typedef int32_t (KV_CALLBACK *AvlSetRootFn)(void* context, int32_t root);
/* -1: the key of element a sorts before the key of node b, +1 after, 0 equal
 * (any negative / positive value is taken as -1 / +1). */
typedef int32_t (KV_CALLBACK *AvlCompareFn)(void* compareContext, int32_t a, int32_t b);
/* Called for each node by the walk; a result of 0 or less stops it. */
typedef int32_t (KV_CALLBACK *AvlVisitFn)(void* context, int32_t node, int32_t depth);
typedef void (KV_CALLBACK *AvlLockFn)(void* context);
/* Progress of AVL_NeuerBaum (and of the key-file walks): slots done. */
typedef void (KV_CALLBACK *AvlProgressFn)(int32_t done);
/* Progress of AVL_NeuerBaum_Visual: the display handle first. */
typedef void (KV_CALLBACK *AvlVisualProgressFn)(void* display, int32_t done);

/* The descriptor the caller fills and keeps. */
typedef struct AvlBaum {
    AvlReadNodeFn ReadNode;   /* fills a node from slot n */
    AvlWriteNodeFn WriteNode; /* stores a node into slot n */
    AvlGetRootFn GetRoot;     /* yields the root element (0 = empty tree) */
    AvlSetRootFn SetRoot;     /* stores the root element */
    AvlCompareFn Compare;     /* compares element a's key with node b's */
    AvlVisitFn Visit;         /* called for each node by the walk */
    AvlLockFn Lock;           /* taken around insertion and deletion */
    AvlLockFn Unlock;         /* released after them */
    void* storeContext;       /* handed to the store callbacks (AVL_*) */
    void* compareContext;     /* handed to Compare (and, for BAVL_*, to all) */
    int32_t depth;            /* walk: depth of the node being visited, 1 = root */
    int32_t currentElement;   /* element to insert or delete, set by the caller */
} AvlBaum;

/* Empties the tree: SetRoot(0), then a cleared node into slots 1..count.
 * progress(i) every k-th slot, k = DBA_GetAnzeigeTeiler(count), and once
 * more with count + 1 at the end (so count 0 reports 1 once). A null
 * progress is allowed. Null tree: nothing happens. No lock. */
KV_API void AVL_NeuerBaum(AvlBaum* tree, int32_t count, AvlProgressFn progress);
/* The same, reporting progress(display, i) every (count + 1) / 100 slots
 * (every slot when that is 0, i.e. below 99 elements). */
KV_API void AVL_NeuerBaum_Visual(void* display, AvlBaum* tree, int32_t count, AvlVisualProgressFn progress);
/* Inserts tree->currentElement. The descent compares element 0 with the
 * nodes, so the caller puts the new element's key into the compare context
 * as the search key (and the element into its store) first. Returns the element number when inserted, or the negated element
 * number of the node whose key is equal (the tree is left unchanged then).
 * 0 for a null tree, a missing callback or a current element below 1.
 * Runs between Lock and Unlock. */
KV_API int32_t AVL_Einfuegen(AvlBaum* tree);
/* Element number of the node whose key equals the search key (Compare with
 * element 0), 0 if none or for a null tree. Takes no lock. */
KV_API int32_t AVL_Suchen(AvlBaum* tree);
/* Removes the node that compares equal to tree->currentElement's own key
 * (an in-order predecessor takes the place of a node with two children).
 * Nothing happens when there is none. Runs between Lock and Unlock. */
KV_API void AVL_Loeschen(AvlBaum* tree);
/* Walks the nodes in key order, calling Visit(context, node, depth) at each
 * node after its left subtree, with tree->depth = 1 at the root. Returns 1
 * (0 for a null tree or a missing callback). Takes no lock.
 *
 * Stop rule: one process-wide flag per tree instance (AVL_, BAVL_) holds
 * the last Visit result. A node's subtree is entered only while the flag is
 * above 0, and its right subtree only after its own Visit returned above 0.
 * A Visit returning 0 or less inside a left subtree ends the walk of that
 * subtree; the nodes above it are still visited on the way up, and each of
 * their results becomes the flag again, so an ancestor whose Visit returns
 * above 0 walks on into its right subtree. A Visit that wants the whole walk
 * to end keeps returning 0 once it has stopped. A walk started inside a Visit saves the flag, sets it to
 * 1 and restores it when it ends, so nesting works; walks on two threads at
 * once do not. */
KV_API int32_t AVL_MitBaum(AvlBaum* tree);
/* Call Lock / Unlock with the store context. */
KV_API void AVL_LockBaum(AvlBaum* tree);
KV_API void AVL_UnLockBaum(AvlBaum* tree);

KV_EXTERN_C_END

#endif /* KVDATA_AVL_H */

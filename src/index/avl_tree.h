// The one AVL tree implementation behind both exported instances (AVL_* and
// BAVL_*). The instances differ only in which context the callbacks get and
// in owning separate process-wide walk flags; clearing differs in its
// progress step, which the caller passes in.
#ifndef KV_INDEX_AVL_TREE_H
#define KV_INDEX_AVL_TREE_H

#include <cstdint>

#include "kvdata/avl.h"

namespace kv::index {

struct TreeInstance {
  // True: every callback gets the compare context (BAVL_); false: the store
  // callbacks get the store context and Compare the compare context (AVL_).
  bool everythingGetsCompareContext;
  // The instance's walk flag: the last Visit result of the running walk.
  int32_t* walkFlag;
};

const TreeInstance& AvlInstance();
const TreeInstance& BavlInstance();

// Progress of ClearTree: called with the slots done.
using ClearProgress = void (*)(void* context, int32_t done);

// SetRoot(0), a cleared node into slots 1..count, report(i) when i % step
// is 0, then report(count + 1). A step below 1 counts as 1.
void ClearTree(const TreeInstance& inst, AvlBaum* tree, int32_t count, int32_t step, ClearProgress report,
               void* reportContext);
// The exported clearing variants: AVL_ steps by DBA_GetAnzeigeTeiler,
// the visual one by a hundredth, BAVL_ reports every slot.
void NewAvlTree(AvlBaum* tree, int32_t count, AvlProgressFn progress);
void NewAvlTreeVisual(void* display, AvlBaum* tree, int32_t count, AvlVisualProgressFn progress);
void NewBavlTree(AvlBaum* tree, int32_t count, AvlProgressFn progress);

int32_t Insert(const TreeInstance& inst, AvlBaum* tree);
int32_t Search(const TreeInstance& inst, AvlBaum* tree);
void Remove(const TreeInstance& inst, AvlBaum* tree);
int32_t Walk(const TreeInstance& inst, AvlBaum* tree);
void LockTree(const TreeInstance& inst, AvlBaum* tree);
void UnlockTree(const TreeInstance& inst, AvlBaum* tree);

}  // namespace kv::index

#endif  // KV_INDEX_AVL_TREE_H

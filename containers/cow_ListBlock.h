// cow_ListBlock<T>: one fixed-size block of items of a copy-on-write list,
// with the number of list indexes that point to it.
//
// The block owns raw storage for B items only. The owning list constructs and
// destroys the items one by one; the block's destructor releases the storage
// without touching any item.
// REQUIRES: external synchronization.

#ifndef KVTSIM_CONTAINERS_COW_LISTBLOCK_H_
#define KVTSIM_CONTAINERS_COW_LISTBLOCK_H_

#include <cstddef>

#include "KVTBasMem.h"
#include "KVTSimExport.h"
#include "cow_Counter.h"

template <class T>
class KVTSIM_EXPORT cow_ListBlock : public mem_AllocationOperatorsTiny {
 public:
  // Storage for B items, none constructed; share count 1. Raises
  // KVTBasMemoryExhausted when the storage cannot be obtained.
  explicit cow_ListBlock(int B)
      : mItems(static_cast<T*>(mem_Malloc(static_cast<std::size_t>(B) * sizeof(T)))) {}

  cow_ListBlock(cow_ListBlock const&) = delete;
  cow_ListBlock& operator=(cow_ListBlock const&) = delete;

  // Releases the storage; items still constructed in it are not destroyed.
  ~cow_ListBlock() { mem_Free(mItems); }

  // The storage; valid until the block is destroyed.
  T* Items() const noexcept { return mItems; }

  // Place i of the storage (no check; 0 <= i < B is the caller's duty).
  T* Get(int i) noexcept { return mItems + i; }
  T const* ConstGet(int i) const noexcept { return mItems + i; }

  // The number of list indexes that point to this block.
  cow_Counter& Count() noexcept { return mCount; }
  cow_Counter const& Count() const noexcept { return mCount; }

 private:
  cow_Counter mCount;
  T* mItems;
};

#endif  // KVTSIM_CONTAINERS_COW_LISTBLOCK_H_

// cow_Counter: the share count of a copy-on-write list's index or of one of
// its blocks.
//
// A count above 1 means the counted storage is shared and must not be
// written; a writer first makes its own copy.
// REQUIRES: external synchronization; updates are plain, not atomic.

#ifndef KVTSIM_CONTAINERS_COW_COUNTER_H_
#define KVTSIM_CONTAINERS_COW_COUNTER_H_

#include <cstdint>

#include "KVTBasMem.h"
#include "KVTSimExport.h"

class KVTSIM_EXPORT cow_Counter : public mem_AllocationOperatorsTiny {
 public:
  // One sharer: the creator.
  cow_Counter() noexcept : mCount(1) {}

  cow_Counter(cow_Counter const&) = delete;
  cow_Counter& operator=(cow_Counter const&) = delete;

  // Adds a sharer.
  void Increment() noexcept { ++mCount; }

  // Removes a sharer. Returns true when it was the last one (count now 0).
  bool Decrement() noexcept { return --mCount == 0; }

  // The number of sharers.
  std::uint32_t Value() const noexcept { return mCount; }

 private:
  std::uint32_t mCount;
};

#endif  // KVTSIM_CONTAINERS_COW_COUNTER_H_

// KVTSimRpm_MemoryPool: an in-memory copy of one range of a pool.
//
// Filled by one read at construction, never re-read. A locator carrying the
// memory pool as its overlay serves reads that start inside the range from
// the copy, and writes into the copy as well as into the pool, so writes
// through such locators keep it current; writes by other ways do not.
//
// The memory pool must outlive every locator that carries it (or those
// locators must drop it with DisconnectPool first). A member whose REQUIRES
// does not hold raises KVTBasAssertException and changes nothing.
// REQUIRES: external synchronization; Read, Startin and Within may run
// together while no Write runs.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_MEMORYPOOL_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_MEMORYPOOL_H_

#include <cstdint>

#include "KVTBasMem.h"
#include "KVTSimExport.h"
#include "KVTSimRpm_Locator.h"

class KVTSIM_EXPORT KVTSimRpm_MemoryPool : public mem_AllocationOperators {
 public:
  // Copies size bytes of the pool from location (its own overlay ignored).
  // Raises KVTSimExcCantDerefLocator when the pool is not loaded,
  // KVTBasMemoryExhausted when the copy cannot be allocated.
  // REQUIRES: the file holds all size bytes from location. (Pool reads are
  // not bounded by the pool's data: a range that runs on into the next pool
  // record copies its bytes; only the end of the file stops it.)
  KVTSimRpm_MemoryPool(KVTSimRpm_Locator const& location, std::uint64_t size);
  KVTSimRpm_MemoryPool(KVTSimRpm_MemoryPool const&) = delete;
  KVTSimRpm_MemoryPool& operator=(KVTSimRpm_MemoryPool const&) = delete;
  ~KVTSimRpm_MemoryPool();

  // Copies up to length bytes from location into buffer, stopping at the end
  // of the range; returns the count. REQUIRES: Startin(location).
  std::uint64_t Read(KVTSimRpm_Locator const& location, std::uint64_t length, char* buffer) const;

  // Copies length bytes into the copy at location; the pool is written by
  // the locator. REQUIRES: Within(location, length).
  void Write(KVTSimRpm_Locator const& location, std::uint64_t length, char const* data);

  // True when location lies in the range. REQUIRES: location is in this
  // range's pool (location.SamePool of the range's first byte); a null
  // location or one in another pool is refused rather than answered false.
  bool Startin(KVTSimRpm_Locator const& location) const;

  // True when the length bytes from location lie wholly in the range; false
  // for a null location or one in another pool. Never raises.
  bool Within(KVTSimRpm_Locator const& location, std::uint64_t length) const;

 private:
  KVTSimRpm_Locator mLocator;
  std::uint64_t mSize;
  char* mBuffer;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_MEMORYPOOL_H_

// KVTSimRpm_HashIndex: a map from 64-bit keys to ints in one flat,
// open-addressing table (linear probing, deletion by backward shift, no
// tombstones).
//
// The table is kept between a quarter and a half full, so an entry costs 16
// to 64 bytes and a lookup is a hash and a short walk over adjacent cells.
// Nothing is allocated until the first entry.
//
// REQUIRES: external synchronization.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_HASHINDEX_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_HASHINDEX_H_

#include <cstddef>
#include <cstdint>

#include "KVTSimExport.h"

class KVTSIM_EXPORT KVTSimRpm_HashIndex {
 public:
  // The one key that cannot be stored (it marks free cells).
  static constexpr std::uint64_t kNoKey = ~std::uint64_t{0};

  KVTSimRpm_HashIndex() noexcept;
  KVTSimRpm_HashIndex(KVTSimRpm_HashIndex const&) = delete;
  KVTSimRpm_HashIndex& operator=(KVTSimRpm_HashIndex const&) = delete;
  ~KVTSimRpm_HashIndex();

  std::size_t Size() const noexcept { return mCount; }

  // Bytes of the table (0 while empty since construction or Clear).
  std::size_t AllocatedBytes() const noexcept { return mCapacity * sizeof(Cell); }

  // The value stored for key, or absent.
  int Find(std::uint64_t key, int absent) const noexcept;

  // Stores value for key, replacing any value there. Raises
  // KVTBasMemoryExhausted when the table cannot grow; nothing changes then.
  // REQUIRES: key != kNoKey (checked).
  void Set(std::uint64_t key, int value);

  // Removes key; false when it was not there.
  bool Erase(std::uint64_t key) noexcept;

  // Removes every entry and releases the table.
  void Clear() noexcept;

  void Swap(KVTSimRpm_HashIndex& other) noexcept;

  // Calls fn(key, value) for every entry, in no particular order.
  // REQUIRES: fn does not change this index.
  template <typename Fn>
  void ForEach(Fn fn) const {
    for (std::size_t i = 0; i < mCapacity; ++i) {
      if (mCells[i].key != kNoKey)
        fn(mCells[i].key, mCells[i].value);
    }
  }

 private:
  struct Cell {
    std::uint64_t key;
    int value;
  };

  std::size_t Home(std::uint64_t key) const noexcept;
  // The key's cell, or the free cell where it would go.
  std::size_t Slot(std::uint64_t key) const noexcept;
  void Rehash(std::size_t capacity);

  std::size_t mCount;
  std::size_t mCapacity;  // 0 or a power of two
  Cell* mCells;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_HASHINDEX_H_

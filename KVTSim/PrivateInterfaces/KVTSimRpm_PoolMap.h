// KVTSimRpm_PoolMap: every pool a document knows, by identifier, in the order
// the document met them, with the reference matrix.
//
// The index of a pool in the map is its map slot. Slots are only appended:
// none is removed, reordered or given another identifier, so a map slot stays
// valid for the life of the map. A slot holds a weak handle to its pool while
// the pool is loaded. Cell (src, dst) of the reference matrix remembers which
// directory slot of slot src's directory names slot dst (-1 until known).
//
// Memory: a slot costs its item (identifier and handle) and an entry of the
// identifier index, about 120 bytes; the matrix is sparse and costs 16 to 64
// bytes per remembered (src, dst) pair, nothing per slot (KVTSimRpm_Matrix).
//
// Slot arguments out of range fail the checks "slot >= 0" /
// "slot < mItemList.Length()" or "slotInMap >= 0" / "slotInMap < mItemList.Length()"
// (AddReference and GetDirectoryIndex: "srcSlotInMap >= 0", "srcSlotInMap <
// mItemList.Length()", "dstSlotInMap >= 0", "dstSlotInMap < mItemList.Length()").
//
// REQUIRES: external synchronization (one thread at a time, like its document).

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLMAP_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLMAP_H_

#include <cstddef>
#include <cstring>
#include <functional>
#include <string_view>
#include <unordered_map>

#include "KVTBasMem.h"
#include "KVTSimExport.h"
#include "KVTSimRpm_Matrix.h"
#include "KVTSimRpm_PoolMapItem.h"
#include "KVTSimRpm_WeakRef.h"
#include "cow_List.h"

class KVTSimRpm_PoolImpl;

class KVTSIM_EXPORT KVTSimRpm_PoolMap : public mem_AllocationOperators {
 public:
  // An empty map with a matrix of size 0.
  KVTSimRpm_PoolMap();
  KVTSimRpm_PoolMap(KVTSimRpm_PoolMap const&) = delete;
  KVTSimRpm_PoolMap& operator=(KVTSimRpm_PoolMap const&) = delete;
  ~KVTSimRpm_PoolMap();

  int Length() const noexcept { return mItemList.Length(); }

  // Appends a slot for the 32-byte identifier, without a pool, and returns
  // it. The matrix grows by one row and column of -1; other cells keep their
  // values. A slot without a pool that carries the same identifier does not
  // stop it (LookupByUUID keeps answering the first).
  // Raises KVTSimExcPoolAlreadyInDoc when the first slot of that identifier
  // holds a loaded pool, and KVTBasMemoryExhausted when memory runs out; the
  // map is then unchanged.
  int NewSlot(char const* uuid);

  // The first slot whose 32 identifier bytes equal those at uuid, or -1;
  // found through a hash index, not by comparing every slot.
  int LookupByUUID(char const* uuid) const;

  // True when the first slot of that identifier holds a pool handle.
  bool IsDuplicate(char const* uuid) const;

  // Attaches a loaded pool to slot, replacing any handle there.
  void SetPool(int slot, KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> const& pool);

  // A copy of the slot's pool handle; null while no pool is loaded there.
  KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> Pool(int slotInMap) const;

  // The pool loaded at the slot, or null. Copies no handle (no count
  // changes), so that byte access through locators into one document can run
  // on several threads; the pointer is valid while the pool stays loaded.
  KVTSimRpm_PoolImpl* LoadedPool(int slotInMap) const;

  // The slot's 32 identifier bytes, not terminated. Valid until the map next
  // changes.
  char const* UUID(int slotInMap) const;

  // Detaches the pool from the slot; identifier and matrix cells stay.
  void Remove(int slotInMap);

  // Remembers that directory slot srcSlotInDir of slot src's directory names dst.
  void AddReference(int srcSlotInMap, int dstSlotInMap, int srcSlotInDir);

  // The directory slot remembered for (src, dst), or -1.
  int GetDirectoryIndex(int srcSlotInMap, int dstSlotInMap) const;

  // The reference memo, for measuring its memory.
  KVTSimRpm_Matrix const& Matrix() const noexcept { return mMatrix; }

 private:
  void CheckSlot(int slotInMap) const;
  void CheckPair(int srcSlotInMap, int dstSlotInMap) const;

  // A pool identifier as a hash key.
  struct UUIDKey {
    char bytes[KVTSimRpm_PoolMapItem::kUUIDLength];
    bool operator==(UUIDKey const& other) const {
      return std::memcmp(bytes, other.bytes, sizeof bytes) == 0;
    }
  };
  struct UUIDHash {
    std::size_t operator()(UUIDKey const& key) const {
      return std::hash<std::string_view>()(std::string_view(key.bytes, sizeof key.bytes));
    }
  };
  static UUIDKey KeyOf(char const* uuid);

  KVTSimRpm_Matrix mMatrix;
  cow_List<KVTSimRpm_PoolMapItem> mItemList;
  // The first slot of each identifier: directories of thousands of entries
  // would otherwise compare each entry with every slot.
  std::unordered_map<UUIDKey, int, UUIDHash> mFirstSlot;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLMAP_H_

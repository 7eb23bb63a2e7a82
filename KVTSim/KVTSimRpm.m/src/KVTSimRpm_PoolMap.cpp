#include "KVTSimRpm_PoolMap.h"

#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_Raise.h"
#include "KVTSimUttAssert.h"

KVTSimRpm_PoolMap::KVTSimRpm_PoolMap() : mMatrix(0) {}

KVTSimRpm_PoolMap::~KVTSimRpm_PoolMap() = default;

int KVTSimRpm_PoolMap::NewSlot(char const* uuid) {
  int s = LookupByUUID(uuid);
  if (s >= 0 && !Pool(s).Null()) {
    KVTSimRpm_Raise<KVTSimExcPoolAlreadyInDoc>(__FILE__, __LINE__);
  }
  int n = Length();
  bool const first = mFirstSlot.emplace(KeyOf(uuid), n).second;
  try {
    mItemList.Append(KVTSimRpm_PoolMapItem(uuid));
  } catch (...) {
    // The index must never name a slot that does not exist.
    if (first)
      mFirstSlot.erase(KeyOf(uuid));
    throw;
  }
  mMatrix.Grow(n + 1);
  return n;
}

KVTSimRpm_PoolMap::UUIDKey KVTSimRpm_PoolMap::KeyOf(char const* uuid) {
  UUIDKey key;
  std::memcpy(key.bytes, uuid, sizeof key.bytes);
  return key;
}

int KVTSimRpm_PoolMap::LookupByUUID(char const* uuid) const {
  auto found = mFirstSlot.find(KeyOf(uuid));
  return found == mFirstSlot.end() ? -1 : found->second;
}

bool KVTSimRpm_PoolMap::IsDuplicate(char const* uuid) const {
  int s = LookupByUUID(uuid);
  return s >= 0 && !mItemList.UncheckedConstGet(s).mPool.Null();
}

void KVTSimRpm_PoolMap::SetPool(int slot, KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> const& pool) {
  KVTSIM_ASSERT(slot >= 0);
  KVTSIM_ASSERT(slot < mItemList.Length());
  mItemList.Get(slot).mPool = pool;
}

KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> KVTSimRpm_PoolMap::Pool(int slotInMap) const {
  CheckSlot(slotInMap);
  return mItemList.UncheckedConstGet(slotInMap).mPool;
}

KVTSimRpm_PoolImpl* KVTSimRpm_PoolMap::LoadedPool(int slotInMap) const {
  CheckSlot(slotInMap);
  return mItemList.UncheckedConstGet(slotInMap).mPool.Peek();
}

char const* KVTSimRpm_PoolMap::UUID(int slotInMap) const {
  CheckSlot(slotInMap);
  return mItemList.UncheckedConstGet(slotInMap).mUUID;
}

void KVTSimRpm_PoolMap::Remove(int slotInMap) {
  CheckSlot(slotInMap);
  mItemList.Get(slotInMap).mPool.Nullify();
}

void KVTSimRpm_PoolMap::AddReference(int srcSlotInMap, int dstSlotInMap, int srcSlotInDir) {
  CheckPair(srcSlotInMap, dstSlotInMap);
  mMatrix.SetItem(srcSlotInMap, dstSlotInMap, srcSlotInDir);
}

int KVTSimRpm_PoolMap::GetDirectoryIndex(int srcSlotInMap, int dstSlotInMap) const {
  CheckPair(srcSlotInMap, dstSlotInMap);
  return mMatrix.Item(srcSlotInMap, dstSlotInMap);
}

void KVTSimRpm_PoolMap::CheckSlot(int slotInMap) const {
  KVTSIM_ASSERT(slotInMap >= 0);
  KVTSIM_ASSERT(slotInMap < mItemList.Length());
}

void KVTSimRpm_PoolMap::CheckPair(int srcSlotInMap, int dstSlotInMap) const {
  KVTSIM_ASSERT(srcSlotInMap >= 0);
  KVTSIM_ASSERT(srcSlotInMap < mItemList.Length());
  KVTSIM_ASSERT(dstSlotInMap >= 0);
  KVTSIM_ASSERT(dstSlotInMap < mItemList.Length());
  // Invariant: the matrix covers every slot.
  KVTSIM_ASSERT(mMatrix.Dimension() == mItemList.Length());
}

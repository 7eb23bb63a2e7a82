// KVTSimRpm_PoolMapItem: one slot of the pool map: a 32-byte pool identifier
// and a weak handle to the pool while it is loaded.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLMAPITEM_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLMAPITEM_H_

#include "KVTSimExport.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimRpm_WeakRef.h"

class KVTSimRpm_PoolImpl;

class KVTSIM_EXPORT KVTSimRpm_PoolMapItem {
 public:
  // Pool identifiers are exactly this many bytes (one directory entry), never
  // terminated.
  static constexpr int kUUIDLength = static_cast<int>(KVTSimRpm_PoolHeader::kEntrySize);

  // 32 zero bytes, no pool.
  KVTSimRpm_PoolMapItem() noexcept;

  // A copy of the 32 bytes at uuid, no pool.
  explicit KVTSimRpm_PoolMapItem(char const* uuid) noexcept;

  KVTSimRpm_PoolMapItem(KVTSimRpm_PoolMapItem const& other);
  KVTSimRpm_PoolMapItem& operator=(KVTSimRpm_PoolMapItem const& other);
  ~KVTSimRpm_PoolMapItem();

  char mUUID[kUUIDLength];
  KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> mPool;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLMAPITEM_H_

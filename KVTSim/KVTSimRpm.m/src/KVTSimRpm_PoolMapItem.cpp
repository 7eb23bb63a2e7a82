#include "KVTSimRpm_PoolMapItem.h"

#include <cstring>

KVTSimRpm_PoolMapItem::KVTSimRpm_PoolMapItem() noexcept : mUUID() {}

KVTSimRpm_PoolMapItem::KVTSimRpm_PoolMapItem(char const* uuid) noexcept {
  std::memcpy(mUUID, uuid, kUUIDLength);
}

KVTSimRpm_PoolMapItem::KVTSimRpm_PoolMapItem(KVTSimRpm_PoolMapItem const& other)
    : mPool(other.mPool) {
  std::memcpy(mUUID, other.mUUID, kUUIDLength);
}

KVTSimRpm_PoolMapItem& KVTSimRpm_PoolMapItem::operator=(KVTSimRpm_PoolMapItem const& other) {
  // memmove: other may be this item.
  std::memmove(mUUID, other.mUUID, kUUIDLength);
  mPool = other.mPool;
  return *this;
}

KVTSimRpm_PoolMapItem::~KVTSimRpm_PoolMapItem() = default;

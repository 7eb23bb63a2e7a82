#include "KVTSimRpm_Locator.h"

#include <cstring>

#include "KVTSimRpm_PoolMap.h"
#include "KVTSimUttAssert.h"

KVTSimRpm_Locator::KVTSimRpm_Locator() noexcept : mSlot(-1), mOffset(0), mMemoryPool(nullptr) {}

KVTSimRpm_Locator::KVTSimRpm_Locator(KVTSimRpm_Locator const& that) = default;

KVTSimRpm_Locator& KVTSimRpm_Locator::operator=(KVTSimRpm_Locator const& that) = default;

KVTSimRpm_Locator::~KVTSimRpm_Locator() = default;

KVTSimRpm_Locator::KVTSimRpm_Locator(KVTSimRpm_Locator const& that, unsigned long long delta)
    : mMap(that.mMap), mSlot(that.mSlot), mOffset(that.mOffset + delta), mMemoryPool(nullptr) {}

KVTSimRpm_Locator::KVTSimRpm_Locator(KVTSimRpm_Locator const& that,
                                     KVTSimRpm_MemoryPool& memoryPool)
    : mMap(that.mMap), mSlot(that.mSlot), mOffset(that.mOffset), mMemoryPool(&memoryPool) {}

KVTSimRpm_Locator::KVTSimRpm_Locator(KVTSimRpm_WeakRef<KVTSimRpm_PoolMap> const& map, int slot,
                                     unsigned long long offset, KVTSimRpm_MemoryPool* memoryPool)
    : mMap(map), mSlot(slot), mOffset(offset), mMemoryPool(memoryPool) {}

KVTSimRpm_Locator KVTSimRpm_Locator::operator+(unsigned long long delta) const {
  KVTSimRpm_Locator moved(*this);
  moved.mOffset += delta;
  return moved;
}

KVTSimRpm_Locator KVTSimRpm_Locator::operator-(unsigned long long delta) const {
  KVTSimRpm_Locator moved(*this);
  moved.mOffset -= delta;
  return moved;
}

KVTSimRpm_Locator& KVTSimRpm_Locator::operator+=(unsigned long long delta) {
  mOffset += delta;
  return *this;
}

unsigned long long KVTSimRpm_Locator::operator-(KVTSimRpm_Locator const& that) const {
  KVTSIM_ASSERT(SamePool(that));
  return mOffset - that.mOffset;
}

bool KVTSimRpm_Locator::operator<(KVTSimRpm_Locator const& that) const {
  KVTSIM_ASSERT(SamePool(that));
  return mOffset < that.mOffset;
}

bool KVTSimRpm_Locator::operator<=(KVTSimRpm_Locator const& that) const {
  KVTSIM_ASSERT(SamePool(that));
  return mOffset <= that.mOffset;
}

bool KVTSimRpm_Locator::operator==(KVTSimRpm_Locator const& that) const {
  return mMap.Get() == that.mMap.Get() && mSlot == that.mSlot && mOffset == that.mOffset;
}

bool KVTSimRpm_Locator::SamePool(KVTSimRpm_Locator const& that) const {
  if (Null() || that.Null())
    return false;
  // Compared by identity: the map itself is not reached, so a locator of a
  // closed document can still be compared.
  return mMap.SameObject(that.mMap) && mSlot == that.mSlot;
}

KVTString KVTSimRpm_Locator::GetGUID() const {
  char text[KVTSimRpm_PoolMapItem::kUUIDLength + 1];
  std::memcpy(text, mMap->UUID(mSlot), KVTSimRpm_PoolMapItem::kUUIDLength);
  text[KVTSimRpm_PoolMapItem::kUUIDLength] = '\0';
  return KVTString::BuildFromUTF8(text);
}

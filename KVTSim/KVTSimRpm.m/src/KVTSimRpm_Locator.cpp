#include "KVTSimRpm_Locator.h"

#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_BStreamRead.h"
#include "KVTSimRpm_BStreamWrite.h"
#include "KVTSimRpm_MemoryPool.h"
#include "KVTSimRpm_PoolImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "KVTSimRpm_Raise.h"
#include "KVTSimRpm_Swapper.h"
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
  // Compared by the handles' identity: the map itself is not reached, so a
  // locator of a closed document can still be compared, and never matches
  // one of a newer map that happens to sit at the dead map's address.
  return mMap.SameObject(that.mMap) && mSlot == that.mSlot;
}

KVTString KVTSimRpm_Locator::GetGUID() const {
  char text[KVTSimRpm_PoolMapItem::kUUIDLength + 1];
  std::memcpy(text, mMap->UUID(mSlot), KVTSimRpm_PoolMapItem::kUUIDLength);
  text[KVTSimRpm_PoolMapItem::kUUIDLength] = '\0';
  return KVTString::BuildFromUTF8(text);
}

KVTSimRpm_PoolImpl& KVTSimRpm_Locator::LoadedPool() const {
  // A pool that died without being detached is as unreachable as a detached one.
  KVTSimRpm_PoolImpl* pool = mMap->LoadedPool(mSlot);
  if (pool == nullptr) {
    KVTSimRpm_Raise<KVTSimExcCantDerefLocator>(__FILE__, __LINE__);
  }
  return *pool;
}

unsigned long long KVTSimRpm_Locator::Read(unsigned long long length, char* buffer) const {
  if (mMemoryPool != nullptr && mMemoryPool->Startin(*this)) {
    return mMemoryPool->Read(*this, length, buffer);
  }
  return LoadedPool().Read(mOffset, length, buffer);
}

void KVTSimRpm_Locator::Write(unsigned long long length, char const* data) const {
  // Write-through: the overlay's copy first, then always the pool.
  if (mMemoryPool != nullptr)
    mMemoryPool->Write(*this, length, data);
  LoadedPool().Write(mOffset, length, data);
}

bool KVTSimRpm_Locator::ReadOnly() const {
  return mMap->Pool(mSlot)->ReadOnly();
}

KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& KVTSimRpm_Locator::Directory() const {
  return mMap->Pool(mSlot)->Directory();
}

void KVTSimRpm_Locator::ExternalizeImpl(KVTSimRpm_BStreamWrite& s) const {
  // The reference is found before the stream hands out its span: a pool the
  // directory does not list then leaves the stream untouched.
  int reference = mSlot >= 0 ? s.SourceDir().ExternalizeReference(mSlot) : -1;
  char* p = s.PrepWrite(kStoredSize);
  KVTSimRpm_Swapper::ExternalizeScalar(p + 8, reference);
  KVTSimRpm_Swapper::ExternalizeScalar(p + 4, static_cast<unsigned int>(mOffset >> 32));
  KVTSimRpm_Swapper::ExternalizeScalar(p, static_cast<unsigned int>(mOffset));
}

void KVTSimRpm_Locator::InternalizeImpl(KVTSimRpm_BStreamRead& s) {
  char const* p = s.PrepRead(kStoredSize);
  // Copy the span out before the next call on the stream invalidates it.
  unsigned int low = 0;
  unsigned int high = 0;
  int reference = 0;
  KVTSimRpm_Swapper::InternalizeScalar(p, low);
  KVTSimRpm_Swapper::InternalizeScalar(p + 4, high);
  KVTSimRpm_Swapper::InternalizeScalar(p + 8, reference);
  mOffset = 0;
  if (reference >= 0) {
    KVTSimRpm_PoolDirectoryImpl const& directory = s.SourceDir();
    mSlot = directory.InternalizeReference(reference);
    mMap = directory.Map();
    mOffset = (static_cast<unsigned long long>(high) << 32) | low;
  }
  mMemoryPool = s.IMPool();
}

#include "KVTSimRpm_MemoryPool.h"

#include <cstring>

#include "KVTSimUttAssert.h"

KVTSimRpm_MemoryPool::KVTSimRpm_MemoryPool(KVTSimRpm_Locator const& location, std::uint64_t size)
    : mLocator(location), mSize(size), mBuffer(nullptr) {
  // The copy is filled from the pool itself, never from another overlay.
  mLocator.DisconnectPool();
  mBuffer = mem_OperatorNewThrowBuiltin(size);
  try {
    std::uint64_t r = mLocator.Read(mSize, mBuffer);
    KVTSIM_ASSERT(r == mSize);
  } catch (...) {
    // The destructor does not run for a half-built object.
    mem_Free(mBuffer);
    throw;
  }
}

KVTSimRpm_MemoryPool::~KVTSimRpm_MemoryPool() {
  mem_Free(mBuffer);
}

std::uint64_t KVTSimRpm_MemoryPool::Read(KVTSimRpm_Locator const& location, std::uint64_t length,
                                         char* buffer) const {
  KVTSIM_ASSERT(mLocator.SamePool(location));
  KVTSIM_ASSERT(mLocator <= location);
  KVTSIM_ASSERT(location < mLocator + mSize);
  std::uint64_t const start = location - mLocator;
  // Stop at the end of the range; computed without adding, which could wrap.
  if (length > mSize - start)
    length = mSize - start;
  std::memcpy(buffer, mBuffer + start, length);
  return length;
}

void KVTSimRpm_MemoryPool::Write(KVTSimRpm_Locator const& location, std::uint64_t length,
                                 char const* data) {
  KVTSIM_ASSERT(Within(location, length));
  if (length != 0)
    std::memcpy(mBuffer + (location - mLocator), data, length);
}

bool KVTSimRpm_MemoryPool::Startin(KVTSimRpm_Locator const& location) const {
  return mLocator <= location && location < mLocator + mSize;
}

bool KVTSimRpm_MemoryPool::Within(KVTSimRpm_Locator const& location, std::uint64_t length) const {
  if (!mLocator.SamePool(location) || !(mLocator <= location))
    return false;
  std::uint64_t const start = location - mLocator;
  return start <= mSize && length <= mSize - start;
}

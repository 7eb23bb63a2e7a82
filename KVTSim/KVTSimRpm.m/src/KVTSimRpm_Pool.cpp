#include "KVTSimRpm_Pool.h"

#include "KVTSimRpm_PoolImpl.h"

KVTSimRpm_Pool::KVTSimRpm_Pool(KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> const& impl) : mImpl(impl) {}

KVTSimRpm_Pool::KVTSimRpm_Pool(KVTSimRpm_Pool const& other) = default;

KVTSimRpm_Pool& KVTSimRpm_Pool::operator=(KVTSimRpm_Pool const& other) = default;

KVTSimRpm_Pool::~KVTSimRpm_Pool() = default;

KVTSimRpm_Locator KVTSimRpm_Pool::Start() const {
  return mImpl->Start();
}

KVTSimRpm_Locator KVTSimRpm_Pool::End() const {
  return mImpl->End();
}

KVTSimRpm_Locator KVTSimRpm_Pool::Allocate(std::uint64_t n) {
  return mImpl->Allocate(n);
}

bool KVTSimRpm_Pool::ReadOnly() const {
  return mImpl->ReadOnly();
}

KVTSimRpm_PoolDirectory KVTSimRpm_Pool::Directory() const {
  return KVTSimRpm_PoolDirectory(mImpl->Directory());
}

std::uint64_t KVTSimRpm_Pool::Length() const {
  return mImpl->DataLength();
}

KVTSimRpm_PoolDescription KVTSimRpm_Pool::Describe() const {
  return KVTSimRpm_PoolDescription(*mImpl.Get());
}

KVTString KVTSimRpm_Pool::GetGUID() const {
  return Directory().GetGUID();
}

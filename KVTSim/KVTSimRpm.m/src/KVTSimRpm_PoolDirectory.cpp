#include "KVTSimRpm_PoolDirectory.h"

#include "KVTSimRpm_PoolDirectoryImpl.h"

KVTSimRpm_PoolDirectory::KVTSimRpm_PoolDirectory(
    KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& impl)
    : mImpl(impl) {}

KVTSimRpm_PoolDirectory::KVTSimRpm_PoolDirectory(KVTSimRpm_PoolDirectory const& other) = default;

KVTSimRpm_PoolDirectory& KVTSimRpm_PoolDirectory::operator=(KVTSimRpm_PoolDirectory const& other) =
    default;

KVTSimRpm_PoolDirectory::~KVTSimRpm_PoolDirectory() = default;

KVTString KVTSimRpm_PoolDirectory::GetGUID() const {
  return mImpl->GetGUID();
}

#include "KVTSimRpm_File.h"

#include "KVTSimRpm_DocumentImpl.h"
#include "KVTSimRpm_FileImpl.h"

KVTSimRpm_File::KVTSimRpm_File(KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> const& impl) : mImpl(impl) {}

KVTSimRpm_File::KVTSimRpm_File(KVTSimRpm_File const& other) = default;

KVTSimRpm_File& KVTSimRpm_File::operator=(KVTSimRpm_File const& other) = default;

KVTSimRpm_File::~KVTSimRpm_File() = default;

KVTString KVTSimRpm_File::FileName() const {
  return mImpl->FileName();
}

KVTSimRpm_Locator KVTSimRpm_File::Start() const {
  return mImpl->Pool()->Start();
}

KVTSimRpm_Locator KVTSimRpm_File::End() const {
  return mImpl->Pool()->End();
}

KVTSimRpm_Locator KVTSimRpm_File::Allocate(std::uint64_t n) {
  return mImpl->Pool()->Allocate(n);
}

void KVTSimRpm_File::NewPool(char const* uuid) {
  mImpl->NewPool(uuid);
}

void KVTSimRpm_File::NewPool(char const* uuid, std::vector<KVTSimRpm_Pool> const& references) {
  KVTSimRpm_FileImpl* file = mImpl.Get();
  file->NewPool(uuid, file->Document().ReferenceSlots(references));
}

void KVTSimRpm_File::AppendPool(KVTSimRpm_Pool const& source) {
  mImpl->AppendPool(*source.Impl());
}

bool KVTSimRpm_File::ReadOnly() const {
  return mImpl->ReadOnly();
}

unsigned int KVTSimRpm_File::PoolCount() const {
  return mImpl->PoolCount();
}

KVTSimRpm_Pool KVTSimRpm_File::Pool() const {
  return KVTSimRpm_Pool(mImpl->Pool());
}

KVTSimRpm_Pool KVTSimRpm_File::Pool(unsigned int index) const {
  return KVTSimRpm_Pool(mImpl->Pool(index));
}

void KVTSimRpm_File::Flush() {
  mImpl->Flush();
}

void KVTSimRpm_File::SetReadCacheLimit(std::uint64_t bytes) {
  mImpl->SetReadCacheLimit(bytes);
}

std::uint64_t KVTSimRpm_File::ReadCacheLimit() const {
  return mImpl->ReadCacheLimit();
}

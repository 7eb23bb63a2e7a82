#include "KVTSimRpm_Document.h"

#include "KVTSimExc.h"
#include "KVTSimRpm_DocumentImpl.h"
#include "KVTSimUttOSFile.h"

namespace {

[[noreturn]] void RaiseValidationFailure(int line) {
  KVTSimExcValidationFailure error;
  error.Throw(__FILE__, line);
}

}  // namespace

KVTSimRpm_Document::KVTSimRpm_Document(char const* sig)
    : mImpl(sig != nullptr ? new KVTSimRpm_DocumentImpl(sig) : nullptr) {
  if (mImpl == nullptr)
    RaiseValidationFailure(__LINE__);
}

KVTSimRpm_Document::KVTSimRpm_Document(std::string_view sig)
    : mImpl(sig.size() == KVTSimRpm_DocumentImpl::kSigLength
                ? new KVTSimRpm_DocumentImpl(sig.data())
                : nullptr) {
  if (mImpl == nullptr)
    RaiseValidationFailure(__LINE__);
}

KVTSimRpm_Document::~KVTSimRpm_Document() {
  delete mImpl;
  mImpl = nullptr;
}

KVTSimRpm_DocumentImpl& KVTSimRpm_Document::Impl() const {
  if (mImpl == nullptr)
    RaiseValidationFailure(__LINE__);
  return *mImpl;
}

KVTSimRpm_File KVTSimRpm_Document::AddFile(KVTString const& fileName, AccessMode mode) {
  return KVTSimRpm_File(Impl().AddFile(fileName, mode));
}

KVTSimRpm_File KVTSimRpm_Document::AddFile(KVTString const& fileName, AccessMode mode,
                                           std::vector<KVTSimRpm_Pool> const& references) {
  KVTSimRpm_DocumentImpl& impl = Impl();
  if (mode != AccessWrite && !references.empty())
    RaiseValidationFailure(__LINE__);
  return KVTSimRpm_File(impl.AddFile(fileName, mode, impl.ReferenceSlots(references)));
}

KVTSimRpm_File KVTSimRpm_Document::AddFileSalvaged(KVTString const& fileName,
                                                   KVTSimRpm_SalvageReport& report) {
  return KVTSimRpm_File(Impl().AddFileSalvaged(fileName, report));
}

KVTSimRpm_File KVTSimRpm_Document::CreateGenerated(KVTString const& directory,
                                                   KVTString const& stem) {
  return KVTSimRpm_File(Impl().CreateGenerated(directory, stem));
}

KVTSimRpm_File KVTSimRpm_Document::CreateGenerated(KVTString const& directory,
                                                   KVTString const& stem,
                                                   std::vector<KVTSimRpm_Pool> const& references) {
  KVTSimRpm_DocumentImpl& impl = Impl();
  return KVTSimRpm_File(impl.CreateGenerated(directory, stem, impl.ReferenceSlots(references)));
}

KVTSimRpm_File KVTSimRpm_Document::CreateTemporary(KVTString const& directory) {
  return KVTSimRpm_File(Impl().CreateTemporary(directory));
}

KVTSimRpm_PoolDirectory KVTSimRpm_Document::NewDirectory() {
  return KVTSimRpm_PoolDirectory(Impl().NewDirectory());
}

void KVTSimRpm_Document::SetReadCacheLimit(std::uint64_t bytes) {
  Impl().SetReadCacheLimit(bytes);
}

std::uint64_t KVTSimRpm_Document::ReadCacheLimit() const {
  return Impl().ReadCacheLimit();
}

void KVTSimRpm_Document::Flush() {
  Impl().Flush();
}

void KVTSimRpm_Document::Close() {
  Impl().Close();
}

void KVTSimRpm_Document::Close(KVTSimRpm_File const& file) {
  Impl().Close(file.mImpl);
}

KVTSimRpm_Document::FileType KVTSimRpm_Document::GetFileType(KVTString const& fileName) {
  return KVTSimRpm_DocumentImpl::GetFileType(fileName);
}

bool KVTSimRpm_Document::BinaryUpgradeRequired(KVTString const& fileName) {
  return KVTSimRpm_DocumentImpl::BinaryUpgradeRequired(fileName);
}

void KVTSimRpm_Document::SetWriterLocking(bool enabled) {
  KVTSimUttOSFile::SetWriterLocking(enabled);
}

bool KVTSimRpm_Document::WriterLocking() {
  return KVTSimUttOSFile::WriterLocking();
}

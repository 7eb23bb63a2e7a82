#include "KVTSimRpm_DocumentImpl.h"

#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimRpm_Raise.h"
#include "KVTSimUttAssert.h"
#include "KVTSimUttFileUtils.h"
#include "KVTSimUttOSFile.h"
#include "cow_ListIter.h"

KVTSimRpm_DocumentImpl::KVTSimRpm_DocumentImpl(char const* sig)
    : mPoolMap(new KVTSimRpm_PoolMap), mReadCacheLimit(KVTSimRpm_Document::kDefaultReadCacheLimit) {
  std::memcpy(mSig, sig, kSigLength);
}

KVTSimRpm_DocumentImpl::~KVTSimRpm_DocumentImpl() = default;

KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> KVTSimRpm_DocumentImpl::NewDirectory() {
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> directory(
      new KVTSimRpm_PoolDirectoryImpl(Map()));
  directory->Init(nullptr);
  return directory;
}

KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> KVTSimRpm_DocumentImpl::AddFile(
    KVTString const& name, KVTSimRpm_Document::AccessMode mode) {
  return Add(name, mode, nullptr);
}

KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> KVTSimRpm_DocumentImpl::AddFile(
    KVTString const& name, KVTSimRpm_Document::AccessMode mode,
    std::vector<int> const& references) {
  if (mode != KVTSimRpm_Document::AccessWrite) {
    // Only a new first pool has a directory to fill.
    if (!references.empty())
      KVTSimRpm_Raise<KVTSimExcValidationFailure>(__FILE__, __LINE__);
    return Add(name, mode, nullptr);
  }
  return Add(name, mode, &references);
}

KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> KVTSimRpm_DocumentImpl::Add(
    KVTString const& name, KVTSimRpm_Document::AccessMode mode,
    std::vector<int> const* references) {
  if (mode != KVTSimRpm_Document::AccessWrite) {
    FileRef same = FindSameFile(name);
    if (!same.Null())
      return same;
  } else if (KVTSimUttFileUtils::FileExists(name) && !FindSameFile(name).Null()) {
    // Emptying a file that this document has open would destroy its pools.
    KVTSimExcCantCreateFile error((KVTSimUttExceptionString<1024>(name)));
    error.Throw(__FILE__, __LINE__);
  }
  FileRef file(new KVTSimRpm_FileImpl(*this));
  try {
    switch (mode) {
      case KVTSimRpm_Document::AccessWrite:
        if (references == nullptr)
          file->OpenWrite(name);
        else
          file->OpenWrite(name, *references);
        break;
      case KVTSimRpm_Document::AccessUpdate:
        file->OpenUpdate(name);
        break;
      case KVTSimRpm_Document::AccessRead:
        file->OpenRead(name);
        break;
      default:
        KVTSIM_ASSERT(!"Bad mode.");
    }
  } catch (...) {
    // The file object is discarded: its pools must not stay bound in the map,
    // so that the same file can be added again.
    file->DetachPools();
    throw;
  }
  return Adopt(file);
}

KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> KVTSimRpm_DocumentImpl::AddFileSalvaged(
    KVTString const& name, KVTSimRpm_SalvageReport& report) {
  FileRef same = FindSameFile(name);
  if (!same.Null()) {
    report = same->SalvageReport();
    return same;
  }
  FileRef file(new KVTSimRpm_FileImpl(*this));
  try {
    file->OpenSalvaged(name);
  } catch (...) {
    file->DetachPools();
    throw;
  }
  report = file->SalvageReport();
  return Adopt(file);
}

KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> KVTSimRpm_DocumentImpl::CreateGenerated(KVTString const& a,
                                                                              KVTString const& b) {
  return Generate(a, b, nullptr);
}

KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> KVTSimRpm_DocumentImpl::CreateGenerated(
    KVTString const& a, KVTString const& b, std::vector<int> const& references) {
  return Generate(a, b, &references);
}

KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> KVTSimRpm_DocumentImpl::Generate(
    KVTString const& a, KVTString const& b, std::vector<int> const* references) {
  FileRef file(new KVTSimRpm_FileImpl(*this));
  try {
    if (references == nullptr)
      file->CreateGenerated(a, b);
    else
      file->CreateGenerated(a, b, *references);
  } catch (...) {
    file->DetachPools();
    throw;
  }
  return Adopt(file);
}

std::vector<int> KVTSimRpm_DocumentImpl::ReferenceSlots(
    std::vector<KVTSimRpm_Pool> const& pools) const {
  std::vector<int> slots;
  slots.reserve(pools.size());
  for (KVTSimRpm_Pool const& pool : pools) {
    KVTSimRpm_PoolImpl* impl = pool.Impl().Get();
    KVTSimRpm_PoolDirectoryImpl const& directory = *impl->Directory();
    // Loaded here means: bound to this document's map, and still the pool
    // at its slot (a pool of a closed file is detached from it).
    if (directory.Map().Peek() != mPoolMap.Get() ||
        mPoolMap->LoadedPool(directory.SlotInMap()) != impl) {
      KVTSimRpm_Raise<KVTSimExcValidationFailure>(__FILE__, __LINE__);
    }
    slots.push_back(directory.SlotInMap());
  }
  return slots;
}

KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> KVTSimRpm_DocumentImpl::CreateTemporary(KVTString const& a) {
  FileRef file(new KVTSimRpm_FileImpl(*this));
  try {
    file->CreateTemporary(a);
  } catch (...) {
    file->DetachPools();
    throw;
  }
  return Adopt(file);
}

KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> KVTSimRpm_DocumentImpl::Adopt(FileRef const& file) {
  mFileList.Append(file);
  return file;
}

KVTSimRpm_DocumentImpl::FileRef KVTSimRpm_DocumentImpl::FindSameFile(KVTString const& name) const {
  for (cow_ListIter<FileRef> it(mFileList); it.NotDone(); it.Next()) {
    FileRef const& file = it.CurrentItem();
    if (!file.Null() && KVTSimUttFileUtils::SameFile(file->FileName(), name))
      return file;
  }
  return FileRef();
}

void KVTSimRpm_DocumentImpl::Flush() {
  for (cow_ListIter<FileRef> it(mFileList); it.NotDone(); it.Next()) {
    FileRef const& file = it.CurrentItem();
    if (!file.Null())
      file->Flush();
  }
}

void KVTSimRpm_DocumentImpl::Close() {
  for (cow_ListIter<FileRef> it(mFileList); it.NotDone(); it.Next()) {
    FileRef const& file = it.CurrentItem();
    if (!file.Null())
      file->Close();
  }
  mFileList.Clear();
  mPoolMap = KVTSimRpm_StrongRef<KVTSimRpm_PoolMap>(new KVTSimRpm_PoolMap);
  std::memset(mSig, 0, kSigLength);
}

void KVTSimRpm_DocumentImpl::Close(KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> const& file) {
  // A handle whose file is gone cannot name a file of this document (its
  // address may even have been reused by another file).
  FileRef target = file.lock();
  int const n = mFileList.Length();
  for (int i = 0; !target.Null() && i < n; ++i) {
    if (!mFileList.ConstGet(i).SameObject(target))
      continue;
    target->Close();
    mFileList.Get(i).Nullify();
    return;
  }
  KVTSimRpm_Raise<KVTSimExcCantGetFile>(__FILE__, __LINE__);
}

KVTSimRpm_Document::FileType KVTSimRpm_DocumentImpl::GetFileType(KVTString const& fileName) {
  KVTSimUttOSFile file;
  file.OpenRead(fileName);
  // Only the signature and the version byte are read; the rest stays zero.
  char probe[KVTSimRpm_PoolHeader::kSize] = {};
  if (file.Read(probe, KVTSimRpm_PoolHeader::kProbeSize) < KVTSimRpm_PoolHeader::kProbeSize)
    return KVTSimRpm_Document::FileTypeNotSim;
  file.Close();
  KVTSimRpm_PoolHeader const header = KVTSimRpm_PoolHeader::Decode(probe);
  if (header.CheckSignature() != KVTSimRpm_PoolHeader::FaultNone)
    return KVTSimRpm_Document::FileTypeNotSim;
  // The version byte is signed here: 0x80 to 0xFF count as negative.
  int const version = static_cast<signed char>(header.Version());
  if (version <= 0 || version > static_cast<int>(KVTSimRpm_PoolHeader::kFormatVersion))
    return KVTSimRpm_Document::FileTypeNotSim;
  return version <= 2 ? KVTSimRpm_Document::FileTypeOldSim : KVTSimRpm_Document::FileTypeSim;
}

bool KVTSimRpm_DocumentImpl::BinaryUpgradeRequired(KVTString const& fileName) {
  KVTSimUttOSFile file;
  file.OpenRead(fileName);
  char probe[KVTSimRpm_PoolHeader::kSize] = {};
  if (file.Read(probe, KVTSimRpm_PoolHeader::kProbeSize) < KVTSimRpm_PoolHeader::kProbeSize) {
    KVTSimRpm_Raise<KVTSimExcNotSimFile>(__FILE__, __LINE__);
  }
  file.Close();
  // The signature is not examined: only the version byte decides.
  return KVTSimRpm_PoolHeader::Decode(probe).CheckVersion() != KVTSimRpm_PoolHeader::FaultNone;
}

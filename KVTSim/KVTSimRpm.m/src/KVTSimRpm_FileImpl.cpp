#include "KVTSimRpm_FileImpl.h"

#include <algorithm>
#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_Buffer.h"
#include "KVTSimRpm_DocumentImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "KVTSimRpm_Raise.h"
#include "KVTSimRpm_SalvagePlan.h"
#include "KVTSimRpm_TidyLock.h"
#include "KVTSimUttAssert.h"
#include "cow_ListIter.h"

KVTSimRpm_FileImpl::KVTSimRpm_FileImpl(KVTSimRpm_DocumentImpl& document)
    : mDocument(document),
      mCurrentPoolIndex(-1),
      mFileLength(0),
      mPosition(0),
      mCache(&KVTSimRpm_FileImpl::ReadForCache, this) {
  mCache.SetLimit(document.ReadCacheLimit());
}

KVTSimRpm_FileImpl::~KVTSimRpm_FileImpl() = default;

void KVTSimRpm_FileImpl::OpenRead(KVTString const& name) {
  mOSFile.OpenRead(name);
  mFileLength = mOSFile.FileSize();
  std::uint64_t const size = mFileLength;
  Load();
  // Loading reads each header once: it goes straight to the file. Later
  // reads of the data may be served from memory.
  mCache.Reset(size, true);
}

void KVTSimRpm_FileImpl::OpenUpdate(KVTString const& name) {
  mOSFile.OpenUpdate(name);
  mFileLength = mOSFile.FileSize();
  std::uint64_t const size = mFileLength;
  Load();
  mCache.Reset(size, false);
}

void KVTSimRpm_FileImpl::OpenSalvaged(KVTString const& name) {
  mOSFile.OpenRead(name);
  KVTSimRpm_SalvagePlan const plan(name, Sig(), [this](char const* identifier) {
    return mDocument.Map()->IsDuplicate(identifier);
  });
  for (KVTSimRpm_SalvagePlan::Pool const& kept : plan.Pools()) {
    PoolRef pool(new KVTSimRpm_PoolImpl(*this, NewDirectory(), kept.location));
    pool->Load(plan.Report().FileSize(), kept.length);
    AddLoadedPool(pool);
  }
  mFileLength = plan.ChainEnd();
  mSalvageReport = plan.Report();
}

KVTSimRpm_SalvageReport KVTSimRpm_FileImpl::SalvageReport() const {
  if (mSalvageReport)
    return *mSalvageReport;
  return KVTSimRpm_SalvageReport(mFileLength, PoolCount(), mFileLength, 0, nullptr);
}

void KVTSimRpm_FileImpl::OpenWrite(KVTString const& name) {
  mOSFile.OpenWrite(name);
  CreateFirstPool(nullptr);
}

void KVTSimRpm_FileImpl::OpenWrite(KVTString const& name, std::vector<int> const& references) {
  mOSFile.OpenWrite(name);
  CreateFirstPool(&references);
}

void KVTSimRpm_FileImpl::CreateGenerated(KVTString const& a, KVTString const& b) {
  mOSFile.CreateGenerated(a, b, false);
  CreateFirstPool(nullptr);
}

void KVTSimRpm_FileImpl::CreateGenerated(KVTString const& a, KVTString const& b,
                                         std::vector<int> const& references) {
  mOSFile.CreateGenerated(a, b, false);
  CreateFirstPool(&references);
}

void KVTSimRpm_FileImpl::CreateTemporary(KVTString const& a) {
  mOSFile.CreateTemporary(a);
  CreateFirstPool(nullptr);
}

void KVTSimRpm_FileImpl::CreateFirstPool(std::vector<int> const* references) {
  if (references == nullptr)
    NewPool(static_cast<char const*>(nullptr));
  else
    NewPool(nullptr, *references);
}

void KVTSimRpm_FileImpl::Load() {
  std::uint64_t offset = 0;
  while (offset < mFileLength) {
    PoolRef pool(new KVTSimRpm_PoolImpl(*this, NewDirectory(), offset));
    pool->Load(mFileLength);
    AddLoadedPool(pool);
    offset += pool->Length();
  }
  // A last pool stored with a length past the end of the file (space
  // allocated but never written) still ends where its header says: the next
  // pool must begin there, not inside it.
  mFileLength = offset;
  if (ReadOnly() || mCurrentPoolIndex < 0)
    return;
  // The last pool of a writable file is open: its header stores length 0 so
  // that a reader takes its length from the end of the file.
  PoolRef current = mPoolContainer.ConstGet(mCurrentPoolIndex);
  bool const lengthChanges = !current->StoredOpen();
  current->SetFrozen(false);
  current->Dump();
  if (lengthChanges)
    SyncBeforeLengthChange();
}

void KVTSimRpm_FileImpl::SyncBeforeLengthChange() {
  mOSFile.Flush();
}

void KVTSimRpm_FileImpl::AddLoadedPool(PoolRef const& pool) {
  mCurrentPoolIndex = mPoolContainer.Length();
  mPoolContainer.Append(pool);
  mDocument.Map()->SetPool(pool->Directory()->SlotInMap(), pool);
}

void KVTSimRpm_FileImpl::MakeCurrent(PoolRef const& pool) {
  if (mCurrentPoolIndex >= 0) {
    // The previous pool's bytes reach the disk before its header claims
    // them, and its length before the next header is written: after a power
    // loss the file then holds a frozen pool whole, or still open (its length
    // taken from the file's end), never a frozen one missing data or one
    // whose torn length digits hide bytes written later.
    PoolRef const current = mPoolContainer.ConstGet(mCurrentPoolIndex);
    // Space allocated at the end and never written becomes part of the file
    // (it reads as zeros, as it would once the next header is written), so
    // that the file ends where the stored length says and a torn length can
    // be told from a whole one by the file's end.
    std::uint64_t const end = current->Location() + current->Length();
    if (mOSFile.FileSize() < end)
      mOSFile.Truncate(end);
    SyncBeforeLengthChange();
    current->Freeze();
    SyncBeforeLengthChange();
  }
  AddLoadedPool(pool);
  pool->SetFrozen(false);
  pool->Dump();
}

KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> KVTSimRpm_FileImpl::NewPool(
    KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& directory) {
  if (ReadOnly())
    KVTSimRpm_Raise<KVTSimExcNewPoolReadOnly>(__FILE__, __LINE__);
  ChainState const saved = SaveChain();
  PoolRef dropped = DropEmptyCurrentPool();
  try {
    // The replacement's header may be shorter than the dropped one (a
    // directory that named a pool twice): bytes left behind it would become
    // data of the open pool, whose length the next load takes from the
    // file's end.
    if (!dropped.Null())
      Truncate(dropped->Location());
    PoolRef pool(new KVTSimRpm_PoolImpl(*this, directory, mFileLength));
    pool->Init();
    MakeCurrent(pool);
    return pool;
  } catch (...) {
    RestoreChain(saved, dropped);
    throw;
  }
}

KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> KVTSimRpm_FileImpl::NewPool(char const* uuid) {
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> directory = NewDirectory();
  directory->Init(uuid);
  return NewPool(directory);
}

KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> KVTSimRpm_FileImpl::NewPool(
    char const* uuid, std::vector<int> const& references) {
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> directory = NewDirectory();
  directory->Init(uuid, references);
  return NewPool(directory);
}

KVTSimRpm_FileImpl::PoolRef KVTSimRpm_FileImpl::DropEmptyCurrentPool() {
  if (mCurrentPoolIndex < 0)
    return PoolRef();
  PoolRef current = mPoolContainer.ConstGet(mCurrentPoolIndex);
  if (current->Length() != current->HeaderLength())
    return PoolRef();
  mDocument.Map()->Remove(current->Directory()->SlotInMap());
  mPoolContainer.Resize(mCurrentPoolIndex);
  --mCurrentPoolIndex;
  return current;
}

KVTSimRpm_FileImpl::ChainState KVTSimRpm_FileImpl::SaveChain() {
  ChainState saved;
  saved.size = mOSFile.FileSize();
  saved.logicalLength = mFileLength;
  saved.poolCount = mPoolContainer.Length();
  saved.currentIndex = mCurrentPoolIndex;
  saved.currentFrozen =
      mCurrentPoolIndex >= 0 && mPoolContainer.ConstGet(mCurrentPoolIndex)->Frozen();
  return saved;
}

void KVTSimRpm_FileImpl::RestoreChain(ChainState const& saved, PoolRef const& dropped) {
  // Memory first: forget the pools added since, in the list and in the map,
  // and take back a dropped empty pool.
  int const kept = saved.poolCount - (dropped.Null() ? 0 : 1);
  for (int i = kept; i < mPoolContainer.Length(); ++i)
    mDocument.Map()->Remove(mPoolContainer.ConstGet(i)->Directory()->SlotInMap());
  mPoolContainer.Resize(kept);
  mCurrentPoolIndex = kept - 1;
  if (!dropped.Null())
    AddLoadedPool(dropped);
  PoolRef current =
      saved.currentIndex >= 0 ? mPoolContainer.ConstGet(saved.currentIndex) : PoolRef();
  bool const refrozen = !current.Null() && current->Frozen() != saved.currentFrozen;
  if (refrozen)
    current->SetFrozen(saved.currentFrozen);
  // Then the disk: its old size, and the current pool's header as it was (a
  // dropped pool's header may have been cut away or overwritten).
  Truncate(saved.size);
  if (refrozen || !dropped.Null())
    current->Dump();
  mFileLength = saved.logicalLength;
}

KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> KVTSimRpm_FileImpl::AppendPool(KVTSimRpm_PoolImpl& source) {
  if (ReadOnly())
    KVTSimRpm_Raise<KVTSimExcNewPoolReadOnly>(__FILE__, __LINE__);
  KVTSimRpm_PoolDirectoryImpl const& sourceDirectory = *source.Directory();
  char uuid[KVTSimRpm_PoolMapItem::kUUIDLength];
  std::memcpy(uuid, sourceDirectory.Map()->UUID(sourceDirectory.SlotInMap()), sizeof uuid);
  if (mDocument.Map()->IsDuplicate(uuid))
    KVTSimRpm_Raise<KVTSimExcPoolAlreadyInDoc>(__FILE__, __LINE__);

  ChainState const saved = SaveChain();
  std::uint64_t start = mFileLength;
  PoolRef dropped = DropEmptyCurrentPool();
  if (!dropped.Null())
    start = dropped->Location();
  try {
    CopyPoolBytes(source, start);
    PoolRef copy(new KVTSimRpm_PoolImpl(*this, NewDirectory(), start));
    copy->Load(mFileLength);
    MakeCurrent(copy);
    return copy;
  } catch (...) {
    RestoreChain(saved, dropped);
    throw;
  }
}

void KVTSimRpm_FileImpl::CopyPoolBytes(KVTSimRpm_PoolImpl& source, std::uint64_t start) {
  std::uint64_t sourceOffset = source.Location();
  std::uint64_t remaining = source.Length();
  std::uint64_t destination = start;
  Truncate(start + remaining);
  Buffer buffer(kCopyChunk);
  while (remaining != 0) {
    std::uint64_t chunk = std::min(remaining, kCopyChunk);
    std::uint64_t n = source.File().Read(sourceOffset, chunk, buffer.Data());
    if (n == 0)
      KVTSimRpm_Raise<KVTSimExcShortPool>(__FILE__, __LINE__);
    Write(destination, n, buffer.Data());
    sourceOffset += n;
    destination += n;
    remaining -= n;
  }
}

KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> KVTSimRpm_FileImpl::Pool() const {
  KVTSIM_ASSERT(mCurrentPoolIndex >= 0);
  return mPoolContainer.ConstGet(mCurrentPoolIndex);
}

KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> KVTSimRpm_FileImpl::Pool(unsigned int requested) const {
  // Widened so that the check compares without a sign conversion.
  long long const index = requested;
  KVTSIM_VALIDATE(index < mPoolContainer.Length());
  return mPoolContainer.ConstGet(static_cast<int>(index));
}

bool KVTSimRpm_FileImpl::IsCurrentPool(KVTSimRpm_PoolImpl const* pool) const {
  return mCurrentPoolIndex >= 0 && mPoolContainer.ConstGet(mCurrentPoolIndex).Get() == pool;
}

void KVTSimRpm_FileImpl::Flush() {
  if (!ReadOnly() && mCurrentPoolIndex >= 0)
    mPoolContainer.ConstGet(mCurrentPoolIndex)->Dump();
  mOSFile.Flush();
}

void KVTSimRpm_FileImpl::Close() {
  if (!ReadOnly() && mCurrentPoolIndex >= 0)
    mPoolContainer.ConstGet(mCurrentPoolIndex)->Dump();
  mOSFile.Flush();
  DetachPools();
  // Nothing of a closed file is served any more.
  mCache.Reset(0, false);
  mOSFile.Close();
}

void KVTSimRpm_FileImpl::DetachPools() {
  KVTSimRpm_StrongRef<KVTSimRpm_PoolMap> map = mDocument.Map().lock();
  if (map.Null())
    return;  // the document's map is gone: nothing to detach from
  for (cow_ListIter<PoolRef> it(mPoolContainer); it.NotDone(); it.Next()) {
    map->Remove(it.CurrentItem()->Directory()->SlotInMap());
  }
}

std::uint64_t KVTSimRpm_FileImpl::Read(std::uint64_t offset, std::uint64_t length, char* buffer) {
  // Reads of a block or more gain nothing from copying through a block.
  if (length < KVTSimRpm_BlockCache::kBlockSize)
    return mCache.Read(offset, length, buffer);
  return ReadDirect(offset, length, buffer);
}

std::uint64_t KVTSimRpm_FileImpl::ReadForCache(void* file, std::uint64_t offset,
                                               std::uint64_t length, char* buffer) {
  return static_cast<KVTSimRpm_FileImpl*>(file)->ReadDirect(offset, length, buffer);
}

std::uint64_t KVTSimRpm_FileImpl::ReadDirect(std::uint64_t offset, std::uint64_t length,
                                             char* buffer) {
  KVTSimRpm_TidyLock lock(mOSFile.Mutex());
  if (offset != mPosition) {
    mOSFile.Seek(offset);
    mPosition = offset;
  }
  std::uint64_t n = 0;
  try {
    n = mOSFile.Read(buffer, length);
  } catch (...) {
    // A transfer that failed part-way leaves the position where the file
    // object says, not where this cache would guess.
    mPosition = mOSFile.Position();
    throw;
  }
  mPosition += n;
  return n;
}

void KVTSimRpm_FileImpl::Write(std::uint64_t offset, std::uint64_t length, char const* buffer) {
  if (ReadOnly())
    KVTSimRpm_Raise<KVTSimExcWriteReadOnly>(__FILE__, __LINE__);
  // The cache is told after the file's mutex is released: a cache miss holds
  // the cache's lock while it takes the file's mutex.
  try {
    WriteDirect(offset, length, buffer);
  } catch (...) {
    mCache.Forget(offset, length);
    throw;
  }
  mCache.Wrote(offset, length, buffer);
}

void KVTSimRpm_FileImpl::WriteDirect(std::uint64_t offset, std::uint64_t length,
                                     char const* buffer) {
  KVTSimRpm_TidyLock lock(mOSFile.Mutex());
  if (offset != mPosition) {
    mOSFile.Seek(offset);
    mPosition = offset;
  }
  try {
    mOSFile.WriteAll(buffer, length);
  } catch (...) {
    mPosition = mOSFile.Position();
    throw;
  }
  mPosition += length;
}

void KVTSimRpm_FileImpl::Extend(std::uint64_t newLength) {
  if (newLength <= mFileLength)
    return;
  if (ReadOnly())
    KVTSimRpm_Raise<KVTSimExcAllocReadOnly>(__FILE__, __LINE__);
  mFileLength = newLength;
}

void KVTSimRpm_FileImpl::Truncate(std::uint64_t const& length) {
  mOSFile.Truncate(length);
  mFileLength = length;
  mCache.Resized(length);
}

char const* KVTSimRpm_FileImpl::Sig() const {
  return mDocument.Sig();
}

KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> KVTSimRpm_FileImpl::NewDirectory() const {
  return KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl>(
      new KVTSimRpm_PoolDirectoryImpl(mDocument.Map()));
}

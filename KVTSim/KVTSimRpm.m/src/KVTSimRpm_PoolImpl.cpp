#include "KVTSimRpm_PoolImpl.h"

#include "KVTSimExc.h"
#include "KVTSimRpm_Buffer.h"
#include "KVTSimRpm_FileImpl.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimRpm_Raise.h"
#include "KVTSimUttAssert.h"

KVTSimRpm_PoolImpl::KVTSimRpm_PoolImpl(
    KVTSimRpm_FileImpl& file, KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& directory,
    std::uint64_t location)
    : mFile(file),
      mDirectory(directory),
      mFrozen(true),
      mLocation(location),
      mLength(0),
      mHeaderLength(0),
      mHeaderWordA(KVTSimRpm_PoolHeader::kNewWordA),
      mHeaderWordB(KVTSimRpm_PoolHeader::kNewWordB),
      mStoredOpen(false) {}

KVTSimRpm_PoolImpl::~KVTSimRpm_PoolImpl() = default;

void KVTSimRpm_PoolImpl::Init() {
  KVTSimRpm_PoolHeader header;
  header.SetEntryCount(mDirectory->Length());
  mHeaderLength = header.HeaderLength();
  mLength = mHeaderLength;
}

void KVTSimRpm_PoolImpl::Load(std::uint64_t fileEnd) {
  LoadRecord(fileEnd, std::nullopt);
}

void KVTSimRpm_PoolImpl::Load(std::uint64_t fileEnd, std::uint64_t length) {
  LoadRecord(fileEnd, length);
}

void KVTSimRpm_PoolImpl::LoadRecord(std::uint64_t fileEnd, std::optional<std::uint64_t> length) {
  char bytes[KVTSimRpm_PoolHeader::kSize];
  KVTSimRpm_PoolHeader header;
  if (mFile.Read(mLocation, sizeof bytes, bytes) < sizeof bytes)
    header.Raise(KVTSimRpm_PoolHeader::FaultCutShort, mFile.FileName(), __FILE__, __LINE__);
  header = KVTSimRpm_PoolHeader::Decode(bytes);
  bool const storedOpen = header.StoredOpen();
  // Judged as it would be stored with the length given.
  if (length)
    header.SetStoredLength(*length);
  // The checks also bound the entry count before the directory is allocated.
  if (KVTSimRpm_PoolHeader::Fault fault = header.Check(mLocation, fileEnd, mFile.Sig()))
    header.Raise(fault, mFile.FileName(), __FILE__, __LINE__);

  std::uint32_t const headerLength = header.HeaderLength();
  Buffer record(headerLength - KVTSimRpm_PoolHeader::kSize);
  if (mFile.Read(mLocation + KVTSimRpm_PoolHeader::kSize, record.Size(), record.Data()) <
      record.Size()) {
    header.Raise(KVTSimRpm_PoolHeader::FaultDirectoryCutShort, mFile.FileName(), __FILE__,
                 __LINE__);
  }
  mDirectory->Load(record.Data(), header.EntryCount());
  mHeaderLength = headerLength;
  mLength = header.RecordLength(mLocation, fileEnd);
  mHeaderWordA = header.WordA();
  mHeaderWordB = header.WordB();
  mStoredOpen = storedOpen;
}

void KVTSimRpm_PoolImpl::Dump() {
  KVTSimRpm_PoolHeader header;
  header.SetUserSignature(mFile.Sig());
  // An open pool stores 0: its length is the file's end at the next load.
  header.SetStoredLength(mFrozen ? mLength : 0);
  header.SetHeaderWords(mHeaderWordA, mHeaderWordB);
  header.SetEntryCount(mDirectory->Length());
  std::uint32_t const size = header.HeaderLength();
  Buffer record(size);
  header.EncodeTo(record.Data());
  mDirectory->Dump(record.Data() + KVTSimRpm_PoolHeader::kSize);
  mFile.Extend(mLocation + size);
  mFile.Write(mLocation, size, record.Data());
  mStoredOpen = !mFrozen;
}

void KVTSimRpm_PoolImpl::Freeze() {
  mFrozen = true;
  Dump();
}

void KVTSimRpm_PoolImpl::Thaw() {
  // Only the last pool may grow: any other would grow over the next record.
  KVTSIM_ASSERT(IsLastInFile());
  mFrozen = false;
  Dump();
}

std::uint64_t KVTSimRpm_PoolImpl::Read(std::uint64_t offset, std::uint64_t length,
                                       char* buffer) const {
  std::uint64_t dataStart = mLocation + mHeaderLength;
  // An offset so large that the file position would wrap has nothing to read.
  if (offset > UINT64_MAX - dataStart)
    return 0;
  return mFile.Read(dataStart + offset, length, buffer);
}

void KVTSimRpm_PoolImpl::Write(std::uint64_t offset, std::uint64_t length,
                               char const* buffer) const {
  std::uint64_t limit = DataLength();
  if (length > limit || offset > limit - length) {
    KVTSimExcIOBounds error(offset, offset + length, limit);
    error.Throw(__FILE__, __LINE__);
  }
  mFile.Write(mLocation + mHeaderLength + offset, length, buffer);
}

KVTSimRpm_Locator KVTSimRpm_PoolImpl::Start() const {
  return At(0);
}

KVTSimRpm_Locator KVTSimRpm_PoolImpl::End() const {
  return At(DataLength());
}

KVTSimRpm_Locator KVTSimRpm_PoolImpl::Allocate(std::uint64_t n) {
  if (mFrozen)
    KVTSimRpm_Raise<KVTSimExcImmutablePool>(__FILE__, __LINE__);
  std::uint64_t old = mLength;
  if (n > KVTSimRpm_PoolHeader::kMaxRecordLength - old) {
    // The record length would no longer fit its 16 stored digits.
    KVTSimExcIOBounds error(DataLength(), DataLength() + n,
                            KVTSimRpm_PoolHeader::kMaxRecordLength - mHeaderLength);
    error.Throw(__FILE__, __LINE__);
  }
  // Extend first: a refused extension leaves the pool as it was.
  mFile.Extend(mLocation + old + n);
  mLength = old + n;
  return At(old - mHeaderLength);
}

bool KVTSimRpm_PoolImpl::ReadOnly() const {
  return mFile.ReadOnly();
}

bool KVTSimRpm_PoolImpl::IsLastInFile() const {
  return mFile.IsCurrentPool(this);
}

KVTSimRpm_Locator KVTSimRpm_PoolImpl::At(std::uint64_t dataOffset) const {
  return KVTSimRpm_Locator(mDirectory->Map(), mDirectory->SlotInMap(), dataOffset, nullptr);
}

#include "KVTSimRpm_PoolImpl.h"

#include <climits>
#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_Buffer.h"
#include "KVTSimRpm_FileImpl.h"
#include "KVTSimRpm_Format.h"
#include "KVTSimUttAssert.h"
#include "KVTSimUttCoding.h"

namespace {

constexpr std::uint32_t kEntrySize = KVTSimRpm_PoolMapItem::kUUIDLength;
constexpr int kLengthDigitsAt = 20;
constexpr int kLengthDigits = 16;

template <typename Kind>
[[noreturn]] void Raise(int line) {
  Kind error;
  error.Throw(__FILE__, line);
}

}  // namespace

KVTSimRpm_PoolImpl::KVTSimRpm_PoolImpl(
    KVTSimRpm_FileImpl& file, KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& directory,
    std::uint64_t location)
    : mFile(file),
      mDirectory(directory),
      mFrozen(true),
      mLocation(location),
      mLength(0),
      mHeaderLength(0),
      mHeaderWordA(2),
      mHeaderWordB(0) {}

KVTSimRpm_PoolImpl::~KVTSimRpm_PoolImpl() = default;

void KVTSimRpm_PoolImpl::Init() {
  mHeaderLength = kHeaderSize + kEntrySize * static_cast<std::uint32_t>(mDirectory->Length());
  mLength = mHeaderLength;
}

void KVTSimRpm_PoolImpl::Load(std::uint64_t fileEnd) {
  char header[kHeaderSize];
  if (mFile.Read(mLocation, kHeaderSize, header) < kHeaderSize) {
    Raise<KVTSimExcCorruptHeader>(__LINE__);
  }
  CheckHeaderHead(header);
  std::uint64_t stored = ParseLength(header + kLengthDigitsAt);
  std::uint32_t wordA = kvtsim_coding::DecodeFixed32(header + 36);
  std::uint32_t wordB = kvtsim_coding::DecodeFixed32(header + 40);
  int n = ParseEntryCount(header, fileEnd);
  std::uint32_t headerLength = kHeaderSize + kEntrySize * static_cast<std::uint32_t>(n);
  // ParseEntryCount made sure the directory lies before fileEnd, so an open
  // pool's length covers at least its header.
  std::uint64_t length = stored != 0 ? stored : fileEnd - mLocation;
  if (length < headerLength || length > kMaxRecordLength)
    Raise<KVTSimExcCorruptHeader>(__LINE__);

  Buffer record(headerLength - kHeaderSize);
  if (mFile.Read(mLocation + kHeaderSize, record.Size(), record.Data()) < record.Size()) {
    Raise<KVTSimExcCorruptDirectory>(__LINE__);
  }
  mDirectory->Load(record.Data(), n);
  mHeaderLength = headerLength;
  mLength = length;
  mHeaderWordA = wordA;
  mHeaderWordB = wordB;
}

void KVTSimRpm_PoolImpl::CheckHeaderHead(char const* header) const {
  if (std::memcmp(header, kKVTSimRpmFormatSignature, sizeof kKVTSimRpmFormatSignature) != 0) {
    Raise<KVTSimExcNotSimFile>(__LINE__);
  }
  signed char version = static_cast<signed char>(header[8]);
  if (version != static_cast<signed char>(kKVTSimRpmFormatVersion)) {
    KVTSimExcNeedUpgrade error(kKVTSimRpmFormatVersion, static_cast<unsigned>(version),
                               KVTSimUttExceptionString<1024>(mFile.FileName()));
    error.Throw(__FILE__, __LINE__);
  }
  // The user signature is compared as one 32-bit value.
  if (kvtsim_coding::DecodeFixed32(header + 16) != kvtsim_coding::DecodeFixed32(mFile.Sig())) {
    Raise<KVTSimExcUserSigMismatch>(__LINE__);
  }
}

std::uint64_t KVTSimRpm_PoolImpl::ParseLength(char const* digits) const {
  std::uint64_t value = 0;
  for (int i = 0; i < kLengthDigits; ++i) {
    // A non-digit would turn into a wild length: the header is damaged.
    if (digits[i] < '0' || digits[i] > '9')
      Raise<KVTSimExcCorruptHeader>(__LINE__);
    value = value * 10 + static_cast<std::uint64_t>(digits[i] - '0');
  }
  return value;
}

int KVTSimRpm_PoolImpl::ParseEntryCount(char const* header, std::uint64_t fileEnd) const {
  int n = static_cast<int>(kvtsim_coding::DecodeFixed32(header + 44));
  // Refuse before allocating: a damaged count must not ask for gigabytes.
  if (n <= 0 || n > (INT_MAX - static_cast<int>(kHeaderSize)) / static_cast<int>(kEntrySize)) {
    Raise<KVTSimExcCorruptDirectory>(__LINE__);
  }
  std::uint64_t end = mLocation + kHeaderSize + std::uint64_t{kEntrySize} * n;
  if (end > fileEnd)
    Raise<KVTSimExcCorruptDirectory>(__LINE__);
  return n;
}

void KVTSimRpm_PoolImpl::Dump() {
  int n = mDirectory->Length();
  std::uint32_t size = kHeaderSize + kEntrySize * static_cast<std::uint32_t>(n);
  Buffer record(size);
  char* out = record.Data();
  std::memcpy(out, kKVTSimRpmFormatSignature, sizeof kKVTSimRpmFormatSignature);
  out[8] = static_cast<char>(kKVTSimRpmFormatVersion);
  std::memset(out + 9, 0, 7);
  std::memcpy(out + 16, mFile.Sig(), 4);
  // An open pool stores 0: its length is the file's end at the next load.
  std::uint64_t value = mFrozen ? mLength : 0;
  for (int i = kLengthDigits - 1; i >= 0; --i, value /= 10) {
    out[kLengthDigitsAt + i] = static_cast<char>('0' + value % 10);
  }
  kvtsim_coding::EncodeFixed32(out + 36, mHeaderWordA);
  kvtsim_coding::EncodeFixed32(out + 40, mHeaderWordB);
  kvtsim_coding::EncodeFixed32(out + 44, static_cast<std::uint32_t>(n));
  mDirectory->Dump(out + kHeaderSize);
  mFile.Extend(mLocation + size);
  mFile.Write(mLocation, size, out);
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
    Raise<KVTSimExcImmutablePool>(__LINE__);
  std::uint64_t old = mLength;
  if (n > kMaxRecordLength - old) {
    // The record length would no longer fit its 16 stored digits.
    KVTSimExcIOBounds error(DataLength(), DataLength() + n, kMaxRecordLength - mHeaderLength);
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

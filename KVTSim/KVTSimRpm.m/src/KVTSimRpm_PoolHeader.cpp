#include "KVTSimRpm_PoolHeader.h"

#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_Raise.h"
#include "KVTSimUttAssert.h"
#include "KVTSimUttCoding.h"

KVTSimRpm_PoolHeader::KVTSimRpm_PoolHeader() noexcept : mBytes() {
  std::memcpy(mBytes + kSignatureOffset, kFormatSignature, kSignatureSize);
  mBytes[kVersionOffset] = static_cast<char>(kFormatVersion);
  SetStoredLength(0);
  SetHeaderWords(kNewWordA, kNewWordB);
}

KVTSimRpm_PoolHeader KVTSimRpm_PoolHeader::Decode(char const* bytes) noexcept {
  KVTSimRpm_PoolHeader header;
  std::memcpy(header.mBytes, bytes, kSize);
  return header;
}

void KVTSimRpm_PoolHeader::EncodeTo(char* out) const noexcept {
  std::memcpy(out, mBytes, kSize);
}

unsigned KVTSimRpm_PoolHeader::Version() const noexcept {
  return static_cast<unsigned char>(mBytes[kVersionOffset]);
}

std::uint32_t KVTSimRpm_PoolHeader::WordA() const noexcept {
  return kvtsim_coding::DecodeFixed32(mBytes + kWordAOffset);
}

std::uint32_t KVTSimRpm_PoolHeader::WordB() const noexcept {
  return kvtsim_coding::DecodeFixed32(mBytes + kWordBOffset);
}

std::int32_t KVTSimRpm_PoolHeader::EntryCount() const noexcept {
  return static_cast<std::int32_t>(kvtsim_coding::DecodeFixed32(mBytes + kEntryCountOffset));
}

std::optional<std::uint64_t> KVTSimRpm_PoolHeader::StoredLength() const noexcept {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < kLengthDigits; ++i) {
    char const c = mBytes[kLengthOffset + i];
    if (c < '0' || c > '9')
      return std::nullopt;
    value = value * 10 + static_cast<std::uint64_t>(c - '0');
  }
  return value;
}

bool KVTSimRpm_PoolHeader::StoredOpen() const noexcept {
  std::optional<std::uint64_t> const stored = StoredLength();
  return stored && *stored == 0;
}

std::uint32_t KVTSimRpm_PoolHeader::HeaderLength() const noexcept {
  return static_cast<std::uint32_t>(kSize + kEntrySize * static_cast<std::uint32_t>(EntryCount()));
}

std::uint64_t KVTSimRpm_PoolHeader::RecordLength(std::uint64_t location,
                                                 std::uint64_t fileEnd) const noexcept {
  std::uint64_t const stored = StoredLength().value_or(0);
  // An open pool reaches to the end of the file: only the last pool is open.
  return stored != 0 ? stored : fileEnd - location;
}

void KVTSimRpm_PoolHeader::SetUserSignature(char const* sig) noexcept {
  std::memcpy(mBytes + kUserSignatureOffset, sig, kUserSignatureSize);
}

void KVTSimRpm_PoolHeader::SetStoredLength(std::uint64_t length) noexcept {
  // Most significant digit first, zero-padded.
  for (std::size_t i = kLengthDigits; i-- > 0; length /= 10)
    mBytes[kLengthOffset + i] = static_cast<char>('0' + length % 10);
}

void KVTSimRpm_PoolHeader::SetHeaderWords(std::uint32_t wordA, std::uint32_t wordB) noexcept {
  kvtsim_coding::EncodeFixed32(mBytes + kWordAOffset, wordA);
  kvtsim_coding::EncodeFixed32(mBytes + kWordBOffset, wordB);
}

void KVTSimRpm_PoolHeader::SetEntryCount(std::int32_t count) noexcept {
  kvtsim_coding::EncodeFixed32(mBytes + kEntryCountOffset, static_cast<std::uint32_t>(count));
}

KVTSimRpm_PoolHeader::Fault KVTSimRpm_PoolHeader::CheckSignature() const noexcept {
  bool const same = std::memcmp(mBytes + kSignatureOffset, kFormatSignature, kSignatureSize) == 0;
  return same ? FaultNone : FaultSignature;
}

KVTSimRpm_PoolHeader::Fault KVTSimRpm_PoolHeader::CheckVersion() const noexcept {
  return Version() == kFormatVersion ? FaultNone : FaultVersion;
}

KVTSimRpm_PoolHeader::Fault KVTSimRpm_PoolHeader::CheckUserSignature(
    char const* sig) const noexcept {
  // Compared as one 32-bit value: all four bytes count, none is a terminator.
  bool const same =
      kvtsim_coding::DecodeFixed32(UserSignature()) == kvtsim_coding::DecodeFixed32(sig);
  return same ? FaultNone : FaultUserSignature;
}

KVTSimRpm_PoolHeader::Fault KVTSimRpm_PoolHeader::CheckLengthDigits() const noexcept {
  // A non-digit would turn into a wild length: the header is damaged.
  return StoredLength() ? FaultNone : FaultLengthDigits;
}

KVTSimRpm_PoolHeader::Fault KVTSimRpm_PoolHeader::CheckEntryCount() const noexcept {
  // A pool lists at least itself; a damaged count must not make a reader
  // allocate gigabytes for the directory.
  std::int32_t const n = EntryCount();
  return n >= 1 && n <= kMaxEntryCount ? FaultNone : FaultEntryCount;
}

KVTSimRpm_PoolHeader::Fault KVTSimRpm_PoolHeader::CheckDirectoryEnd(
    std::uint64_t location, std::uint64_t fileEnd) const noexcept {
  bool const inside = location <= fileEnd && fileEnd - location >= HeaderLength();
  return inside ? FaultNone : FaultDirectoryPastEnd;
}

KVTSimRpm_PoolHeader::Fault KVTSimRpm_PoolHeader::CheckRecordLength(
    std::uint64_t location, std::uint64_t fileEnd) const noexcept {
  // A frozen pool may reach past the file's end (a tail allocated but never
  // written); its next record then begins where the header says.
  std::uint64_t const length = RecordLength(location, fileEnd);
  bool const fits = length >= HeaderLength() && length <= kMaxRecordLength;
  return fits ? FaultNone : FaultRecordLength;
}

KVTSimRpm_PoolHeader::Fault KVTSimRpm_PoolHeader::CheckLayout(
    std::uint64_t location, std::uint64_t fileEnd) const noexcept {
  if (Fault fault = CheckLengthDigits())
    return fault;
  if (Fault fault = CheckEntryCount())
    return fault;
  if (Fault fault = CheckDirectoryEnd(location, fileEnd))
    return fault;
  return CheckRecordLength(location, fileEnd);
}

KVTSimRpm_PoolHeader::Fault KVTSimRpm_PoolHeader::Check(std::uint64_t location,
                                                        std::uint64_t fileEnd,
                                                        char const* sig) const noexcept {
  if (Fault fault = CheckSignature())
    return fault;
  if (Fault fault = CheckVersion())
    return fault;
  if (sig != nullptr) {
    if (Fault fault = CheckUserSignature(sig))
      return fault;
  }
  return CheckLayout(location, fileEnd);
}

void KVTSimRpm_PoolHeader::Raise(Fault fault, KVTString const& fileName, char const* sourceFile,
                                 int line) const {
  switch (fault) {
    case FaultSignature:
      KVTSimRpm_Raise<KVTSimExcNotSimFile>(sourceFile, line);
    case FaultVersion: {
      // The version byte counts as signed here: 0x80 and above are negative.
      unsigned const found = static_cast<unsigned>(static_cast<signed char>(Version()));
      KVTSimExcNeedUpgrade error(kFormatVersion, found, KVTSimUttExceptionString<1024>(fileName));
      error.Throw(sourceFile, line);
    }
    case FaultUserSignature:
      KVTSimRpm_Raise<KVTSimExcUserSigMismatch>(sourceFile, line);
    case FaultCutShort:
    case FaultLengthDigits:
    case FaultRecordLength:
      KVTSimRpm_Raise<KVTSimExcCorruptHeader>(sourceFile, line);
    case FaultEntryCount:
    case FaultDirectoryPastEnd:
    case FaultDirectoryCutShort:
      KVTSimRpm_Raise<KVTSimExcCorruptDirectory>(sourceFile, line);
    case FaultNone:
      break;
  }
  KVTSIM_ASSERT(fault != FaultNone);
  // An enumerator outside the list: the caller broke the type.
  KVTSIM_ASSERT(!"Bad fault.");
  __builtin_unreachable();
}

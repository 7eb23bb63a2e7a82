#include "raw_pool_header.h"

#include <cstring>
#include <utility>

#include "KVTSimUttAssert.h"
#include "KVTSimUttCoding.h"

namespace kvtsim_pool {

namespace {

constexpr unsigned char kSignature[8] = {0x89, 0x53, 0x49, 0x4D, 0x0D, 0x0A, 0x1A, 0x0A};

}  // namespace

RawPoolHeader::RawPoolHeader(std::string bytes) : mBytes(std::move(bytes)) {
  KVTSIM_ASSERT(mBytes.size() == kSize);
}

bool RawPoolHeader::HasSignature() const {
  return std::memcmp(mBytes.data(), kSignature, sizeof kSignature) == 0;
}

unsigned RawPoolHeader::Version() const {
  return static_cast<unsigned char>(mBytes[8]);
}

bool RawPoolHeader::LengthIsDecimal() const {
  for (char c : LengthDigits()) {
    if (c < '0' || c > '9')
      return false;
  }
  return true;
}

std::uint64_t RawPoolHeader::StoredLength() const {
  std::uint64_t value = 0;
  for (char c : LengthDigits())
    value = value * 10 + static_cast<std::uint64_t>(c - '0');
  return value;
}

std::int32_t RawPoolHeader::EntryCount() const {
  return static_cast<std::int32_t>(kvtsim_coding::DecodeFixed32(mBytes.data() + 44));
}

}  // namespace kvtsim_pool

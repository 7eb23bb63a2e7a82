// RawPoolHeader: the 48 fixed bytes at the start of a pool record, decoded
// as stored, without judging them.
//
//    0  8  format signature 0x89 'S' 'I' 'M' CR LF 0x1A LF
//    8  1  format version
//   16  4  user signature
//   20 16  record length, ASCII decimal digits; all "0" for an open pool
//   44  4  directory entry count (little-endian, signed)
// The directory record (32 bytes per entry) follows at offset 48.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_RAW_POOL_HEADER_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_RAW_POOL_HEADER_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace kvtsim_pool {

class RawPoolHeader {
 public:
  static constexpr std::size_t kSize = 48;
  static constexpr std::size_t kEntrySize = 32;
  static constexpr unsigned kCurrentVersion = 6;

  // Decodes bytes. REQUIRES: bytes.size() == kSize.
  explicit RawPoolHeader(std::string bytes);

  bool HasSignature() const;
  unsigned Version() const;
  std::string UserSignature() const { return mBytes.substr(16, 4); }
  std::string LengthDigits() const { return mBytes.substr(20, 16); }

  // True when the 16 length characters are all decimal digits.
  bool LengthIsDecimal() const;

  // The stored record length; 0 for an open pool. REQUIRES: LengthIsDecimal().
  std::uint64_t StoredLength() const;

  // True when the length digits are all "0": the pool was stored open.
  bool StoredOpen() const { return LengthDigits() == std::string(16, '0'); }

  std::int32_t EntryCount() const;

 private:
  std::string mBytes;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_RAW_POOL_HEADER_H_

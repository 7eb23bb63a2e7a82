// UserSignature: the 4-byte user signature of the document the tool opens.
//
// It is the one given with --sig or, when none is given, the one stored at
// offset 16 of the first pool header of the first file named.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_USER_SIGNATURE_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_USER_SIGNATURE_H_

#include <optional>
#include <string>

#include "KVTSimPoolManager.h"

namespace kvtsim_pool {

class UserSignature {
 public:
  static constexpr std::size_t kLength = KVTSimRpm_PoolHeader::kUserSignatureSize;

  // given when it is not empty (4 bytes as they are, or "0x" and 8
  // hexadecimal digits, as ls prints a signature that is not printable), else the signature stored
  // in firstFile. Raises ToolError when given is not 4 bytes or firstFile is too short to hold a
  // pool header, and KVTSimUttOSError when firstFile cannot be read.
  static UserSignature Resolve(std::string const& given, std::string const& firstFile);

  // The signature stored in the first pool header of path, or none when the
  // file is shorter than 20 bytes. Raises KVTSimUttOSError.
  static std::optional<UserSignature> FromFile(std::string const& path);

  // The 4 bytes, followed by a terminating zero.
  char const* Bytes() const noexcept { return mBytes.c_str(); }
  std::string const& Text() const noexcept { return mBytes; }

 private:
  explicit UserSignature(std::string bytes);

  std::string mBytes;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_USER_SIGNATURE_H_

#include "user_signature.h"

#include <utility>

#include "KVTSimPoolManager.h"
#include "tool_error.h"

namespace kvtsim_pool {

UserSignature::UserSignature(std::string bytes) : mBytes(std::move(bytes)) {
  KVTSIM_ASSERT(mBytes.size() == kLength);
}

UserSignature UserSignature::Resolve(std::string const& given, std::string const& firstFile) {
  if (!given.empty()) {
    if (given.size() != kLength)
      throw ToolError("--sig",
                      "a user signature is exactly 4 bytes, not " + std::to_string(given.size()));
    return UserSignature(given);
  }
  std::optional<UserSignature> stored = FromFile(firstFile);
  if (!stored)
    throw ToolError(firstFile, "too short to hold a pool header; give the signature with --sig");
  return *stored;
}

std::optional<UserSignature> UserSignature::FromFile(std::string const& path) {
  // The first record is read as stored, whether or not the loader takes it.
  KVTSimRpm_ChainWalker walker(KVTString(path.c_str()), nullptr);
  std::size_t const end = KVTSimRpm_PoolHeader::kUserSignatureOffset + kLength;
  if (!walker.Next() || walker.HeaderBytes() < end)
    return std::nullopt;
  return UserSignature(std::string(walker.Header().UserSignature(), kLength));
}

}  // namespace kvtsim_pool

#include "user_signature.h"

#include <utility>

#include "KVTSimUttAssert.h"
#include "raw_file.h"
#include "tool_error.h"

namespace kvtsim_pool {

namespace {

constexpr std::uint64_t kSignatureOffset = 16;

}  // namespace

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
  RawFile file(path);
  std::string bytes = file.ReadAt(kSignatureOffset, kLength);
  if (bytes.size() < kLength)
    return std::nullopt;
  return UserSignature(bytes);
}

}  // namespace kvtsim_pool

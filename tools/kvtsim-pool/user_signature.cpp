#include "user_signature.h"

#include <string>
#include <utility>

#include "KVTSimPoolManager.h"
#include "tool_error.h"

namespace kvtsim_pool {

UserSignature::UserSignature(std::string bytes) : mBytes(std::move(bytes)) {
  KVTSIM_ASSERT(mBytes.size() == kLength);
}

namespace {

// "0x" and 8 hexadecimal digits, the form the tool prints a signature in when
// it holds a byte that is not printable: the 4 bytes it stands for.
std::optional<std::string> FromHex(std::string const& text) {
  std::size_t const digits = 2 * UserSignature::kLength;
  if (text.size() != 2 + digits || text[0] != '0' || (text[1] != 'x' && text[1] != 'X') ||
      text.find_first_not_of("0123456789abcdefABCDEF", 2) != std::string::npos)
    return std::nullopt;
  std::string bytes;
  for (std::size_t i = 2; i < text.size(); i += 2)
    bytes += static_cast<char>(std::stoul(text.substr(i, 2), nullptr, 16));
  return bytes;
}

}  // namespace

UserSignature UserSignature::Resolve(std::string const& given, std::string const& firstFile) {
  if (std::optional<std::string> bytes = FromHex(given))
    return UserSignature(*bytes);
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

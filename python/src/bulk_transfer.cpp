#include "bulk_transfer.h"

#include <algorithm>

#include "KVTSimExc.h"

namespace kvtsim_python {

namespace {

// Stream requests carry 32-bit lengths.
constexpr std::uint64_t kPiece = std::uint64_t{1} << 30;

bool Present(KVTSimRpm_Locator const& at, std::uint64_t offset) {
  char byte = 0;
  return (at + offset).Read(1, &byte) == 1;
}

}  // namespace

void RequirePresent(KVTSimRpm_Locator const& at, std::uint64_t n) {
  if (Present(at, n - 1))
    return;
  // The file ends first: find where, to report it.
  std::uint64_t present = 0;  // bytes known to be there
  std::uint64_t missing = n - 1;
  while (present < missing) {
    std::uint64_t const middle = present + (missing - present) / 2;
    if (Present(at, middle))
      present = middle + 1;
    else
      missing = middle;
  }
  KVTSimExcRequestTooBig error(static_cast<unsigned>(std::min<std::uint64_t>(n, UINT32_MAX)),
                               static_cast<unsigned>(std::min<std::uint64_t>(present, UINT32_MAX)));
  error.Throw(__FILE__, __LINE__);
}

void ReadBulk(KVTSimRpm_BStreamRead& in, KVTSimRpm_Locator const& at, std::uint64_t chunk,
              char* dst, std::uint64_t n) {
  if (n == 0)
    return;
  if (n > chunk)
    RequirePresent(at, n);
  for (std::uint64_t done = 0; done < n;) {
    std::uint64_t const piece = std::min(n - done, kPiece);
    in.Read(dst + done, static_cast<unsigned int>(piece));
    done += piece;
  }
}

void WriteBulk(KVTSimRpm_BStreamWrite& out, char const* src, std::uint64_t n) {
  for (std::uint64_t done = 0; done < n;) {
    std::uint64_t const piece = std::min(n - done, kPiece);
    out.Write(src + done, static_cast<unsigned int>(piece));
    done += piece;
  }
}

}  // namespace kvtsim_python

#include "KVTSimUttRandom.h"

#include <cerrno>
#include <cstring>

#include "KVTSimUttSysCalls.h"

int KVTSimUtt_rand_s(unsigned int* value) noexcept {
  if (value == nullptr)
    return EINVAL;
  unsigned char bytes[sizeof *value];
  std::size_t filled = 0;
  while (filled < sizeof bytes) {
    ssize_t n = KVTSimUttSysCalls::Current().GetRandom(bytes + filled, sizeof bytes - filled, 0);
    if (n < 0 && errno == EINTR)
      continue;
    if (n < 0)
      return errno;
    // A source that yields nothing would keep this loop spinning, and one that
    // claims more than was asked for is broken.
    if (n == 0 || static_cast<std::size_t>(n) > sizeof bytes - filled)
      return EIO;
    filled += static_cast<std::size_t>(n);
  }
  std::memcpy(value, bytes, sizeof *value);
  return 0;
}

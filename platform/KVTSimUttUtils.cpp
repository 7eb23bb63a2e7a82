#include "KVTSimUttUtils.h"

#include <cstring>

void KVTSimUttUtils::Copy(char* buffer, char const* text, int size) noexcept {
  if (buffer == nullptr || size <= 0)
    return;
  if (text == nullptr)
    text = "";
  std::size_t room = static_cast<std::size_t>(size) - 1;
  std::size_t n = std::strlen(text);
  if (n > room) {
    n = room;
    // Back up over continuation bytes so that no UTF-8 sequence is cut in two.
    while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80)
      --n;
  }
  std::memcpy(buffer, text, n);
  buffer[n] = '\0';
}

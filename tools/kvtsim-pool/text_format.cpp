#include "text_format.h"

#include <cstdio>

namespace kvtsim_pool {

std::string Printable(std::string const& bytes) {
  bool printable = true;
  for (char c : bytes) {
    if (c < 0x20 || c > 0x7e)
      printable = false;
  }
  if (printable)
    return bytes;
  static char const kDigits[] = "0123456789abcdef";
  std::string hex = "0x";
  for (char c : bytes) {
    unsigned char const byte = static_cast<unsigned char>(c);
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 0xf];
  }
  return hex;
}

std::string Counted(std::size_t n, char const* noun) {
  return std::to_string(n) + " " + noun + (n == 1 ? "" : "s");
}

std::string Mebibytes(std::uint64_t bytes) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f MiB", static_cast<double>(bytes) / (1024.0 * 1024.0));
  return text;
}

}  // namespace kvtsim_pool

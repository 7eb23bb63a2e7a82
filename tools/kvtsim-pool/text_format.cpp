#include "text_format.h"

#include <cctype>
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

std::optional<std::uint64_t> ParseNumber(std::string const& text) {
  bool const hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  std::string const digits = hex ? text.substr(2) : text;
  char const* allowed = hex ? "0123456789abcdefABCDEF" : "0123456789";
  if (digits.empty() || digits.find_first_not_of(allowed) != std::string::npos)
    return std::nullopt;
  std::uint64_t const base = hex ? 16 : 10;
  std::uint64_t value = 0;
  for (char c : digits) {
    std::uint64_t const digit = std::isdigit(static_cast<unsigned char>(c))
                                    ? static_cast<std::uint64_t>(c - '0')
                                    : static_cast<std::uint64_t>(std::tolower(c) - 'a' + 10);
    if (value > (UINT64_MAX - digit) / base)
      return std::nullopt;
    value = value * base + digit;
  }
  return value;
}

std::string Mebibytes(std::uint64_t bytes) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f MiB", static_cast<double>(bytes) / (1024.0 * 1024.0));
  return text;
}

}  // namespace kvtsim_pool

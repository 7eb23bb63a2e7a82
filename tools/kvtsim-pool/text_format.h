// Text forms of stored bytes and sizes for the tool's output.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_TEXT_FORMAT_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_TEXT_FORMAT_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace kvtsim_pool {

// bytes as they are when every byte is printable ASCII; otherwise "0x"
// followed by their hexadecimal digits. Stored identifiers and signatures
// may hold any byte, and JSON output needs valid text.
std::string Printable(std::string const& bytes);

// n and the noun, plural unless n is 1: "1 pool", "3 pools".
std::string Counted(std::size_t n, char const* noun);

// text as a number: decimal digits, or "0x" or "0X" and hexadecimal digits.
// A leading zero never means octal: "0010" is ten, as a user reading it
// expects. None for anything else, a sign included, or a value past 2^64 - 1.
std::optional<std::uint64_t> ParseNumber(std::string const& text);

// A byte count in MiB with one decimal, e.g. "64.0 MiB".
std::string Mebibytes(std::uint64_t bytes);

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_TEXT_FORMAT_H_

// Bytes that stored values take in a pool, for the streams' positions.

#ifndef KVTSIM_PYTHON_SRC_STORED_SIZES_H_
#define KVTSIM_PYTHON_SRC_STORED_SIZES_H_

#include <cstddef>
#include <cstdint>

namespace kvtsim_python {

// A stored locator: data offset (8 bytes) and directory slot (4 bytes).
inline constexpr std::uint64_t kStoredLocatorSize = 12;

// A stored string's length field.
inline constexpr std::uint64_t kStoredLengthSize = 4;

// A stored string of length bytes: the length field, the bytes, zero bytes
// up to a multiple of 4.
inline constexpr std::uint64_t StoredStringSize(std::size_t length) {
  return kStoredLengthSize + ((static_cast<std::uint64_t>(length) + 3) & ~std::uint64_t{3});
}

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_STORED_SIZES_H_

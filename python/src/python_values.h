// Conversions between Python values and what the library takes, in one place.

#ifndef KVTSIM_PYTHON_SRC_PYTHON_VALUES_H_
#define KVTSIM_PYTHON_SRC_PYTHON_VALUES_H_

#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace kvtsim_python {

// None as nothing, else a non-negative size (TypeError, OverflowError).
std::optional<std::uint64_t> OptionalSize(pybind11::handle value);

// A path (str, bytes or os.PathLike) as file-system bytes, as os.fsencode
// gives them. Raises ValueError for an embedded zero byte.
std::string FileSystemPath(pybind11::handle path);

// File-system bytes as str, as os.fsdecode gives them.
pybind11::str FileSystemText(std::string const& bytes);

// Exactly length bytes from str (each character below 256, taken as one
// byte) or bytes. Identifiers and user signatures are bytes; str is taken
// as Latin-1 so that every byte value has one character. Raises ValueError.
std::string FixedBytes(pybind11::handle value, std::size_t length, char const* what);

// Bytes as str, one character per byte (Latin-1).
pybind11::str Latin1Text(char const* bytes, std::size_t length);

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_PYTHON_VALUES_H_

// NumPy arrays of stored scalars through the library's streams, converted by
// the library's array forms (InternalizeArray, ExternalizeArray) in one call
// per array: no Python work per value, and the file's little-endian order
// whatever the byte order of the array in memory.

#ifndef KVTSIM_PYTHON_SRC_STORED_ARRAYS_H_
#define KVTSIM_PYTHON_SRC_STORED_ARRAYS_H_

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <functional>

#include "KVTSimRpm_BStreamRead.h"
#include "KVTSimRpm_BStreamWrite.h"

namespace kvtsim_python {

// The stored width of dtype's values (2, 4 or 8 bytes). Raises TypeError for
// a type that pools do not store (they store int16, uint16, int32, uint32,
// int64, uint64, float32 and float64).
std::size_t StoredWidth(pybind11::dtype const& dtype);

// Reads count stored values into a new one-dimensional array of dtype (which
// may ask for either byte order). On a little-endian host the stored bytes
// are the values already: copyBytes(destination, byte count) then moves them
// into the array in one transfer, which is faster for large arrays than the
// stream's pieces. Elsewhere InternalizeArray converts them from in. Raises
// the errors of copyBytes or of the stream.
// REQUIRES: StoredWidth(dtype) succeeded.
pybind11::array ReadStoredArray(KVTSimRpm_BStreamRead& in, pybind11::dtype const& dtype,
                                std::size_t count,
                                std::function<void(char*, std::uint64_t)> const& copyBytes);

// Writes the values of array (any shape, in C order) in their stored form.
// Raises the stream's errors, as ExternalizeArray does.
// REQUIRES: StoredWidth(array.dtype()) succeeded.
void WriteStoredArray(KVTSimRpm_BStreamWrite& out, pybind11::array const& array);

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_STORED_ARRAYS_H_

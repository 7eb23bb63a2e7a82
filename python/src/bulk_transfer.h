// Bulk bytes between Python buffers and the library's streams: byte strings
// and buffers copied as they are stored (arrays of stored values go through
// stored_arrays.h, which converts them).

#ifndef KVTSIM_PYTHON_SRC_BULK_TRANSFER_H_
#define KVTSIM_PYTHON_SRC_BULK_TRANSFER_H_

#include <cstdint>

#include "KVTSimRpm_BStreamRead.h"
#include "KVTSimRpm_BStreamWrite.h"
#include "KVTSimRpm_Locator.h"

namespace kvtsim_python {

// Reads the next n bytes of in, which stands at locator at and reads ahead
// chunk bytes at a time, into dst. Raises the stream's errors, and
// KVTSimExcRequestTooBig (n, bytes present) when the file holds fewer than n
// bytes from at: the stream reads requests larger than its chunk straight
// into the destination and does not tell a short read.
void ReadBulk(KVTSimRpm_BStreamRead& in, KVTSimRpm_Locator const& at, std::uint64_t chunk,
              char* dst, std::uint64_t n);

// Raises KVTSimExcRequestTooBig (n, bytes present) unless the file holds n
// bytes from at; for reads larger than a stream's chunk, which the stream
// does not tell short.
// REQUIRES: n > 0.
void RequirePresent(KVTSimRpm_Locator const& at, std::uint64_t n);

// Writes the n bytes at src to out.
void WriteBulk(KVTSimRpm_BStreamWrite& out, char const* src, std::uint64_t n);

}  // namespace kvtsim_python

#endif  // KVTSIM_PYTHON_SRC_BULK_TRANSFER_H_

#include "KVTSimRpm_StreamLimits.h"

#include <climits>

#include "KVTSimExc.h"

namespace kvtsim_stream {

unsigned long long CheckedChunk(unsigned long long chunk, char const* file, int line) {
  if (chunk > UINT_MAX) {
    KVTSimExcRequestTooBig error(UINT_MAX, UINT_MAX);
    error.Throw(file, line);
  }
  return chunk < kMinChunk ? kMinChunk : chunk;
}

void RaiseShortBuffer(std::uint64_t end, std::uint64_t limit, char const* file, int line) {
  KVTSimExcShortBuffer error(static_cast<unsigned>(end), static_cast<unsigned>(limit));
  error.Throw(file, line);
}

}  // namespace kvtsim_stream

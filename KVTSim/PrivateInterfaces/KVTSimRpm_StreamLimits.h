// Chunk-size and length-limit checks shared by the streams over pools.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_STREAMLIMITS_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_STREAMLIMITS_H_

#include <cstdint>

namespace kvtsim_stream {

// The smallest chunk a stream over a pool uses.
inline constexpr unsigned long long kMinChunk = 16;

// chunk raised to kMinChunk. Raises KVTSimExcRequestTooBig for chunks of
// 2^32 bytes or more: counts pass through 32-bit lengths and would be cut.
// Errors carry file and line, those of the calling stream.
unsigned long long CheckedChunk(unsigned long long chunk, char const* file, int line);

// Raises KVTSimExcShortBuffer (end, limit).
[[noreturn]] void RaiseShortBuffer(std::uint64_t end, std::uint64_t limit, char const* file,
                                   int line);

// Raises KVTSimExcShortBuffer (end, limit) when a limit is set (not 0) and a
// request ending at end passes it. Inline: it sits on every short request.
inline void CheckLimit(std::uint64_t end, std::uint64_t limit, char const* file, int line) {
  if (limit != 0 && end > limit)
    RaiseShortBuffer(end, limit, file, line);
}

}  // namespace kvtsim_stream

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_STREAMLIMITS_H_

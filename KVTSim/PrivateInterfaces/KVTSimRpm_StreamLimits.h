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

// The same for a run of wanted bytes from position, which may be as large as
// 2^64 - 1: compared as "more than is left", so that no sum can wrap.
inline void CheckRunLimit(std::uint64_t position, std::uint64_t wanted, std::uint64_t limit,
                          char const* file, int line) {
  if (limit != 0 && (position > limit || wanted > limit - position))
    RaiseShortBuffer(position + wanted, limit, file, line);
}

// The length of the next piece of a run: as many whole units of the rest
// (wanted bytes) as room holds; 0 when room holds less than one.
inline std::uint64_t PieceLength(std::uint64_t wanted, unsigned unit, std::uint64_t room) {
  std::uint64_t const whole = room - room % unit;
  return wanted < whole ? wanted : whole;
}

}  // namespace kvtsim_stream

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_STREAMLIMITS_H_

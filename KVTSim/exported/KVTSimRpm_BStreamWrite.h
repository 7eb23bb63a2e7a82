// KVTSimRpm_BStreamWrite: the interface of every binary write stream. The
// streams over pools gather bytes and meet the pool's errors (a read-only
// file, a frozen pool, bytes past the pool's data) only when they flush,
// silently if that is in their destructor: call their Flush() first.
//
// A writer asks the stream for a span of the next n bytes (PrepWrite) and
// fills it in place, for instance with KVTSimRpm_Swapper, or appends bulk
// bytes with Write. Spans are owned by the stream: the pointer PrepWrite
// returns must be filled before the next call on the stream, after which it
// is invalid. Where the bytes go and when they reach the pool is the
// stream's own (buffer streams write to caller memory at once; locator and
// append streams gather them until a flush). A request the stream cannot
// serve raises an error kind and leaves the position unchanged.
//
// SourceDir names the directory of the pool receiving the bytes; stored
// locators are encoded against it. Formats: see KVTSimRpm_BStreamRead.h.
//
// Values: Externalize writes one stored scalar (see KVTSimRpm_Swapper.h for
// the types), ExternalizeArray a run of them; both are declared below the
// class. A type that is not stored fails to compile.
//
// REQUIRES: external synchronization; one stream is used by one thread.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITE_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITE_H_

#include <cstddef>
#include <vector>

#include "KVTBasMem.h"
#include "KVTSimExport.h"
#include "KVTSimRpm_Swapper.h"
#include "KVTString.h"

class KVTSimRpm_Locator;
class KVTSimRpm_MemoryPool;
class KVTSimRpm_PoolDirectoryImpl;

class KVTSIM_EXPORT KVTSimRpm_BStreamWrite : public mem_AllocationOperators {
 public:
  virtual ~KVTSimRpm_BStreamWrite();

  // A span for the next length bytes, to be filled by the caller; the
  // position advances by length. REQUIRES: length > 0; otherwise
  // KVTBasAssertException.
  virtual char* PrepWrite(unsigned long long length) = 0;

  // Appends length bytes; 0 does nothing.
  virtual void Write(char const* data, unsigned int length) = 0;

  // The directory of the pool that receives the bytes; the reference is
  // valid while the stream lives (and, for a stream over a pool, while the
  // pool stays loaded).
  virtual KVTSimRpm_PoolDirectoryImpl const& SourceDir() const = 0;

  // Always null for the write streams of this library.
  virtual KVTSimRpm_MemoryPool* IMPool() const = 0;

  // Writes s as a stored string: length, bytes, zero padding to 4.
  void Write(KVTString const& s);

  // The bytes Write(s) stores for a text of byteLength bytes: 4 + byteLength
  // rounded up to a multiple of 4.
  static constexpr unsigned long long StoredStringSize(unsigned long long byteLength) {
    return 4 + ((byteLength + 3) & ~3ull);
  }
  static unsigned long long StoredStringSize(KVTString const& s) {
    return StoredStringSize(s.GetLengthInByte());
  }

  // A span for the next piece of a run of wanted bytes that the caller
  // fills in units of unit bytes (the width of one value), for writing
  // arrays at the speed of the stream's buffer. Returns a span of granted
  // bytes, a multiple of unit with unit <= granted <= wanted, and advances
  // the position by granted; the span is to be filled before the next call,
  // as that of PrepWrite. The rest of the run goes through further calls.
  //
  // A stream that knows its room (a buffer stream, a stream with a length
  // limit) checks the whole run first: when it does not fit, the call raises
  // what PrepWrite(wanted) would (KVTSimExcShortBuffer) and the position is
  // unchanged. Otherwise a piece that cannot be served raises as
  // PrepWrite(unit) would, leaving the position where that piece began.
  // REQUIRES: unit > 0 and wanted a positive multiple of unit (the check
  // "unit > 0 && wanted >= unit && wanted % unit == 0").
  char* PrepWriteSpan(unsigned long long wanted, unsigned int unit, unsigned long long& granted);

 protected:
  // The stream's part of PrepWriteSpan, called with checked arguments. This
  // default hands out one unit through PrepWrite(unit), so a stream that does
  // not override it works unchanged, one value at a time.
  virtual char* NextWriteSpan(unsigned long long wanted, unsigned int unit,
                              unsigned long long& granted);
};

// Writes v as a stored 32-bit integer.
KVTSIM_EXPORT void Externalize(KVTSimRpm_BStreamWrite& s, int const& v);

// Writes v as a stored locator (see KVTSimRpm_Locator::ExternalizeImpl).
KVTSIM_EXPORT void Externalize(KVTSimRpm_BStreamWrite& s, KVTSimRpm_Locator const& v);

// Writes v as its stored scalar through s.PrepWrite of its width. T is a
// stored scalar type (KVTSimRpm_Swapper.h); any other type that is not a
// class (bool, char, long double, an enum, a pointer) fails to compile here
// rather than being converted to a stored type. Errors are those of
// PrepWrite; nothing is written then.
template <typename T>
std::enable_if_t<kvtsim_stored::kScalarCandidate<T>> Externalize(KVTSimRpm_BStreamWrite& s,
                                                                 T const& v) {
  static_assert(KVTSimRpm_Swapper::IsStoredScalar<T>(), KVTSIM_STORED_SCALARS_MESSAGE);
  KVTSimRpm_Swapper::ExternalizeScalar(s.PrepWrite(sizeof(T)), v);
}

// A class without an Externalize of its own fails to compile here.
inline void Externalize(KVTSimRpm_BStreamWrite&, kvtsim_stored::NotStored) {}

// Writes count values of a stored scalar type T, one after another, each as
// its stored scalar (no count is stored: store it as the record needs). The
// values are converted in the pieces PrepWriteSpan hands out: on a
// little-endian host each piece is one copy into the stream's buffer.
// count 0 writes nothing and calls nothing.
//
// On failure the error is the stream's own (KVTSimExcShortBuffer past a
// buffer's end or a length limit, the pool's errors when a flush meets
// them). Buffer streams and streams with a length limit check the whole
// array first: an array that does not fit raises before anything is
// written, and the position is unchanged. Otherwise the stream stands after
// a whole number k < count of values: values[0, k) were handed to the
// stream (and reach the pool like any bytes written to it: see its Flush),
// values[k, count) were not.
// REQUIRES: values points to count values.
template <typename T>
void ExternalizeArray(KVTSimRpm_BStreamWrite& s, T const* values, std::size_t count) {
  static_assert(KVTSimRpm_Swapper::IsStoredScalar<T>(), KVTSIM_STORED_SCALARS_MESSAGE);
  // count values in memory are fewer than 2^64 bytes: the product is exact.
  for (unsigned long long rest = count * sizeof(T); rest != 0;) {
    unsigned long long granted = 0;
    char* span = s.PrepWriteSpan(rest, sizeof(T), granted);
    std::size_t const n = static_cast<std::size_t>(granted / sizeof(T));
    KVTSimRpm_Swapper::ExternalizeArray(span, values, n);
    values += n;
    rest -= granted;
  }
}

// Writes all of values, as the form above.
template <typename T>
void ExternalizeArray(KVTSimRpm_BStreamWrite& s, std::vector<T> const& values) {
  static_assert(KVTSimRpm_Swapper::IsStoredScalar<T>(), KVTSIM_STORED_SCALARS_MESSAGE);
  ExternalizeArray(s, values.data(), values.size());
}

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITE_H_

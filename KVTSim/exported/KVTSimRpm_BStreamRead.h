// KVTSimRpm_BStreamRead: the interface of every binary read stream.
//
// A reader asks the stream for a span of the next n bytes (PrepRead) and
// converts them in place with KVTSimRpm_Swapper, or copies bulk bytes out
// with Read. Spans are owned by the stream: the pointer PrepRead returns is
// valid only until the next call on the stream (any member), and the caller
// must not write through it. A request the stream cannot serve whole raises
// an error kind (KVTSimExcShortBuffer past a buffer's end or a length limit,
// KVTSimExcRequestTooBig past a chunk or the end of the pool) and leaves the
// position unchanged.
//
// Every stream also names the directory of the pool its bytes come from
// (SourceDir), against which stored locators are decoded, and the memory-pool
// overlay that locators read from it inherit (IMPool).
//
// Stored string: a signed 32-bit little-endian byte length n, the n UTF-8
// bytes, then zero bytes up to a multiple of 4. Stored integer: 4 bytes,
// little-endian. Stored scalars of the other types: see
// KVTSimRpm_Swapper.h; Internalize reads one, InternalizeArray a run of them
// (declared below the class). A type that is not stored fails to compile.
//
// REQUIRES: external synchronization; one stream is used by one thread.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREAD_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREAD_H_

#include <cstddef>
#include <vector>

#include "KVTBasMem.h"
#include "KVTSimExport.h"
#include "KVTSimRpm_Swapper.h"
#include "KVTString.h"

class KVTSimRpm_Locator;
class KVTSimRpm_MemoryPool;
class KVTSimRpm_PoolDirectoryImpl;

class KVTSIM_EXPORT KVTSimRpm_BStreamRead : public mem_AllocationOperators {
 public:
  virtual ~KVTSimRpm_BStreamRead();

  // A span of the next length bytes; the position advances by length.
  // REQUIRES: length > 0; otherwise KVTBasAssertException.
  virtual char const* PrepRead(unsigned long long length) = 0;

  // Copies the next length bytes into buffer and advances; 0 does nothing.
  virtual void Read(char* buffer, unsigned int length) = 0;

  // The directory of the pool the bytes come from; the reference is valid
  // while the stream lives (and, for a stream over a pool, while the pool
  // stays loaded).
  virtual KVTSimRpm_PoolDirectoryImpl const& SourceDir() const = 0;

  // The overlay that locators read from this stream carry, or null.
  virtual KVTSimRpm_MemoryPool* IMPool() const = 0;

  // Look-ahead, for readers that must check stored lengths before trusting
  // them. Both leave the position where it is.
  //
  // PeekRead: the span that PrepRead(length) would return, valid until the
  // next call on the stream; it raises what PrepRead(length) raises. Returns
  // null when the stream cannot look ahead, as the default does. The
  // library's streams can.
  virtual char const* PeekRead(unsigned long long length);

  // CheckRead: raises what a Read of the next length bytes would raise when
  // the stream cannot deliver them all, otherwise nothing; length may exceed
  // a chunk. Allocates nothing in proportion to length. The default checks
  // nothing.
  virtual void CheckRead(unsigned long long length);

  // Reads a stored string into s. Its length field is not trusted: the whole
  // stored string (4 + padded length bytes) is checked as one request before
  // anything is taken or allocated, so a truncated string raises the
  // stream's error with the whole string's numbers (KVTSimExcShortBuffer
  // past a buffer's end or a length limit, KVTSimExcRequestTooBig past the
  // end of a pool) and a negative length raises KVTSimExcRequestTooBig
  // (requested: the length as unsigned, capacity: 2^31 - 1). On any failure
  // the position and s are as they were.
  // A stream that cannot look ahead (PeekRead returns null) is read in
  // 16-byte pieces instead, so that memory grows only with the bytes that
  // exist; a failure then leaves the position after the bytes taken.
  void Read(KVTString& s);

  // A span of the next piece of a run of wanted bytes that the caller reads
  // in units of unit bytes (the width of one value), for reading arrays at
  // the speed of the stream's buffer. Returns a span of granted bytes, a
  // multiple of unit with unit <= granted <= wanted, and advances the
  // position by granted; the span is valid as that of PrepRead. The rest of
  // the run comes through further calls.
  //
  // A stream that knows its room (a buffer stream, a stream with a length
  // limit) checks the whole run first: when it does not fit, the call raises
  // what PrepRead(wanted) would (KVTSimExcShortBuffer) and the position is
  // unchanged. Otherwise a piece that cannot be served raises as
  // PrepRead(unit) would (KVTSimExcRequestTooBig when a locator stream's
  // pool ends), leaving the position where that piece began.
  // REQUIRES: unit > 0 and wanted a positive multiple of unit (the check
  // "unit > 0 && wanted >= unit && wanted % unit == 0").
  char const* PrepReadSpan(unsigned long long wanted, unsigned int unit,
                           unsigned long long& granted);

 protected:
  // The stream's part of PrepReadSpan, called with checked arguments. This
  // default hands out one unit through PrepRead(unit), so a stream that does
  // not override it works unchanged, one value at a time.
  virtual char const* NextReadSpan(unsigned long long wanted, unsigned int unit,
                                   unsigned long long& granted);
};

// Reads a stored 32-bit integer.
KVTSIM_EXPORT void Internalize(KVTSimRpm_BStreamRead& s, int& v);

// Reads a stored locator (see KVTSimRpm_Locator::InternalizeImpl).
KVTSIM_EXPORT void Internalize(KVTSimRpm_BStreamRead& s, KVTSimRpm_Locator& v);

// Reads v as its stored scalar from s.PrepRead of its width. T is a stored
// scalar type (KVTSimRpm_Swapper.h); any other type that is not a class
// fails to compile here. Errors are those of PrepRead; v is then unchanged.
template <typename T>
std::enable_if_t<kvtsim_stored::kScalarCandidate<T>> Internalize(KVTSimRpm_BStreamRead& s, T& v) {
  static_assert(KVTSimRpm_Swapper::IsStoredScalar<T>(), KVTSIM_STORED_SCALARS_MESSAGE);
  KVTSimRpm_Swapper::InternalizeScalar(s.PrepRead(sizeof(T)), v);
}

// A class without an Internalize of its own fails to compile here.
inline void Internalize(KVTSimRpm_BStreamRead&, kvtsim_stored::NotStored) {}

namespace kvtsim_stored {

// Reads count values of T through s in the pieces that PrepReadSpan hands
// out; place(n) returns where the next n values go.
template <typename T, typename Place>
void InternalizeRun(KVTSimRpm_BStreamRead& s, std::size_t count, Place place) {
  // The byte count saturates below 2^64 rather than wrapping: no stream
  // holds that much, so a damaged count meets the stream's error.
  constexpr unsigned long long kMaxCount = ~0ull / sizeof(T);
  unsigned long long rest = (count < kMaxCount ? count : kMaxCount) * sizeof(T);
  while (rest != 0) {
    unsigned long long granted = 0;
    char const* span = s.PrepReadSpan(rest, sizeof(T), granted);
    std::size_t const n = static_cast<std::size_t>(granted / sizeof(T));
    KVTSimRpm_Swapper::InternalizeArray(span, place(n), n);
    rest -= granted;
  }
}

}  // namespace kvtsim_stored

// Reads count values of a stored scalar type T, stored one after another,
// into values. The values are converted in the pieces PrepReadSpan hands
// out: on a little-endian host each piece is one copy out of the stream's
// buffer. count 0 reads nothing and calls nothing.
//
// On failure the error is the stream's own (KVTSimExcShortBuffer past a
// buffer's end or a length limit, KVTSimExcRequestTooBig when a locator
// stream's pool ends). Buffer streams and streams with a length limit check
// the whole array first: an array that does not fit raises before anything
// is read, and values and the position are unchanged. Otherwise the stream
// stands after a whole number k < count of values: values[0, k) hold them,
// values[k, count) are unchanged.
// REQUIRES: values points to room for count values.
template <typename T>
void InternalizeArray(KVTSimRpm_BStreamRead& s, T* values, std::size_t count) {
  static_assert(KVTSimRpm_Swapper::IsStoredScalar<T>(), KVTSIM_STORED_SCALARS_MESSAGE);
  kvtsim_stored::InternalizeRun<T>(s, count, [&values](std::size_t n) {
    T* at = values;
    values += n;
    return at;
  });
}

// Reads count values into values, replacing what it held; the stream stands
// as in the form above. values is changed only on success. Its memory grows
// with the values actually read, so a damaged count from a stream that does
// not know its room ends in the stream's error, not in a huge allocation.
template <typename T>
void InternalizeArray(KVTSimRpm_BStreamRead& s, std::vector<T>& values, std::size_t count) {
  static_assert(KVTSimRpm_Swapper::IsStoredScalar<T>(), KVTSIM_STORED_SCALARS_MESSAGE);
  std::vector<T> read;
  kvtsim_stored::InternalizeRun<T>(s, count, [&read](std::size_t n) {
    std::size_t const at = read.size();
    read.resize(at + n);
    return read.data() + at;
  });
  values.swap(read);
}

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREAD_H_

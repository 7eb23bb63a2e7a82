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
// little-endian.
//
// REQUIRES: external synchronization; one stream is used by one thread.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREAD_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREAD_H_

#include "KVTBasMem.h"
#include "KVTSimExport.h"
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
};

// Reads a stored 32-bit integer.
KVTSIM_EXPORT void Internalize(KVTSimRpm_BStreamRead& s, int& v);

// Reads a stored locator (see KVTSimRpm_Locator::InternalizeImpl).
KVTSIM_EXPORT void Internalize(KVTSimRpm_BStreamRead& s, KVTSimRpm_Locator& v);

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREAD_H_

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
  // REQUIRES: length > 0 (the check "requestedLength > 0").
  virtual char const* PrepRead(unsigned long long length) = 0;

  // Copies the next length bytes into buffer and advances; 0 does nothing.
  virtual void Read(char* buffer, unsigned int length) = 0;

  // The directory of the pool the bytes come from.
  virtual KVTSimRpm_PoolDirectoryImpl const& SourceDir() const = 0;

  // The overlay that locators read from this stream carry, or null.
  virtual KVTSimRpm_MemoryPool* IMPool() const = 0;

  // Reads a stored string into s. A negative stored length raises
  // KVTSimExcRequestTooBig (requested: the length as unsigned, capacity:
  // 2^31 - 1); a length longer than the stream can still deliver raises the
  // stream's own error (KVTSimExcShortBuffer or KVTSimExcRequestTooBig). The
  // text is read in pieces, so memory grows only with the bytes that exist; s
  // is changed only on success.
  void Read(KVTString& s);
};

// Reads a stored 32-bit integer.
KVTSIM_EXPORT void Internalize(KVTSimRpm_BStreamRead& s, int& v);

// Reads a stored locator (see KVTSimRpm_Locator::InternalizeImpl).
KVTSIM_EXPORT void Internalize(KVTSimRpm_BStreamRead& s, KVTSimRpm_Locator& v);

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREAD_H_

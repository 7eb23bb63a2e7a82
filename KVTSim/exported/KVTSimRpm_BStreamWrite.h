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
// REQUIRES: external synchronization; one stream is used by one thread.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITE_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITE_H_

#include "KVTBasMem.h"
#include "KVTSimExport.h"
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
};

// Writes v as a stored 32-bit integer.
KVTSIM_EXPORT void Externalize(KVTSimRpm_BStreamWrite& s, int const& v);

// Writes v as a stored locator (see KVTSimRpm_Locator::ExternalizeImpl).
KVTSIM_EXPORT void Externalize(KVTSimRpm_BStreamWrite& s, KVTSimRpm_Locator const& v);

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITE_H_

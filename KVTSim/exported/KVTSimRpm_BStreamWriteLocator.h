// KVTSimRpm_BStreamWriteLocator: a write stream over pool bytes from a
// locator (the bytes must already be allocated in the pool). The bytes reach
// the pool only when the stream flushes, so a stream over a read-only file
// fails only then (KVTSimExcWriteReadOnly), and silently when it is never
// flushed: call Flush() before destroying the stream.
//
// Gathers writes in a private chunk buffer (allocated at the first request)
// and writes them to the pool at Flush, when a request does not fit, or at
// destruction. PrepWrite returns a span inside that buffer, to be filled
// before the next call on the stream. Requests:
//  - past the length limit (when one is set): KVTSimExcShortBuffer (end of
//    the request, limit); nothing is written;
//  - a PrepWrite larger than the chunk: KVTSimExcRequestTooBig (request,
//    chunk), after the pending bytes were flushed;
//  - Write of more than fits the buffer goes to the pool directly;
//  - PrepWriteSpan (arrays) hands out the buffer's room, flushing it first
//    when it has less than one unit left; with a limit set, the whole run
//    is checked against it first and nothing is written when it does not
//    fit.
// Pool errors (KVTSimExcIOBounds past the pool's data, KVTSimExcWriteReadOnly,
// KVTSimExcCantDerefLocator) come from the flush that meets them.
//
// The destructor writes pending bytes while the start locator's pool is
// loaded, and drops any error it meets; pending bytes of a pool that is no
// longer loaded (its file or document closed, the document destroyed) are
// dropped without a report. Counts in errors are reported as unsigned 32-bit
// numbers.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITELOCATOR_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITELOCATOR_H_

#include <cstdint>

#include "KVTSimExport.h"
#include "KVTSimRpm_BStreamWrite.h"
#include "KVTSimRpm_Locator.h"

class KVTSIM_EXPORT KVTSimRpm_BStreamWriteLocator : public KVTSimRpm_BStreamWrite {
 public:
  // Writes from start, at most length bytes (0: no limit), through a buffer
  // of chunk bytes (at least 16). A chunk of 2^32 bytes or more raises
  // KVTSimExcRequestTooBig.
  KVTSimRpm_BStreamWriteLocator(KVTSimRpm_Locator const& start, unsigned long long const& length,
                                unsigned long long chunk);
  KVTSimRpm_BStreamWriteLocator(KVTSimRpm_BStreamWriteLocator const&) = delete;
  KVTSimRpm_BStreamWriteLocator& operator=(KVTSimRpm_BStreamWriteLocator const&) = delete;
  ~KVTSimRpm_BStreamWriteLocator() override;

  // Writes the pending bytes at start + flushed. On error nothing moves: the
  // bytes stay pending.
  void Flush();

  using KVTSimRpm_BStreamWrite::Write;
  char* PrepWrite(unsigned long long requestedLength) override;
  void Write(char const* data, unsigned int length) override;
  KVTSimRpm_PoolDirectoryImpl const& SourceDir() const override;
  KVTSimRpm_MemoryPool* IMPool() const override { return nullptr; }

 protected:
  char* NextWriteSpan(unsigned long long wanted, unsigned int unit,
                      unsigned long long& granted) override;

 private:
  KVTSimRpm_Locator mStart;
  std::uint64_t mLimit;
  std::uint64_t mChunk;
  std::uint64_t mFlushed;
  std::uint64_t mPending;
  char* mBuffer;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITELOCATOR_H_

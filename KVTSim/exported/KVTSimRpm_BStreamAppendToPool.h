// KVTSimRpm_BStreamAppendToPool: a write stream that appends to the end of a
// pool, allocating exactly what it flushes. The pool grows only when the
// stream flushes, so a stream over a pool that cannot grow (a read-only file,
// a frozen pool) fails only then, and silently when it is never flushed: call
// Flush() before destroying the stream.
//
// Bytes are gathered in a chunk buffer; each flush allocates that many bytes
// at the pool's end and writes them there, so everything written lies
// contiguously from the pool's end at construction. PrepWrite returns a span
// inside the buffer, to be filled before the next call on the stream; a
// request larger than the chunk raises KVTSimExcRequestTooBig (request,
// chunk) after the pending bytes were appended. Writes larger than the
// buffer's room are appended directly. PrepWriteSpan (arrays) hands out the
// buffer's room, appending its bytes first when less than one unit is left.
//
// If anything else allocates in the pool between two appends, the next
// append raises KVTSimExcBrokenStream and leaves its bytes pending; a flush
// with nothing pending then raises KVTBasAssertException, since the pool no
// longer ends where the stream's data does.
//
// The destructor appends pending bytes while the pool is there and drops any
// error it meets. With nothing pending it does nothing; pending bytes of a
// pool that is gone (its file or document closed, the document destroyed)
// are dropped without a report.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMAPPENDTOPOOL_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMAPPENDTOPOOL_H_

#include <cstdint>

#include "KVTSimExport.h"
#include "KVTSimRpm_BStreamWrite.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Pool.h"

class KVTSIM_EXPORT KVTSimRpm_BStreamAppendToPool : public KVTSimRpm_BStreamWrite {
 public:
  // Appends to pool through a buffer of chunkSize bytes (at least 16),
  // allocated here. A chunk of 2^32 bytes or more raises
  // KVTSimExcRequestTooBig. REQUIRES: the pool's file is open.
  KVTSimRpm_BStreamAppendToPool(KVTSimRpm_Pool const& pool, unsigned long long chunkSize);
  KVTSimRpm_BStreamAppendToPool(KVTSimRpm_BStreamAppendToPool const&) = delete;
  KVTSimRpm_BStreamAppendToPool& operator=(KVTSimRpm_BStreamAppendToPool const&) = delete;
  ~KVTSimRpm_BStreamAppendToPool() override;

  // Bytes handed to the stream so far (appended and pending).
  unsigned long long Length() const { return mWritten + mPending; }

  // Appends the pending bytes, then checks that the pool ends where this
  // stream's data ends. Raises the errors of the append (above); a pool that
  // cannot grow raises KVTSimExcImmutablePool, and the refused bytes then
  // count as written while staying pending. REQUIRES: the pool's file is
  // open.
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
  void ExtendAndWrite(char const* data, unsigned int length);

  KVTSimRpm_Pool mPool;
  KVTSimRpm_Locator mStart;
  std::uint64_t mWritten;
  KVTSimRpm_Locator mCurrentEnd;
  std::uint64_t mChunk;
  std::uint64_t mPending;
  char* mBuffer;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMAPPENDTOPOOL_H_

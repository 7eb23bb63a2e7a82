// KVTSimRpm_BStreamReadLocator: a read stream over pool bytes from a locator.
//
// Reads ahead into a private chunk buffer (allocated at the first request) so
// that short requests cost one pool access per chunk. PrepRead returns a span
// inside that buffer, valid until the next call on the stream. Requests:
//  - past the length limit (when one is set): KVTSimExcShortBuffer (end of
//    the request, limit);
//  - a PrepRead larger than the chunk, or one the pool cannot fill because
//    it ends first: KVTSimExcRequestTooBig (request, bytes buffered);
//  - Read of more than a chunk bypasses the buffer; a short delivery there
//    (the pool ends first) raises nothing and leaves the rest of the
//    destination as it was;
//  - PrepReadSpan (arrays) hands out what the buffer holds, refilling it
//    when it holds less than one unit; with a limit set, the whole run is
//    checked against it first.
// A failed request leaves the position unchanged. Locators read from the
// stream are decoded against the start locator's pool directory and inherit
// the start locator's overlay.
//
// Counts in errors are reported as unsigned 32-bit numbers.
// REQUIRES: the start locator's pool stays loaded while the stream reads.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREADLOCATOR_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREADLOCATOR_H_

#include <cstdint>

#include "KVTSimExport.h"
#include "KVTSimRpm_BStreamRead.h"
#include "KVTSimRpm_Locator.h"

class KVTSIM_EXPORT KVTSimRpm_BStreamReadLocator : public KVTSimRpm_BStreamRead {
 public:
  // Reads from start, at most length bytes (0: no limit), through a buffer
  // of chunk bytes (at least 16). A chunk of 2^32 bytes or more raises
  // KVTSimExcRequestTooBig.
  KVTSimRpm_BStreamReadLocator(KVTSimRpm_Locator const& start, unsigned long long const& length,
                               unsigned long long chunk);
  KVTSimRpm_BStreamReadLocator(KVTSimRpm_BStreamReadLocator const&) = delete;
  KVTSimRpm_BStreamReadLocator& operator=(KVTSimRpm_BStreamReadLocator const&) = delete;
  ~KVTSimRpm_BStreamReadLocator() override;

  using KVTSimRpm_BStreamRead::Read;
  char const* PrepRead(unsigned long long requestedLength) override;
  void Read(char* buffer, unsigned int length) override;
  KVTSimRpm_PoolDirectoryImpl const& SourceDir() const override;
  char const* PeekRead(unsigned long long requestedLength) override;
  void CheckRead(unsigned long long length) override;
  KVTSimRpm_MemoryPool* IMPool() const override;

 protected:
  char const* NextReadSpan(unsigned long long wanted, unsigned int unit,
                           unsigned long long& granted) override;

 private:
  void Refill();

  KVTSimRpm_Locator mStart;
  std::uint64_t mLimit;
  std::uint64_t mChunk;
  std::uint64_t mBase;
  std::uint64_t mBufferPosition;
  std::uint64_t mFill;
  char* mBuffer;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREADLOCATOR_H_

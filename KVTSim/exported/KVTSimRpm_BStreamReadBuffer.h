// KVTSimRpm_BStreamReadBuffer: a read stream over caller memory.
//
// Nothing is copied: PrepRead returns a pointer into the caller's buffer,
// valid as long as that buffer (the stream does not own it). A request past
// the end raises KVTSimExcShortBuffer (requested, remaining) and leaves the
// position unchanged. Locators are decoded against the directory the stream
// was built with. REQUIRES for reading a locator (SourceDir): the stream was
// built with a directory or a pool; otherwise KVTBasAssertException.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREADBUFFER_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREADBUFFER_H_

#include <cstdint>

#include "KVTSimExport.h"
#include "KVTSimRpm_BStreamRead.h"
#include "KVTSimRpm_Pool.h"
#include "KVTSimRpm_PoolDirectory.h"
#include "KVTSimRpm_StrongRef.h"

class KVTSIM_EXPORT KVTSimRpm_BStreamReadBuffer : public KVTSimRpm_BStreamRead {
 public:
  // Reads the length bytes at buffer, without a directory.
  KVTSimRpm_BStreamReadBuffer(char const* buffer, std::uint64_t length);
  // ... with directory's directory.
  KVTSimRpm_BStreamReadBuffer(char const* buffer, std::uint64_t length,
                              KVTSimRpm_PoolDirectory const& directory);
  // ... with pool's directory.
  KVTSimRpm_BStreamReadBuffer(char const* buffer, std::uint64_t length, KVTSimRpm_Pool const& pool);
  ~KVTSimRpm_BStreamReadBuffer() override;

  using KVTSimRpm_BStreamRead::Read;
  char const* PrepRead(unsigned long long requestedLength) override;
  void Read(char* buffer, unsigned int length) override;
  KVTSimRpm_PoolDirectoryImpl const& SourceDir() const override;
  char const* PeekRead(unsigned long long requestedLength) override;
  void CheckRead(unsigned long long length) override;
  KVTSimRpm_MemoryPool* IMPool() const override { return nullptr; }

 protected:
  // The whole run in one span, checked as PrepRead(wanted).
  char const* NextReadSpan(unsigned long long wanted, unsigned int unit,
                           unsigned long long& granted) override;

 private:
  char const* mBuffer;
  std::uint64_t mLength;
  std::uint64_t mPosition;
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> mDirectory;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMREADBUFFER_H_

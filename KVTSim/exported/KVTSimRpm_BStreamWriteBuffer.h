// KVTSimRpm_BStreamWriteBuffer: a write stream into caller memory.
//
// Nothing is buffered: PrepWrite returns a pointer into the caller's buffer,
// so written bytes are there at once. A request past the end raises
// KVTSimExcShortBuffer (requested, remaining) and leaves the position
// unchanged. Locators are encoded against the directory the stream was built
// with. REQUIRES for writing a locator (SourceDir): the stream was built with
// a directory or a pool; otherwise KVTBasAssertException.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITEBUFFER_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITEBUFFER_H_

#include <cstdint>

#include "KVTSimExport.h"
#include "KVTSimRpm_BStreamWrite.h"
#include "KVTSimRpm_Pool.h"
#include "KVTSimRpm_PoolDirectory.h"
#include "KVTSimRpm_StrongRef.h"

class KVTSIM_EXPORT KVTSimRpm_BStreamWriteBuffer : public KVTSimRpm_BStreamWrite {
 public:
  // Writes into the length bytes at buffer, without a directory.
  KVTSimRpm_BStreamWriteBuffer(char* buffer, std::uint64_t length);
  // ... with directory's directory.
  KVTSimRpm_BStreamWriteBuffer(char* buffer, std::uint64_t length,
                               KVTSimRpm_PoolDirectory const& directory);
  // ... with pool's directory.
  KVTSimRpm_BStreamWriteBuffer(char* buffer, std::uint64_t length, KVTSimRpm_Pool const& pool);
  ~KVTSimRpm_BStreamWriteBuffer() override;

  using KVTSimRpm_BStreamWrite::Write;
  char* PrepWrite(unsigned long long requestedLength) override;
  void Write(char const* data, unsigned int length) override;
  KVTSimRpm_PoolDirectoryImpl const& SourceDir() const override;
  KVTSimRpm_MemoryPool* IMPool() const override { return nullptr; }

 protected:
  // The whole run in one span, checked as PrepWrite(wanted).
  char* NextWriteSpan(unsigned long long wanted, unsigned int unit,
                      unsigned long long& granted) override;

 private:
  char* mBuffer;
  std::uint64_t mLength;
  std::uint64_t mPosition;
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> mDirectory;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_BSTREAMWRITEBUFFER_H_

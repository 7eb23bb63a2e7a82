#include "KVTSimRpm_BStreamWriteBuffer.h"

#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimUttAssert.h"

KVTSimRpm_BStreamWriteBuffer::KVTSimRpm_BStreamWriteBuffer(char* buffer, std::uint64_t length)
    : mBuffer(buffer), mLength(length), mPosition(0) {}

KVTSimRpm_BStreamWriteBuffer::KVTSimRpm_BStreamWriteBuffer(char* buffer, std::uint64_t length,
                                                           KVTSimRpm_PoolDirectory const& directory)
    : mBuffer(buffer), mLength(length), mPosition(0), mDirectory(directory.Impl()) {}

KVTSimRpm_BStreamWriteBuffer::KVTSimRpm_BStreamWriteBuffer(char* buffer, std::uint64_t length,
                                                           KVTSimRpm_Pool const& pool)
    : mBuffer(buffer), mLength(length), mPosition(0), mDirectory(pool.Directory().Impl()) {}

KVTSimRpm_BStreamWriteBuffer::~KVTSimRpm_BStreamWriteBuffer() = default;

char* KVTSimRpm_BStreamWriteBuffer::PrepWrite(unsigned long long requestedLength) {
  KVTSIM_ASSERT(requestedLength > 0);
  std::uint64_t remaining = mLength - mPosition;
  if (remaining < requestedLength) {
    KVTSimExcShortBuffer error(static_cast<unsigned>(requestedLength),
                               static_cast<unsigned>(remaining));
    error.Throw(__FILE__, __LINE__);
  }
  char* span = mBuffer + mPosition;
  mPosition += requestedLength;
  return span;
}

void KVTSimRpm_BStreamWriteBuffer::Write(char const* data, unsigned int length) {
  if (length == 0)
    return;
  std::memcpy(PrepWrite(length), data, length);
}

char* KVTSimRpm_BStreamWriteBuffer::NextWriteSpan(unsigned long long wanted, unsigned int,
                                                  unsigned long long& granted) {
  // The caller's memory takes the run whole: no pieces, and one check.
  char* span = PrepWrite(wanted);
  granted = wanted;
  return span;
}

KVTSimRpm_PoolDirectoryImpl const& KVTSimRpm_BStreamWriteBuffer::SourceDir() const {
  return *mDirectory.Get();
}

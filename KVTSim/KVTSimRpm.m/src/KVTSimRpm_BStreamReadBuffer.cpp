#include "KVTSimRpm_BStreamReadBuffer.h"

#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimUttAssert.h"

KVTSimRpm_BStreamReadBuffer::KVTSimRpm_BStreamReadBuffer(char const* buffer, std::uint64_t length)
    : mBuffer(buffer), mLength(length), mPosition(0) {}

KVTSimRpm_BStreamReadBuffer::KVTSimRpm_BStreamReadBuffer(char const* buffer, std::uint64_t length,
                                                         KVTSimRpm_PoolDirectory const& directory)
    : mBuffer(buffer), mLength(length), mPosition(0), mDirectory(directory.Impl()) {}

KVTSimRpm_BStreamReadBuffer::KVTSimRpm_BStreamReadBuffer(char const* buffer, std::uint64_t length,
                                                         KVTSimRpm_Pool const& pool)
    : mBuffer(buffer), mLength(length), mPosition(0), mDirectory(pool.Directory().Impl()) {}

KVTSimRpm_BStreamReadBuffer::~KVTSimRpm_BStreamReadBuffer() = default;

char const* KVTSimRpm_BStreamReadBuffer::PrepRead(unsigned long long requestedLength) {
  KVTSIM_ASSERT(requestedLength > 0);
  std::uint64_t remaining = mLength - mPosition;
  if (remaining < requestedLength) {
    KVTSimExcShortBuffer error(static_cast<unsigned>(requestedLength),
                               static_cast<unsigned>(remaining));
    error.Throw(__FILE__, __LINE__);
  }
  char const* span = mBuffer + mPosition;
  mPosition += requestedLength;
  return span;
}

char const* KVTSimRpm_BStreamReadBuffer::PeekRead(unsigned long long requestedLength) {
  char const* span = PrepRead(requestedLength);
  mPosition -= requestedLength;
  return span;
}

void KVTSimRpm_BStreamReadBuffer::CheckRead(unsigned long long length) {
  std::uint64_t remaining = mLength - mPosition;
  if (remaining < length) {
    KVTSimExcShortBuffer error(static_cast<unsigned>(length), static_cast<unsigned>(remaining));
    error.Throw(__FILE__, __LINE__);
  }
}

void KVTSimRpm_BStreamReadBuffer::Read(char* buffer, unsigned int length) {
  if (length == 0)
    return;
  std::memcpy(buffer, PrepRead(length), length);
}

char const* KVTSimRpm_BStreamReadBuffer::NextReadSpan(unsigned long long wanted, unsigned int,
                                                      unsigned long long& granted) {
  // The caller's memory holds the run whole: no pieces, and one check.
  char const* span = PrepRead(wanted);
  granted = wanted;
  return span;
}

KVTSimRpm_PoolDirectoryImpl const& KVTSimRpm_BStreamReadBuffer::SourceDir() const {
  return *mDirectory.Get();
}

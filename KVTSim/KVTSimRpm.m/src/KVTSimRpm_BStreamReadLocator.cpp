#include "KVTSimRpm_BStreamReadLocator.h"

#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_StreamLimits.h"
#include "KVTSimUttAssert.h"

namespace {

// Out of line, so that the request path stays short.
[[noreturn]] void RaiseTooBig(unsigned long long requested, std::uint64_t available, int line) {
  KVTSimExcRequestTooBig error(static_cast<unsigned>(requested), static_cast<unsigned>(available));
  error.Throw(__FILE__, line);
}

}  // namespace

KVTSimRpm_BStreamReadLocator::KVTSimRpm_BStreamReadLocator(KVTSimRpm_Locator const& start,
                                                           unsigned long long const& length,
                                                           unsigned long long chunk)
    : mStart(start),
      mLimit(length),
      mChunk(kvtsim_stream::CheckedChunk(chunk, __FILE__, __LINE__)),
      mBase(0),
      mBufferPosition(0),
      mFill(0),
      mBuffer(nullptr) {}

KVTSimRpm_BStreamReadLocator::~KVTSimRpm_BStreamReadLocator() {
  mem_Free(mBuffer);
}

char const* KVTSimRpm_BStreamReadLocator::PrepRead(unsigned long long requestedLength) {
  KVTSIM_ASSERT(requestedLength > 0);
  // Compared as "more than is left", so that no sum can wrap. A stream
  // without a buffer has nothing left, so its first request allocates it.
  if (requestedLength > mFill - mBufferPosition)
    Refill();
  kvtsim_stream::CheckLimit(mBase + mBufferPosition + requestedLength, mLimit, __FILE__, __LINE__);
  if (requestedLength > mFill - mBufferPosition)
    RaiseTooBig(requestedLength, mFill, __LINE__);
  char const* span = mBuffer + mBufferPosition;
  mBufferPosition += requestedLength;
  return span;
}

void KVTSimRpm_BStreamReadLocator::Refill() {
  if (mBuffer == nullptr) {
    mBuffer = mem_OperatorNewThrowBuiltin(mChunk);
    mFill = mBufferPosition = 0;
  }
  std::uint64_t keep = mFill - mBufferPosition;
  std::memmove(mBuffer, mBuffer + mBufferPosition, keep);
  // Rebase before reading: the logical position stays put if the read fails.
  mBase += mBufferPosition;
  mBufferPosition = 0;
  mFill = keep;
  mFill += (mStart + (mBase + keep)).Read(mChunk - keep, mBuffer + keep);
}

void KVTSimRpm_BStreamReadLocator::Read(char* buffer, unsigned int length) {
  if (length == 0)
    return;
  kvtsim_stream::CheckLimit(mBase + mBufferPosition + length, mLimit, __FILE__, __LINE__);
  if (length <= mChunk) {
    std::memcpy(buffer, PrepRead(length), length);
    return;
  }
  // Larger than a chunk: hand out what is buffered, then read the rest
  // straight into the destination instead of copying it twice.
  std::uint64_t buffered = mFill - mBufferPosition;
  if (buffered != 0)
    std::memcpy(buffer, mBuffer + mBufferPosition, buffered);
  mBase += mFill;
  mBufferPosition = mFill = 0;
  mBase += (mStart + mBase).Read(length - buffered, buffer + buffered);
}

char const* KVTSimRpm_BStreamReadLocator::NextReadSpan(unsigned long long wanted, unsigned int unit,
                                                       unsigned long long& granted) {
  kvtsim_stream::CheckRunLimit(mBase + mBufferPosition, wanted, mLimit, __FILE__, __LINE__);
  if (unit > mFill - mBufferPosition)
    Refill();
  if (unit > mFill - mBufferPosition)
    RaiseTooBig(unit, mFill, __LINE__);
  granted = kvtsim_stream::PieceLength(wanted, unit, mFill - mBufferPosition);
  char const* span = mBuffer + mBufferPosition;
  mBufferPosition += granted;
  return span;
}

KVTSimRpm_PoolDirectoryImpl const& KVTSimRpm_BStreamReadLocator::SourceDir() const {
  return *mStart.Directory().Get();
}

KVTSimRpm_MemoryPool* KVTSimRpm_BStreamReadLocator::IMPool() const {
  return mStart.IMPool();
}

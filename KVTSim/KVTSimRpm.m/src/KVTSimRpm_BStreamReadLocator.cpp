#include "KVTSimRpm_BStreamReadLocator.h"

#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_MemoryPool.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_StreamLimits.h"
#include "KVTSimUttAssert.h"

namespace {

// Out of line, so that the request path stays short.
[[noreturn]] void RaiseTooBig(unsigned long long requested, std::uint64_t available, int line) {
  KVTSimExcRequestTooBig error(static_cast<unsigned>(requested), static_cast<unsigned>(available));
  error.Throw(__FILE__, line);
}

// How many of want bytes one locator read from at would deliver (at most
// want), found without reading them: through at's overlay when the read
// starts inside it, as the locator's Read does, otherwise by single-byte
// reads of the pool.
std::uint64_t Deliverable(KVTSimRpm_Locator const& at, std::uint64_t want) {
  KVTSimRpm_MemoryPool const* overlay = at.IMPool();
  bool const fromOverlay = overlay != nullptr && overlay->Startin(at);
  auto reaches = [&at, overlay, fromOverlay](std::uint64_t k) {  // the first k bytes arrive
    if (fromOverlay)
      return overlay->Within(at, k);
    char byte;
    return KVTSimRpm_Locator(at, k - 1).Read(1, &byte) == 1;
  };
  if (reaches(want))
    return want;
  // Short: bisect for the exact count, which the error reports.
  std::uint64_t low = 0;
  std::uint64_t high = want;
  while (high - low > 1) {
    std::uint64_t middle = low + (high - low) / 2;
    (reaches(middle) ? low : high) = middle;
  }
  return low;
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

char const* KVTSimRpm_BStreamReadLocator::PeekRead(unsigned long long requestedLength) {
  // A request may refill the buffer, but it keeps the logical position; only
  // the advance past the span is undone.
  char const* span = PrepRead(requestedLength);
  mBufferPosition -= requestedLength;
  return span;
}

void KVTSimRpm_BStreamReadLocator::CheckRead(unsigned long long length) {
  kvtsim_stream::CheckLimit(mBase + mBufferPosition + length, mLimit, __FILE__, __LINE__);
  std::uint64_t buffered = mFill - mBufferPosition;
  if (length <= buffered)
    return;
  if (length <= mChunk) {
    // Read takes such a request through the buffer: refill it as Read would.
    Refill();
    if (length > mFill - mBufferPosition)
      RaiseTooBig(length, mFill - mBufferPosition, __LINE__);
    return;
  }
  // Read takes a longer one as the buffered bytes, then one locator read of
  // the rest, which must not be read twice: only ask whether it would arrive.
  std::uint64_t rest = length - buffered;
  std::uint64_t arriving = Deliverable(mStart + (mBase + mFill), rest);
  if (arriving < rest)
    RaiseTooBig(length, buffered + arriving, __LINE__);
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

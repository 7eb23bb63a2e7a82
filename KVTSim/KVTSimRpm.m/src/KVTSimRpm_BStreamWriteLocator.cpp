#include "KVTSimRpm_BStreamWriteLocator.h"

#include <climits>
#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimUttAssert.h"

namespace {

constexpr unsigned long long kMinChunk = 16;

// Chunks are handed to 32-bit counts; larger ones would be cut silently.
unsigned long long CheckedChunk(unsigned long long chunk) {
  if (chunk > UINT_MAX) {
    KVTSimExcRequestTooBig error(UINT_MAX, UINT_MAX);
    error.Throw(__FILE__, __LINE__);
  }
  return chunk < kMinChunk ? kMinChunk : chunk;
}

}  // namespace

KVTSimRpm_BStreamWriteLocator::KVTSimRpm_BStreamWriteLocator(KVTSimRpm_Locator const& start,
                                                             unsigned long long const& length,
                                                             unsigned long long chunk)
    : mStart(start),
      mLimit(length),
      mChunk(CheckedChunk(chunk)),
      mFlushed(0),
      mPending(0),
      mBuffer(nullptr) {}

KVTSimRpm_BStreamWriteLocator::~KVTSimRpm_BStreamWriteLocator() {
  try {
    Flush();
  } catch (...) {
    // A destructor has no caller to receive the error; Flush() reports it.
  }
  mem_Free(mBuffer);
}

void KVTSimRpm_BStreamWriteLocator::Flush() {
  if (mBuffer != nullptr && mPending != 0)
    (mStart + mFlushed).Write(mPending, mBuffer);
  mFlushed += mPending;
  mPending = 0;
}

char* KVTSimRpm_BStreamWriteLocator::PrepWrite(unsigned long long requestedLength) {
  KVTSIM_ASSERT(requestedLength > 0);
  if (mBuffer == nullptr) {
    mBuffer = mem_OperatorNewThrowBuiltin(mChunk);
    mPending = 0;
  }
  if (requestedLength > mChunk - mPending)
    Flush();
  CheckLimit(mFlushed + mPending + requestedLength);
  if (requestedLength > mChunk - mPending) {
    KVTSimExcRequestTooBig error(static_cast<unsigned>(requestedLength),
                                 static_cast<unsigned>(mChunk));
    error.Throw(__FILE__, __LINE__);
  }
  char* span = mBuffer + mPending;
  mPending += requestedLength;
  return span;
}

void KVTSimRpm_BStreamWriteLocator::Write(char const* data, unsigned int length) {
  if (length == 0)
    return;
  CheckLimit(mFlushed + mPending + length);
  if (mPending + length <= mChunk) {
    std::memcpy(PrepWrite(length), data, length);
    return;
  }
  // Too large for the buffer's room: write it straight after the flushed bytes.
  Flush();
  CheckLimit(mFlushed + length);
  (mStart + mFlushed).Write(length, data);
  mFlushed += length;
}

void KVTSimRpm_BStreamWriteLocator::CheckLimit(std::uint64_t end) const {
  if (mLimit != 0 && end > mLimit) {
    KVTSimExcShortBuffer error(static_cast<unsigned>(end), static_cast<unsigned>(mLimit));
    error.Throw(__FILE__, __LINE__);
  }
}

KVTSimRpm_PoolDirectoryImpl const& KVTSimRpm_BStreamWriteLocator::SourceDir() const {
  return *mStart.Directory().Get();
}

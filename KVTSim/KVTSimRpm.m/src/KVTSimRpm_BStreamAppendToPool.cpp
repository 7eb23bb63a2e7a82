#include "KVTSimRpm_BStreamAppendToPool.h"

#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_Raise.h"
#include "KVTSimRpm_StreamLimits.h"
#include "KVTSimUttAssert.h"

KVTSimRpm_BStreamAppendToPool::KVTSimRpm_BStreamAppendToPool(KVTSimRpm_Pool const& pool,
                                                             unsigned long long chunkSize)
    : mPool(pool),
      mStart(mPool.End()),
      mWritten(0),
      mCurrentEnd(mStart),
      mChunk(kvtsim_stream::CheckedChunk(chunkSize, __FILE__, __LINE__)),
      mPending(0),
      mBuffer(mem_OperatorNewThrowBuiltin(mChunk)) {}

KVTSimRpm_BStreamAppendToPool::~KVTSimRpm_BStreamAppendToPool() {
  // Only pending bytes need a flush, and only a pool that is still there
  // (its file open) can take them; otherwise they are dropped, unreported.
  if (mPending != 0 && mPool.Impl().Peek() != nullptr) {
    try {
      Flush();
    } catch (...) {
      // A destructor has no caller to receive the error; Flush() reports it.
    }
  }
  mem_Free(mBuffer);
}

void KVTSimRpm_BStreamAppendToPool::ExtendAndWrite(char const* data, unsigned int length) {
  if (!(mCurrentEnd == mPool.End())) {
    // Someone else allocated in the pool: our data would no longer be contiguous.
    KVTSimRpm_Raise<KVTSimExcBrokenStream>(__FILE__, __LINE__);
  }
  mWritten += length;
  KVTSimRpm_Locator at = mPool.Allocate(length);
  at.Write(length, data);
  mCurrentEnd = mPool.End();
}

void KVTSimRpm_BStreamAppendToPool::Flush() {
  if (mBuffer != nullptr && mPending != 0) {
    ExtendAndWrite(mBuffer, static_cast<unsigned int>(mPending));
  }
  mPending = 0;
  KVTSIM_ASSERT(mStart + Length() == mPool.End());
}

char* KVTSimRpm_BStreamAppendToPool::PrepWrite(unsigned long long requestedLength) {
  KVTSIM_ASSERT(requestedLength > 0);
  if (requestedLength > mChunk - mPending)
    Flush();
  if (requestedLength > mChunk - mPending) {
    KVTSimExcRequestTooBig error(static_cast<unsigned>(requestedLength),
                                 static_cast<unsigned>(mChunk));
    error.Throw(__FILE__, __LINE__);
  }
  char* span = mBuffer + mPending;
  mPending += requestedLength;
  return span;
}

void KVTSimRpm_BStreamAppendToPool::Write(char const* data, unsigned int length) {
  if (length == 0)
    return;
  if (length > mChunk - mPending) {
    Flush();
    ExtendAndWrite(data, length);
    return;
  }
  std::memcpy(PrepWrite(length), data, length);
}

char* KVTSimRpm_BStreamAppendToPool::NextWriteSpan(unsigned long long wanted, unsigned int unit,
                                                   unsigned long long& granted) {
  // As in the locator write stream: PrepWrite(unit) appends the buffer when
  // not even one unit fits, then the piece grows into the buffer's room.
  char* span = PrepWrite(unit);
  std::uint64_t const more = kvtsim_stream::PieceLength(wanted - unit, unit, mChunk - mPending);
  mPending += more;
  granted = unit + more;
  return span;
}

KVTSimRpm_PoolDirectoryImpl const& KVTSimRpm_BStreamAppendToPool::SourceDir() const {
  return *mPool.End().Directory().Get();
}

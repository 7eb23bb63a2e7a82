#include "KVTSimRpm_BStreamWriteLocator.h"

#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "KVTSimRpm_StreamLimits.h"
#include "KVTSimUttAssert.h"

namespace {

bool PoolLoaded(KVTSimRpm_Locator const& at) {
  KVTSimRpm_PoolMap const* map = at.Map().Peek();
  return map != nullptr && at.SlotInMap() >= 0 && at.SlotInMap() < map->Length() &&
         map->LoadedPool(at.SlotInMap()) != nullptr;
}

}  // namespace

KVTSimRpm_BStreamWriteLocator::KVTSimRpm_BStreamWriteLocator(KVTSimRpm_Locator const& start,
                                                             unsigned long long const& length,
                                                             unsigned long long chunk)
    : mStart(start),
      mLimit(length),
      mChunk(kvtsim_stream::CheckedChunk(chunk, __FILE__, __LINE__)),
      mFlushed(0),
      mPending(0),
      mBuffer(nullptr) {}

KVTSimRpm_BStreamWriteLocator::~KVTSimRpm_BStreamWriteLocator() {
  // Only pending bytes need a flush, and only a pool that is still loaded in
  // a live document can take them; otherwise they are dropped, unreported.
  if (mPending != 0 && PoolLoaded(mStart)) {
    try {
      Flush();
    } catch (...) {
      // A destructor has no caller to receive the error; Flush() reports it.
    }
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
  kvtsim_stream::CheckLimit(mFlushed + mPending + requestedLength, mLimit, __FILE__, __LINE__);
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
  kvtsim_stream::CheckLimit(mFlushed + mPending + length, mLimit, __FILE__, __LINE__);
  if (mPending + length <= mChunk) {
    std::memcpy(PrepWrite(length), data, length);
    return;
  }
  // Too large for the buffer's room: write it straight after the flushed bytes.
  Flush();
  kvtsim_stream::CheckLimit(mFlushed + length, mLimit, __FILE__, __LINE__);
  (mStart + mFlushed).Write(length, data);
  mFlushed += length;
}

char* KVTSimRpm_BStreamWriteLocator::NextWriteSpan(unsigned long long wanted, unsigned int unit,
                                                   unsigned long long& granted) {
  kvtsim_stream::CheckRunLimit(mFlushed + mPending, wanted, mLimit, __FILE__, __LINE__);
  // PrepWrite(unit) does what the piece needs first: the buffer, a flush
  // when not even one unit fits, the error for a unit larger than the chunk.
  // The piece then grows by as many units as the buffer's room holds.
  char* span = PrepWrite(unit);
  std::uint64_t const more = kvtsim_stream::PieceLength(wanted - unit, unit, mChunk - mPending);
  mPending += more;
  granted = unit + more;
  return span;
}

KVTSimRpm_PoolDirectoryImpl const& KVTSimRpm_BStreamWriteLocator::SourceDir() const {
  return *mStart.Directory().Get();
}

#include "KVTSimRpm_BlockCache.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "KVTBasMem.h"
#include "KVTBasMemoryExhausted.h"
#include "KVTSimUttAssert.h"

using Lock = std::lock_guard<std::mutex>;

KVTSimRpm_BlockCache::KVTSimRpm_BlockCache(ReadFunction read, void* source) noexcept
    : mRead(read),
      mSource(source),
      mLimit(0),
      mKnownSize(0),
      mFreeHead(-1),
      mHand(0),
      mHits(0),
      mMisses(0) {}

KVTSimRpm_BlockCache::~KVTSimRpm_BlockCache() {
  ReleaseAll();
}

void KVTSimRpm_BlockCache::SetLimit(std::uint64_t bytes) {
  Lock lock(mMutex);
  mLimit = bytes;
  if (mFrames.size() * kBlockSize > mLimit)
    ReleaseAll();
}

std::uint64_t KVTSimRpm_BlockCache::Limit() const {
  Lock lock(mMutex);
  return mLimit;
}

void KVTSimRpm_BlockCache::Reset(std::uint64_t size) {
  Lock lock(mMutex);
  ReleaseAll();
  mKnownSize = size;
}

std::uint64_t KVTSimRpm_BlockCache::Read(std::uint64_t offset, std::uint64_t length, char* buffer) {
  KVTSIM_ASSERT(length < kBlockSize);
  std::uint64_t done = 0;
  {
    Lock lock(mMutex);
    // The known size is below 2^63 (a file offset), so nothing here wraps.
    while (done < length && offset + done < mKnownSize && mLimit >= kBlockSize) {
      std::uint64_t const position = offset + done;
      std::uint64_t const block = position / kBlockSize;
      int const found = Lookup(block);
      if (found < 0)
        break;
      Frame& frame = mFrames[static_cast<std::size_t>(found)];
      std::uint64_t const within = position - block * kBlockSize;
      if (within >= frame.valid)
        break;
      std::uint64_t const n = std::min(length - done, frame.valid - within);
      std::memcpy(buffer + done, frame.data + within, n);
      frame.touched = true;
      done += n;
    }
  }
  // What no block holds comes from the file, as it would without a cache
  // (the end of the file, bytes past the known size, a disabled cache).
  if (done < length)
    done += mRead(mSource, offset + done, length - done, buffer + done);
  return done;
}

int KVTSimRpm_BlockCache::Lookup(std::uint64_t block) {
  int const found = mIndex.Find(block, -1);
  if (found >= 0) {
    ++mHits;
    return found;
  }
  ++mMisses;
  return Fetch(block);
}

int KVTSimRpm_BlockCache::Fetch(std::uint64_t block) {
  std::uint64_t const start = block * kBlockSize;
  std::uint64_t const expected = std::min(kBlockSize, mKnownSize - start);
  int const frame = TakeFrame();
  Frame& f = mFrames[static_cast<std::size_t>(frame)];
  std::uint64_t got = 0;
  try {
    got = mRead(mSource, start, expected, f.data);
  } catch (...) {
    Free(frame);
    throw;
  }
  // Fewer bytes than the known size promises: the file was cut underneath.
  // Blocks held past its new end no longer describe it.
  if (got < expected)
    CutAt(start + got);
  if (got == 0) {
    Free(frame);
    return -1;
  }
  try {
    mIndex.Set(block, frame);
  } catch (...) {
    Free(frame);
    throw;
  }
  f.block = block;
  f.valid = static_cast<std::uint32_t>(got);
  f.touched = true;
  return frame;
}

int KVTSimRpm_BlockCache::TakeFrame() {
  if (mFreeHead >= 0) {
    int const frame = mFreeHead;
    mFreeHead = mFrames[static_cast<std::size_t>(frame)].nextFree;
    return frame;
  }
  if ((mFrames.size() + 1) * kBlockSize <= mLimit)
    return AddFrame();
  // Full: the clock hand passes over touched blocks once, clearing their
  // mark, and takes the first block not touched since its last pass.
  for (;;) {
    std::size_t const at = mHand;
    mHand = (mHand + 1) % mFrames.size();
    Frame& frame = mFrames[at];
    if (frame.touched) {
      frame.touched = false;
      continue;
    }
    mIndex.Erase(frame.block);
    frame.block = kNoBlock;
    return static_cast<int>(at);
  }
}

int KVTSimRpm_BlockCache::AddFrame() {
  char* data = static_cast<char*>(mem_Malloc(kBlockSize));
  try {
    mFrames.push_back(Frame{kNoBlock, data, 0, -1, false});
  } catch (std::bad_alloc const&) {
    mem_Free(data);
    KVTBasMemoryExhausted error((mFrames.size() + 1) * sizeof(Frame));
    error.Throw(__FILE__, __LINE__);
  }
  return static_cast<int>(mFrames.size() - 1);
}

void KVTSimRpm_BlockCache::Free(int frame) noexcept {
  Frame& f = mFrames[static_cast<std::size_t>(frame)];
  f.block = kNoBlock;
  f.valid = 0;
  f.nextFree = mFreeHead;
  mFreeHead = frame;
}

void KVTSimRpm_BlockCache::Drop(int frame) noexcept {
  mIndex.Erase(mFrames[static_cast<std::size_t>(frame)].block);
  Free(frame);
}

template <typename Fn>
void KVTSimRpm_BlockCache::ForFramesIn(std::uint64_t offset, std::uint64_t length, Fn fn) {
  if (length == 0 || mIndex.Size() == 0)
    return;
  std::uint64_t const first = offset / kBlockSize;
  std::uint64_t const last = (offset + length - 1) / kBlockSize;
  // Whichever is shorter: the blocks of the range, or the blocks held.
  if (last - first >= mFrames.size()) {
    for (std::size_t i = 0; i < mFrames.size(); ++i) {
      std::uint64_t const block = mFrames[i].block;
      if (block != kNoBlock && block >= first && block <= last)
        fn(static_cast<int>(i));
    }
    return;
  }
  for (std::uint64_t block = first; block <= last; ++block) {
    int const frame = mIndex.Find(block, -1);
    if (frame >= 0)
      fn(frame);
  }
}

void KVTSimRpm_BlockCache::Wrote(std::uint64_t offset, std::uint64_t length, char const* data) {
  Lock lock(mMutex);
  std::uint64_t const end = offset + length;
  mKnownSize = std::max(mKnownSize, end);
  ForFramesIn(offset, length, [&](int held) {
    Frame& frame = mFrames[static_cast<std::size_t>(held)];
    std::uint64_t const start = frame.block * kBlockSize;
    std::uint64_t const from = std::max(offset, start) - start;
    std::uint64_t const to = std::min(end, start + kBlockSize) - start;
    // Bytes beyond a gap after the held ones are left to the file.
    if (from > frame.valid)
      return;
    std::memcpy(frame.data + from, data + (start + from - offset), to - from);
    frame.valid = static_cast<std::uint32_t>(std::max<std::uint64_t>(frame.valid, to));
  });
}

void KVTSimRpm_BlockCache::Forget(std::uint64_t offset, std::uint64_t length) {
  Lock lock(mMutex);
  ForFramesIn(offset, length, [this](int held) { Drop(held); });
}

void KVTSimRpm_BlockCache::Resized(std::uint64_t size) {
  Lock lock(mMutex);
  CutAt(size);
}

void KVTSimRpm_BlockCache::CutAt(std::uint64_t size) noexcept {
  mKnownSize = size;
  for (std::size_t i = 0; i < mFrames.size(); ++i) {
    Frame& frame = mFrames[i];
    if (frame.block == kNoBlock)
      continue;
    std::uint64_t const start = frame.block * kBlockSize;
    if (start >= size)
      Drop(static_cast<int>(i));
    else if (start + frame.valid > size)
      frame.valid = static_cast<std::uint32_t>(size - start);
  }
}

void KVTSimRpm_BlockCache::ReleaseAll() noexcept {
  for (Frame& frame : mFrames)
    mem_Free(frame.data);
  std::vector<Frame>().swap(mFrames);
  mIndex.Clear();
  mFreeHead = -1;
  mHand = 0;
}

KVTSimRpm_BlockCache::Counters KVTSimRpm_BlockCache::Count() const {
  Lock lock(mMutex);
  return Counters{mHits, mMisses, mIndex.Size()};
}

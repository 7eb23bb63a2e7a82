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
      mFixed(false),
      mWholeFile(false),
      mSizeAtReset(0),
      mKnownSize(0),
      mWhole(nullptr),
      mWholeBlocks(0),
      mFreeHead(-1),
      mHand(0),
      mMisses(0) {}

KVTSimRpm_BlockCache::~KVTSimRpm_BlockCache() {
  ReleaseAll();
}

std::uint64_t KVTSimRpm_BlockCache::BlocksFor(std::uint64_t size) noexcept {
  return size / kBlockSize + (size % kBlockSize != 0);
}

bool KVTSimRpm_BlockCache::WholeFits() const noexcept {
  std::uint64_t const blocks = BlocksFor(mSizeAtReset);
  return mFixed && mLimit >= kBlockSize && blocks <= mLimit / kBlockSize;
}

void KVTSimRpm_BlockCache::SetLimit(std::uint64_t bytes) {
  mLimit = bytes;
  bool const whole = WholeFits();
  if (whole != mWholeFile || mFrames.size() * kBlockSize > mLimit)
    ReleaseAll();
  mWholeFile = whole;
}

void KVTSimRpm_BlockCache::Reset(std::uint64_t size, bool fixed) {
  ReleaseAll();
  mFixed = fixed;
  mSizeAtReset = size;
  mKnownSize.store(size, std::memory_order_relaxed);
  mWholeFile = WholeFits();
}

std::uint64_t KVTSimRpm_BlockCache::Read(std::uint64_t offset, std::uint64_t length, char* buffer) {
  KVTSIM_ASSERT(length < kBlockSize);
  // Nothing to hold (a disabled cache, a file while its chain loads, a read
  // past the known end): straight to the file, without the lock.
  if (mLimit < kBlockSize || offset >= mKnownSize.load(std::memory_order_relaxed))
    return mRead(mSource, offset, length, buffer);
  return mWholeFile ? ReadWhole(offset, length, buffer) : ReadFrames(offset, length, buffer);
}

std::uint64_t KVTSimRpm_BlockCache::ReadWhole(std::uint64_t offset, std::uint64_t length,
                                              char* buffer) {
  // The common case takes no lock: filled blocks never change, and the
  // acquiring loads see the bytes stored before a block was marked filled.
  Whole const* whole = mWhole.load(std::memory_order_acquire);
  std::uint64_t const known = mKnownSize.load(std::memory_order_relaxed);
  if (whole != nullptr && length != 0 && offset < known && length <= known - offset) {
    std::uint64_t const end = offset + length;
    std::uint64_t const first = offset / kBlockSize;
    std::uint64_t const last = (end - 1) / kBlockSize;
    bool ready = last * kBlockSize + whole->filled[last].load(std::memory_order_acquire) >= end;
    if (ready && first != last)
      ready = whole->filled[first].load(std::memory_order_acquire) == kBlockSize;
    if (ready) {
      std::memcpy(buffer, whole->bytes + offset, length);
      return length;
    }
  }
  return ReadWholeLocked(offset, length, buffer);
}

std::uint64_t KVTSimRpm_BlockCache::ReadWholeLocked(std::uint64_t offset, std::uint64_t length,
                                                    char* buffer) {
  std::uint64_t done = 0;
  {
    std::lock_guard<std::mutex> lock(mMutex);
    Whole* whole = TakeWhole();
    // The known size is below 2^63 (a file offset), so nothing here wraps.
    while (done < length && offset + done < mKnownSize.load(std::memory_order_relaxed)) {
      std::uint64_t const position = offset + done;
      std::uint64_t const block = position / kBlockSize;
      std::uint64_t const start = block * kBlockSize;
      std::uint64_t filled = whole->filled[block].load(std::memory_order_relaxed);
      if (filled == 0) {
        FillWhole(*whole, block);
        filled = whole->filled[block].load(std::memory_order_relaxed);
        if (filled == 0)
          break;
      }
      std::uint64_t const known = mKnownSize.load(std::memory_order_relaxed);
      std::uint64_t const within = position - start;
      if (within >= filled || position >= known)
        break;
      std::uint64_t const n = std::min({length - done, filled - within, known - position});
      std::memcpy(buffer + done, whole->bytes + position, n);
      done += n;
    }
  }
  // What no block holds comes from the file, as it would without a cache.
  if (done < length)
    done += mRead(mSource, offset + done, length - done, buffer + done);
  return done;
}

void KVTSimRpm_BlockCache::FillWhole(Whole& whole, std::uint64_t block) {
  // The block and the unfilled ones after it, up to kReadAhead blocks, in one
  // read: a file followed at random fills its room in fewer system calls,
  // and memory use is bounded by the file's size all the same. Filled blocks
  // are never written again (readers copy from them without a lock).
  ++mMisses;
  std::uint64_t const start = block * kBlockSize;
  std::uint64_t const known = mKnownSize.load(std::memory_order_relaxed);
  std::uint64_t const end = std::min(BlocksFor(known), block + kReadAhead);
  std::uint64_t run = 1;
  while (block + run < end && whole.filled[block + run].load(std::memory_order_relaxed) == 0)
    ++run;
  std::uint64_t const expected = std::min(run * kBlockSize, known - start);
  std::uint64_t const got = mRead(mSource, start, expected, whole.bytes + start);
  // Fewer bytes than the known size promises: the file was cut underneath,
  // and nothing past its new end is served from memory any more.
  if (got < expected)
    mKnownSize.store(start + got, std::memory_order_relaxed);
  for (std::uint64_t i = 0; i < run && i * kBlockSize < got; ++i) {
    std::uint64_t const valid = std::min(kBlockSize, got - i * kBlockSize);
    whole.filled[block + i].store(static_cast<std::uint16_t>(valid), std::memory_order_release);
    ++mWholeBlocks;
  }
}

KVTSimRpm_BlockCache::Whole* KVTSimRpm_BlockCache::TakeWhole() {
  Whole* whole = mWhole.load(std::memory_order_relaxed);
  if (whole != nullptr)
    return whole;
  // One allocation: the fill counts, then the blocks at a page boundary, so
  // that a filled block occupies exactly one page of memory. Pages of the
  // blocks are not touched until filled.
  std::uint64_t const blocks = BlocksFor(mSizeAtReset);
  std::size_t const counts = sizeof(Whole) + blocks * sizeof(std::atomic<std::uint16_t>);
  char* raw = static_cast<char*>(mem_Malloc(counts + 2 * kBlockSize + blocks * kBlockSize));
  whole = reinterpret_cast<Whole*>(raw);
  whole->filled = reinterpret_cast<std::atomic<std::uint16_t>*>(raw + sizeof(Whole));
  for (std::uint64_t i = 0; i < blocks; ++i)
    new (&whole->filled[i]) std::atomic<std::uint16_t>(0);
  std::uintptr_t const after = reinterpret_cast<std::uintptr_t>(raw + counts);
  whole->bytes = reinterpret_cast<char*>((after + kBlockSize - 1) & ~(kBlockSize - 1));
  // Reads follow references anywhere in the file: fewer, larger pages keep
  // the address translations of a large file in the processor's caches.
  mem_AdviseRandomAccess(whole->bytes, blocks * kBlockSize);
  mWhole.store(whole, std::memory_order_release);
  return whole;
}

std::uint64_t KVTSimRpm_BlockCache::ReadFrames(std::uint64_t offset, std::uint64_t length,
                                               char* buffer) {
  std::uint64_t done = 0;
  {
    std::lock_guard<std::mutex> lock(mMutex);
    while (done < length && offset + done < mKnownSize.load(std::memory_order_relaxed) &&
           mLimit >= kBlockSize) {
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
  if (done < length)
    done += mRead(mSource, offset + done, length - done, buffer + done);
  return done;
}

int KVTSimRpm_BlockCache::Lookup(std::uint64_t block) {
  int const found = mIndex.Find(block, -1);
  if (found >= 0)
    return found;
  ++mMisses;
  return Fetch(block);
}

int KVTSimRpm_BlockCache::Fetch(std::uint64_t block) {
  std::uint64_t const start = block * kBlockSize;
  std::uint64_t const expected =
      std::min(kBlockSize, mKnownSize.load(std::memory_order_relaxed) - start);
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
  KVTSIM_ASSERT(!mFixed);
  Lock lock(mMutex);
  std::uint64_t const end = offset + length;
  if (end > mKnownSize.load(std::memory_order_relaxed))
    mKnownSize.store(end, std::memory_order_relaxed);
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
  // A file kept whole has room for the blocks it had at Reset only.
  if (mWholeFile && size > mSizeAtReset)
    size = mSizeAtReset;
  CutAt(size);
}

void KVTSimRpm_BlockCache::CutAt(std::uint64_t size) noexcept {
  mKnownSize.store(size, std::memory_order_relaxed);
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
  mem_Free(mWhole.exchange(nullptr, std::memory_order_relaxed));
  mWholeBlocks = 0;
  for (Frame& frame : mFrames)
    mem_Free(frame.data);
  std::vector<Frame>().swap(mFrames);
  mIndex.Clear();
  mFreeHead = -1;
  mHand = 0;
}

KVTSimRpm_BlockCache::Counters KVTSimRpm_BlockCache::Count() const {
  Lock lock(mMutex);
  return Counters{mMisses, mWholeFile ? mWholeBlocks : mIndex.Size()};
}

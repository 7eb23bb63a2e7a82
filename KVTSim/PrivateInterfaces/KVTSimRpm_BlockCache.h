// KVTSimRpm_BlockCache: a bounded cache of one file's bytes in blocks of
// 4096 bytes, so that reads much smaller than a block cost a memory copy
// instead of a system call.
//
// A block is read whole (one fetch through the source's read function) the
// first time a read touches it, and kept until the cache is full; then the
// least recently touched blocks are reused (the CLOCK approximation: a block
// touched since the hand last passed gets a second chance). Memory: at most
// Limit() bytes of block data, allocated as blocks are first needed, plus at
// most 3% of that for bookkeeping (32 bytes a block and an index entry of 16
// to 64 bytes).
//
// The cache knows the file's size (Reset, Wrote, Resized); it keeps no block
// that starts at or after it, and no bytes past it. Bytes it does not hold
// are read from the file, so a read returns what the file delivers, as a
// direct read would. Writes of the owner go to the file first and then here
// (Wrote), so cached bytes follow them. A file changed by someone else is not
// seen in blocks already held; a block that comes back shorter than the known
// size (the file was cut underneath) makes the cache forget everything past
// the new end, and it never reads outside what a system call delivers.
//
// Thread safety: every member may be called from several threads at once; a
// mutex guards the cache, and a miss holds it while the block is fetched.
// The fetch function is called with that mutex held, so it must not call
// back into the cache; the owner must not call Wrote, Forget or Resized
// while holding a lock that its fetch function takes.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BLOCKCACHE_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BLOCKCACHE_H_

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "KVTSimExport.h"
#include "KVTSimRpm_HashIndex.h"

class KVTSIM_EXPORT KVTSimRpm_BlockCache {
 public:
  static constexpr std::uint64_t kBlockSize = 4096;

  // Reads up to length bytes at offset of the file into buffer and returns
  // how many arrived (fewer only at the end of the file); raises the
  // library's error kinds.
  using ReadFunction = std::uint64_t (*)(void* source, std::uint64_t offset, std::uint64_t length,
                                         char* buffer);

  // Hits and misses counted since construction, and the blocks now held.
  struct Counters {
    std::uint64_t hits;
    std::uint64_t misses;
    std::uint64_t blocks;
  };

  // An empty, disabled cache (limit 0, known size 0) over source. Allocates
  // nothing.
  KVTSimRpm_BlockCache(ReadFunction read, void* source) noexcept;
  KVTSimRpm_BlockCache(KVTSimRpm_BlockCache const&) = delete;
  KVTSimRpm_BlockCache& operator=(KVTSimRpm_BlockCache const&) = delete;
  ~KVTSimRpm_BlockCache();

  // The most bytes of block data the cache may hold; below one block, no
  // block is cached and every read goes to the file. Lowering the limit
  // below what is held releases every block.
  void SetLimit(std::uint64_t bytes);
  std::uint64_t Limit() const;

  // Forgets every block and takes size as the file's size.
  void Reset(std::uint64_t size);

  // Reads up to length bytes at offset into buffer, from held blocks where
  // it can and from the file otherwise; returns the count delivered. Raises
  // what the read function raises, and KVTBasMemoryExhausted when a block
  // cannot be allocated; the cache is consistent afterwards.
  // REQUIRES: length < kBlockSize (checked: "length < kBlockSize"); larger
  // reads gain nothing from the cache and should go to the file.
  std::uint64_t Read(std::uint64_t offset, std::uint64_t length, char* buffer);

  // The owner wrote length bytes of data at offset to the file: held blocks
  // take them, and the known size grows to cover them.
  void Wrote(std::uint64_t offset, std::uint64_t length, char const* data);

  // The owner's write to that range failed part-way: held blocks that
  // overlap it are forgotten.
  void Forget(std::uint64_t offset, std::uint64_t length);

  // The file was cut or extended to size: blocks past it are forgotten.
  void Resized(std::uint64_t size);

  Counters Count() const;

 private:
  // One block of storage and what it holds.
  struct Frame {
    std::uint64_t block;  // block number, kNoBlock while free
    char* data;           // kBlockSize bytes
    std::uint32_t valid;  // bytes of the block that the file delivered
    int nextFree;         // the free list, while free
    bool touched;         // read since the clock hand last passed
  };
  static constexpr std::uint64_t kNoBlock = KVTSimRpm_HashIndex::kNoKey;

  // The frame holding block, fetched on a miss; -1 when the file has no
  // byte of it.
  int Lookup(std::uint64_t block);
  int Fetch(std::uint64_t block);
  int TakeFrame();
  int AddFrame();
  void Free(int frame) noexcept;
  void Drop(int frame) noexcept;
  template <typename Fn>
  void ForFramesIn(std::uint64_t offset, std::uint64_t length, Fn fn);
  void CutAt(std::uint64_t size) noexcept;
  void ReleaseAll() noexcept;

  ReadFunction const mRead;
  void* const mSource;
  mutable std::mutex mMutex;
  std::uint64_t mLimit;
  std::uint64_t mKnownSize;
  std::vector<Frame> mFrames;
  int mFreeHead;               // first free frame, or -1
  std::size_t mHand;           // the clock hand: next frame to consider
  KVTSimRpm_HashIndex mIndex;  // block number -> frame
  std::uint64_t mHits;
  std::uint64_t mMisses;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BLOCKCACHE_H_

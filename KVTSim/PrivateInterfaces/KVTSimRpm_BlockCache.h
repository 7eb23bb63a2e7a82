// KVTSimRpm_BlockCache: a bounded cache of one file's bytes in blocks of
// 4096 bytes, so that reads much smaller than a block cost a memory copy
// instead of a system call.
//
// A block is read whole (one call of the owner's read function) the first
// time a read touches it. Two ways of keeping blocks:
//  - whole file: a file that the owner never writes (read-only) and that
//    fits in Limit() gets room for all its blocks at the first miss (address
//    space only: memory is used as blocks are filled, in 2 MiB steps where
//    the system backs the room with huge pages). A miss also fills the
//    unfilled blocks after it, up to 64 KiB in one read. A filled block is
//    never changed or dropped until Reset or SetLimit, so reads of filled
//    blocks take no lock at all, only an acquiring load.
//  - blocks: any other file keeps at most Limit() bytes of blocks, each
//    allocated when first needed, found through a hash index; when the cache
//    is full the least recently touched blocks are reused (the CLOCK
//    approximation). Every access takes the cache's mutex. Bookkeeping adds
//    at most 3% to the blocks (32 bytes a block, an index entry of 16 to 64
//    bytes).
//
// The cache knows the file's size (Reset, Wrote, Resized) and keeps no bytes
// past it. Bytes it does not hold are read from the file, so a read returns
// what the file delivers, as a direct read would. Writes of the owner go to
// the file first and then here (Wrote), so cached bytes follow them. A change
// that someone else makes to the file is not seen in blocks already held; a
// block that comes back shorter than the known size (the file was cut
// underneath) lowers the known size to the file's new end, and from then on
// nothing past it is served from memory.
//
// Thread safety: Read, Wrote and Forget may be called from several threads
// at once. SetLimit, Reset and Resized change how blocks are kept and need
// external synchronization with every other call (the owner's single-thread
// operations: opening, closing, setting the limit, cutting the file). A miss
// holds the cache's mutex while it calls the read function, so that function
// must not call back into the cache, and the owner must not call Wrote or
// Forget while it holds a lock that its read function takes.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BLOCKCACHE_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BLOCKCACHE_H_

#include <atomic>
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

  // Reads of the file made to fill blocks since construction, and blocks held now.
  struct Counters {
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
  // block is cached and every read goes to the file. Every block held is
  // released when the limit falls below what is held or when the way of
  // keeping blocks changes (see the class comment).
  void SetLimit(std::uint64_t bytes);
  std::uint64_t Limit() const noexcept { return mLimit; }

  // Forgets every block and takes size as the file's size. fixed: the owner
  // will never write to the file, so it may be kept whole.
  void Reset(std::uint64_t size, bool fixed);

  // Reads up to length bytes at offset into buffer, from held blocks where
  // it can and from the file otherwise; returns the count delivered. Raises
  // what the read function raises, and KVTBasMemoryExhausted when room for
  // blocks cannot be allocated; the cache is consistent afterwards.
  // REQUIRES: length < kBlockSize (checked: "length < kBlockSize"); larger
  // reads gain nothing from the cache and should go to the file.
  std::uint64_t Read(std::uint64_t offset, std::uint64_t length, char* buffer);

  // The owner wrote length bytes of data at offset to the file: held blocks
  // take them, and the known size grows to cover them.
  // REQUIRES: Reset was not given fixed (checked: "!mFixed").
  void Wrote(std::uint64_t offset, std::uint64_t length, char const* data);

  // The owner's write to that range failed part-way: held blocks that
  // overlap it are forgotten.
  void Forget(std::uint64_t offset, std::uint64_t length);

  // The file was cut or extended to size: blocks past it are forgotten.
  void Resized(std::uint64_t size);

  Counters Count() const;

 private:
  // Blocks mode: one block of storage and what it holds.
  struct Frame {
    std::uint64_t block;  // block number, kNoBlock while free
    char* data;           // kBlockSize bytes
    std::uint32_t valid;  // bytes of the block that the file delivered
    int nextFree;         // the free list, while free
    bool touched;         // read since the clock hand last passed
  };
  static constexpr std::uint64_t kNoBlock = KVTSimRpm_HashIndex::kNoKey;
  // Whole-file mode reads a miss and up to this many blocks in all.
  static constexpr std::uint64_t kReadAhead = 16;

  // Whole-file mode: room for every block, in file order, and for each block
  // the count of its bytes filled (0 until fetched; set once, with release).
  struct Whole {
    char* bytes;
    std::atomic<std::uint16_t>* filled;
  };

  static std::uint64_t BlocksFor(std::uint64_t size) noexcept;
  bool WholeFits() const noexcept;

  std::uint64_t ReadWhole(std::uint64_t offset, std::uint64_t length, char* buffer);
  std::uint64_t ReadWholeLocked(std::uint64_t offset, std::uint64_t length, char* buffer);
  void FillWhole(Whole& whole, std::uint64_t block);
  Whole* TakeWhole();
  std::uint64_t ReadFrames(std::uint64_t offset, std::uint64_t length, char* buffer);

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
  bool mFixed;                 // the owner never writes
  bool mWholeFile;             // the way blocks are kept
  std::uint64_t mSizeAtReset;  // what decides whether the file fits
  std::atomic<std::uint64_t> mKnownSize;
  std::atomic<Whole*> mWhole;  // whole-file mode, once the first miss made it
  std::uint64_t mWholeBlocks;  // blocks filled in whole-file mode
  std::vector<Frame> mFrames;
  int mFreeHead;               // first free frame, or -1
  std::size_t mHand;           // the clock hand: next frame to consider
  KVTSimRpm_HashIndex mIndex;  // block number -> frame
  std::uint64_t mMisses;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_BLOCKCACHE_H_

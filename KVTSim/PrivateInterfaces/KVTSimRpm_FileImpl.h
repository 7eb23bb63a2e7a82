// KVTSimRpm_FileImpl: one container file of a document.
//
// The file is a chain of pool records laid end to end from offset 0, with no
// header of its own. Pools are owned here, in file order; the last one is the
// current pool, and in a writable file it is the only open (growable) one.
// While the file is open each pool is bound in the document's pool map at its
// directory's own slot.
//
// Raw access (Read, Write) works at absolute file offsets under the file's
// mutex. Reads shorter than a cache block are served by the file's
// block cache (KVTSimRpm_BlockCache), which writes through this object keep
// equal to the file. The logical length (FileLength) is where the next pool
// would begin; the file is never padded out to it.
//
// REQUIRES: external synchronization for everything but Read and Write,
// which lock what they use themselves.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_FILEIMPL_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_FILEIMPL_H_

#include <cstdint>
#include <vector>
#include <optional>

#include "KVTBasMem.h"
#include "KVTSimExport.h"
#include "KVTSimRpm_BlockCache.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_PoolImpl.h"
#include "KVTSimRpm_SalvageReport.h"
#include "KVTSimRpm_StrongRef.h"
#include "KVTSimRpm_WeakRef.h"
#include "KVTSimUttOSFile.h"
#include "KVTString.h"
#include "cow_List.h"

class KVTSimRpm_DocumentImpl;

class KVTSIM_EXPORT KVTSimRpm_FileImpl : public mem_AllocationOperators {
 public:
  // Pool copying moves data in chunks of this many bytes.
  static constexpr std::uint64_t kCopyChunk = 262144;

  // A file object of document with nothing open and no pool.
  explicit KVTSimRpm_FileImpl(KVTSimRpm_DocumentImpl& document);
  KVTSimRpm_FileImpl(KVTSimRpm_FileImpl const&) = delete;
  KVTSimRpm_FileImpl& operator=(KVTSimRpm_FileImpl const&) = delete;

  // Releases the pools and the file handle; writes nothing.
  ~KVTSimRpm_FileImpl();

  // Open an existing file read-only or for update and load its chain of
  // pools; a writable file's last pool is thawed and its header rewritten
  // with the open length. Raise KVTSimUttOSError when the file cannot be
  // opened, and the load errors of KVTSimRpm_PoolImpl::Load.
  void OpenRead(KVTString const& name);
  void OpenUpdate(KVTString const& name);

  // Opens an existing file read-only and loads the pools a salvage read
  // keeps (KVTSimRpm_SalvagePlan), with the lengths it gives them; pools
  // whose identifier the document has loaded already are left out with the
  // rest. SalvageReport() then tells what was kept. Raises KVTSimUttOSError
  // when the file cannot be opened or read.
  void OpenSalvaged(KVTString const& name);

  // Open the file empty (OpenWrite), create a new uniquely named file in
  // directory a from stem b (CreateGenerated), or a temporary file in
  // directory a (CreateTemporary); then write a first, empty pool with a
  // fresh identifier at offset 0.
  void OpenWrite(KVTString const& name);
  void CreateGenerated(KVTString const& a, KVTString const& b);
  void CreateTemporary(KVTString const& a);

  // As above, but the first pool's directory lists only itself and the map
  // slots in references (see KVTSimRpm_PoolDirectoryImpl::Init).
  void OpenWrite(KVTString const& name, std::vector<int> const& references);
  void CreateGenerated(KVTString const& a, KVTString const& b, std::vector<int> const& references);

  // Adds a new empty pool with directory at the end of the file and makes it
  // current; an empty current pool is dropped and replaced first (the file is
  // cut where it began), and a current pool holding data is frozen with its
  // exact length.
  // Raises KVTSimExcNewPoolReadOnly on a read-only file (nothing changes).
  // When a write fails part-way (KVTSimUttOSError), the pools, the file's
  // size and the headers written are put back as they were, in memory and on
  // disk, before the error is raised.
  // REQUIRES: directory is filled and bound to this document's map.
  KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> NewPool(
      KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& directory);

  // As above with a new directory initialised with uuid (null: a fresh one).
  // Raises the errors of KVTSimRpm_PoolDirectoryImpl::Init before any pool
  // changes.
  KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> NewPool(char const* uuid);

  // As above with a narrow directory: the new pool and the map slots in
  // references, each once.
  KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> NewPool(char const* uuid,
                                                std::vector<int> const& references);

  // Copies source, byte for byte as stored in its own file, onto the end of
  // this file and makes the copy current. Raises KVTSimExcNewPoolReadOnly on a
  // read-only file, KVTSimExcPoolAlreadyInDoc when the source's identifier is
  // loaded in this document, KVTSimExcShortPool when the source file ends
  // early, the errors of KVTSimRpm_PoolImpl::Load for the copied header, and
  // those of a failed write. After any of these but the first two, this
  // file's size, logical length, chain and headers are put back as in
  // NewPool.
  KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> AppendPool(KVTSimRpm_PoolImpl& source);

  // The current pool. A file without pools fails "mCurrentPoolIndex >= 0".
  KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> Pool() const;

  // The pool at index in file order. An index not below PoolCount() fails the
  // validation check "index < mPoolContainer.Length()".
  KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> Pool(unsigned int index) const;

  unsigned int PoolCount() const noexcept {
    return static_cast<unsigned int>(mPoolContainer.Length());
  }

  // True when pool is this file's current pool.
  bool IsCurrentPool(KVTSimRpm_PoolImpl const* pool) const;

  // Writes the current pool's header back (writable files) and makes the
  // file's data durable.
  void Flush();

  // Writes the current pool's header back (writable files), flushes, detaches
  // every pool from the document's pool map and closes the file. The pools
  // stay with the object until it is destroyed.
  void Close();

  // Detaches every pool from the document's pool map without any I/O; used
  // when the file is discarded after a failed open.
  void DetachPools();

  // Raw access at absolute offsets (see the class comment). Read returns the
  // count delivered (0 at the end of the file) and is not bounded by the
  // logical length. Write raises KVTSimExcWriteReadOnly on a read-only file
  // before touching anything.
  std::uint64_t Read(std::uint64_t offset, std::uint64_t length, char* buffer);
  void Write(std::uint64_t offset, std::uint64_t length, char const* buffer);

  // The most bytes of file blocks the read cache may hold (0: none, every
  // read is a system call). Lowering it below what is held releases the
  // cached blocks. Starts at the document's ReadCacheLimit().
  void SetReadCacheLimit(std::uint64_t bytes) { mCache.SetLimit(bytes); }
  std::uint64_t ReadCacheLimit() const { return mCache.Limit(); }

  // The read cache, for its counters.
  KVTSimRpm_BlockCache const& Cache() const noexcept { return mCache; }

  // Raises the logical length to newLength; KVTSimExcAllocReadOnly when that
  // would grow a read-only file. A smaller or equal length changes nothing.
  void Extend(std::uint64_t newLength);

  // Sets the file's size and logical length to length.
  void Truncate(std::uint64_t const& length);

  KVTString const& FileName() const noexcept { return mOSFile.FileName(); }
  bool ReadOnly() const noexcept { return mOSFile.ReadOnly(); }
  char const* Sig() const;
  std::uint64_t FileLength() const noexcept { return mFileLength; }
  KVTSimRpm_DocumentImpl& Document() const noexcept { return mDocument; }

  // What the salvage read that opened the file kept; for a file opened
  // otherwise, a report of its pools and logical length with nothing left
  // out.
  KVTSimRpm_SalvageReport SalvageReport() const;

 private:
  using PoolRef = KVTSimRpm_StrongRef<KVTSimRpm_PoolImpl>;

  void Load();
  // Read without the cache, under the file's mutex.
  std::uint64_t ReadDirect(std::uint64_t offset, std::uint64_t length, char* buffer);
  void WriteDirect(std::uint64_t offset, std::uint64_t length, char const* buffer);
  static std::uint64_t ReadForCache(void* file, std::uint64_t offset, std::uint64_t length,
                                    char* buffer);
  // The first pool of a new file; a null references lists every known pool.
  void CreateFirstPool(std::vector<int> const* references);
  // Makes what was written so far durable before a header changes a stored
  // length, so that no interrupted write leaves a header that claims bytes
  // the file does not hold, or a torn length beside bytes written after it.
  void SyncBeforeLengthChange();
  void AddLoadedPool(PoolRef const& pool);
  // What NewPool and AppendPool put back when they fail part-way.
  struct ChainState {
    std::uint64_t size;           // of the file on disk
    std::uint64_t logicalLength;  // FileLength()
    int poolCount;
    int currentIndex;
    bool currentFrozen;
  };

  PoolRef DropEmptyCurrentPool();
  ChainState SaveChain();
  // Back to saved, taking back dropped (the empty current pool the failed
  // call dropped, or null), in memory and on disk.
  void RestoreChain(ChainState const& saved, PoolRef const& dropped);
  void CopyPoolBytes(KVTSimRpm_PoolImpl& source, std::uint64_t start);
  void MakeCurrent(PoolRef const& pool);
  // An empty directory bound to the document's pool map.
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> NewDirectory() const;

  KVTSimRpm_DocumentImpl& mDocument;
  KVTSimUttOSFile mOSFile;
  cow_List<PoolRef> mPoolContainer;
  int mCurrentPoolIndex;
  std::uint64_t mFileLength;
  std::uint64_t mPosition;
  KVTSimRpm_BlockCache mCache;
  std::optional<KVTSimRpm_SalvageReport> mSalvageReport;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_FILEIMPL_H_

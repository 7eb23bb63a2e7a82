// KVTSimRpm_PoolImpl: one pool record of a container file, in memory.
//
// A pool record is the 48-byte pool header, the directory record (32 bytes
// per directory entry) and the data area; KVTSimRpm_PoolHeader holds the
// stored layout and the checks applied when a record is loaded. Data offsets
// (locators, Read, Write) count from the first byte after the directory
// record.
//
// Only the last pool of a writable file is open (not frozen) and may grow;
// its stored length is zero until it is frozen. All bytes go through the
// file image, which serialises transfers with the file's mutex.
//
// REQUIRES: external synchronization for the pool's own fields.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLIMPL_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLIMPL_H_

#include <cstdint>
#include <optional>

#include "KVTBasMem.h"
#include "KVTSimExport.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_StrongRef.h"

class KVTSimRpm_FileImpl;

class KVTSIM_EXPORT KVTSimRpm_PoolImpl : public mem_AllocationOperators {
 public:
  // A frozen pool of length 0 at location; header words 2 and 0.
  KVTSimRpm_PoolImpl(KVTSimRpm_FileImpl& file,
                     KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& directory,
                     std::uint64_t location);
  KVTSimRpm_PoolImpl(KVTSimRpm_PoolImpl const&) = delete;
  KVTSimRpm_PoolImpl& operator=(KVTSimRpm_PoolImpl const&) = delete;
  ~KVTSimRpm_PoolImpl();

  // A new pool: header length and length become 48 + 32 x directory entries.
  // REQUIRES: the directory is filled.
  void Init();

  // Reads the header at the pool's location, checks it with
  // KVTSimRpm_PoolHeader::Check (fileEnd, the document's user signature),
  // loads the directory and sets the lengths; an open pool's length is
  // fileEnd - location. Raises, leaving the directory empty, the error kind
  // of the fault found (KVTSimRpm_PoolHeader::Raise: KVTSimExcCorruptHeader,
  // KVTSimExcNotSimFile, KVTSimExcNeedUpgrade, KVTSimExcUserSigMismatch,
  // KVTSimExcCorruptDirectory), and KVTSimExcPoolAlreadyInDoc when the pool
  // is already loaded in the document. A frozen pool whose stored length
  // reaches past fileEnd is accepted as stored (a tail allocated but never
  // written).
  void Load(std::uint64_t fileEnd);

  // As Load(fileEnd) for a header that stored length as its record length,
  // whatever it stores: a salvaged pool closed up where the next pool
  // begins. StoredOpen() still tells what the header stores.
  void Load(std::uint64_t fileEnd, std::uint64_t length);

  // Writes the header and the directory record in one write; the data area
  // is untouched. Raises what the file image raises (KVTSimExcAllocReadOnly,
  // KVTSimExcWriteReadOnly, KVTSimUttOSError).
  void Dump();

  // Set or clear the frozen flag, then Dump. Thaw requires the last pool of
  // its file ("IsLastInFile()").
  void Freeze();
  void Thaw();

  // Reads up to length bytes at data offset into buffer; returns the count
  // the file delivered. Not bounded by DataLength().
  std::uint64_t Read(std::uint64_t offset, std::uint64_t length, char* buffer) const;

  // Writes length bytes at data offset. Raises KVTSimExcIOBounds (offset,
  // offset + length, DataLength()) when the range passes the data area;
  // nothing is written then. A frozen pool's data can be overwritten.
  void Write(std::uint64_t offset, std::uint64_t length, char const* buffer) const;

  // Locators at data offset 0 and DataLength().
  KVTSimRpm_Locator Start() const;
  KVTSimRpm_Locator End() const;

  // Grows the pool by n bytes (nothing is written) and returns a locator at
  // the first of them. Raises KVTSimExcImmutablePool on a frozen pool and
  // KVTSimExcIOBounds when the record would pass 16 decimal digits.
  KVTSimRpm_Locator Allocate(std::uint64_t n);

  std::uint64_t Location() const noexcept { return mLocation; }
  std::uint64_t Length() const noexcept { return mLength; }
  std::uint32_t HeaderLength() const noexcept { return mHeaderLength; }
  std::uint64_t DataLength() const noexcept { return mLength - mHeaderLength; }
  bool Frozen() const noexcept { return mFrozen; }
  // True when the header as last loaded or written stores the pool open
  // (length digits all "0"). A pool loaded read-only keeps the frozen flag of
  // its construction, so this, not Frozen(), tells how it is stored.
  bool StoredOpen() const noexcept { return mStoredOpen; }
  void SetFrozen(bool frozen) noexcept { mFrozen = frozen; }
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& Directory() const noexcept {
    return mDirectory;
  }
  KVTSimRpm_FileImpl& File() const noexcept { return mFile; }
  bool ReadOnly() const;

 private:
  void LoadRecord(std::uint64_t fileEnd, std::optional<std::uint64_t> length);
  bool IsLastInFile() const;
  KVTSimRpm_Locator At(std::uint64_t dataOffset) const;

  KVTSimRpm_FileImpl& mFile;
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> mDirectory;
  bool mFrozen;
  std::uint64_t mLocation;
  std::uint64_t mLength;
  std::uint32_t mHeaderLength;
  std::uint32_t mHeaderWordA;
  std::uint32_t mHeaderWordB;
  bool mStoredOpen;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLIMPL_H_

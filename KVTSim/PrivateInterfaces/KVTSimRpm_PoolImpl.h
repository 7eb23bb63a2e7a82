// KVTSimRpm_PoolImpl: one pool record of a container file, in memory.
//
// A pool record is the 48-byte pool header, the directory record (32 bytes
// per directory entry) and the data area. Offsets are from the start of the
// record; integers are unsigned 32-bit little-endian:
//    0  8  format signature 0x89 'S' 'I' 'M' CR LF 0x1A LF
//    8  1  format version 6
//    9  7  zero
//   16  4  user signature of the document
//   20 16  record length as 16 ASCII decimal digits; all "0" while open
//   36  4  header word A (2 when created here; otherwise carried)
//   40  4  header word B (0 when created here; otherwise carried)
//   44  4  directory entry count n
//   48 32n directory record; entry 0 is this pool's identifier
// Data offsets (locators, Read, Write) count from the first byte after the
// directory record.
//
// Only the last pool of a writable file is open (not frozen) and may grow;
// its stored length is zero until it is frozen. All bytes go through the
// file image, which serialises transfers with the file's mutex.
//
// REQUIRES: external synchronization for the pool's own fields.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLIMPL_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLIMPL_H_

#include <cstdint>

#include "KVTBasMem.h"
#include "KVTSimExport.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_StrongRef.h"

class KVTSimRpm_FileImpl;

class KVTSIM_EXPORT KVTSimRpm_PoolImpl : public mem_AllocationOperators {
 public:
  // Bytes of the fixed part of a pool header.
  static constexpr std::uint32_t kHeaderSize = 48;
  // The largest record length that 16 decimal digits can store.
  static constexpr std::uint64_t kMaxRecordLength = 9999999999999999ull;

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

  // Reads and checks the header at the pool's location, loads the directory
  // and sets the lengths; an open pool's length is fileEnd - location.
  // Raises, leaving the directory empty:
  //   KVTSimExcCorruptHeader     fewer than 48 header bytes; length characters
  //                              that are not digits; a stored length shorter
  //                              than the header and directory
  //   KVTSimExcNotSimFile        no format signature
  //   KVTSimExcNeedUpgrade       a version byte other than 6
  //   KVTSimExcUserSigMismatch   another document's user signature
  //   KVTSimExcCorruptDirectory  an entry count of 0 or less, one whose record
  //                              would not fit an int or reaches past fileEnd,
  //                              or fewer directory bytes than it needs
  //   KVTSimExcPoolAlreadyInDoc  the pool is already loaded in the document
  // A frozen pool whose stored length reaches past fileEnd is accepted as
  // stored (a tail allocated but never written).
  void Load(std::uint64_t fileEnd);

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
  void SetFrozen(bool frozen) noexcept { mFrozen = frozen; }
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& Directory() const noexcept {
    return mDirectory;
  }
  KVTSimRpm_FileImpl& File() const noexcept { return mFile; }
  bool ReadOnly() const;

 private:
  bool IsLastInFile() const;
  KVTSimRpm_Locator At(std::uint64_t dataOffset) const;
  void CheckHeaderHead(char const* header) const;
  std::uint64_t ParseLength(char const* digits) const;
  int ParseEntryCount(char const* header, std::uint64_t fileEnd) const;

  KVTSimRpm_FileImpl& mFile;
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> mDirectory;
  bool mFrozen;
  std::uint64_t mLocation;
  std::uint64_t mLength;
  std::uint32_t mHeaderLength;
  std::uint32_t mHeaderWordA;
  std::uint32_t mHeaderWordB;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_POOLIMPL_H_

// KVTSimRpm_ChainWalker: the pool records of one container file, read as
// they are stored, one after another, without a document and without loading
// any pool. Nothing is ever written.
//
// A container file is a chain of pool records from offset 0, each beginning
// with a KVTSimRpm_PoolHeader; the next record begins where this one ends.
// The walker reads each header (and the first directory entry, the pool's
// identifier) with one read, judges it with the same checks the loader
// applies (KVTSimRpm_PoolHeader::Check), and follows the chain for as long as
// a record's extent can be known, even past records the loader would refuse
// (another format version or user signature), so that a file the loader
// refuses can still be looked at.
//
//   KVTSimRpm_ChainWalker walker(name, "USR1");
//   while (walker.Next()) {
//     ... walker.Location(), walker.Header(), walker.Fault() ...
//   }
//   ... walker.StopReason(), walker.StopOffset() ...
//
// The walk stops after
//   - a record that ends exactly at the end of the file (StopChainEnd; an
//     empty file stops there at once, with no record);
//   - a record whose stored length reaches past the end of the file
//     (StopPastEnd): the loader accepts it as the last pool, with a tail
//     allocated but never written, and nothing after it;
//   - a record whose extent cannot be known (StopBroken): the file ends
//     inside its header, it has no format signature, or its length digits,
//     entry count, directory or record length fail (CheckLayout). Fault()
//     of that record says which.
// The loader opens a file only when no record has a Fault(). The records
// before the first one that has are the longest prefix of loadable pools;
// those whose Whole() is true lie wholly inside the file.
//
// Thread safety: one walker is used by one thread at a time.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_CHAINWALKER_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_CHAINWALKER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "KVTSimExport.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTString.h"

class KVTSimUttOSFile;

class KVTSIM_EXPORT KVTSimRpm_ChainWalker {
 public:
  // Where the walk stands.
  enum Stop {
    StopNone = 0,  // not stopped: Next() may find another record
    StopChainEnd,  // the last record ends exactly at the end of the file
    StopPastEnd,   // the last record's length reaches past the end of the file
    StopBroken,    // the last record's extent cannot be known
  };

  // Opens fileName read-only. userSignature: the 4 bytes every record is
  // checked against, as the loader of a document with that signature checks
  // them, or null to leave the user signature unchecked. Raises
  // KVTSimUttOSError when the file cannot be opened or its size taken.
  KVTSimRpm_ChainWalker(KVTString const& fileName, char const* userSignature);
  KVTSimRpm_ChainWalker(KVTSimRpm_ChainWalker const&) = delete;
  KVTSimRpm_ChainWalker& operator=(KVTSimRpm_ChainWalker const&) = delete;

  // Closes the file.
  ~KVTSimRpm_ChainWalker();

  KVTString const& FileName() const noexcept;

  // The size of the file when the walker opened it; every check and every
  // stop is judged against it.
  std::uint64_t FileSize() const noexcept { return mFileSize; }

  // Reads the next record and makes it current; true when there was one.
  // False once the walk has stopped (StopReason() tells why); the last record
  // then stays current. Raises KVTSimUttOSError when the system refuses a
  // read; the walker is then unchanged.
  bool Next();

  // As Next(), but reads the record at location instead of the one at the
  // current record's end: the walk then goes on from there. False, and
  // stopped, when location is the end of the file (StopChainEnd) or past it
  // (StopPastEnd), or when the walk has already stopped.
  bool NextAt(std::uint64_t location);

  // The offset of the first pool header at or after from that the loader
  // would accept at that offset: its bytes pass every check of
  // KVTSimRpm_PoolHeader::Check there (with the user signature given to the
  // walker) and the file holds its directory. None when the file holds no
  // such header from there on. Looks at every byte from from to the end of
  // the file, in pieces; the current record and the walk stay as they were.
  // Raises KVTSimUttOSError when the system refuses a read.
  std::optional<std::uint64_t> FindHeader(std::uint64_t from);

  // The current record. REQUIRES: a call of Next() returned true.
  // Index: 0 for the first record of the file. Location: its offset.
  unsigned Index() const noexcept { return mIndex; }
  std::uint64_t Location() const noexcept { return mLocation; }

  // Header bytes the file holds at Location(): KVTSimRpm_PoolHeader::kSize,
  // or fewer when the file ends inside the header.
  std::size_t HeaderBytes() const noexcept { return mHeaderBytes; }

  // The header as stored; bytes past the end of the file read as zero.
  // Valid until the next call of Next().
  KVTSimRpm_PoolHeader const& Header() const noexcept { return mHeader; }

  // The fault for which the loader refuses this record, or FaultNone:
  // FaultCutShort when the file ends inside the header, otherwise
  // Header().Check(Location(), FileSize(), userSignature).
  KVTSimRpm_PoolHeader::Fault Fault() const noexcept { return mFault; }

  // True when the record's extent is known (the header is whole, carries the
  // format signature and passes CheckLayout), so that the walk goes on at
  // End(). Length: the record length as the loader takes it (an open pool
  // reaches to the end of the file). REQUIRES for Length and End: HasExtent().
  bool HasExtent() const noexcept { return mHasExtent; }
  std::uint64_t Length() const noexcept { return mLength; }
  std::uint64_t End() const noexcept { return mLocation + mLength; }

  // True when the record's extent is known and lies inside the file.
  bool Whole() const noexcept { return mHasExtent && End() <= mFileSize; }

  // The 32 bytes of the first directory entry, the pool's identifier; empty
  // when the extent is not known.
  std::string const& Identifier() const noexcept { return mIdentifier; }

  // Why the walk stopped (StopNone while it goes on) and where: the end of
  // the file (StopChainEnd), the end the last record claims (StopPastEnd) or
  // the location of the record whose extent is unknown (StopBroken).
  Stop StopReason() const noexcept { return mStop; }
  std::uint64_t StopOffset() const noexcept { return mStopOffset; }

  // Reads up to length bytes at offset as stored, for looking inside a
  // record; returns how many arrived: fewer only where the file ends
  // (FileSize()), none at or past it. Raises KVTSimUttOSError when the
  // system refuses.
  std::uint64_t Read(std::uint64_t offset, std::uint64_t length, char* buffer);

 private:
  void ReadRecord(std::uint64_t location);
  bool Finish(Stop reason, std::uint64_t offset);

  std::unique_ptr<KVTSimUttOSFile> mFile;
  char mUserSignature[KVTSimRpm_PoolHeader::kUserSignatureSize];
  bool mCheckUserSignature;
  std::uint64_t mFileSize;
  bool mHasRecord;
  unsigned mIndex;
  std::uint64_t mLocation;
  std::size_t mHeaderBytes;
  KVTSimRpm_PoolHeader mHeader;
  KVTSimRpm_PoolHeader::Fault mFault;
  bool mHasExtent;
  std::uint64_t mLength;
  std::string mIdentifier;
  Stop mStop;
  std::uint64_t mStopOffset;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_CHAINWALKER_H_

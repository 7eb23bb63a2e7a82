// KVTSimRpm_PoolDescription: what one loaded pool is, as a value: where its
// record lies in its file, how long it and its header are, whether its
// header stores it open or frozen, and its directory entries with whether
// and where each named pool is loaded in the same document.
//
// Made by KVTSimRpm_Pool::Describe. It is a snapshot: it holds no handle,
// stays valid after the pool's file or document is closed, and does not
// follow later changes (an allocation, a file added to the document).
//
//   KVTSimRpm_PoolDescription const d = file.Pool(0).Describe();
//   d.Location(); d.RecordLength(); d.StoredState();
//   for (KVTSimRpm_PoolDescription::Entry const& e : d.Entries())
//     if (e.Loaded()) ... e.FileName(), e.PoolIndex() ...

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_POOLDESCRIPTION_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_POOLDESCRIPTION_H_

#include <cstdint>
#include <string>
#include <vector>

#include "KVTSimExport.h"
#include "KVTString.h"

class KVTSimRpm_PoolImpl;

class KVTSIM_EXPORT KVTSimRpm_PoolDescription {
 public:
  // How the pool's header stores its length.
  enum State {
    StateOpen = 0,    // length digits all "0": the pool reaches to the end of its file
    StateFrozen = 1,  // the exact record length
  };

  // One directory entry: a pool that data of the described pool may refer
  // to. Entry 0 is the described pool itself.
  class KVTSIM_EXPORT Entry {
   public:
    // The 32 identifier bytes as stored (any bytes, not terminated).
    std::string const& Identifier() const noexcept { return mIdentifier; }

    // True when the named pool is loaded in the document: one of its open
    // files holds it.
    bool Loaded() const noexcept { return mLoaded; }

    // Where it is loaded: the name of the file that holds it and its index
    // in that file's chain (0 for the first pool). "" and 0 when not loaded.
    KVTString const& FileName() const noexcept { return mFileName; }
    unsigned PoolIndex() const noexcept { return mPoolIndex; }

   private:
    friend class KVTSimRpm_PoolDescription;

    std::string mIdentifier;
    bool mLoaded = false;
    KVTString mFileName;
    unsigned mPoolIndex = 0;
  };

  // The name of the pool's file and its index in that file's chain.
  KVTString const& FileName() const noexcept { return mFileName; }
  unsigned PoolIndex() const noexcept { return mPoolIndex; }

  // Byte offset of the record in its file, the record's length (header,
  // directory and data), the length of header and directory record, and the
  // data length (what KVTSimRpm_Pool::Length gives).
  std::uint64_t Location() const noexcept { return mLocation; }
  std::uint64_t RecordLength() const noexcept { return mRecordLength; }
  std::uint32_t HeaderLength() const noexcept { return mHeaderLength; }
  std::uint64_t DataLength() const noexcept { return mRecordLength - mHeaderLength; }

  // The state stored in the pool's header as last read or written. A file
  // closed normally stores its last pool open, so a pool loaded from it
  // read-only describes itself open although it may not grow.
  State StoredState() const noexcept { return mStoredState; }

  // The directory entries in slot order; at least one.
  std::vector<Entry> const& Entries() const noexcept { return mEntries; }

  // The pool's own identifier: Entries()[0].Identifier().
  std::string const& Identifier() const noexcept { return mEntries.front().Identifier(); }

 private:
  friend class KVTSimRpm_Pool;

  explicit KVTSimRpm_PoolDescription(KVTSimRpm_PoolImpl const& pool);

  KVTString mFileName;
  unsigned mPoolIndex;
  std::uint64_t mLocation;
  std::uint64_t mRecordLength;
  std::uint32_t mHeaderLength;
  State mStoredState;
  std::vector<Entry> mEntries;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_POOLDESCRIPTION_H_

// KVTSimRpm_File: a weak handle to one container file of a document.
//
// REQUIRES for every member but copying and destruction: the file is open in
// its document (see KVTSimRpm_Document.h).

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_FILE_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_FILE_H_

#include <cstdint>
#include <vector>

#include "KVTSimExport.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Pool.h"
#include "KVTSimRpm_WeakRef.h"
#include "KVTString.h"

class KVTSimRpm_FileImpl;

class KVTSIM_EXPORT KVTSimRpm_File {
 public:
  // Copies observe the same file.
  KVTSimRpm_File(KVTSimRpm_File const& other);
  KVTSimRpm_File& operator=(KVTSimRpm_File const& other);
  ~KVTSimRpm_File();

  // The name the file was opened or created with.
  KVTString FileName() const;

  // Locators at the start and end of the current pool's data.
  // REQUIRES: PoolCount() > 0 (an empty file opened read-only or for update
  // has no pool until NewPool); otherwise KVTBasAssertException.
  KVTSimRpm_Locator Start() const;
  KVTSimRpm_Locator End() const;

  // n new bytes at the end of the current pool (see KVTSimRpm_Pool::Allocate).
  // REQUIRES: PoolCount() > 0.
  KVTSimRpm_Locator Allocate(std::uint64_t n);

  // Adds a new empty pool and makes it current; its directory takes the 32
  // bytes at uuid (none zero) or, when uuid is null, a fresh identifier. An
  // empty current pool is replaced rather than kept. Raises
  // KVTSimExcNewPoolReadOnly, KVTSimExcInvalidGUID, KVTSimExcPoolAlreadyInDoc
  // before changing anything, and KVTSimUttOSError when a write fails, after
  // putting the file back as it was (its pools, in memory and on disk).
  void NewPool(char const* uuid);

  // As NewPool(uuid), but the new pool's directory lists only the new pool
  // itself followed by the pools in references (in that order, each once):
  // data stored in it can refer to those pools and no others (storing a
  // locator into another pool raises KVTSimExcCantExternalizeLoc). Its
  // header then takes 32 bytes per listed pool instead of 32 per pool the
  // document knows. An empty list makes a pool that refers to nothing.
  // Raises KVTSimExcValidationFailure, before anything changes, when a pool
  // named is not loaded in this document (a pool of another document, of a
  // file closed since); a handle whose pool is gone fails as every handle
  // does. Otherwise raises what NewPool(uuid) raises.
  void NewPool(char const* uuid, std::vector<KVTSimRpm_Pool> const& references);

  // Copies a pool of another document's file onto the end of this file, byte
  // for byte, and makes the copy current. Raises KVTSimExcNewPoolReadOnly and
  // KVTSimExcPoolAlreadyInDoc before changing anything; KVTSimExcShortPool,
  // the load errors of the copied header and KVTSimUttOSError after putting
  // the file back as it was.
  // REQUIRES: source is a pool of an open file.
  void AppendPool(KVTSimRpm_Pool const& source);

  // Whether the file was opened read-only (AccessRead).
  bool ReadOnly() const;

  // Pools in the file's chain.
  unsigned int PoolCount() const;

  // The current pool, normally the last one.
  // REQUIRES: PoolCount() > 0; otherwise KVTBasAssertException.
  KVTSimRpm_Pool Pool() const;

  // The pool at index, 0 being the first.
  // REQUIRES: index < PoolCount(); otherwise KVTBasAssertException.
  KVTSimRpm_Pool Pool(unsigned int index) const;

  // Writes the current pool header back (writable files) and makes the
  // file's data durable. Raises KVTSimUttOSError when a write or the sync
  // fails.
  void Flush();

  // The most bytes of this file's blocks its read cache may hold (see
  // KVTSimRpm_Document::SetReadCacheLimit); 0 turns it off. Lowering the
  // limit below what is held releases the cached blocks.
  void SetReadCacheLimit(std::uint64_t bytes);
  std::uint64_t ReadCacheLimit() const;

 private:
  friend class KVTSimRpm_Document;
  explicit KVTSimRpm_File(KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> const& impl);

  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> mImpl;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_FILE_H_

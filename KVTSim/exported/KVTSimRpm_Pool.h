// KVTSimRpm_Pool: a weak handle to one pool of an open file.
//
// REQUIRES for every member but copying, destruction and Impl: the pool's
// file is open in its document (see KVTSimRpm_Document.h), and the pool is
// still in it (an empty current pool replaced by NewPool is not).

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_POOL_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_POOL_H_

#include <cstdint>

#include "KVTSimExport.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_PoolDescription.h"
#include "KVTSimRpm_PoolDirectory.h"
#include "KVTSimRpm_WeakRef.h"
#include "KVTString.h"

class KVTSimRpm_PoolImpl;

class KVTSIM_EXPORT KVTSimRpm_Pool {
 public:
  // Copies observe the same pool.
  KVTSimRpm_Pool(KVTSimRpm_Pool const& other);
  KVTSimRpm_Pool& operator=(KVTSimRpm_Pool const& other);
  ~KVTSimRpm_Pool();

  // Locators at data offset 0 and at the end of the data.
  KVTSimRpm_Locator Start() const;
  KVTSimRpm_Locator End() const;

  // Grows the pool by n bytes (written later through locators) and returns a
  // locator at the first of them. Raises KVTSimExcImmutablePool when the pool
  // is not its file's open pool (or the file is read-only), and
  // KVTSimExcIOBounds when the pool's record would outgrow its 16 stored
  // length digits; the pool is then unchanged.
  KVTSimRpm_Locator Allocate(std::uint64_t n);

  // Whether the pool's file was opened read-only.
  bool ReadOnly() const;

  // The pool's directory, shared.
  KVTSimRpm_PoolDirectory Directory() const;

  // Bytes in the data area (not counting header and directory).
  std::uint64_t Length() const;

  // A description of the pool as it stands: its record in its file, the
  // state its header stores and its directory entries with where each named
  // pool is loaded in this document (see KVTSimRpm_PoolDescription).
  KVTSimRpm_PoolDescription Describe() const;

  // The pool's 32-character identifier.
  KVTString GetGUID() const;

  // The implementation, for the library's own streams.
  KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> const& Impl() const noexcept { return mImpl; }

 private:
  friend class KVTSimRpm_File;
  explicit KVTSimRpm_Pool(KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> const& impl);

  KVTSimRpm_WeakRef<KVTSimRpm_PoolImpl> mImpl;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_POOL_H_

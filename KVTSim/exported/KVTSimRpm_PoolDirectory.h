// KVTSimRpm_PoolDirectory: a strong handle to a pool directory; it keeps the
// directory alive (see KVTSimRpm_Document.h).

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_POOLDIRECTORY_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_POOLDIRECTORY_H_

#include "KVTSimExport.h"
#include "KVTSimRpm_StrongRef.h"
#include "KVTString.h"

class KVTSimRpm_PoolDirectoryImpl;

class KVTSIM_EXPORT KVTSimRpm_PoolDirectory {
 public:
  // Copies share the directory.
  KVTSimRpm_PoolDirectory(KVTSimRpm_PoolDirectory const& other);
  KVTSimRpm_PoolDirectory& operator=(KVTSimRpm_PoolDirectory const& other);
  ~KVTSimRpm_PoolDirectory();

  // The directory's 32-character identifier.
  // REQUIRES: the document the directory belongs to was neither closed as a
  // whole nor destroyed since the directory was made (its pool map is then
  // gone); otherwise KVTBasAssertException.
  KVTString GetGUID() const;

  // The implementation, for the library's own streams.
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& Impl() const noexcept { return mImpl; }

 private:
  friend class KVTSimRpm_Document;
  friend class KVTSimRpm_Pool;
  explicit KVTSimRpm_PoolDirectory(KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> const& impl);

  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> mImpl;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_POOLDIRECTORY_H_

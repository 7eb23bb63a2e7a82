// KVTSimRpm_DocumentImpl: the implementation behind KVTSimRpm_Document.
//
// A document is a user signature, the container files open together and one
// pool map through which the pools of all those files find each other. Files
// are kept in the order they were added; a file closed on its own leaves a
// null entry. Destroying a document writes nothing: Flush and Close do.
//
// REQUIRES: external synchronization (one thread at a time).

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_DOCUMENTIMPL_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_DOCUMENTIMPL_H_

#include <cstdint>
#include <vector>

#include "KVTBasMem.h"
#include "KVTSimExport.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_FileImpl.h"
#include "KVTSimRpm_Pool.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimRpm_PoolMap.h"
#include "KVTSimRpm_StrongRef.h"
#include "KVTSimRpm_WeakRef.h"
#include "KVTString.h"
#include "cow_List.h"

class KVTSIM_EXPORT KVTSimRpm_DocumentImpl : public mem_AllocationOperators {
 public:
  // Bytes of a user signature, as every pool header stores it.
  static constexpr int kSigLength = static_cast<int>(KVTSimRpm_PoolHeader::kUserSignatureSize);

  // An empty document with an empty pool map and the first 4 bytes at sig
  // as its user signature. REQUIRES: sig points to at least 4 bytes.
  explicit KVTSimRpm_DocumentImpl(char const* sig);
  KVTSimRpm_DocumentImpl(KVTSimRpm_DocumentImpl const&) = delete;
  KVTSimRpm_DocumentImpl& operator=(KVTSimRpm_DocumentImpl const&) = delete;

  // Releases the files (without closing them or writing anything), then the map.
  ~KVTSimRpm_DocumentImpl();

  // The 4 signature bytes (not terminated); valid while the document lives.
  char const* Sig() const noexcept { return mSig; }

  // A new weak handle to the document's pool map.
  KVTSimRpm_WeakRef<KVTSimRpm_PoolMap> Map() const { return mPoolMap; }

  // The read-cache limit that files added or created from now on start with
  // (see KVTSimRpm_Document::SetReadCacheLimit).
  std::uint64_t ReadCacheLimit() const noexcept { return mReadCacheLimit; }
  void SetReadCacheLimit(std::uint64_t bytes) noexcept { mReadCacheLimit = bytes; }

  // A free-standing directory with a fresh identifier and a new map slot,
  // returned as its only strong handle. Raises the errors of
  // KVTSimRpm_PoolDirectoryImpl::Init.
  KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl> NewDirectory();

  // Opens a file by mode and adds it. A file already in the document is
  // returned as it was opened, whatever mode is asked (AccessRead,
  // AccessUpdate). AccessWrite on a file that the document holds raises
  // KVTSimExcCantCreateFile; on any other name it opens the file empty with
  // one new pool. A mode outside the three fails the check !"Bad mode.".
  // Open and load errors pass through; the document is then unchanged.
  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> AddFile(KVTString const& name,
                                                KVTSimRpm_Document::AccessMode mode);

  // As above; with AccessWrite the first pool's directory lists only itself
  // and the map slots in references. A non-empty references with another
  // mode raises KVTSimExcValidationFailure before anything is opened.
  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> AddFile(KVTString const& name,
                                                KVTSimRpm_Document::AccessMode mode,
                                                std::vector<int> const& references);

  // Adds a file read-only through a salvage read (KVTSimRpm_FileImpl::
  // OpenSalvaged) and fills report; a file already in the document is
  // returned with its own report (KVTSimRpm_FileImpl::SalvageReport). Errors
  // leave the document unchanged.
  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> AddFileSalvaged(KVTString const& name,
                                                        KVTSimRpm_SalvageReport& report);

  // Creates a new uniquely named file in directory a from stem b, or a
  // temporary file in directory a (removed when it is closed), each with one
  // new pool, and adds it. Errors leave the document unchanged.
  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> CreateGenerated(KVTString const& a, KVTString const& b);

  // As above with a first pool that lists only itself and references.
  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> CreateGenerated(KVTString const& a, KVTString const& b,
                                                        std::vector<int> const& references);

  // The map slots of pools, in order, for a narrow directory. Raises
  // KVTSimExcValidationFailure when one of them is not loaded in this
  // document (another document's pool, a pool of a closed file); a handle
  // whose pool is gone fails its own check. Changes nothing.
  std::vector<int> ReferenceSlots(std::vector<KVTSimRpm_Pool> const& pools) const;
  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> CreateTemporary(KVTString const& a);

  // Flushes every open file, in the order they were added.
  void Flush();

  // Closes every file, drops them, takes a fresh empty pool map and zeroes
  // the user signature.
  void Close();

  // Closes file and leaves a null entry in its place. Raises
  // KVTSimExcCantGetFile when the document does not hold it.
  void Close(KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> const& file);

  // See KVTSimRpm_Document::GetFileType. Touches no document state.
  static KVTSimRpm_Document::FileType GetFileType(KVTString const& fileName);

  // See KVTSimRpm_Document::BinaryUpgradeRequired. Touches no document state.
  static bool BinaryUpgradeRequired(KVTString const& fileName);

 private:
  using FileRef = KVTSimRpm_StrongRef<KVTSimRpm_FileImpl>;

  FileRef FindSameFile(KVTString const& name) const;
  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> Add(KVTString const& name,
                                            KVTSimRpm_Document::AccessMode mode,
                                            std::vector<int> const* references);
  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> Generate(KVTString const& a, KVTString const& b,
                                                 std::vector<int> const* references);
  KVTSimRpm_WeakRef<KVTSimRpm_FileImpl> Adopt(FileRef const& file);

  KVTSimRpm_StrongRef<KVTSimRpm_PoolMap> mPoolMap;
  cow_List<FileRef> mFileList;
  char mSig[kSigLength];
  std::uint64_t mReadCacheLimit;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_DOCUMENTIMPL_H_

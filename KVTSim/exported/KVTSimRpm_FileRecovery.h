// KVTSimRpm_FileRecovery: turns what a salvage read of a damaged container
// file keeps into a file that the loader opens (KVTSimRpm_Document::AddFile).
//
// The recovered file holds the file's first Report().KeptBytes() bytes: the
// pools the salvage read keeps (KVTSimRpm_SalvageReport), byte for byte,
// except for the stored lengths listed in Rewrites():
//   - a pool that is not the last stores its exact length as kept (a pool
//     that was stored open ahead of other pools, or whose length was torn);
//   - the last pool stores its length as kept when the header gave another
//     one, or, when its stored length reaches past the end of the file, the
//     length up to the end of the file (the chain then ends where the file
//     does).
// Everything after the kept bytes is left out.
//
//   KVTSimRpm_FileRecovery plan = KVTSimRpm_FileRecovery::Plan(name, "USR1");
//   if (plan.ChangesFile() && plan.Report().PoolsKept() > 0)
//     KVTSimRpm_FileRecovery::RecoverTo(name, target, "USR1");
//
// A recovery judges the file as it is stored when it runs; a file that a
// writer changes meanwhile may give a result that does not load. Recovering
// in place takes the writer lock, so that no writer can.
//
// Thread safety: the results are plain values.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_FILERECOVERY_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_FILERECOVERY_H_

#include <cstdint>
#include <functional>
#include <vector>

#include "KVTSimExport.h"
#include "KVTSimRpm_SalvageReport.h"
#include "KVTString.h"

class KVTSimRpm_SalvagePlan;

class KVTSIM_EXPORT KVTSimRpm_FileRecovery {
 public:
  // A stored length that the recovered file holds differently.
  struct Rewrite {
    unsigned index;                 // the pool's index in the chain
    std::uint64_t location;         // its offset in the file
    std::uint64_t storedLength;     // as the file stores it; 0: stored open
    std::uint64_t recoveredLength;  // as the recovered file stores it; 0: open
  };

  // Called while bytes are copied: done of total bytes so far.
  using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

  // What recovering fileName, read with the 4-byte user signature sig, would
  // do; writes nothing. Raises KVTSimUttOSError when the file cannot be
  // opened or read.
  static KVTSimRpm_FileRecovery Plan(KVTString const& fileName, char const* sig);

  // Writes the recovered file to target, a new file (an existing one, the
  // damaged file included, is never overwritten: KVTSimUttOSError "create",
  // EEXIST). On return target is durable: its data, its size and its
  // directory entry are synced. On an error target is removed again. Raises
  // KVTSimUttOSError on an I/O error, KVTSimExcShortPool when fileName ends
  // before the bytes planned (a file changed meanwhile).
  static KVTSimRpm_FileRecovery RecoverTo(KVTString const& fileName, KVTString const& target,
                                          char const* sig, Progress const& progress = {});

  // Recovers fileName in place, under the writer lock (KVTSimRpm_Document::
  // SetWriterLocking). When bytes are left out, they are first copied to
  // tailName, a new file that is made durable; an existing tailName is never
  // overwritten (KVTSimUttOSError "create", EEXIST), and then fileName is not
  // touched. Then the stored lengths are rewritten, the file is cut to the
  // kept bytes and synced. A file that needs no change is not written at
  // all, and no tail file is made. A file of which nothing is kept is cut to
  // 0 bytes (its bytes all go to tailName). Raises KVTSimUttOSError on an
  // I/O error or a lock held by another writer.
  static KVTSimRpm_FileRecovery RecoverInPlace(KVTString const& fileName, KVTString const& tailName,
                                               char const* sig, Progress const& progress = {});

  // What the salvage read keeps and leaves out.
  KVTSimRpm_SalvageReport const& Report() const noexcept { return mReport; }

  // The stored lengths the recovered file holds differently, by pool index.
  std::vector<Rewrite> const& Rewrites() const noexcept { return mRewrites; }

  // True when the recovered file differs from the file: bytes left out or a
  // stored length rewritten.
  bool ChangesFile() const noexcept { return mReport.LeftOut() || !mRewrites.empty(); }

 private:
  explicit KVTSimRpm_FileRecovery(KVTSimRpm_SalvagePlan const& plan);

  KVTSimRpm_SalvageReport mReport;
  std::vector<Rewrite> mRewrites;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_FILERECOVERY_H_

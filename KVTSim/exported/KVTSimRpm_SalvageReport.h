// KVTSimRpm_SalvageReport: what a salvage read of a container file kept and
// what it left out (KVTSimRpm_Document::AddFileSalvaged,
// KVTSimRpm_FileRecovery).
//
// A salvage read keeps the longest prefix of the file's chain of pool records
// that holds whole pools, each passing the checks the loader applies, and
// leaves out everything from the first record the loader would refuse:
//   - a file cut anywhere: inside a header or a directory (that pool is left
//     out), or inside the data of the last pool, which is stored open and so
//     reaches to the end of the file whatever its length;
//   - a header torn at the end of the file by a write cut at a 512-byte or
//     4 KiB boundary, or zeros where a header should be (a file system that
//     extended the file but lost the write): left out from there;
//   - a pool stored open that is not the last (its writer stopped between
//     writing a new pool's header and storing this pool's length): closed
//     up where the next pool header lies, and the pools after it are kept;
//   - a stored length torn by a write cut at a sector boundary inside its
//     16 digits (the bytes that follow are then no pool header, or the
//     length is shorter than the header): the pool runs to the next pool
//     header, or to the end of the file, when the stored digits are what
//     such a tear leaves of that length.
// Closed-up pools are counted in PoolsClosedUp().
//
// A report is a plain value; copies are independent. Thread safety: as for
// any value, one object is used by one thread at a time.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_SALVAGEREPORT_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_SALVAGEREPORT_H_

#include <cstdint>
#include <string>

#include "KVTBasException.h"
#include "KVTSimExport.h"

class KVTSIM_EXPORT KVTSimRpm_SalvageReport {
 public:
  // The report of an empty file: nothing kept, nothing left out.
  KVTSimRpm_SalvageReport() noexcept;

  // A report of a file of fileSize bytes whose first poolsKept pools were
  // kept, covering its first keptBytes bytes, poolsClosedUp of them with a
  // length other than their header gives. reason: the error the loader
  // raises for the first pool left out, or null when nothing was left out.
  // REQUIRES: keptBytes <= fileSize; reason is null exactly when keptBytes
  // equals fileSize.
  KVTSimRpm_SalvageReport(std::uint64_t fileSize, unsigned poolsKept, std::uint64_t keptBytes,
                          unsigned poolsClosedUp, KVTBasException const* reason);

  // The size of the file when it was read.
  std::uint64_t FileSize() const noexcept { return mFileSize; }

  // Pools kept, from the first pool of the file on.
  unsigned PoolsKept() const noexcept { return mPoolsKept; }

  // Bytes at the start of the file that the kept pools cover. A last kept
  // pool whose stored length reaches past the end of the file (the loader
  // accepts it) counts only up to the end of the file.
  std::uint64_t KeptBytes() const noexcept { return mKeptBytes; }

  // True when part of the file was left out.
  bool LeftOut() const noexcept { return mKeptBytes < mFileSize; }

  // The first pool left out: its index in the file's chain (PoolsKept()) and
  // its byte offset (KeptBytes()). Meaningful when LeftOut().
  unsigned FirstLeftOutIndex() const noexcept { return mPoolsKept; }
  std::uint64_t FirstLeftOutOffset() const noexcept { return mKeptBytes; }

  // Bytes of the file left out: FileSize() - KeptBytes().
  std::uint64_t BytesLeftOut() const noexcept { return mFileSize - mKeptBytes; }

  // Why the first pool left out was left out: the error kind the loader
  // raises for it, by its stable name (such as "KVTSimExcCorruptHeader") and
  // its code (KVTBasErrorCode, such as KVTSimCodeCorruptHeader); "" and 0
  // when nothing was left out. ReasonText() is the error's own report, with
  // its arguments (for example the version KVTSimExcNeedUpgrade found).
  std::string const& Reason() const noexcept { return mReason; }
  int ReasonCode() const noexcept { return mReasonCode; }
  std::string const& ReasonText() const noexcept { return mReasonText; }

  // Pools kept with a length other than their header gives: stored open but
  // followed by other pools, or with a torn stored length (see above).
  unsigned PoolsClosedUp() const noexcept { return mPoolsClosedUp; }
  bool ClosedUp() const noexcept { return mPoolsClosedUp != 0; }

 private:
  std::uint64_t mFileSize;
  unsigned mPoolsKept;
  std::uint64_t mKeptBytes;
  unsigned mPoolsClosedUp;
  std::string mReason;
  int mReasonCode;
  std::string mReasonText;
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_SALVAGEREPORT_H_

#include "KVTSimRpm_FileRecovery.h"

#include <algorithm>

#include "KVTSimExc.h"
#include "KVTSimRpm_Buffer.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimRpm_SalvagePlan.h"
#include "KVTSimUttFileUtils.h"
#include "KVTSimUttOSFile.h"

namespace {

using Header = KVTSimRpm_PoolHeader;
using Progress = KVTSimRpm_FileRecovery::Progress;

constexpr std::uint64_t kCopyPiece = std::uint64_t{1} << 20;

[[noreturn]] void RaiseShortSource(int line) {
  // The file holds fewer bytes than when it was judged.
  KVTSimExcShortPool error;
  error.Throw(__FILE__, line);
}

// Copies length bytes at from in source to offset to of target.
void CopyBytes(KVTSimUttOSFile& source, std::uint64_t from, KVTSimUttOSFile& target,
               std::uint64_t to, std::uint64_t length, Progress const& progress) {
  Buffer buffer(static_cast<std::size_t>(std::min(length, kCopyPiece)));
  for (std::uint64_t done = 0; done < length;) {
    std::uint64_t const piece = std::min(length - done, kCopyPiece);
    source.Seek(from + done);
    if (source.Read(buffer.Data(), piece) < piece)
      RaiseShortSource(__LINE__);
    target.Seek(to + done);
    target.WriteAll(buffer.Data(), piece);
    done += piece;
    if (progress)
      progress(done, length);
  }
}

// Stores rewrite's length in the header that source holds at its location,
// writing the header to target at the same place.
void RewriteLength(KVTSimUttOSFile& source, KVTSimUttOSFile& target,
                   KVTSimRpm_FileRecovery::Rewrite const& rewrite) {
  char bytes[Header::kSize];
  source.Seek(rewrite.location);
  if (source.Read(bytes, sizeof bytes) < sizeof bytes)
    RaiseShortSource(__LINE__);
  Header header = Header::Decode(bytes);
  header.SetStoredLength(rewrite.recoveredLength);
  header.EncodeTo(bytes);
  target.Seek(rewrite.location);
  target.WriteAll(bytes, sizeof bytes);
}

}  // namespace

KVTSimRpm_FileRecovery::KVTSimRpm_FileRecovery(KVTSimRpm_SalvagePlan const& plan)
    : mReport(plan.Report()) {
  std::vector<KVTSimRpm_SalvagePlan::Pool> const& pools = plan.Pools();
  for (std::size_t i = 0; i < pools.size(); ++i) {
    KVTSimRpm_SalvagePlan::Pool const& pool = pools[i];
    std::uint64_t recovered = pool.length;
    if (i + 1 == pools.size()) {
      // The last pool may stay open, as in a file closed normally. One whose
      // stored length passes the end of the file is cut to it, so that the
      // chain ends where the file does; it stays frozen, since stored open
      // it would take bytes inside it that look like a pool header for the
      // start of another pool.
      if (pool.storedLength == 0)
        recovered = 0;
      else if (pool.location + pool.length > mReport.KeptBytes())
        recovered = mReport.KeptBytes() - pool.location;
    }
    if (recovered != pool.storedLength) {
      mRewrites.push_back({static_cast<unsigned>(i), pool.location, pool.storedLength, recovered});
    }
  }
}

KVTSimRpm_FileRecovery KVTSimRpm_FileRecovery::Plan(KVTString const& fileName, char const* sig) {
  return KVTSimRpm_FileRecovery(KVTSimRpm_SalvagePlan(fileName, sig, {}));
}

KVTSimRpm_FileRecovery KVTSimRpm_FileRecovery::RecoverTo(KVTString const& fileName,
                                                         KVTString const& target, char const* sig,
                                                         Progress const& progress) {
  KVTSimRpm_FileRecovery recovery(KVTSimRpm_SalvagePlan(fileName, sig, {}));
  KVTSimUttOSFile source;
  source.OpenRead(fileName);
  KVTSimUttOSFile out;
  out.CreateNew(target);
  try {
    CopyBytes(source, 0, out, 0, recovery.mReport.KeptBytes(), progress);
    for (Rewrite const& rewrite : recovery.mRewrites)
      RewriteLength(source, out, rewrite);
    out.Flush();
    out.Close();
  } catch (...) {
    // A file made only to receive the recovery is not left half written.
    KVTSimUttFileUtils::Remove(out.FileName());
    throw;
  }
  return recovery;
}

KVTSimRpm_FileRecovery KVTSimRpm_FileRecovery::RecoverInPlace(KVTString const& fileName,
                                                              KVTString const& tailName,
                                                              char const* sig,
                                                              Progress const& progress) {
  KVTSimUttOSFile file;
  file.OpenUpdate(fileName);
  // Judged under the writer lock: no writer changes the file from here on.
  KVTSimRpm_FileRecovery recovery(KVTSimRpm_SalvagePlan(fileName, sig, {}));
  KVTSimRpm_SalvageReport const& report = recovery.mReport;
  if (report.LeftOut()) {
    // The bytes to be cut are safe on disk before the file changes.
    KVTSimUttOSFile tail;
    tail.CreateNew(tailName);
    try {
      CopyBytes(file, report.KeptBytes(), tail, 0, report.BytesLeftOut(), progress);
      tail.Flush();
      tail.Close();
    } catch (...) {
      KVTSimUttFileUtils::Remove(tail.FileName());
      throw;
    }
  }
  for (Rewrite const& rewrite : recovery.mRewrites)
    RewriteLength(file, file, rewrite);
  if (report.LeftOut())
    file.Truncate(report.KeptBytes());
  if (recovery.ChangesFile())
    file.Flush();
  file.Close();
  return recovery;
}

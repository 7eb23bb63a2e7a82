// KVTSimRpm_SalvagePlan: which pool records of a container file a salvage
// read keeps, and with which lengths (see KVTSimRpm_SalvageReport for the
// cases). Made once from the file as it is stored; reads, never writes.
//
// The records are walked with KVTSimRpm_ChainWalker and judged with the
// loader's own header checks; a record is kept when the loader would load it
// there, and the plan ends at the first one it would refuse. Two cases need
// more than the walk:
//   - A record stored open reaches, for the loader, to the end of the file.
//     When a pool header that the loader would accept lies inside it, the
//     record ends there instead, and the walk goes on from that header.
//   - A frozen record followed by bytes that are no pool header, or whose
//     stored length is shorter than its header, may hold a length torn by a
//     write cut at a sector boundary inside its 16 digits. When its digits
//     are what such a tear leaves of the distance to a later pool header
//     (or to the end of the file), the record ends there.
//
// REQUIRES: external synchronization (one thread at a time).

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_SALVAGEPLAN_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_SALVAGEPLAN_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "KVTSimExport.h"
#include "KVTSimRpm_ChainWalker.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimRpm_SalvageReport.h"
#include "KVTString.h"

class KVTSIM_EXPORT KVTSimRpm_SalvagePlan {
 public:
  // One record kept.
  struct Pool {
    std::uint64_t location;      // offset in the file
    std::uint64_t length;        // record length as kept
    std::uint64_t storedLength;  // as its header stores it; 0: stored open
    std::uint32_t headerLength;  // header and directory
    bool closedUp;               // length is not what the header gives
  };

  // Tells whether a pool of this identifier (32 bytes) is loaded already in
  // the document that the file joins; such a pool is refused by the loader.
  using LoadedTest = std::function<bool(char const* identifier)>;

  // Plans the salvage of fileName for a document with the 4-byte user
  // signature sig. loaded may be empty (a document of its own). Raises
  // KVTSimUttOSError when the file cannot be opened or read.
  KVTSimRpm_SalvagePlan(KVTString const& fileName, char const* sig, LoadedTest const& loaded);

  std::vector<Pool> const& Pools() const noexcept { return mPools; }
  KVTSimRpm_SalvageReport const& Report() const noexcept { return mReport; }

  // The end of the last kept record (0 when none is kept); past the end of
  // the file when that record's stored length reaches past it.
  std::uint64_t ChainEnd() const noexcept;

 private:
  void Walk(KVTSimRpm_ChainWalker& walker, LoadedTest const& loaded);
  // The current record as kept, or none when the loader refuses it.
  std::optional<Pool> Judge(KVTSimRpm_ChainWalker& walker);
  static std::string Identifier(KVTSimRpm_ChainWalker& walker);
  bool Keep(KVTSimRpm_ChainWalker& walker, Pool pool);
  void Refuse(KVTSimRpm_ChainWalker const& walker);
  bool MendTornLength(KVTSimRpm_ChainWalker& walker);
  std::optional<std::uint64_t> TornLengthEnd(KVTSimRpm_ChainWalker& walker, Pool const& pool);
  void Finish(KVTSimRpm_ChainWalker const& walker, KVTBasException const* reason);
  static bool TornFrom(Pool const& pool, std::uint64_t length);

  std::vector<Pool> mPools;
  std::set<std::string> mIdentifiers;
  KVTSimRpm_SalvageReport mReport;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_SALVAGEPLAN_H_

// ChainChecker: walks the pool records of container files as they are
// stored (KVTSimRpm_ChainWalker), reading only inside each file, and notes
// every way in which they differ from what the loader relies on:
//  - every record starts with a whole 48-byte header carrying the format
//    signature, format version 6 and the document's user signature;
//  - its length field is 16 decimal digits, its directory entry count is at
//    least 1 and the directory lies inside the record and the file;
//  - the chain of records ends exactly at the end of the file;
//  - only the last record of a file is stored open (length "0...0"): an open
//    record reaches to the end of the file, so a pool header found inside
//    one (one the loader would take there: KVTSimRpm_ChainWalker::
//    FindHeader, the search the salvage read makes) means that records were
//    hidden by it (for instance files joined end to end);
//  - no identifier names two pools among the files walked.
// The header problems are those the loader's own checks find
// (KVTSimRpm_PoolHeader), so a header is reported if and only if the loader
// refuses it; the last three items are beyond what the loader checks.
// Each problem names the file, the pool record and its offset (CheckProblem).

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_CHAIN_CHECKER_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_CHAIN_CHECKER_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "KVTSimPoolManager.h"
#include "check_problem.h"

namespace kvtsim_pool {

class ChainChecker {
 public:
  // signature: the document's 4-byte user signature, or none when unknown
  // (pools are then not compared with it). Problems are appended to problems,
  // which must outlive the checker.
  ChainChecker(std::optional<std::string> signature, std::vector<CheckProblem>& problems);

  // Walks the chain of path. Raises KVTSimUttOSError when it cannot be read.
  void Walk(std::string const& path);

  // Notes every identifier that names more than one pool among the files
  // walked so far.
  void CheckUniqueIdentifiers();

  // Pool records walked whose extent is known, counting one whose stored
  // length runs past the end of its file.
  std::size_t PoolCount() const noexcept { return mPools; }

 private:
  void CheckRecord(KVTSimRpm_ChainWalker& walker, CheckProblem const& where);
  void CheckHead(KVTSimRpm_PoolHeader const& header, CheckProblem const& where);
  bool CheckLayout(KVTSimRpm_ChainWalker const& walker, CheckProblem const& where);
  void ScanOpenRecord(KVTSimRpm_ChainWalker& walker, std::uint64_t dataStart,
                      CheckProblem const& where);
  void Note(CheckProblem const& where, char const* kind, std::string const& what);

  std::optional<std::string> mSignature;
  std::vector<CheckProblem>& mProblems;
  // Identifier -> the pools it names, as "<file> pool <i>".
  std::map<std::string, std::vector<std::string>> mOwners;
  std::size_t mPools = 0;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_CHAIN_CHECKER_H_

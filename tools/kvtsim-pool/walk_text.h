// Text forms of what a KVTSimRpm_ChainWalker finds: the faults for which the
// loader refuses a pool header, and where and why a walk stopped.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_WALK_TEXT_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_WALK_TEXT_H_

#include <string>

#include "KVTSimPoolManager.h"

namespace kvtsim_pool {

// What fault means, e.g. "no format signature: no pool record begins here".
// REQUIRES: fault != FaultNone.
std::string FaultText(KVTSimRpm_PoolHeader::Fault fault);

// The error kind the loader raises for fault in header, with its arguments
// (fileName among them where the kind carries one), e.g.
// "KVTSimExcCorruptHeader". REQUIRES: fault != FaultNone.
std::string FaultKind(KVTSimRpm_PoolHeader const& header, KVTSimRpm_PoolHeader::Fault fault,
                      std::string const& fileName);

// The walk's stop reason as one word: "chain_end", "past_end" or "broken"
// ("none" while it goes on).
char const* StopName(KVTSimRpm_ChainWalker::Stop stop);

// Where and why walker stopped, as a sentence.
std::string StopText(KVTSimRpm_ChainWalker const& walker);

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_WALK_TEXT_H_

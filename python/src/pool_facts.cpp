#include "pool_facts.h"

#include "KVTSimPoolManager.h"

namespace kvtsim_python {

PoolFacts PoolFacts::Of(KVTSimRpm_Pool const& pool) {
  KVTSimRpm_PoolDescription const description = pool.Describe();
  PoolFacts facts{
      description.Location(),   description.RecordLength(),
      description.DataLength(), description.StoredState() == KVTSimRpm_PoolDescription::StateOpen,
      description.Identifier(), {}};
  for (KVTSimRpm_PoolDescription::Entry const& entry : description.Entries()) {
    std::optional<std::string> fileName;
    if (entry.Loaded())
      fileName = std::string(entry.FileName().View());
    facts.entries.push_back(Entry{entry.Identifier(), fileName, entry.PoolIndex()});
  }
  return facts;
}

std::optional<std::string> PoolFacts::StoredSignature(std::string const& path) {
  // The first record as stored, whether or not the loader would take it.
  KVTSimRpm_ChainWalker walker(KVTString(path.data(), path.size()), nullptr);
  std::size_t const end =
      KVTSimRpm_PoolHeader::kUserSignatureOffset + KVTSimRpm_PoolHeader::kUserSignatureSize;
  if (!walker.Next() || walker.HeaderBytes() < end)
    return std::nullopt;
  return std::string(walker.Header().UserSignature(), KVTSimRpm_PoolHeader::kUserSignatureSize);
}

}  // namespace kvtsim_python

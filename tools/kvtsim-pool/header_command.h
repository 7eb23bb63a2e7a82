// HeaderCommand: "kvtsim-pool header FILE [POOL] [--json]", the pool headers
// of a file exactly as stored.
//
// The chain of pool records is walked with KVTSimRpm_ChainWalker, without
// loading any pool, so files the library refuses can be looked at too: each
// header's fields are printed as stored (format signature, version, padding,
// user signature, the 16 length characters, words A and B, entry count) with
// the record's offset, the fault for which the loader refuses it, if any,
// and where and why the walk stops.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_HEADER_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_HEADER_COMMAND_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KVTSimPoolManager.h"
#include "command.h"

namespace kvtsim_pool {

class HeaderCommand : public Command {
 public:
  explicit HeaderCommand(ToolOptions const& options) : mOptions(options) {}

  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mFile; }

 private:
  // One record's header as stored and what the walk made of it.
  struct Record {
    unsigned index;
    std::uint64_t offset;
    std::size_t headerBytes;                    // fewer than 48 where the file ends inside it
    KVTSimRpm_PoolHeader header;                // bytes past the end of the file read as zero
    std::optional<std::uint64_t> recordLength;  // when the extent is known
    std::string identifier;                     // empty when the extent is unknown
    KVTSimRpm_PoolHeader::Fault fault;
    std::string faultKind;  // empty when the loader accepts it

    // True when the file holds the size bytes of the field at offset.
    bool Holds(std::size_t at, std::size_t size) const { return at + size <= headerBytes; }
  };

  Record Read(KVTSimRpm_ChainWalker const& walker) const;
  void PrintText(std::vector<Record> const& records, KVTSimRpm_ChainWalker const& walker) const;
  void PrintJson(std::vector<Record> const& records, KVTSimRpm_ChainWalker const& walker) const;

  ToolOptions const& mOptions;
  std::string mFile;
  std::string mPool;
  bool mJson = false;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_HEADER_COMMAND_H_

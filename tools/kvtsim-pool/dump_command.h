// DumpCommand: "kvtsim-pool dump FILE POOL [--offset N] [--length N]
// [--as TYPE]", a hex and ASCII dump of a pool's data area, or its bytes read
// as stored values of one type.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_DUMP_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_DUMP_COMMAND_H_

#include <cstdint>
#include <string>

#include "KVTSimRpm_Locator.h"
#include "command.h"

namespace kvtsim_pool {

class DumpCommand : public Command {
 public:
  explicit DumpCommand(ToolOptions const& options) : mOptions(options) {}

  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mFile; }

 private:
  // Feeds remaining bytes from at to dumper (HexDumper or TypedDumper).
  template <typename Dumper>
  void Dump(KVTSimRpm_Locator at, std::uint64_t remaining, Dumper& dumper) const;

  ToolOptions const& mOptions;
  std::string mFile;
  std::string mPool;
  std::uint64_t mOffset = 0;
  std::uint64_t mLength = 0;
  bool mLengthGiven = false;
  std::string mAs;  // empty: hexadecimal
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_DUMP_COMMAND_H_

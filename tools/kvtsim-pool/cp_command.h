// CpCommand: "kvtsim-pool cp SRC POOL DST", appends a pool of one file to
// another (creating it when absent) with KVTSimRpm_File::AppendPool.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_CP_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_CP_COMMAND_H_

#include <string>

#include "command.h"

class KVTSimRpm_Pool;

namespace kvtsim_pool {

class UserSignature;

class CpCommand : public Command {
 public:
  // Pools larger than this show progress on a terminal.
  static constexpr unsigned long long kProgressThreshold = 64ull * 1024 * 1024;

  explicit CpCommand(ToolOptions const& options) : mOptions(options) {}

  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mCurrent; }

 private:
  // Appends pool to the target file and returns the copy's index there.
  unsigned int Append(KVTSimRpm_Pool const& pool, UserSignature const& signature, bool create);
  void RefuseSameFile() const;

  ToolOptions const& mOptions;
  std::string mSource;
  std::string mPool;
  std::string mTarget;
  std::string mCurrent;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_CP_COMMAND_H_

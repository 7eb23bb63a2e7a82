// DirCommand: "kvtsim-pool dir FILE POOL [--with FILE]... [--json]", a pool's
// directory and whether each pool it names is loaded in the document formed
// by the files given.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_DIR_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_DIR_COMMAND_H_

#include <string>
#include <vector>

#include "KVTSimPoolManager.h"
#include "command.h"

namespace kvtsim_pool {

class DirCommand : public Command {
 public:
  explicit DirCommand(ToolOptions const& options) : mOptions(options) {}

  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mFile; }

 private:
  void PrintJson(std::vector<KVTSimRpm_PoolDescription::Entry> const& entries) const;

  ToolOptions const& mOptions;
  std::string mFile;
  std::string mPool;
  std::vector<std::string> mWith;
  bool mJson = false;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_DIR_COMMAND_H_

// TypeCommand: "kvtsim-pool type FILE...", the file-type probe and whether
// each file's format version needs an upgrade, one line per file. A file that
// cannot be read is reported on standard error and the others are still
// probed; Run then returns 2.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_TYPE_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_TYPE_COMMAND_H_

#include <string>
#include <vector>

#include "command.h"

namespace kvtsim_pool {

class TypeCommand : public Command {
 public:
  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mCurrent; }

 private:
  void Probe(std::string const& path) const;

  std::vector<std::string> mFiles;
  std::string mCurrent;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_TYPE_COMMAND_H_

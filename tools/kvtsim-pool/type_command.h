// TypeCommand: "kvtsim-pool type FILE [--json]", the file-type probe and whether the
// file's format version needs an upgrade.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_TYPE_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_TYPE_COMMAND_H_

#include <string>

#include "command.h"

namespace kvtsim_pool {

class TypeCommand : public Command {
 public:
  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mFile; }

 private:
  std::string mFile;
  bool mJson = false;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_TYPE_COMMAND_H_

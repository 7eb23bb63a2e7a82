// TypeCommand: "kvtsim-pool type FILE... [--json]", the file-type probe and
// whether each file's format version needs an upgrade, one line per file (or
// one JSON object for all). A file that cannot be read is reported on standard
// error and the others are still probed; Run then returns 2.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_TYPE_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_TYPE_COMMAND_H_

#include <nlohmann/json.hpp>
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
  using Json = nlohmann::ordered_json;

  void Probe(std::string const& path);

  std::vector<std::string> mFiles;
  bool mJson = false;
  std::string mCurrent;
  Json mProbed;  // with --json: one object per file probed
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_TYPE_COMMAND_H_

// DemoCommand: "kvtsim-pool demo DIR", writes the example document of
// demo_data.h into DIR, then reopens it in a new document and prints what
// it reads back.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_DEMO_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_DEMO_COMMAND_H_

#include <string>

#include "command.h"

namespace kvtsim_pool {

class DemoCommand : public Command {
 public:
  explicit DemoCommand(ToolOptions const& options) : mOptions(options) {}

  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mCurrent; }

 private:
  // Makes DIR when it is missing and refuses files that exist already.
  void PrepareDirectory(std::string const& mesh, std::string const& results) const;

  ToolOptions const& mOptions;
  std::string mDirectory;
  std::string mCurrent;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_DEMO_COMMAND_H_

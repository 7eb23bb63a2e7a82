// CpCommand: "kvtsim-pool cp SRC POOL DST [--with-references]", appends a
// pool of one file to another (creating it when absent) with
// KVTSimRpm_File::AppendPool.
//
// A pool's directory names the pools its data can refer to. When DST lacks
// some of them, cp warns, naming them; --with-references first copies those
// SRC holds, and the pools they name in turn, each before the pools naming
// it, so that every copied directory names only pools already in DST.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_CP_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_CP_COMMAND_H_

#include <map>
#include <string>
#include <vector>

#include "command.h"

class KVTSimRpm_File;
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
  // One pool copied: its index in SRC and in DST.
  struct Copied {
    unsigned int sourceIndex;
    unsigned int targetIndex;
  };

  // Appends pool (and with --with-references the pools it names) to the
  // target file; notes in mLacking what the copies name that DST lacks.
  std::vector<Copied> Append(KVTSimRpm_File const& source, unsigned int pool,
                             UserSignature const& signature, bool create);
  void RefuseSameFile() const;
  void Report(KVTSimRpm_File const& source, std::vector<Copied> const& copied) const;

  ToolOptions const& mOptions;
  std::string mSource;
  std::string mPool;
  std::string mTarget;
  bool mWithReferences = false;
  std::string mCurrent;
  // Identifiers named by the directories of the copies that DST lacks after
  // the copy, each once, in the order found.
  std::vector<std::string> mLacking;
  // The pools of SRC by identifier: their index.
  std::map<std::string, unsigned int> mSourcePools;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_CP_COMMAND_H_

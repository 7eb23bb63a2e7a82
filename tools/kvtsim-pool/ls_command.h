// LsCommand: "kvtsim-pool ls FILE... [--json]", one line per pool. A pool
// whose stored length runs past the end of its file is marked. A file the
// library refuses ends the command with the error kind, the pool and offset
// where loading stopped, and what to run next.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_LS_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_LS_COMMAND_H_

#include <cstdint>
#include <string>
#include <vector>

#include "command.h"

class KVTSimRpm_File;

namespace kvtsim_pool {

class LsCommand : public Command {
 public:
  explicit LsCommand(ToolOptions const& options) : mOptions(options) {}

  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mCurrent; }

 private:
  // What ls shows of one pool.
  struct PoolRow {
    unsigned int index;
    std::uint64_t location;
    std::uint64_t length;      // the whole record
    std::uint64_t dataLength;  // the data area
    std::uint64_t present;     // bytes of the record the file holds
    bool open;                 // stored with all-"0" length digits
    int entries;
    std::string identifier;

    // The stored length runs past the end of the file: the loader takes the
    // missing tail as allocated but never written.
    bool PastEnd() const noexcept { return present < length; }
  };
  struct FileListing {
    std::string path;
    std::vector<PoolRow> pools;
  };

  static FileListing ListPools(std::string const& path, KVTSimRpm_File const& file);
  static void PrintTable(std::vector<FileListing> const& files);
  static void PrintJson(std::vector<FileListing> const& files, std::string const& signature);

  ToolOptions const& mOptions;
  std::vector<std::string> mFiles;
  bool mJson = false;
  std::string mCurrent;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_LS_COMMAND_H_

// StatCommand: "kvtsim-pool stat FILE... [--json]", how the bytes of each
// file are used, and totals over the files.
//
// The chain of pool records is walked as stored (KVTSimRpm_ChainWalker),
// without loading any pool, so damaged and cut files are counted too. Every
// byte of a file falls in exactly one of four classes, so that
// header + directory + data + trailing == size:
//   header     the 48-byte headers of the records whose extent is known;
//   directory  their directory records;
//   data       their data areas, as far as the file holds them;
//   trailing   the bytes after the last record whose extent is known (a
//              record cut inside its header, or bytes that begin no record).
// missing counts what is not in the file: the bytes that the last record's
// stored length claims beyond the end of the file.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_STAT_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_STAT_COMMAND_H_

#include <cstdint>
#include <string>
#include <vector>

#include "command.h"

namespace kvtsim_pool {

class StatCommand : public Command {
 public:
  StatCommand() = default;

  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mCurrent; }

 private:
  struct Usage {
    std::uint64_t size = 0;
    std::uint64_t pools = 0;
    std::uint64_t header = 0;
    std::uint64_t directory = 0;
    std::uint64_t data = 0;
    std::uint64_t missing = 0;
    std::uint64_t trailing = 0;

    void Add(Usage const& other);
  };

  static Usage Measure(std::string const& path);
  void PrintTable(std::vector<Usage> const& files, Usage const& total) const;
  void PrintJson(std::vector<Usage> const& files, Usage const& total) const;

  std::vector<std::string> mFiles;
  bool mJson = false;
  std::string mCurrent;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_STAT_COMMAND_H_

// DiffCommand: "kvtsim-pool diff A B [-q] [--by index|id] [--as TYPE]",
// compares two container files pool by pool: data bytes and directories.
//
// Both chains are walked as stored (KVTSimRpm_ChainWalker), without loading
// any pool. Pools are paired by position (--by index, the default) or by
// identifier (--by id). Two runs of the same program write the same bytes
// under different generated identifiers, so by position identifiers are not
// compared, and a directory entry is compared by what it resolves to: the
// index of the pool it names in its own file, or "not in this file". By
// identifier, directory entries are compared by the identifiers they name.
// For each pair that differs, the first differing data offset is printed
// (with --as, the two values of TYPE there), or the first differing
// directory slot; pools without a partner and different pool counts are
// reported. Exit status 0 when equal, 1 when different.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_DIFF_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_DIFF_COMMAND_H_

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "KVTSimPoolManager.h"
#include "command.h"

namespace kvtsim_pool {

class DiffCommand : public Command {
 public:
  DiffCommand() = default;

  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mCurrent; }

 private:
  // One pool record whose extent is known.
  struct Pool {
    unsigned index;
    std::uint64_t dataStart;   // file offset of the data area
    std::uint64_t dataLength;  // as stored (an open pool: to the end of the file)
    std::uint64_t dataInFile;  // the part the file holds
    std::string identifier;
    std::vector<std::string> directory;  // identifiers, slot 0 first
  };
  // One file and its pools.
  struct Side {
    std::string path;
    std::string name;  // "A" or "B"
    std::unique_ptr<KVTSimRpm_ChainWalker> walker;
    std::vector<Pool> pools;
    std::map<std::string, unsigned> indexOf;  // identifier -> first pool with it
    std::uint64_t tailStart = 0;              // where the bytes after the last pool begin

    // What slot of pool's directory names, to compare: the index of the
    // pool in this file ("" when not in it), or the identifier itself when
    // byIdentifier.
    std::string Resolve(Pool const& pool, std::size_t slot, bool byIdentifier) const;
    // resolved as text: "pool 1 of A", "a pool not in A" or "pool <identifier>".
    std::string Describe(std::string const& resolved, bool byIdentifier) const;
  };

  Side Walk(std::string const& path, char const* name);
  std::vector<std::pair<Pool const*, Pool const*>> Pair() const;
  // Prints how a and b differ; true when they do.
  bool ComparePools(std::string const& label, Pool const& a, Pool const& b);
  // The first offset at which the length bytes from a in mA and the length
  // bytes from b in mB differ (one ending before the other included).
  std::optional<std::uint64_t> FirstDifference(std::uint64_t a, std::uint64_t lengthA,
                                               std::uint64_t b, std::uint64_t lengthB);
  bool CompareTails();
  std::string ValuesAt(Pool const& a, Pool const& b, std::uint64_t offset);
  void Say(std::string const& line) const;

  std::string mFileA;
  std::string mFileB;
  bool mQuiet = false;
  std::string mBy = "index";
  std::string mAs;
  std::string mCurrent;
  // Comparison buffers, one chunk each, kept for every pool compared.
  std::vector<char> mBufferA;
  std::vector<char> mBufferB;
  Side mA;
  Side mB;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_DIFF_COMMAND_H_

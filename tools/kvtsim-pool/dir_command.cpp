#include "dir_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_PoolImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "read_only_document.h"
#include "text_format.h"
#include "user_signature.h"

namespace kvtsim_pool {

CLI::App* DirCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "dir", "Print a pool's directory and which entries are loaded",
      "Prints the directory of a pool: for each directory slot the identifier it names and\n"
      "whether that pool is loaded in the document formed by FILE and the --with files\n"
      "(and where). Slot 0 is the pool itself; the other slots are the pools that existed\n"
      "when it was created, the only pools its data can refer to.");
  sub->add_option("FILE", mFile, "Container file holding the pool")->required();
  sub->add_option("POOL", mPool, "Pool index in FILE (0 is the first) or identifier")->required();
  sub->add_option("--with", mWith, "Another file to open in the same document (repeatable)");
  return sub;
}

int DirCommand::Run() {
  ReadOnlyDocument document(UserSignature::Resolve(mOptions.signature, mFile));
  document.Add(mFile);
  for (std::string const& other : mWith)
    document.Add(other);
  KVTSimRpm_Pool const pool = document.SelectPool(0, mPool);
  KVTSimRpm_PoolDirectoryImpl const& directory = *pool.Impl().Get()->Directory();
  KVTSimRpm_PoolMap const& map = *directory.Map().Get();

  std::printf("%s pool %s: %d directory entries\n", mFile.c_str(), mPool.c_str(),
              directory.Length());
  std::printf("%4s  %-32s  %s\n", "SLOT", "IDENTIFIER", "LOADED");
  for (int slot = 0; slot < directory.Length(); ++slot) {
    int const slotInMap = directory.InternalizeReference(slot);
    std::string const where = document.Locate(slotInMap);
    std::string const loaded = map.Pool(slotInMap).Null() ? "no" : "yes (" + where + ")";
    std::printf("%4d  %-32s  %s\n", slot, Printable(std::string(map.UUID(slotInMap), 32)).c_str(),
                loaded.c_str());
  }
  return 0;
}

}  // namespace kvtsim_pool

#include "dir_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "KVTSimPoolManager.h"
#include "read_only_document.h"
#include "text_format.h"
#include "user_signature.h"

namespace kvtsim_pool {

namespace {

// "<file> pool <index>" of a loaded entry, as the file was named when added.
std::string Where(KVTSimRpm_PoolDescription::Entry const& entry) {
  return std::string(entry.FileName().CStr()) + " pool " + std::to_string(entry.PoolIndex());
}

}  // namespace

void DirCommand::PrintJson(std::vector<KVTSimRpm_PoolDescription::Entry> const& entries) const {
  using Json = nlohmann::ordered_json;
  Json list = Json::array();
  for (std::size_t slot = 0; slot < entries.size(); ++slot) {
    KVTSimRpm_PoolDescription::Entry const& entry = entries[slot];
    list.push_back({{"slot", slot},
                    {"identifier", Printable(entry.Identifier())},
                    {"loaded", entry.Loaded()},
                    {"file", entry.Loaded() ? Json(entry.FileName().CStr()) : Json(nullptr)},
                    {"pool", entry.Loaded() ? Json(entry.PoolIndex()) : Json(nullptr)}});
  }
  Json const out = {{"file", mFile}, {"pool", mPool}, {"entries", std::move(list)}};
  // File names need not be UTF-8; JSON text must be.
  std::printf("%s\n", out.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

CLI::App* DirCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "dir", "Print a pool's directory and which entries are loaded",
      "Prints the directory of a pool: for each directory slot the identifier it names and\n"
      "whether that pool is loaded in the document formed by FILE and the --with files\n"
      "(and where). Slot 0 is the pool itself; the other slots are the pools that existed\n"
      "when it was created, the only pools its data can refer to.",
      "$ kvtsim-pool dir demo/results.sim 1 --with demo/mesh.sim\n"
      "demo/results.sim pool 1: 3 directory entries\n"
      "SLOT  IDENTIFIER                        LOADED\n"
      "   0  df178c5d2ea64a0da9329d3469158257  yes (demo/results.sim pool 1)\n"
      "   1  64f67965fe614c32a3ea130e936ff74f  yes (demo/mesh.sim pool 0)\n"
      "   2  9e44f494c782474eacc6c13568b5d3bf  yes (demo/mesh.sim pool 1)");
  sub->add_option("FILE", mFile, "Container file holding the pool")->required();
  sub->add_option("POOL", mPool, "Pool index in FILE (0 is the first) or identifier")->required();
  sub->add_option("--with", mWith, "Another file to open in the same document (repeatable)");
  sub->add_flag("--json", mJson, "Print one JSON object (see docs/tool.md, JSON output)");
  return sub;
}

int DirCommand::Run() {
  ReadOnlyDocument document(UserSignature::Resolve(mOptions.signature, mFile));
  document.Add(mFile);
  for (std::string const& other : mWith)
    document.Add(other);
  KVTSimRpm_PoolDescription const pool = document.SelectPool(0, mPool).Describe();
  std::vector<KVTSimRpm_PoolDescription::Entry> const& entries = pool.Entries();
  if (mJson) {
    PrintJson(entries);
    return 0;
  }

  std::printf("%s pool %s: %zu directory entries\n", mFile.c_str(), mPool.c_str(), entries.size());
  std::printf("%4s  %-32s  %s\n", "SLOT", "IDENTIFIER", "LOADED");
  for (std::size_t slot = 0; slot < entries.size(); ++slot) {
    KVTSimRpm_PoolDescription::Entry const& entry = entries[slot];
    std::string const loaded = entry.Loaded() ? "yes (" + Where(entry) + ")" : "no";
    std::printf("%4zu  %-32s  %s\n", slot, Printable(entry.Identifier()).c_str(), loaded.c_str());
  }
  return 0;
}

}  // namespace kvtsim_pool

#include "ls_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

#include "KVTBasException.h"
#include "KVTSimPoolManager.h"
#include "read_only_document.h"
#include "text_format.h"
#include "tool_error.h"
#include "user_signature.h"

namespace kvtsim_pool {

CLI::App* LsCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "ls", "List the pools of files, one line per pool",
      "Lists the pools of each file, one line per pool: index, location (byte offset in the\n"
      "file), record length, data length, open or frozen (as stored: a normally closed file\n"
      "stores its last pool open), directory entry count and identifier. Each file is\n"
      "opened read-only in a document of its own. A pool whose stored length runs past the\n"
      "end of the file (the loader takes it as the last pool, its tail never written) is\n"
      "marked with * after DATA and a footer line saying how many of its bytes the file\n"
      "holds. A file the library refuses is named with the error kind and the pool and\n"
      "offset where loading stopped.",
      "$ kvtsim-pool ls demo/mesh.sim\n"
      "FILE          POOL     LOCATION       LENGTH         DATA  STATE  ENTRIES  IDENTIFIER\n"
      "demo/mesh.sim    0            0          208          128  frozen       1  "
      "64f67965fe614c32a3ea130e936ff74f\n"
      "demo/mesh.sim    1          208          220          108  open         2  "
      "9e44f494c782474eacc6c13568b5d3bf");
  sub->add_option("FILE", mFiles, "Container files to list")->required();
  sub->add_flag("--json", mJson,
                "Print the same as one JSON object: {\"signature\", \"files\": "
                "[{\"file\", \"pools\": [...]}]}");
  return sub;
}

namespace {

// An empty file lists no pools, which ls must not present as a valid listing.
void RefuseEmptyFile(std::string const& path) {
  if (KVTSimRpm_ChainWalker(KVTString(path.c_str()), nullptr).FileSize() == 0)
    throw ToolError(path, "empty file: not a container file (it holds no pool)");
}

// The loader reads a text file as a damaged header, or finds no signature in
// a short one; that would send the user looking for damage that is not there.
// Such a file is named as type classifies it.
void RefuseNotContainer(std::string const& path) {
  if (KVTSimRpm_Document::GetFileType(KVTString(path.c_str())) ==
      KVTSimRpm_Document::FileTypeNotSim)
    throw ToolError(path, "KVTSimExcNotSimFile: not a container file (type calls it NotSim)");
}

// text as one shell word.
std::string ShellWord(std::string const& text) {
  bool const plain = !text.empty() && text.find_first_not_of(
                                          "abcdefghijklmnopqrstuvwxyz"
                                          "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                          "0123456789_-+.,/:=") == std::string::npos;
  return plain ? text : "'" + text + "'";
}

// Where the loader stopped in path and what to do about it: the first pool
// header it refuses, found by the walker with the loader's own checks.
std::string ExplainLoadError(std::string const& path, UserSignature const& signature) {
  std::string const checkHint = "'kvtsim-pool check " + ShellWord(path) + "' lists every problem";
  std::string where;
  try {
    KVTSimRpm_ChainWalker walker(KVTString(path.c_str()), signature.Bytes());
    while (walker.Next() && walker.Fault() == KVTSimRpm_PoolHeader::FaultNone) {
    }
    if (walker.HeaderBytes() > 0 && walker.Fault() != KVTSimRpm_PoolHeader::FaultNone) {
      where = ": pool " + std::to_string(walker.Index()) + " at offset " +
              std::to_string(walker.Location());
      if (walker.Fault() == KVTSimRpm_PoolHeader::FaultUserSignature) {
        std::string const stored =
            Printable(std::string(walker.Header().UserSignature(), UserSignature::kLength));
        return where + " stores user signature '" + stored + "', not the document's '" +
               Printable(signature.Text()) + "': give --sig " + ShellWord(stored) +
               " to open it with its own; " + checkHint;
      }
    }
  } catch (KVTBasException const&) {
    // The error being reported says enough on its own.
  }
  return where + ": " + checkHint + "; 'kvtsim-pool recover " + ShellWord(path) +
         " -o OUT' keeps the whole pools before the damage";
}

}  // namespace

int LsCommand::Run() {
  for (std::string const& path : mFiles) {
    mCurrent = path;
    RefuseEmptyFile(path);
  }
  std::optional<UserSignature> signature;
  try {
    signature = UserSignature::Resolve(mOptions.signature, mFiles.front());
  } catch (ToolError const&) {
    RefuseNotContainer(mFiles.front());
    throw;
  }
  std::vector<FileListing> files;
  for (std::string const& path : mFiles) {
    mCurrent = path;
    ReadOnlyDocument document(*signature);
    try {
      document.Add(path);
    } catch (ToolError const& e) {
      std::string const kind = e.what();
      if (kind.rfind("KVTSimExcCorruptHeader", 0) == 0 || kind.rfind("KVTSimExcNotSimFile", 0) == 0)
        RefuseNotContainer(path);
      // The system's errors carry their own reason.
      if (kind.rfind("KVTSimExc", 0) != 0)
        throw;
      throw ToolError(e.Subject(), kind + ExplainLoadError(path, *signature));
    }
    files.push_back(ListPools(path, document.File(0)));
  }
  if (mJson)
    PrintJson(files, signature->Text());
  else
    PrintTable(files);
  return 0;
}

LsCommand::FileListing LsCommand::ListPools(std::string const& path, KVTSimRpm_File const& file) {
  FileListing listing{path, {}};
  std::uint64_t const size = KVTSimRpm_ChainWalker(KVTString(path.c_str()), nullptr).FileSize();
  for (unsigned int i = 0; i < file.PoolCount(); ++i) {
    KVTSimRpm_PoolDescription const pool = file.Pool(i).Describe();
    std::uint64_t const present =
        std::min(pool.RecordLength(), size - std::min(size, pool.Location()));
    listing.pools.push_back(
        PoolRow{i, pool.Location(), pool.RecordLength(), pool.DataLength(), present,
                pool.StoredState() == KVTSimRpm_PoolDescription::StateOpen,
                static_cast<int>(pool.Entries().size()), Printable(pool.Identifier())});
  }
  return listing;
}

void LsCommand::PrintTable(std::vector<FileListing> const& files) {
  int width = 4;
  for (FileListing const& file : files)
    width = std::max(width, static_cast<int>(file.path.size()));
  std::printf("%-*s %4s %12s %12s %12s  %-6s %7s  %s\n", width, "FILE", "POOL", "LOCATION",
              "LENGTH", "DATA", "STATE", "ENTRIES", "IDENTIFIER");
  std::vector<std::string> footer;
  for (FileListing const& file : files) {
    for (PoolRow const& row : file.pools) {
      std::printf("%-*s %4u %12llu %12llu %12llu%c %-6s %7d  %s\n", width, file.path.c_str(),
                  row.index, static_cast<unsigned long long>(row.location),
                  static_cast<unsigned long long>(row.length),
                  static_cast<unsigned long long>(row.dataLength), row.PastEnd() ? '*' : ' ',
                  row.open ? "open" : "frozen", row.entries, row.identifier.c_str());
      if (row.PastEnd()) {
        footer.push_back(file.path + " pool " + std::to_string(row.index) +
                         ": its stored length runs past the end of the file, which holds " +
                         std::to_string(row.present) + " of its " + std::to_string(row.length) +
                         " bytes");
      }
    }
  }
  for (std::string const& line : footer)
    std::printf("* %s\n", line.c_str());
}

void LsCommand::PrintJson(std::vector<FileListing> const& files, std::string const& signature) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (FileListing const& file : files) {
    nlohmann::ordered_json pools = nlohmann::ordered_json::array();
    for (PoolRow const& row : file.pools) {
      pools.push_back({{"index", row.index},
                       {"location", row.location},
                       {"length", row.length},
                       {"data_length", row.dataLength},
                       {"past_end", row.PastEnd()},
                       {"bytes_in_file", row.present},
                       {"state", row.open ? "open" : "frozen"},
                       {"entries", row.entries},
                       {"identifier", row.identifier}});
    }
    list.push_back({{"file", file.path}, {"pools", pools}});
  }
  nlohmann::ordered_json const out = {{"signature", Printable(signature)}, {"files", list}};
  // File names need not be UTF-8; JSON text must be.
  std::printf("%s\n",
              out.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

}  // namespace kvtsim_pool

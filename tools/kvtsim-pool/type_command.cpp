#include "type_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "KVTBasException.h"
#include "KVTSimRpm_Document.h"
#include "tool_error.h"

namespace kvtsim_pool {

namespace {

char const* TypeName(KVTSimRpm_Document::FileType type) {
  switch (type) {
    case KVTSimRpm_Document::FileTypeNotSim:
      return "NotSim";
    case KVTSimRpm_Document::FileTypeSim:
      return "Sim";
    case KVTSimRpm_Document::FileTypeOldSim:
      return "OldSim";
  }
  return "unknown";
}

}  // namespace

CLI::App* TypeCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "type", "Print the file type and whether the format needs an upgrade",
      "Prints the file type found by the probe (Sim: a container file of format version 3 to 6;\n"
      "OldSim: versions 1 and 2; NotSim: anything else) and whether its format version\n"
      "differs from the current version 6, one line per file. Reads only the first 9 bytes\n"
      "of each. A file that cannot be read is reported and the others are still probed.",
      "$ kvtsim-pool type demo/mesh.sim notes.txt\n"
      "demo/mesh.sim: Sim, upgrade required: no\n"
      "notes.txt: NotSim, upgrade required: n/a",
      SignatureHelp::kHidden);
  sub->add_option("FILE", mFiles, "The files to probe")->required();
  sub->add_flag("--json", mJson, "Print one JSON object (see docs/tool.md, JSON output)");
  return sub;
}

int TypeCommand::Run() {
  mProbed = Json::array();
  int status = 0;
  for (std::string const& path : mFiles) {
    mCurrent = path;
    try {
      Probe(path);
    } catch (KVTBasException const& e) {
      // The lines of the files probed so far come first.
      std::fflush(stdout);
      std::fprintf(stderr, "kvtsim-pool type: %s: %s\n", ErrorSubject(e, path).c_str(),
                   DescribeError(e).c_str());
      status = kFailedFiles;
    }
  }
  if (mJson) {
    Json const out = {{"files", mProbed}};
    std::printf("%s\n", out.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
  }
  return status;
}

void TypeCommand::Probe(std::string const& path) {
  KVTString const name(path.c_str());
  KVTSimRpm_Document::FileType const type = KVTSimRpm_Document::GetFileType(name);
  // The upgrade check reads the version byte only; for a file that is not a
  // container its answer means nothing.
  bool const container = type != KVTSimRpm_Document::FileTypeNotSim;
  bool const upgrade = container && KVTSimRpm_Document::BinaryUpgradeRequired(name);
  if (mJson) {
    mProbed.push_back({{"file", path},
                       {"type", TypeName(type)},
                       {"upgrade_required", container ? Json(upgrade) : Json(nullptr)}});
    return;
  }
  std::printf("%s: %s, upgrade required: %s\n", path.c_str(), TypeName(type),
              container ? (upgrade ? "yes" : "no") : "n/a");
}

}  // namespace kvtsim_pool

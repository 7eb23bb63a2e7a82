#include "type_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "KVTSimRpm_Document.h"

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
      "differs from the current version 6. Reads only the first 9 bytes.\n"
      "Example output:  demo/mesh.sim: Sim, upgrade required: no");
  sub->add_option("FILE", mFile, "The file to probe")->required();
  sub->add_flag("--json", mJson, "Print one JSON object (see docs/tool.md, JSON output)");
  return sub;
}

int TypeCommand::Run() {
  KVTString const name(mFile.c_str());
  KVTSimRpm_Document::FileType const type = KVTSimRpm_Document::GetFileType(name);
  // The upgrade check reads the version byte only; for a file that is not a
  // container its answer means nothing.
  char const* upgrade = "n/a";
  if (type != KVTSimRpm_Document::FileTypeNotSim)
    upgrade = KVTSimRpm_Document::BinaryUpgradeRequired(name) ? "yes" : "no";
  if (mJson) {
    using Json = nlohmann::ordered_json;
    Json const required =
        type == KVTSimRpm_Document::FileTypeNotSim ? Json(nullptr) : Json(upgrade[0] == 'y');
    Json const file = {{"file", mFile}, {"type", TypeName(type)}, {"upgrade_required", required}};
    Json const out = {{"files", Json::array({file})}};
    std::printf("%s\n", out.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
    return 0;
  }
  std::printf("%s: %s, upgrade required: %s\n", mFile.c_str(), TypeName(type), upgrade);
  return 0;
}

}  // namespace kvtsim_pool

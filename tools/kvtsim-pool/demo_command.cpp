#include "demo_command.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "demo_data.h"
#include "demo_reader.h"
#include "demo_writer.h"
#include "read_only_document.h"
#include "text_format.h"
#include "tool_error.h"
#include "user_signature.h"

namespace kvtsim_pool {

CLI::App* DemoCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "demo", "Write an example document into DIR and read it back",
      "Writes a small example document into DIR (made when missing): mesh.sim with a pool of\n"
      "nodes and a pool of elements referring to them, and results.sim with two pools of\n"
      "results referring to the elements in mesh.sim. Then opens both files read-only in a\n"
      "new document and prints what it reads, following the references between the files.\n"
      "Existing files are never overwritten. The user signature is DEMO unless --sig is given.",
      "$ kvtsim-pool demo demo\n"
      "wrote demo/mesh.sim (nodes, elements) and demo/results.sim (results of two steps) with "
      "user signature DEMO\n"
      "read back in a new document:\n"
      "demo/mesh.sim pool 0: 4 nodes\n"
      "...",
      SignatureHelp::kHidden);
  sub->add_option("DIR", mDirectory, "Directory to write mesh.sim and results.sim into")
      ->required();
  return sub;
}

int DemoCommand::Run() {
  std::string const mesh = mDirectory + "/" + demo::kMeshFile;
  std::string const results = mDirectory + "/" + demo::kResultsFile;
  mCurrent = mDirectory;
  PrepareDirectory(mesh, results);
  UserSignature const signature = UserSignature::Resolve(
      mOptions.signature.empty() ? demo::kDefaultSignature : mOptions.signature, mesh);

  mCurrent = mesh;
  DemoWriter(mesh, results, signature).Write();
  std::printf("wrote %s (nodes, elements) and %s (results of two steps) with user signature %s\n",
              mesh.c_str(), results.c_str(), Printable(signature.Text()).c_str());

  std::printf("read back in a new document:\n");
  ReadOnlyDocument document(signature);
  document.Add(mesh);
  document.Add(results);
  DemoReader(document).Print();
  return 0;
}

void DemoCommand::PrepareDirectory(std::string const& mesh, std::string const& results) const {
  if (::mkdir(mDirectory.c_str(), 0777) != 0 && errno != EEXIST)
    throw ToolError(mDirectory, std::string("cannot make the directory: ") + std::strerror(errno));
  struct stat info {};
  for (std::string const& path : {mesh, results}) {
    if (::stat(path.c_str(), &info) == 0)
      throw ToolError(path, "exists already; demo writes only new files");
  }
}

}  // namespace kvtsim_pool

// CheckCommand: "kvtsim-pool check FILE... [--allow-unresolved]", verifies
// what the loader relies on and reports every problem, one per line.
//
// Three stages:
//  1. each file's chain of pool records is walked as stored (ChainChecker);
//  2. the files are loaded read-only, together, in one document, and a file
//     the library refuses is reported with the error kind;
//  3. when every file loaded, each directory slot of each pool is resolved
//     to its map slot, and a slot naming a pool that is not loaded (a pool of
//     a file not given, or a free-standing directory) is reported as
//     unresolved: references through it cannot be followed in this
//     document. --allow-unresolved lists those as notes instead.
// When a file has problems that recover mends (pools a salvage read keeps
// while the loader refuses the file or hides pools), a hint line names the
// recover command and what it would keep and drop.
// Exit status 0 when no problem was found, 1 otherwise.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_CHECK_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_CHECK_COMMAND_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "check_problem.h"
#include "command.h"
#include "user_signature.h"

namespace kvtsim_pool {

class ReadOnlyDocument;

class CheckCommand : public Command {
 public:
  explicit CheckCommand(ToolOptions const& options) : mOptions(options) {}

  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mCurrent; }

 private:
  // A file given twice would be walked twice and clash with itself.
  void RefuseRepeatedFiles() const;
  std::size_t CheckChains(std::optional<UserSignature> const& signature);
  void CheckLoad(UserSignature const& signature);
  void CheckDirectories(ReadOnlyDocument const& document, std::size_t file);
  void SuggestRecover(UserSignature const& signature);
  void Report(std::size_t pools) const;
  void ReportJson(std::size_t pools) const;

  ToolOptions const& mOptions;
  std::vector<std::string> mFiles;
  bool mAllowUnresolved = false;
  bool mJson = false;
  std::string mCurrent;
  std::vector<CheckProblem> mProblems;
  std::vector<CheckProblem> mNotes;
  std::vector<CheckProblem> mHints;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_CHECK_COMMAND_H_

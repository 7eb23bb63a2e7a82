#include "check_command.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "KVTSimPoolManager.h"
#include "chain_checker.h"
#include "read_only_document.h"
#include "text_format.h"
#include "tool_error.h"

namespace kvtsim_pool {

CLI::App* CheckCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "check", "Verify files as the loader needs them; report every problem",
      "Verifies what the loader relies on and prints every problem, one per line; exit\n"
      "status 1 when there is any. Checked: each pool header (signature, version 6, the\n"
      "user signature, 16 length digits, entry count, directory inside the record and the\n"
      "file); the chain of pools ends exactly at the file size; only the last pool of a file\n"
      "is stored open (a pool header found inside an open pool is reported); identifiers are\n"
      "unique across the files; the files load together read-only (else the error kind is\n"
      "reported); and every directory entry names a pool loaded from the files given\n"
      "(entries naming pools of other files are reported as unresolved). The summary line\n"
      "counts every pool whose extent its header gives, one whose stored length runs past\n"
      "the end of its file included.",
      "$ kvtsim-pool check demo/mesh.sim demo/results.sim\n"
      "check: 2 files, 4 pools: no problems");
  sub->add_option("FILE", mFiles, "Container files forming one document")->required();
  sub->add_flag("--allow-unresolved", mAllowUnresolved,
                "List directory entries naming pools outside the files given as notes, not "
                "problems");
  sub->add_flag("--json", mJson, "Print one JSON object (see docs/tool.md, JSON output)");
  return sub;
}

int CheckCommand::Run() {
  RefuseRepeatedFiles();
  std::optional<UserSignature> signature;
  if (!mOptions.signature.empty())
    signature = UserSignature::Resolve(mOptions.signature, mFiles.front());
  else
    signature = UserSignature::FromFile(mFiles.front());
  if (!signature) {
    mProblems.push_back(CheckProblem{mFiles.front(), std::nullopt, std::nullopt,
                                     "no_user_signature",
                                     "too short to hold a pool header, so there is no user "
                                     "signature to load the files with (give one with --sig)"});
  }
  std::size_t const pools = CheckChains(signature);
  if (signature)
    CheckLoad(*signature);
  if (signature && !mProblems.empty())
    SuggestRecover(*signature);
  if (mJson)
    ReportJson(pools);
  else
    Report(pools);
  return mProblems.empty() ? 0 : 1;
}

void CheckCommand::RefuseRepeatedFiles() const {
  std::set<std::pair<dev_t, ino_t>> seen;
  for (std::string const& path : mFiles) {
    struct stat info {};
    // A file that cannot be looked at is reported when it is read.
    if (::stat(path.c_str(), &info) == 0 && !seen.insert({info.st_dev, info.st_ino}).second)
      throw ToolError(path, "given more than once: a document holds each file once");
  }
}

std::size_t CheckCommand::CheckChains(std::optional<UserSignature> const& signature) {
  std::optional<std::string> bytes;
  if (signature)
    bytes = signature->Text();
  ChainChecker checker(bytes, mProblems);
  for (std::string const& path : mFiles) {
    mCurrent = path;
    checker.Walk(path);
  }
  checker.CheckUniqueIdentifiers();
  return checker.PoolCount();
}

void CheckCommand::CheckLoad(UserSignature const& signature) {
  ReadOnlyDocument document(signature);
  bool allLoaded = true;
  for (std::string const& path : mFiles) {
    try {
      document.Add(path);
    } catch (ToolError const& e) {
      mProblems.push_back(CheckProblem{e.Subject(), std::nullopt, std::nullopt, "load_refused",
                                       std::string("the library refuses to load it: ") + e.what()});
      allLoaded = false;
    }
  }
  // Entries naming the pools of a refused file would only repeat its problem.
  if (!allLoaded)
    return;
  for (std::size_t i = 0; i < document.FileCount(); ++i)
    CheckDirectories(document, i);
}

void CheckCommand::CheckDirectories(ReadOnlyDocument const& document, std::size_t file) {
  KVTSimRpm_File const& handle = document.File(file);
  for (unsigned int p = 0; p < handle.PoolCount(); ++p) {
    KVTSimRpm_PoolDescription const pool = handle.Pool(p).Describe();
    std::vector<KVTSimRpm_PoolDescription::Entry> const& entries = pool.Entries();
    // Slot 0 is the pool itself, loaded by definition.
    for (std::size_t slot = 1; slot < entries.size(); ++slot) {
      if (entries[slot].Loaded())
        continue;
      std::string const text = "directory slot " + std::to_string(slot) + " names pool " +
                               Printable(entries[slot].Identifier()) +
                               ", which is not in the files given (unresolved)";
      (mAllowUnresolved ? mNotes : mProblems)
          .push_back(CheckProblem{document.Path(file), p, std::nullopt, "unresolved", text});
    }
  }
}

void CheckCommand::SuggestRecover(UserSignature const& signature) {
  for (std::string const& path : mFiles) {
    mCurrent = path;
    KVTSimRpm_FileRecovery const plan =
        KVTSimRpm_FileRecovery::Plan(KVTString(path.c_str()), signature.Bytes());
    KVTSimRpm_SalvageReport const& report = plan.Report();
    if (!plan.ChangesFile() || report.PoolsKept() == 0)
      continue;
    std::string hint = "'kvtsim-pool recover " + path + " -o OUT' (or --in-place) " +
                       "makes a file the library opens, keeping " +
                       Counted(report.PoolsKept(), "pool") + " (" +
                       std::to_string(report.KeptBytes()) + " bytes)";
    if (report.ClosedUp())
      hint += ", " + Counted(report.PoolsClosedUp(), "pool") + " closed up";
    if (report.LeftOut())
      hint += " and dropping " + std::to_string(report.BytesLeftOut()) + " bytes from offset " +
              std::to_string(report.FirstLeftOutOffset()) + " (" + report.Reason() + ")";
    mHints.push_back(CheckProblem{path, std::nullopt, std::nullopt, "recover", hint});
  }
}

void CheckCommand::Report(std::size_t pools) const {
  for (CheckProblem const& problem : mProblems)
    std::printf("%s\n", problem.Text().c_str());
  for (CheckProblem const& note : mNotes)
    std::printf("note: %s\n", note.Text().c_str());
  for (CheckProblem const& hint : mHints)
    std::printf("hint: %s\n", hint.Text().c_str());
  std::string const scope = Counted(mFiles.size(), "file") + ", " + Counted(pools, "pool");
  std::string const found =
      mProblems.empty() ? "no problems" : Counted(mProblems.size(), "problem");
  std::printf("check: %s: %s\n", scope.c_str(), found.c_str());
}

void CheckCommand::ReportJson(std::size_t pools) const {
  using Json = nlohmann::ordered_json;
  auto list = [](std::vector<CheckProblem> const& problems) {
    Json out = Json::array();
    for (CheckProblem const& p : problems) {
      out.push_back({{"file", p.file.empty() ? Json(nullptr) : Json(p.file)},
                     {"pool", p.pool ? Json(*p.pool) : Json(nullptr)},
                     {"offset", p.offset ? Json(*p.offset) : Json(nullptr)},
                     {"kind", p.kind},
                     {"message", p.message}});
    }
    return out;
  };
  Json const out = {{"files", mFiles},
                    {"problems", list(mProblems)},
                    {"notes", list(mNotes)},
                    {"hints", list(mHints)},
                    {"totals",
                     {{"files", mFiles.size()},
                      {"pools", pools},
                      {"problems", mProblems.size()},
                      {"notes", mNotes.size()}}}};
  // File names need not be UTF-8; JSON text must be.
  std::printf("%s\n", out.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace kvtsim_pool

#include "recover_command.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>

#include "KVTSimPoolManager.h"
#include "copy_progress.h"
#include "read_only_document.h"
#include "text_format.h"
#include "tool_error.h"
#include "user_signature.h"

namespace kvtsim_pool {

namespace {

std::string StoredAs(std::uint64_t length) {
  return length == 0 ? "open" : "length " + std::to_string(length);
}

}  // namespace

CLI::App* RecoverCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "recover", "Keep every whole pool of a damaged file in a file the library opens",
      "Reads FILE as a salvage read does: the longest run of whole pools from its start,\n"
      "a pool stored open ahead of others closed up at the next pool header, a stored\n"
      "length torn by a cut write restored. Writes them to OUT (-o, a new file) or back\n"
      "to FILE (--in-place, after saving the bytes it cuts to FILE.tail, which must not\n"
      "exist), synced before it returns, and prints what it kept and what it dropped\n"
      "(pools, bytes, the error the loader raises there). In place it takes the writer\n"
      "lock (see --no-lock). On a terminal, files over 64 MiB show their progress.\n"
      "Exit status: 0 when nothing was dropped, 1 when something was, 2 when nothing\n"
      "could be kept or on an error.",
      "$ kvtsim-pool recover crashed.sim -o mended.sim\n"
      "kept: 1 pool, 260 of 300 bytes\n"
      "dropped: 40 bytes from offset 260 (pool 1 on): KVTSimExcCorruptHeader\n"
      "written: mended.sim (synced)",
      SignatureHelp::kHidden);
  sub->add_option("FILE", mFile, "The damaged container file")->required();
  CLI::Option* output =
      sub->add_option("-o,--output", mOutput, "Write the result to OUT, a new file");
  CLI::Option* inPlace = sub->add_flag("--in-place", mInPlace,
                                       "Recover FILE itself, saving what it cuts to FILE.tail");
  output->excludes(inPlace);
  return sub;
}

int RecoverCommand::Run() {
  mCurrent = mFile;
  if (mOutput.empty() && !mInPlace)
    throw ToolError("recover", "give -o OUT for a new file or --in-place");
  UserSignature const signature = UserSignature::Resolve(mOptions.signature, mFile);
  KVTSimRpm_FileRecovery const plan =
      KVTSimRpm_FileRecovery::Plan(KVTString(mFile.c_str()), signature.Bytes());
  KVTSimRpm_SalvageReport const& report = plan.Report();
  if (report.PoolsKept() == 0 && report.LeftOut()) {
    Print(plan, false);
    std::printf("unchanged: no pool of %s can be kept; nothing was written\n", mFile.c_str());
    return kNothingKept;
  }
  if (mInPlace && !plan.ChangesFile()) {
    Print(plan, false);
    std::printf("unchanged: %s needs no recovery\n", mFile.c_str());
    return kNothingLost;
  }
  bool const showProgress = ::isatty(STDERR_FILENO) == 1 && report.FileSize() > kProgressThreshold;
  KVTSimRpm_FileRecovery const done = Recover(signature, showProgress);
  Print(done, mInPlace);
  std::string const& result = mInPlace ? mFile : mOutput;
  Verify(signature, result);
  std::printf("%s: %s (synced)\n", mInPlace ? "recovered in place" : "written", result.c_str());
  return done.Report().LeftOut() ? kSomethingDropped : kNothingLost;
}

KVTSimRpm_FileRecovery RecoverCommand::Recover(UserSignature const& signature, bool showProgress) {
  KVTString const file(mFile.c_str());
  if (mInPlace) {
    KVTString const tail((mFile + ".tail").c_str());
    KVTSimRpm_FileRecovery plan = KVTSimRpm_FileRecovery::Plan(file, signature.Bytes());
    CopyProgress progress(plan.Report().BytesLeftOut(), showProgress);
    KVTSimRpm_FileRecovery done =
        KVTSimRpm_FileRecovery::RecoverInPlace(file, tail, signature.Bytes());
    progress.Done();
    return done;
  }
  mCurrent = mOutput;
  KVTSimRpm_FileRecovery plan = KVTSimRpm_FileRecovery::Plan(file, signature.Bytes());
  CopyProgress progress(plan.Report().KeptBytes(), showProgress);
  KVTSimRpm_FileRecovery done =
      KVTSimRpm_FileRecovery::RecoverTo(file, KVTString(mOutput.c_str()), signature.Bytes());
  progress.Done();
  return done;
}

void RecoverCommand::Print(KVTSimRpm_FileRecovery const& recovery, bool tailSaved) const {
  KVTSimRpm_SalvageReport const& report = recovery.Report();
  std::printf("kept: %s, %llu of %llu bytes\n", Counted(report.PoolsKept(), "pool").c_str(),
              static_cast<unsigned long long>(report.KeptBytes()),
              static_cast<unsigned long long>(report.FileSize()));
  for (KVTSimRpm_FileRecovery::Rewrite const& rewrite : recovery.Rewrites()) {
    std::printf("rewritten: pool %u at offset %llu: stored %s, now %s\n", rewrite.index,
                static_cast<unsigned long long>(rewrite.location),
                StoredAs(rewrite.storedLength).c_str(), StoredAs(rewrite.recoveredLength).c_str());
  }
  if (!report.LeftOut()) {
    std::printf("dropped: nothing\n");
    return;
  }
  std::printf("dropped: %llu bytes from offset %llu (pool %u on): %s\n",
              static_cast<unsigned long long>(report.BytesLeftOut()),
              static_cast<unsigned long long>(report.FirstLeftOutOffset()),
              report.FirstLeftOutIndex(), report.ReasonText().c_str());
  if (tailSaved)
    std::printf("saved: the %llu bytes dropped to %s.tail\n",
                static_cast<unsigned long long>(report.BytesLeftOut()), mFile.c_str());
}

void RecoverCommand::Verify(UserSignature const& signature, std::string const& path) {
  mCurrent = path;
  ReadOnlyDocument document(signature);
  document.Add(path);
}

}  // namespace kvtsim_pool

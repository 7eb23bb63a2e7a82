// RecoverCommand: "kvtsim-pool recover FILE (-o OUT | --in-place)", writes
// what a salvage read of FILE keeps as a file the loader opens
// (KVTSimRpm_FileRecovery), and prints what it kept and what it dropped.
//
// With -o the result goes to OUT, a new file; FILE is only read. With
// --in-place the bytes to be cut are first saved to FILE.tail (a new file;
// an existing one is never overwritten and the command then stops), then
// FILE is changed and synced. Every result is durable when the command
// returns, and is opened with the loader before the command reports success.
// Exit status: 0 when nothing was dropped, 1 when something was, 2 when
// nothing could be kept, on a usage or I/O error, or when the writer lock is
// held by another writer.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_RECOVER_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_RECOVER_COMMAND_H_

#include <string>

#include "command.h"

class KVTSimRpm_FileRecovery;

namespace kvtsim_pool {

class UserSignature;

class RecoverCommand : public Command {
 public:
  // Files larger than this show progress on a terminal.
  static constexpr unsigned long long kProgressThreshold = 64ull * 1024 * 1024;

  // The exit statuses, beside 2 for usage and I/O errors.
  static constexpr int kNothingLost = 0;
  static constexpr int kSomethingDropped = 1;
  static constexpr int kNothingKept = 2;

  explicit RecoverCommand(ToolOptions const& options) : mOptions(options) {}

  CLI::App* Attach(CLI::App& app) override;
  int Run() override;
  std::string Subject() const override { return mCurrent; }

 private:
  KVTSimRpm_FileRecovery Recover(UserSignature const& signature, bool showProgress);
  // Prints what recovery kept, rewrote and dropped; tailSaved: and that the
  // dropped bytes went to the tail file.
  void Print(KVTSimRpm_FileRecovery const& recovery, bool tailSaved) const;
  void Verify(UserSignature const& signature, std::string const& path);

  ToolOptions const& mOptions;
  std::string mFile;
  std::string mOutput;
  bool mInPlace = false;
  std::string mCurrent;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_RECOVER_COMMAND_H_

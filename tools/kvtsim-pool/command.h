// Command: one subcommand of kvtsim-pool.
//
// A command adds itself, with its arguments and options, to the program's
// command line (Attach); after a successful parse the program runs the one
// the user named (Run). Exit statuses: 0 for success, 1 when a check found
// problems (recover: when it dropped something); usage and I/O errors are raised (ToolError, or an
// error kind of the library) and end the program with status 2 and one line on standard error
// naming Subject() or the file the error names.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_COMMAND_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_COMMAND_H_

#include <string>

namespace CLI {
class App;
}

namespace kvtsim_pool {

// Options shared by every command.
struct ToolOptions {
  // --sig: the document's user signature; empty to take it from the first
  // pool header of the first file.
  std::string signature;

  // --no-lock: files opened for writing take no writer lock.
  bool noLock = false;
};

class Command {
 public:
  virtual ~Command() = default;

  // Adds the subcommand to app and returns it.
  virtual CLI::App* Attach(CLI::App& app) = 0;

  // Runs the parsed command; returns 0 or 1, or kFailedFiles when a command
  // over several files has reported on standard error those it could not
  // use and gone on with the others.
  virtual int Run() = 0;

  static constexpr int kFailedFiles = 2;

  // The file that a library error raised by Run is reported against.
  virtual std::string Subject() const = 0;
};

// Whether a command's help explains --sig: only commands that open files
// through the loader, which compares every pool header with the document's
// user signature, depend on it.
enum class SignatureHelp { kShown, kHidden };

// Adds subcommand name to app: summary is what the command list shows,
// details what the command's own --help adds below its options, followed by
// example (a command line and what it prints, one line each; none when
// empty), the --sig paragraph unless hidden, and the exit statuses.
CLI::App* AddSubcommand(CLI::App& app, char const* name, char const* summary,
                        std::string const& details, std::string const& example = std::string(),
                        SignatureHelp signature = SignatureHelp::kShown);

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_COMMAND_H_

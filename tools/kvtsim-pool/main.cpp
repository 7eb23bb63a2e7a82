// kvtsim-pool: looks inside, checks and copies container files of the pool
// manager from the command line.
//
//   kvtsim-pool [--sig XXXX] [--no-lock] COMMAND ARGS...   (--help lists the commands)
//
// Exit status: 0 on success, 1 when check finds problems, diff finds
// differences or recover drops bytes, 2 on usage or I/O errors (and when recover can keep nothing),
// with one line on standard error naming the command, the file and the error kind:
//   kvtsim-pool dir: demo/mesh.sim: KVTSimExcCorruptDirectory
// or, for a command line that does not parse, the command and its help:
//   kvtsim-pool dump: POOL is required (see kvtsim-pool dump --help)

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "KVTBasException.h"
#include "KVTSimPoolManagerVersion.h"
#include "KVTSimRpm_Document.h"
#include "check_command.h"
#include "command.h"
#include "cp_command.h"
#include "demo_command.h"
#include "diff_command.h"
#include "dir_command.h"
#include "dump_command.h"
#include "header_command.h"
#include "ls_command.h"
#include "recover_command.h"
#include "stat_command.h"
#include "tool_error.h"
#include "type_command.h"

namespace kvtsim_pool {
namespace {

constexpr int kUsageOrIOError = 2;

void AddCommonOptions(CLI::App& app, ToolOptions& options) {
  app.add_option("--sig", options.signature,
                 "The document's 4-byte user signature, or 0x and 8 hex digits as ls prints "
                 "it (default: the one stored in the first pool header of the first file)");
  app.add_flag("--no-lock", options.noLock,
               "Take no writer lock on files opened for writing (for file systems without "
               "open-file-description locks); nothing then keeps two writers apart");
  // The version of the library the tool runs with, which is the tool's own.
  app.set_version_flag("--version", std::string("kvtsim-pool ") + KVTSimPoolManager_Version());
  app.footer(
      "Run 'kvtsim-pool COMMAND --help' for a command's arguments and output. Exit status: 0 "
      "on\nsuccess, 1 when check finds problems, diff finds differences or recover drops "
      "bytes,\n2 on usage or I/O errors.");
  app.require_subcommand(1);
  // Lets --sig follow the command name too.
  app.fallthrough();
}

// The command names, as --help lists them.
std::string CommandList(CLI::App const& app) {
  std::string list;
  for (CLI::App const* sub : app.get_subcommands([](CLI::App const*) { return true; }))
    list += (list.empty() ? "" : ", ") + sub->get_name();
  return list;
}

// One line on standard error for a command line that does not parse: inside a
// command it names the command and points to that command's help; before one
// it says what was not understood.
void ReportUsageError(CLI::App const& app, CLI::ParseError const& e) {
  std::vector<CLI::App*> const parsed = app.get_subcommands();
  if (!parsed.empty()) {
    std::string const name = parsed.front()->get_name();
    std::fprintf(stderr, "kvtsim-pool %s: %s (see kvtsim-pool %s --help)\n", name.c_str(), e.what(),
                 name.c_str());
    return;
  }
  std::vector<std::string> const rest = app.remaining();
  if (rest.empty()) {
    std::fprintf(stderr, "kvtsim-pool: %s: one of %s (see kvtsim-pool --help)\n", e.what(),
                 CommandList(app).c_str());
  } else if (rest.front().rfind("-", 0) == 0) {
    std::fprintf(stderr, "kvtsim-pool: unknown option '%s' (see kvtsim-pool --help)\n",
                 rest.front().c_str());
  } else {
    std::fprintf(stderr,
                 "kvtsim-pool: unknown command '%s'; the commands are %s (see "
                 "kvtsim-pool --help)\n",
                 rest.front().c_str(), CommandList(app).c_str());
  }
}

// Runs command; an error becomes one line on standard error.
int RunCommand(char const* name, Command& command) {
  std::string subject;
  std::string message;
  try {
    return command.Run();
  } catch (ToolError const& e) {
    subject = e.Subject();
    message = e.what();
  } catch (KVTBasException const& e) {
    subject = ErrorSubject(e, command.Subject());
    message = DescribeError(e);
  } catch (std::exception const& e) {
    subject = command.Subject();
    message = e.what();
  }
  // What the command printed before it failed comes first.
  std::fflush(stdout);
  std::fprintf(stderr, "kvtsim-pool %s: %s: %s\n", name, subject.c_str(), message.c_str());
  return kUsageOrIOError;
}

// A full disk or a closed pipe must not pass for success.
int CheckOutput(char const* name, int status) {
  if (std::fflush(stdout) == 0 && !std::ferror(stdout))
    return status;
  std::fprintf(stderr, "kvtsim-pool %s: standard output: %s\n", name, std::strerror(errno));
  return kUsageOrIOError;
}

int Main(int argc, char** argv) {
  ToolOptions options;
  CLI::App app("Looks inside, checks and copies container files of the pool manager.",
               "kvtsim-pool");
  AddCommonOptions(app, options);
  std::vector<std::unique_ptr<Command>> commands;
  // In the order --help lists them: looking, checking and comparing, then
  // the commands that write.
  commands.push_back(std::make_unique<TypeCommand>());
  commands.push_back(std::make_unique<LsCommand>(options));
  commands.push_back(std::make_unique<HeaderCommand>(options));
  commands.push_back(std::make_unique<StatCommand>());
  commands.push_back(std::make_unique<DirCommand>(options));
  commands.push_back(std::make_unique<DumpCommand>(options));
  commands.push_back(std::make_unique<CheckCommand>(options));
  commands.push_back(std::make_unique<DiffCommand>());
  commands.push_back(std::make_unique<CpCommand>(options));
  commands.push_back(std::make_unique<RecoverCommand>(options));
  commands.push_back(std::make_unique<DemoCommand>(options));
  std::vector<CLI::App*> subcommands;
  for (auto& command : commands)
    subcommands.push_back(command->Attach(app));

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& e) {
    // --help and --version end the parse with status 0; real errors with 2.
    if (e.get_exit_code() == 0)
      return app.exit(e);
    ReportUsageError(app, e);
    return kUsageOrIOError;
  }
  for (std::size_t i = 0; i < commands.size(); ++i) {
    if (!subcommands[i]->parsed())
      continue;
    char const* name = subcommands[i]->get_name().c_str();
    if (options.noLock)
      KVTSimRpm_Document::SetWriterLocking(false);
    return CheckOutput(name, RunCommand(name, *commands[i]));
  }
  return kUsageOrIOError;  // require_subcommand(1) makes this unreachable
}

}  // namespace
}  // namespace kvtsim_pool

int main(int argc, char** argv) {
  return kvtsim_pool::Main(argc, argv);
}

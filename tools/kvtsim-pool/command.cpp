#include "command.h"

#include <CLI/CLI.hpp>

namespace kvtsim_pool {

CLI::App* AddSubcommand(CLI::App& app, char const* name, char const* summary,
                        std::string const& details) {
  CLI::App* sub = app.add_subcommand(name, summary);
  sub->footer(
      details +
      "\n\nThe document's user signature is --sig XXXX (before or after the command) "
      "or else\nthe one stored in the first pool header of the first file. Exit status: "
      "0 on\nsuccess, 1 when check finds problems or recover drops bytes, 2 on usage or I/O "
      "errors.");
  return sub;
}

}  // namespace kvtsim_pool

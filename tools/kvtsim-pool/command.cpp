#include "command.h"

#include <CLI/CLI.hpp>

namespace kvtsim_pool {

namespace {

// text with every line indented by two spaces.
std::string Indented(std::string const& text) {
  std::string out = "  ";
  for (char c : text) {
    out += c;
    if (c == '\n')
      out += "  ";
  }
  return out;
}

}  // namespace

CLI::App* AddSubcommand(CLI::App& app, char const* name, char const* summary,
                        std::string const& details, std::string const& example,
                        SignatureHelp signature) {
  CLI::App* sub = app.add_subcommand(name, summary);
  std::string footer = details;
  if (!example.empty())
    footer += "\n\nExample:\n" + Indented(example);
  if (signature == SignatureHelp::kShown) {
    footer +=
        "\n\nThe document's user signature is --sig XXXX (before or after the command; "
        "0x and 8\nhex digits for bytes that are not printable) or else the one stored in the "
        "first pool\nheader of the first file.";
  }
  // A command with statuses of its own states them in details.
  if (details.find("Exit status:") == std::string::npos)
    footer +=
        "\n\nExit status: 0 on success, 1 when check finds problems, diff finds differences or\n"
        "recover drops bytes, 2 on usage or I/O errors.";
  sub->footer(footer);
  return sub;
}

}  // namespace kvtsim_pool

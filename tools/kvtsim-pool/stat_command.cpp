#include "stat_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "KVTSimPoolManager.h"

namespace kvtsim_pool {

namespace {

using Json = nlohmann::ordered_json;

}  // namespace

void StatCommand::Usage::Add(Usage const& other) {
  size += other.size;
  pools += other.pools;
  header += other.header;
  directory += other.directory;
  data += other.data;
  missing += other.missing;
  trailing += other.trailing;
}

CLI::App* StatCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "stat", "Print how the bytes of files are used: headers, directories, data",
      "For each file: its size, the pool records the walk of its chain finds, and its bytes\n"
      "split into header, directory, data and trailing bytes (after the last record whose\n"
      "extent is known), which add up to the size; missing counts the bytes a pool claims\n"
      "beyond the end of the file. Then totals over the files. The records are read as\n"
      "stored, without loading any pool, so damaged and cut files are counted too.",
      "$ kvtsim-pool stat demo/mesh.sim demo/results.sim", SignatureHelp::kHidden);
  sub->add_option("FILE", mFiles, "Container files, damaged or not")->required();
  sub->add_flag("--json", mJson, "Print one JSON object (see docs/tool.md, JSON output)");
  return sub;
}

int StatCommand::Run() {
  std::vector<Usage> files;
  Usage total;
  for (std::string const& path : mFiles) {
    mCurrent = path;
    files.push_back(Measure(path));
    total.Add(files.back());
  }
  if (mJson)
    PrintJson(files, total);
  else
    PrintTable(files, total);
  return 0;
}

StatCommand::Usage StatCommand::Measure(std::string const& path) {
  KVTSimRpm_ChainWalker walker(KVTString(path.c_str()), nullptr);
  Usage usage;
  usage.size = walker.FileSize();
  std::uint64_t counted = 0;  // where the last record with a known extent ends in the file
  while (walker.Next()) {
    if (!walker.HasExtent())
      break;  // this record's bytes and all after them are trailing
    // A known extent implies a directory inside the file.
    KVTSimRpm_PoolHeader const& header = walker.Header();
    std::uint64_t const inFile = std::min(walker.End(), usage.size);
    ++usage.pools;
    usage.header += KVTSimRpm_PoolHeader::kSize;
    usage.directory += header.HeaderLength() - KVTSimRpm_PoolHeader::kSize;
    usage.data += inFile - walker.Location() - header.HeaderLength();
    usage.missing += walker.End() - inFile;
    counted = inFile;
  }
  usage.trailing = usage.size - counted;
  return usage;
}

void StatCommand::PrintTable(std::vector<Usage> const& files, Usage const& total) const {
  int width = 5;
  for (std::string const& path : mFiles)
    width = std::max(width, static_cast<int>(path.size()));
  auto row = [&](char const* name, Usage const& u) {
    std::printf("%-*s %12llu %6llu %10llu %10llu %12llu %10llu %10llu\n", width, name,
                static_cast<unsigned long long>(u.size), static_cast<unsigned long long>(u.pools),
                static_cast<unsigned long long>(u.header),
                static_cast<unsigned long long>(u.directory),
                static_cast<unsigned long long>(u.data), static_cast<unsigned long long>(u.missing),
                static_cast<unsigned long long>(u.trailing));
  };
  std::printf("%-*s %12s %6s %10s %10s %12s %10s %10s\n", width, "FILE", "SIZE", "POOLS", "HEADER",
              "DIRECTORY", "DATA", "MISSING", "TRAILING");
  for (std::size_t i = 0; i < files.size(); ++i)
    row(mFiles[i].c_str(), files[i]);
  if (files.size() > 1)
    row("total", total);
}

void StatCommand::PrintJson(std::vector<Usage> const& files, Usage const& total) const {
  auto object = [](Usage const& u) {
    return Json{{"size", u.size},
                {"pools", u.pools},
                {"header_bytes", u.header},
                {"directory_bytes", u.directory},
                {"data_bytes", u.data},
                {"missing_bytes", u.missing},
                {"trailing_bytes", u.trailing}};
  };
  Json list = Json::array();
  for (std::size_t i = 0; i < files.size(); ++i) {
    Json entry = {{"file", mFiles[i]}};
    entry.update(object(files[i]));
    list.push_back(std::move(entry));
  }
  Json totals = {{"files", files.size()}};
  totals.update(object(total));
  Json const out = {{"files", std::move(list)}, {"total", std::move(totals)}};
  std::printf("%s\n", out.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace kvtsim_pool

#include "dump_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <vector>

#include "KVTSimRpm_Locator.h"
#include "hex_dumper.h"
#include "read_only_document.h"
#include "text_format.h"
#include "tool_error.h"
#include "typed_dumper.h"
#include "user_signature.h"

namespace kvtsim_pool {

namespace {

// Bytes read from the pool at a time; a multiple of a dump line.
constexpr std::uint64_t kChunk = 64 * 1024;

// Decimal or 0x hexadecimal, rewritten to plain decimal before the option's
// own conversion sees it: that conversion would read "010" as octal and turn
// "-3" into 2^64 - 3.
CLI::Validator ByteCount() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        std::optional<std::uint64_t> const value = ParseNumber(text);
        if (!value)
          return "'" + text + "' is not a whole number of bytes (decimal, or hexadecimal after 0x)";
        text = std::to_string(*value);
        return std::string();
      },
      "", "byte count");
}

}  // namespace

CLI::App* DumpCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "dump", "Dump a pool's data area in hexadecimal and ASCII",
      "Dumps a pool's data area in hexadecimal and ASCII, 16 bytes a line. Offsets are data\n"
      "offsets, counted from the first byte after the pool's header and directory, as\n"
      "locators count them. With --as, the bytes are read as stored values of one type\n"
      "(little-endian; i16 to u64 integers, f32 and f64 IEEE-754) and printed 16 bytes a\n"
      "line, floating point in the shortest form that reads back exactly; bytes at the end\n"
      "too few for one value are shown in hexadecimal.",
      "$ kvtsim-pool dump demo/mesh.sim 0 --length 32\n"
      "00000000: 0400 0000 0100 0000 0500 0000 696e 6c65  ............inle\n"
      "00000010: 7400 0000 0000 0000 0000 0000 0000 0000  t...............");
  sub->add_option("FILE", mFile, "Container file holding the pool")->required();
  sub->add_option("POOL", mPool, "Pool index in FILE (0 is the first) or identifier")->required();
  sub->add_option("--offset", mOffset,
                  "First data offset to dump, decimal or 0x hexadecimal (default 0)")
      ->transform(ByteCount());
  sub->add_option("--length", mLength, "Bytes to dump (default: to the end of the data)")
      ->transform(ByteCount())
      ->each([this](std::string const&) { mLengthGiven = true; });
  sub->add_option("--as", mAs, "Print stored values of TYPE instead of hexadecimal")
      ->type_name("TYPE")
      ->check(CLI::IsMember(TypedDumper::Names()));
  return sub;
}

int DumpCommand::Run() {
  ReadOnlyDocument document(UserSignature::Resolve(mOptions.signature, mFile));
  document.Add(mFile);
  KVTSimRpm_Pool const pool = document.SelectPool(0, mPool);
  std::uint64_t const dataLength = pool.Length();
  if (mOffset > dataLength) {
    throw ToolError(mFile, "offset " + std::to_string(mOffset) + " is past the end of pool " +
                               mPool + " (" + std::to_string(dataLength) + " data bytes)");
  }
  std::uint64_t const rest = dataLength - mOffset;
  std::uint64_t const length = mLengthGiven ? std::min(mLength, rest) : rest;
  KVTSimRpm_Locator const start = pool.Start() + mOffset;
  if (mAs.empty()) {
    HexDumper dumper(stdout, mOffset);
    Dump(start, length, dumper);
  } else {
    TypedDumper dumper(stdout, mOffset, TypedDumper::Named(mAs));
    Dump(start, length, dumper);
  }
  return 0;
}

template <typename Dumper>
void DumpCommand::Dump(KVTSimRpm_Locator at, std::uint64_t remaining, Dumper& dumper) const {
  std::vector<char> buffer(kChunk);
  while (remaining != 0) {
    std::uint64_t const want = std::min(remaining, kChunk);
    std::uint64_t const got = at.Read(want, buffer.data());
    dumper.Feed(buffer.data(), static_cast<std::size_t>(got));
    if (got < want) {
      // A pool whose stored length passes the end of the file.
      dumper.Finish();
      throw ToolError(mFile, "the file ends " + std::to_string(at.Offset() + got) +
                                 " bytes into pool " + mPool + "'s data");
    }
    at += got;
    remaining -= got;
  }
  dumper.Finish();
}

}  // namespace kvtsim_pool

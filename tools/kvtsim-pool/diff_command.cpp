#include "diff_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "text_format.h"
#include "typed_dumper.h"

namespace kvtsim_pool {

namespace {

using Header = KVTSimRpm_PoolHeader;

// Bytes compared at a time.
constexpr std::uint64_t kChunk = 64 * 1024;

std::string Offset(std::uint64_t offset) {
  char hex[32];
  std::snprintf(hex, sizeof hex, "%llx", static_cast<unsigned long long>(offset));
  return std::to_string(offset) + " (0x" + hex + ")";
}

std::string Entries(std::size_t n) {
  return std::to_string(n) + (n == 1 ? " entry" : " entries");
}

}  // namespace

CLI::App* DiffCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "diff", "Compare two files pool by pool: data bytes and directories",
      "Compares file A with file B pool by pool, reading both as stored. Pools are paired by\n"
      "position (--by index) or by identifier (--by id). By position, identifiers are not\n"
      "compared, since every run generates new ones, and a directory entry is compared by the\n"
      "pool it names: its index in its own file, or not in this file. By identifier, entries\n"
      "are compared by the identifiers they name. For each pair that differs, the first\n"
      "differing data offset (with --as, the values of TYPE there in A and B) or directory\n"
      "slot is printed; pools without a partner, different pool counts and different bytes\n"
      "after the last pool too.\n\n"
      "Exit status: 0 when equal, 1 when different, 2 on usage or I/O errors.",
      "$ kvtsim-pool diff run1/results.sim run2/results.sim --as f64", SignatureHelp::kHidden);
  sub->add_option("A", mFileA, "The first container file")->required();
  sub->add_option("B", mFileB, "The second container file")->required();
  sub->add_flag("-q,--quiet", mQuiet, "Print nothing; the exit status tells");
  sub->add_option("--by", mBy, "Pair pools by index (position in the file) or id (identifier)")
      ->check(CLI::IsMember({"index", "id"}))
      ->capture_default_str();
  sub->add_option("--as", mAs, "Print the values of TYPE at each first differing data offset")
      ->type_name("TYPE")
      ->check(CLI::IsMember(TypedDumper::Names()));
  return sub;
}

int DiffCommand::Run() {
  mA = Walk(mFileA, "A");
  mB = Walk(mFileB, "B");
  std::size_t differing = 0;
  std::vector<std::pair<Pool const*, Pool const*>> const pairs = Pair();
  for (auto const& [a, b] : pairs) {
    Pool const& one = a != nullptr ? *a : *b;
    std::string label = "pool " + std::to_string(one.index);
    if (mBy == "id") {
      label = "pool " + Printable(one.identifier) + " (" +
              (a != nullptr ? "A pool " + std::to_string(a->index) : std::string("not in A")) +
              ", " +
              (b != nullptr ? "B pool " + std::to_string(b->index) : std::string("not in B")) + ")";
    }
    if (a == nullptr || b == nullptr) {
      Say(label + ": only in " + (a != nullptr ? "A" : "B"));
      ++differing;
    } else if (ComparePools(label, *a, *b)) {
      ++differing;
    }
  }
  bool different = differing != 0;
  if (mA.pools.size() != mB.pools.size()) {
    Say("pool counts differ: A has " + Counted(mA.pools.size(), "pool") + ", B has " +
        Counted(mB.pools.size(), "pool"));
    different = true;
  }
  if (CompareTails())
    different = true;
  if (different)
    Say("diff: " + std::to_string(differing) + " of " + Counted(pairs.size(), "pool") + " differ");
  else
    Say("diff: equal (" + Counted(pairs.size(), "pool") + ")");
  return different ? 1 : 0;
}

DiffCommand::Side DiffCommand::Walk(std::string const& path, char const* name) {
  mCurrent = path;
  Side side;
  side.path = path;
  side.name = name;
  side.walker = std::make_unique<KVTSimRpm_ChainWalker>(KVTString(path.c_str()), nullptr);
  KVTSimRpm_ChainWalker& walker = *side.walker;
  while (walker.Next() && walker.HasExtent()) {
    Header const& header = walker.Header();
    Pool pool;
    pool.index = walker.Index();
    pool.dataStart = walker.Location() + header.HeaderLength();
    pool.dataLength = walker.End() - pool.dataStart;
    pool.dataInFile = std::min(walker.End(), walker.FileSize()) - pool.dataStart;
    pool.identifier = walker.Identifier();
    // A known extent implies a directory inside the file.
    std::string entries(header.HeaderLength() - Header::kSize, '\0');
    walker.Read(walker.Location() + Header::kSize, entries.size(), entries.data());
    for (std::size_t at = 0; at < entries.size(); at += Header::kEntrySize)
      pool.directory.push_back(entries.substr(at, Header::kEntrySize));
    side.indexOf.emplace(pool.identifier, pool.index);
    side.tailStart = std::min(walker.End(), walker.FileSize());
    side.pools.push_back(std::move(pool));
  }
  return side;
}

std::vector<std::pair<DiffCommand::Pool const*, DiffCommand::Pool const*>> DiffCommand::Pair()
    const {
  std::vector<std::pair<Pool const*, Pool const*>> pairs;
  if (mBy == "index") {
    for (std::size_t i = 0; i < std::max(mA.pools.size(), mB.pools.size()); ++i) {
      pairs.emplace_back(i < mA.pools.size() ? &mA.pools[i] : nullptr,
                         i < mB.pools.size() ? &mB.pools[i] : nullptr);
    }
    return pairs;
  }
  std::vector<bool> paired(mB.pools.size(), false);
  for (Pool const& a : mA.pools) {
    auto const found = mB.indexOf.find(a.identifier);
    Pool const* b = found != mB.indexOf.end() ? &mB.pools[found->second] : nullptr;
    if (b != nullptr)
      paired[b->index] = true;
    pairs.emplace_back(&a, b);
  }
  for (Pool const& b : mB.pools) {
    if (!paired[b.index])
      pairs.emplace_back(nullptr, &b);
  }
  return pairs;
}

std::string DiffCommand::Side::Resolve(Pool const& pool, std::size_t slot,
                                       bool byIdentifier) const {
  std::string const& identifier = pool.directory[slot];
  if (byIdentifier)
    return identifier;
  auto const found = indexOf.find(identifier);
  return found != indexOf.end() ? std::to_string(found->second) : std::string();
}

std::string DiffCommand::Side::Describe(std::string const& resolved, bool byIdentifier) const {
  if (byIdentifier)
    return "pool " + Printable(resolved);
  return resolved.empty() ? "a pool not in " + name : "pool " + resolved + " of " + name;
}

bool DiffCommand::ComparePools(std::string const& label, Pool const& a, Pool const& b) {
  bool differ = false;
  std::optional<std::uint64_t> const first =
      FirstDifference(a.dataStart, a.dataInFile, b.dataStart, b.dataInFile);
  if (first) {
    std::string line = label + ": data differ at offset " + Offset(*first);
    if (!mAs.empty())
      line += "; " + ValuesAt(a, b, *first);
    Say(line);
    differ = true;
  }
  if (a.dataLength != b.dataLength) {
    Say(label + ": data lengths differ: " + std::to_string(a.dataLength) + " and " +
        std::to_string(b.dataLength) + " bytes");
    differ = true;
  }
  if (a.directory.size() != b.directory.size()) {
    Say(label + ": directories differ: " + Entries(a.directory.size()) + " and " +
        Entries(b.directory.size()));
    return true;
  }
  bool const byIdentifier = mBy == "id";
  for (std::size_t slot = 0; slot < a.directory.size(); ++slot) {
    std::string const inA = mA.Resolve(a, slot, byIdentifier);
    std::string const inB = mB.Resolve(b, slot, byIdentifier);
    if (inA != inB) {
      Say(label + ": directory slot " + std::to_string(slot) + " differs: A names " +
          mA.Describe(inA, byIdentifier) + ", B names " + mB.Describe(inB, byIdentifier));
      return true;
    }
  }
  return differ;
}

std::optional<std::uint64_t> DiffCommand::FirstDifference(std::uint64_t a, std::uint64_t lengthA,
                                                          std::uint64_t b, std::uint64_t lengthB) {
  std::uint64_t const common = std::min(lengthA, lengthB);
  mBufferA.resize(kChunk);
  mBufferB.resize(kChunk);
  for (std::uint64_t done = 0; done < common;) {
    std::uint64_t const want = std::min(common - done, kChunk);
    mCurrent = mA.path;
    std::uint64_t const gotA = mA.walker->Read(a + done, want, mBufferA.data());
    mCurrent = mB.path;
    std::uint64_t const gotB = mB.walker->Read(b + done, want, mBufferB.data());
    // Both lie inside their files; a file that shrank since the walk ends the comparison.
    std::uint64_t const got = std::min(gotA, gotB);
    auto const endA = mBufferA.begin() + static_cast<std::ptrdiff_t>(got);
    auto const mismatch = std::mismatch(mBufferA.begin(), endA, mBufferB.begin());
    if (mismatch.first != endA || got < want)
      return done + static_cast<std::uint64_t>(mismatch.first - mBufferA.begin());
    done += got;
  }
  if (lengthA != lengthB)
    return common;
  return std::nullopt;
}

bool DiffCommand::CompareTails() {
  std::uint64_t const lengthA = mA.walker->FileSize() - mA.tailStart;
  std::uint64_t const lengthB = mB.walker->FileSize() - mB.tailStart;
  std::optional<std::uint64_t> const first =
      FirstDifference(mA.tailStart, lengthA, mB.tailStart, lengthB);
  if (!first)
    return false;
  Say("bytes after the last pool differ (A has " + std::to_string(lengthA) + ", B has " +
      std::to_string(lengthB) + "), from byte " + std::to_string(*first) + " of them");
  return true;
}

std::string DiffCommand::ValuesAt(Pool const& a, Pool const& b, std::uint64_t offset) {
  TypedDumper::Type const type = TypedDumper::Named(mAs);
  std::size_t const width = TypedDumper::Width(type);
  // Scalars of one type lie at multiples of their width.
  std::uint64_t const at = offset - offset % width;
  auto value = [&](Side& side, Pool const& pool) -> std::string {
    if (at + width > pool.dataInFile)
      return "none";
    char bytes[8];
    mCurrent = side.path;
    side.walker->Read(pool.dataStart + at, width, bytes);
    return TypedDumper::Format(type, bytes);
  };
  return mAs + " at offset " + std::to_string(at) + ": " + value(mA, a) + " in A, " + value(mB, b) +
         " in B";
}

void DiffCommand::Say(std::string const& line) const {
  if (!mQuiet)
    std::printf("%s\n", line.c_str());
}

}  // namespace kvtsim_pool

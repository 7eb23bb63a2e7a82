#include "header_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "text_format.h"
#include "tool_error.h"
#include "user_signature.h"
#include "walk_text.h"

namespace kvtsim_pool {

namespace {

using Header = KVTSimRpm_PoolHeader;
using Json = nlohmann::ordered_json;

std::string Field(Header const& header, std::size_t offset, std::size_t size) {
  return Printable(std::string(header.Bytes() + offset, size));
}

// The 16 length characters and what they say.
std::string LengthText(Header const& header) {
  std::string const digits = Field(header, Header::kLengthOffset, Header::kLengthDigits);
  std::optional<std::uint64_t> const length = header.StoredLength();
  if (!length)
    return digits + " (not 16 decimal digits)";
  if (*length == 0)
    return digits + " (stored open: the pool runs to the end of the file)";
  return digits + " (" + std::to_string(*length) + " bytes)";
}

}  // namespace

CLI::App* HeaderCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "header", "Print pool headers exactly as stored, even where the loader refuses them",
      "Walks the chain of pool records as stored, without loading any pool, and prints each\n"
      "header's fields as they are in the file: format signature, version, padding, user\n"
      "signature, the 16 length characters, header words A and B and the directory entry\n"
      "count, with the record's offset and identifier. A header the loader refuses is marked\n"
      "with the reason and the error kind; the last line says where and why the walk stops.\n"
      "Fields the file ends before are shown as missing.",
      "$ kvtsim-pool header demo/mesh.sim 1", SignatureHelp::kHidden);
  sub->add_option("FILE", mFile, "The container file, damaged or not")->required();
  sub->add_option("POOL", mPool,
                  "Only the record with this index (0 is the first; decimal or 0x hexadecimal)");
  sub->add_flag("--json", mJson, "Print one JSON object (see docs/tool.md, JSON output)");
  return sub;
}

int HeaderCommand::Run() {
  std::optional<UserSignature> signature;
  if (!mOptions.signature.empty())
    signature = UserSignature::Resolve(mOptions.signature, mFile);
  else
    signature = UserSignature::FromFile(mFile);
  std::optional<std::uint64_t> only;
  if (!mPool.empty()) {
    only = ParseNumber(mPool);
    if (!only)
      throw ToolError(mFile, "'" + mPool + "' is not a pool index (decimal, or 0x hexadecimal)");
  }
  KVTSimRpm_ChainWalker walker(KVTString(mFile.c_str()), signature ? signature->Bytes() : nullptr);
  std::vector<Record> records;
  std::size_t walked = 0;
  while (walker.Next()) {
    ++walked;
    if (!only || walker.Index() == *only)
      records.push_back(Read(walker));
  }
  if (only && records.empty()) {
    throw ToolError(mFile, "no pool record " + mPool + ": the walk finds " +
                               Counted(walked, "record") + "; " + StopText(walker));
  }
  if (mJson)
    PrintJson(records, walker);
  else
    PrintText(records, walker);
  return 0;
}

HeaderCommand::Record HeaderCommand::Read(KVTSimRpm_ChainWalker const& walker) const {
  Record record{walker.Index(), walker.Location(),   walker.HeaderBytes(), walker.Header(),
                std::nullopt,   walker.Identifier(), walker.Fault(),       std::string()};
  if (walker.HasExtent())
    record.recordLength = walker.Length();
  if (record.fault != Header::FaultNone)
    record.faultKind = FaultKind(record.header, record.fault, mFile);
  return record;
}

void HeaderCommand::PrintText(std::vector<Record> const& records,
                              KVTSimRpm_ChainWalker const& walker) const {
  std::printf("%s: %llu bytes\n", mFile.c_str(),
              static_cast<unsigned long long>(walker.FileSize()));
  for (Record const& r : records) {
    std::string verdict = "the loader accepts it";
    if (r.fault != Header::FaultNone)
      verdict = "the loader refuses it: " + FaultText(r.fault) + " (" + r.faultKind + ")";
    std::printf("pool %u at offset %llu: %s\n", r.index, static_cast<unsigned long long>(r.offset),
                verdict.c_str());
    auto line = [&](char const* name, std::size_t offset, std::size_t size,
                    std::string const& text) {
      std::string const shown =
          r.Holds(offset, size)
              ? text
              : "missing: the file ends after " + std::to_string(r.headerBytes) + " header bytes";
      std::printf("  %-17s %s\n", name, shown.c_str());
    };
    Header const& h = r.header;
    line("format signature", Header::kSignatureOffset, Header::kSignatureSize,
         Field(h, Header::kSignatureOffset, Header::kSignatureSize) +
             (h.CheckSignature() == Header::FaultNone ? " (valid)" : " (not the format's)"));
    line("version", Header::kVersionOffset, 1, std::to_string(h.Version()));
    line("padding", Header::kPaddingOffset, Header::kPaddingSize,
         Field(h, Header::kPaddingOffset, Header::kPaddingSize));
    line("user signature", Header::kUserSignatureOffset, Header::kUserSignatureSize,
         Field(h, Header::kUserSignatureOffset, Header::kUserSignatureSize));
    line("length", Header::kLengthOffset, Header::kLengthDigits, LengthText(h));
    line("word A", Header::kWordAOffset, 4, std::to_string(h.WordA()));
    line("word B", Header::kWordBOffset, 4, std::to_string(h.WordB()));
    line("entries", Header::kEntryCountOffset, 4, std::to_string(h.EntryCount()));
    if (r.recordLength) {
      std::printf("  %-17s %llu (ends at offset %llu)\n", "record length",
                  static_cast<unsigned long long>(*r.recordLength),
                  static_cast<unsigned long long>(r.offset + *r.recordLength));
      std::printf("  %-17s %s\n", "identifier", Printable(r.identifier).c_str());
    }
  }
  std::printf("walk: %s\n", StopText(walker).c_str());
}

void HeaderCommand::PrintJson(std::vector<Record> const& records,
                              KVTSimRpm_ChainWalker const& walker) const {
  Json pools = Json::array();
  for (Record const& r : records) {
    Header const& h = r.header;
    // A field the file ends before is null.
    auto field = [&](std::size_t offset, std::size_t size, Json value) {
      return r.Holds(offset, size) ? std::move(value) : Json(nullptr);
    };
    Json pool = {
        {"index", r.index},
        {"offset", r.offset},
        {"header_bytes", r.headerBytes},
        {"format_signature", field(Header::kSignatureOffset, Header::kSignatureSize,
                                   Field(h, Header::kSignatureOffset, Header::kSignatureSize))},
        {"version", field(Header::kVersionOffset, 1, h.Version())},
        {"padding", field(Header::kPaddingOffset, Header::kPaddingSize,
                          Field(h, Header::kPaddingOffset, Header::kPaddingSize))},
        {"user_signature",
         field(Header::kUserSignatureOffset, Header::kUserSignatureSize,
               Field(h, Header::kUserSignatureOffset, Header::kUserSignatureSize))},
        {"length_digits", field(Header::kLengthOffset, Header::kLengthDigits,
                                Field(h, Header::kLengthOffset, Header::kLengthDigits))},
        {"word_a", field(Header::kWordAOffset, 4, h.WordA())},
        {"word_b", field(Header::kWordBOffset, 4, h.WordB())},
        {"entries", field(Header::kEntryCountOffset, 4, h.EntryCount())},
        {"record_length", r.recordLength ? Json(*r.recordLength) : Json(nullptr)},
        {"identifier", r.recordLength ? Json(Printable(r.identifier)) : Json(nullptr)},
        {"fault", r.fault == Header::FaultNone
                      ? Json(nullptr)
                      : Json{{"kind", r.faultKind}, {"message", FaultText(r.fault)}}}};
    pools.push_back(std::move(pool));
  }
  Json const out = {{"file", mFile},
                    {"size", walker.FileSize()},
                    {"pools", std::move(pools)},
                    {"stop",
                     {{"reason", StopName(walker.StopReason())},
                      {"offset", walker.StopOffset()},
                      {"message", StopText(walker)}}}};
  std::printf("%s\n", out.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace kvtsim_pool

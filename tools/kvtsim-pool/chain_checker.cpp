#include "chain_checker.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "raw_file.h"
#include "raw_pool_header.h"
#include "text_format.h"

namespace kvtsim_pool {

namespace {

// The open record is read in pieces of this size when it is scanned.
constexpr std::uint64_t kScanChunk = 1 << 20;

// The largest entry count whose directory record the loader accepts.
constexpr std::int32_t kMaxEntries =
    (INT_MAX - static_cast<std::int32_t>(RawPoolHeader::kSize)) / RawPoolHeader::kEntrySize;

std::string const kSignature("\x89SIM\r\n\x1a\n", 8);

std::string Where(std::string const& path, unsigned index, std::uint64_t offset) {
  return path + ": pool " + std::to_string(index) + " at offset " + std::to_string(offset);
}

}  // namespace

ChainChecker::ChainChecker(std::optional<std::string> signature, std::vector<std::string>& problems)
    : mSignature(std::move(signature)), mProblems(problems) {}

void ChainChecker::Walk(std::string const& path) {
  RawFile file(path);
  if (file.Size() == 0) {
    Note(path, "empty file: it holds no pool record");
    return;
  }
  std::uint64_t offset = 0;
  for (unsigned index = 0; offset < file.Size(); ++index) {
    std::string const where = Where(path, index, offset);
    std::optional<std::uint64_t> length = CheckRecord(file, offset, where);
    if (!length)
      return;  // the next record cannot be found
    std::string const identifier = file.ReadAt(offset + RawPoolHeader::kSize, 32);
    mOwners[identifier].push_back(path + " pool " + std::to_string(index));
    ++mPools;
    offset += *length;
  }
}

std::optional<std::uint64_t> ChainChecker::CheckRecord(RawFile const& file, std::uint64_t offset,
                                                       std::string const& where) {
  std::string bytes = file.ReadAt(offset, RawPoolHeader::kSize);
  if (bytes.size() < RawPoolHeader::kSize) {
    Note(where, "header cut short: the file ends after " + std::to_string(bytes.size()) +
                    " of its 48 bytes");
    return std::nullopt;
  }
  RawPoolHeader const header(std::move(bytes));
  if (!CheckHead(header, where))
    return std::nullopt;
  std::optional<std::uint64_t> length = RecordLength(header, file.Size() - offset, where);
  if (length && header.StoredOpen()) {
    std::uint64_t const headerLength =
        RawPoolHeader::kSize +
        RawPoolHeader::kEntrySize * static_cast<std::uint64_t>(header.EntryCount());
    ScanOpenRecord(file, offset + headerLength, where);
  }
  return length;
}

bool ChainChecker::CheckHead(RawPoolHeader const& header, std::string const& where) {
  if (!header.HasSignature()) {
    Note(where, "no format signature: no pool record begins here");
    return false;
  }
  if (header.Version() != RawPoolHeader::kCurrentVersion) {
    Note(where, "format version " + std::to_string(header.Version()) +
                    "; the library reads version 6 only");
  }
  if (mSignature && header.UserSignature() != *mSignature) {
    Note(where, "user signature '" + Printable(header.UserSignature()) +
                    "' differs from the document's '" + Printable(*mSignature) + "'");
  }
  return true;
}

std::optional<std::uint64_t> ChainChecker::RecordLength(RawPoolHeader const& header,
                                                        std::uint64_t remain,
                                                        std::string const& where) {
  if (!header.LengthIsDecimal()) {
    Note(where,
         "stored length '" + Printable(header.LengthDigits()) + "' is not 16 decimal digits");
    return std::nullopt;
  }
  std::int32_t const entries = header.EntryCount();
  if (entries <= 0 || entries > kMaxEntries) {
    Note(where, "directory entry count " + std::to_string(entries) +
                    " is out of range: a pool lists at least itself");
    return std::nullopt;
  }
  std::uint64_t const headerLength =
      RawPoolHeader::kSize + RawPoolHeader::kEntrySize * static_cast<std::uint64_t>(entries);
  if (headerLength > remain) {
    Note(where, "directory of " + std::to_string(entries) + " entries passes the end of the file");
    return std::nullopt;
  }
  std::uint64_t const length = header.StoredOpen() ? remain : header.StoredLength();
  if (length < headerLength) {
    Note(where, "stored length " + std::to_string(length) + " is shorter than its header and " +
                    "directory (" + std::to_string(headerLength) + " bytes)");
    return std::nullopt;
  }
  if (length > remain) {
    Note(where, "stored length " + std::to_string(length) + " passes the end of the file by " +
                    std::to_string(length - remain) + " bytes: the chain does not reach the " +
                    "file size exactly");
    return std::nullopt;
  }
  return length;
}

void ChainChecker::ScanOpenRecord(RawFile const& file, std::uint64_t dataStart,
                                  std::string const& where) {
  for (std::uint64_t base = dataStart; base < file.Size(); base += kScanChunk) {
    // Read a header's worth past the piece so that one across its end is seen.
    std::string const bytes = file.ReadAt(base, kScanChunk + RawPoolHeader::kSize - 1);
    for (std::size_t at = bytes.find(kSignature); at != std::string::npos && at < kScanChunk;
         at = bytes.find(kSignature, at + 1)) {
      if (at + RawPoolHeader::kSize <= bytes.size() &&
          LooksLikeHeader(bytes.substr(at, RawPoolHeader::kSize))) {
        Note(where, "stored open, yet a pool header lies inside it at file offset " +
                        std::to_string(base + at) + ": only the last pool of a file may be " +
                        "open (were files joined end to end?)");
        return;
      }
    }
  }
}

bool ChainChecker::LooksLikeHeader(std::string const& bytes) const {
  RawPoolHeader const header(bytes);
  bool const zeroPad =
      std::all_of(bytes.begin() + 9, bytes.begin() + 16, [](char c) { return c == '\0'; });
  return header.Version() == RawPoolHeader::kCurrentVersion && zeroPad &&
         header.LengthIsDecimal() && (!mSignature || header.UserSignature() == *mSignature);
}

void ChainChecker::CheckUniqueIdentifiers() {
  for (auto const& [identifier, owners] : mOwners) {
    if (owners.size() < 2)
      continue;
    std::string list = owners.front();
    for (std::size_t i = 1; i < owners.size(); ++i)
      list += ", " + owners[i];
    mProblems.push_back("identifier " + Printable(identifier) +
                        " names more than one pool: " + list);
  }
}

void ChainChecker::Note(std::string const& where, std::string const& what) {
  mProblems.push_back(where + ": " + what);
}

}  // namespace kvtsim_pool

#include "chain_checker.h"

#include <optional>
#include <utility>

#include "text_format.h"

namespace kvtsim_pool {

namespace {

using Header = KVTSimRpm_PoolHeader;

CheckProblem Where(std::string const& path, unsigned index, std::uint64_t offset) {
  return CheckProblem{path, index, offset, std::string(), std::string()};
}

}  // namespace

ChainChecker::ChainChecker(std::optional<std::string> signature,
                           std::vector<CheckProblem>& problems)
    : mSignature(std::move(signature)), mProblems(problems) {}

void ChainChecker::Walk(std::string const& path) {
  KVTSimRpm_ChainWalker walker(KVTString(path.c_str()), mSignature ? mSignature->data() : nullptr);
  if (walker.FileSize() == 0) {
    Note(CheckProblem{path, std::nullopt, std::nullopt, std::string(), std::string()}, "empty_file",
         "empty file: it holds no pool record");
    return;
  }
  while (walker.Next()) {
    CheckRecord(walker, Where(path, walker.Index(), walker.Location()));
    // A record whose stored length runs past the end of the file is still a
    // pool (the loader takes it as the last one); its problem is noted above.
    if (!walker.HasExtent())
      continue;  // the walk stops after this record
    mOwners[walker.Identifier()].push_back(path + " pool " + std::to_string(walker.Index()));
    ++mPools;
  }
}

void ChainChecker::CheckRecord(KVTSimRpm_ChainWalker& walker, CheckProblem const& where) {
  if (walker.HeaderBytes() < Header::kSize) {
    Note(where, "header_cut_short",
         "header cut short: the file ends after " + std::to_string(walker.HeaderBytes()) +
             " of its 48 bytes");
    return;
  }
  Header const& header = walker.Header();
  if (header.CheckSignature() != Header::FaultNone) {
    Note(where, "no_format_signature", "no format signature: no pool record begins here");
    return;
  }
  CheckHead(header, where);
  if (!CheckLayout(walker, where))
    return;
  if (!walker.Whole()) {
    Note(where, "past_end",
         "stored length " + std::to_string(walker.Length()) + " passes the end of the file by " +
             Counted(static_cast<std::size_t>(walker.End() - walker.FileSize()), "byte") +
             ": the chain does not reach the file size exactly");
  } else if (header.StoredOpen()) {
    ScanOpenRecord(walker, walker.Location() + header.HeaderLength(), where);
  }
}

void ChainChecker::CheckHead(Header const& header, CheckProblem const& where) {
  if (header.CheckVersion() != Header::FaultNone) {
    Note(where, "version",
         "format version " + std::to_string(header.Version()) + "; the library reads version " +
             std::to_string(Header::kFormatVersion) + " only");
  }
  if (mSignature && header.CheckUserSignature(mSignature->data()) != Header::FaultNone) {
    std::string const stored(header.UserSignature(), Header::kUserSignatureSize);
    Note(where, "user_signature",
         "user signature '" + Printable(stored) + "' differs from the document's '" +
             Printable(*mSignature) + "'");
  }
}

bool ChainChecker::CheckLayout(KVTSimRpm_ChainWalker const& walker, CheckProblem const& where) {
  Header const& header = walker.Header();
  Header::Fault const fault = header.CheckLayout(walker.Location(), walker.FileSize());
  if (fault == Header::FaultNone)
    return true;
  if (fault == Header::FaultLengthDigits) {
    std::string const digits(header.LengthDigits(), Header::kLengthDigits);
    Note(where, "length_digits",
         "stored length '" + Printable(digits) + "' is not 16 decimal digits");
  } else if (fault == Header::FaultEntryCount) {
    Note(where, "entry_count",
         "directory entry count " + std::to_string(header.EntryCount()) +
             " is out of range: a pool lists at least itself");
  } else if (fault == Header::FaultDirectoryPastEnd) {
    Note(where, "directory_past_end",
         "directory of " + std::to_string(header.EntryCount()) +
             " entries passes the end of the file");
  } else {
    std::uint64_t const length = header.RecordLength(walker.Location(), walker.FileSize());
    if (length < header.HeaderLength()) {
      Note(where, "record_length",
           "stored length " + std::to_string(length) + " is shorter than its header and " +
               "directory (" + std::to_string(header.HeaderLength()) + " bytes)");
    } else {
      Note(where, "record_length",
           "record length " + std::to_string(length) + " needs more than 16 digits");
    }
  }
  return false;
}

void ChainChecker::ScanOpenRecord(KVTSimRpm_ChainWalker& walker, std::uint64_t dataStart,
                                  CheckProblem const& where) {
  // The same search the salvage read makes before it closes a pool up.
  std::optional<std::uint64_t> const hidden = walker.FindHeader(dataStart);
  if (hidden) {
    Note(where, "hidden_pools",
         "stored open, yet a pool header lies inside it at file offset " + std::to_string(*hidden) +
             ": only the last pool of a file may be " + "open (were files joined end to end?)");
  }
}

void ChainChecker::CheckUniqueIdentifiers() {
  for (auto const& [identifier, owners] : mOwners) {
    if (owners.size() < 2)
      continue;
    std::string list = owners.front();
    for (std::size_t i = 1; i < owners.size(); ++i)
      list += ", " + owners[i];
    mProblems.push_back(
        CheckProblem{std::string(), std::nullopt, std::nullopt, "duplicate_identifier",
                     "identifier " + Printable(identifier) + " names more than one pool: " + list});
  }
}

void ChainChecker::Note(CheckProblem const& where, char const* kind, std::string const& what) {
  mProblems.push_back(where.With(kind, what));
}

}  // namespace kvtsim_pool

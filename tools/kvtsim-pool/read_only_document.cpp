#include "read_only_document.h"

#include <cctype>
#include <cstdlib>
#include <string_view>

#include "tool_error.h"

namespace kvtsim_pool {

namespace {

// text as a pool index, or -1 when it is not a plain decimal number.
long long ParseIndex(std::string const& text) {
  if (text.empty() || text.size() > 9)
    return -1;
  for (char c : text) {
    if (c < '0' || c > '9')
      return -1;
  }
  return std::atoll(text.c_str());
}

// Identifiers are hexadecimal digits, which a user may type in either case.
bool SameIdentifier(std::string_view stored, std::string const& given) {
  if (stored.size() != given.size())
    return false;
  for (std::size_t i = 0; i < given.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(stored[i])) !=
        std::tolower(static_cast<unsigned char>(given[i])))
      return false;
  }
  return true;
}

}  // namespace

ReadOnlyDocument::ReadOnlyDocument(UserSignature const& signature) : mDocument(signature.Bytes()) {}

void ReadOnlyDocument::Add(std::string const& path) {
  try {
    mFiles.push_back(mDocument.AddFile(KVTString(path.c_str()), KVTSimRpm_Document::AccessRead));
  } catch (KVTBasException const& e) {
    throw ToolError(ErrorSubject(e, path), DescribeError(e));
  }
  mPaths.push_back(path);
}

KVTSimRpm_Pool ReadOnlyDocument::SelectPool(std::size_t i, std::string const& text) const {
  KVTSimRpm_File const& file = File(i);
  unsigned int const count = file.PoolCount();
  long long const index = ParseIndex(text);
  if (index >= 0) {
    // Checked here: the library would report a bad index as a failed check.
    if (index >= static_cast<long long>(count))
      throw ToolError(Path(i),
                      "no pool " + text + ": the file has " + std::to_string(count) + " pools");
    return file.Pool(static_cast<unsigned int>(index));
  }
  if (text.size() == KVTSimRpm_PoolHeader::kEntrySize) {
    for (unsigned int p = 0; p < count; ++p) {
      if (SameIdentifier(file.Pool(p).GetGUID().View(), text))
        return file.Pool(p);
    }
    throw ToolError(Path(i), "no pool has identifier " + text + " in this file (" +
                                 std::to_string(count) + " pools; ls lists them)");
  }
  throw ToolError(Path(i), "no pool '" + text + "': give an index or a 32-character identifier");
}

std::string ReadOnlyDocument::Locate(int slotInMap) const {
  for (std::size_t i = 0; i < mFiles.size(); ++i) {
    for (unsigned int p = 0; p < mFiles[i].PoolCount(); ++p) {
      if (SlotInMap(mFiles[i].Pool(p)) == slotInMap)
        return mPaths[i] + " pool " + std::to_string(p);
    }
  }
  return std::string();
}

int SlotInMap(KVTSimRpm_Pool const& pool) {
  return pool.Start().SlotInMap();
}

}  // namespace kvtsim_pool

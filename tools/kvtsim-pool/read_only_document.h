// ReadOnlyDocument: container files opened read-only together in one
// document, the way the tool's commands look at them.
//
// Nothing is ever written to the files. Pools of all files added find each
// other through the document's pool map, so references between the files
// resolve. The document is destroyed with this object.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_READ_ONLY_DOCUMENT_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_READ_ONLY_DOCUMENT_H_

#include <cstddef>
#include <string>
#include <vector>

#include "KVTSimPoolManager.h"
#include "user_signature.h"

namespace kvtsim_pool {

class ReadOnlyDocument {
 public:
  explicit ReadOnlyDocument(UserSignature const& signature);
  ReadOnlyDocument(ReadOnlyDocument const&) = delete;
  ReadOnlyDocument& operator=(ReadOnlyDocument const&) = delete;

  // Opens path read-only in the document. Raises ToolError naming the file
  // and the error kind when the library refuses it; the document is then
  // unchanged.
  void Add(std::string const& path);

  std::size_t FileCount() const noexcept { return mFiles.size(); }
  KVTSimRpm_File const& File(std::size_t i) const { return mFiles.at(i); }
  std::string const& Path(std::size_t i) const { return mPaths.at(i); }

  // The pool of file i named by text: a decimal index in the file, or the
  // pool's 32-character identifier in either case. Raises ToolError when
  // there is no such pool.
  KVTSimRpm_Pool SelectPool(std::size_t i, std::string const& text) const;

  // "<path> pool <index>" for the pool loaded at map slot slotInMap, or ""
  // when no pool of the document is loaded there.
  std::string Locate(int slotInMap) const;

 private:
  KVTSimRpm_Document mDocument;
  std::vector<KVTSimRpm_File> mFiles;
  std::vector<std::string> mPaths;
};

// The map slot of pool's own directory entry.
int SlotInMap(KVTSimRpm_Pool const& pool);

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_READ_ONLY_DOCUMENT_H_

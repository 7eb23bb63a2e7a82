#include "document_state.h"

#include <exception>
#include <utility>

#include "KVTSimExc.h"
#include "binding_errors.h"
#include "writer_object.h"

namespace kvtsim_python {

namespace {

KVTString ToLibrary(std::string const& text) {
  return KVTString(text.data(), text.size());
}

// Runs step, keeping the first error in first instead of raising it.
template <typename Step>
void Collect(std::exception_ptr& first, Step&& step) {
  try {
    step();
  } catch (...) {
    if (!first)
      first = std::current_exception();
  }
}

}  // namespace

DocumentState::DocumentState(std::string signature)
    : mSignature(std::move(signature)), mDocument(mSignature.c_str()), mClosed(false) {}

DocumentState::~DocumentState() {
  if (mClosed)
    return;
  try {
    Close();
  } catch (...) {
    // Nobody is left to hear about it; Close() reports errors to callers.
  }
}

KVTSimRpm_Document& DocumentState::Handle() {
  RequireOpen();
  return mDocument;
}

void DocumentState::RequireOpen() const {
  if (mClosed)
    throw ClosedError("the document is closed");
}

FileEntry& DocumentState::Open(std::string const& path, KVTSimRpm_Document::AccessMode mode,
                               std::optional<std::vector<KVTSimRpm_Pool>> const& references) {
  KVTSimRpm_File handle = references ? Handle().AddFile(ToLibrary(path), mode, *references)
                                     : Handle().AddFile(ToLibrary(path), mode);
  if (mode == KVTSimRpm_Document::AccessWrite)
    return Adopt(handle, path);
  return Reopened(handle, path);
}

FileEntry& DocumentState::Salvage(std::string const& path, KVTSimRpm_SalvageReport& report) {
  KVTSimRpm_File handle = Handle().AddFileSalvaged(ToLibrary(path), report);
  return Reopened(handle, path);
}

FileEntry& DocumentState::Reopened(KVTSimRpm_File const& handle, std::string const& path) {
  // The library gives back a file it holds already; so do we.
  for (FileEntry* file : OpenFiles()) {
    if (file->SameFileAs(path))
      return *file;
  }
  return Adopt(handle, path);
}

FileEntry& DocumentState::CreateGenerated(
    std::string const& directory, std::string const& stem,
    std::optional<std::vector<KVTSimRpm_Pool>> const& references) {
  KVTSimRpm_File handle =
      references ? Handle().CreateGenerated(ToLibrary(directory), ToLibrary(stem), *references)
                 : Handle().CreateGenerated(ToLibrary(directory), ToLibrary(stem));
  KVTString const name = handle.FileName();
  return Adopt(handle, std::string(name.View()));
}

FileEntry& DocumentState::CreateTemporary(std::string const& directory) {
  KVTSimRpm_File handle = Handle().CreateTemporary(ToLibrary(directory));
  KVTString const name = handle.FileName();
  return Adopt(handle, std::string(name.View()));
}

FileEntry& DocumentState::Adopt(KVTSimRpm_File const& handle, std::string const& path) {
  mFiles.push_back(std::make_unique<FileEntry>(handle, path));
  FileEntry& file = *mFiles.back();
  for (unsigned int i = 0; i < file.Handle().PoolCount(); ++i)
    RecordPool(file, i, -1);
  return file;
}

std::vector<FileEntry*> DocumentState::OpenFiles() const {
  std::vector<FileEntry*> files;
  for (std::unique_ptr<FileEntry> const& file : mFiles) {
    if (!file->Closed())
      files.push_back(file.get());
  }
  return files;
}

void DocumentState::Flush() {
  KVTSimRpm_Document& document = Handle();
  // Pending bytes of the writers belong in the files before they are made durable.
  FlushWriters([](WriterObject const&) { return true; });
  document.Flush();
}

void DocumentState::Close() {
  RequireOpen();
  std::exception_ptr first;
  Collect(first, [&] { CloseWriters([](WriterObject const&) { return true; }); });
  for (FileEntry* file : OpenFiles()) {
    Collect(first, [&] { mDocument.Close(file->Handle()); });
    file->MarkClosed();
  }
  mClosed = true;
  mPools.clear();
  Collect(first, [&] { mDocument.Close(); });
  if (first)
    std::rethrow_exception(first);
}

void DocumentState::CloseFile(FileEntry& file) {
  RequireOpen();
  KVTSimRpm_File& handle = file.Handle();
  std::exception_ptr first;
  Collect(first, [&] {
    CloseWriters([&](WriterObject const& writer) { return WritesInto(writer, file); });
  });
  ForgetPools(file);
  file.MarkClosed();
  Collect(first, [&] { mDocument.Close(handle); });
  if (first)
    std::rethrow_exception(first);
}

void DocumentState::RecordPool(FileEntry& file, unsigned int index, int replacedSlot) {
  if (replacedSlot >= 0)
    mPools.erase(replacedSlot);
  int const slot = file.Handle().Pool(index).Start().SlotInMap();
  mPools[slot] = PoolPlace{&file, index};
}

void DocumentState::ForgetPools(FileEntry& file) {
  KVTSimRpm_File& handle = file.Handle();
  for (unsigned int i = 0; i < handle.PoolCount(); ++i)
    mPools.erase(handle.Pool(i).Start().SlotInMap());
}

std::optional<DocumentState::PoolPlace> DocumentState::FindPool(int slotInMap) const {
  auto found = mPools.find(slotInMap);
  if (found == mPools.end())
    return std::nullopt;
  return found->second;
}

std::uint64_t DocumentState::BytesLeft(KVTSimRpm_Locator const& at) const {
  RequireOpen();
  std::optional<PoolPlace> place = FindPool(at.SlotInMap());
  if (!place) {
    KVTSimExcCantDerefLocator error;
    error.Throw(__FILE__, __LINE__);
  }
  std::uint64_t const length = place->file->Handle().Pool(place->index).Length();
  return at.Offset() < length ? length - at.Offset() : 0;
}

void DocumentState::AddWriter(WriterObject& writer) {
  mWriters.push_back(&writer);
}

void DocumentState::RemoveWriter(WriterObject& writer) {
  for (auto it = mWriters.begin(); it != mWriters.end(); ++it) {
    if (*it == &writer) {
      mWriters.erase(it);
      return;
    }
  }
}

bool DocumentState::HasAppender(int slotInMap) const {
  for (WriterObject const* writer : mWriters) {
    if (writer->IsAppender() && writer->PoolSlot() == slotInMap)
      return true;
  }
  return false;
}

void DocumentState::FlushWriters(std::function<bool(WriterObject const&)> const& which) {
  for (WriterObject* writer : mWriters) {
    if (which(*writer))
      writer->Flush();
  }
}

void DocumentState::CloseWriters(std::function<bool(WriterObject const&)> const& which) {
  std::exception_ptr first;
  // Closing a writer removes it from the list: walk a copy.
  for (WriterObject* writer : std::vector<WriterObject*>(mWriters)) {
    if (which(*writer))
      Collect(first, [&] { writer->Close(); });
  }
  if (first)
    std::rethrow_exception(first);
}

bool DocumentState::WritesInto(WriterObject const& writer, FileEntry const& file) const {
  std::optional<PoolPlace> place = FindPool(writer.PoolSlot());
  return place && place->file == &file;
}

}  // namespace kvtsim_python

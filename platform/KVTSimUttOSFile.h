// KVTSimUttOSFile: one operating-system file, held by value.
//
// The object keeps its own position: Read and WriteAll transfer at it and
// advance it, Seek sets it, and opening or creating leaves it at 0. Every
// failure raises KVTSimUttOSError carrying the operation ("open", "create",
// "read", "write", "seek", "truncate", "stat", "flush" or "close"), the file
// name and the system's error number and text; the object keeps the state it
// had before the call. Interrupted system calls (EINTR) are repeated, except
// close. Every descriptor is opened close-on-exec.
// Operations other than the opens, Close and the accessors on an object that
// is not open raise KVTSimUttOSError with EBADF.
//
// Writer lock. Every open for writing (OpenUpdate, OpenWrite, CreateNew,
// CreateGenerated, CreateTemporary) takes an exclusive, non-blocking
// open-file-description lock on the whole file (fcntl F_OFD_SETLK) before it
// changes a byte, and the lock is released when the object closes the file.
// It covers other processes and other objects of the same process alike: a
// second writer is refused at once with KVTSimUttOSError ("lock", the file's
// name, EAGAIN, "file is locked by another writer"), and the file is left as
// it was (OpenWrite empties it only once the lock is held). OpenRead takes no
// lock. SetWriterLocking(false) turns the lock off for the whole process, for
// file systems without such locks (they refuse the lock, with ENOLCK for
// instance, raised as a "lock" error).
//
// Durability. Flush makes the written data and the file size durable
// (fdatasync). A create that makes a new directory entry (OpenWrite of a name
// that did not exist, CreateNew, CreateGenerated) also makes the entry
// durable (fsync of the directory) before it returns, so that the name
// survives a power loss; temporary files are not synced, being removed at
// close.
//
// REQUIRES: external synchronization. Callers that share one object between
// threads hold Mutex() across each Seek and the transfer that follows it.

#ifndef KVTSIM_PLATFORM_KVTSIMUTTOSFILE_H_
#define KVTSIM_PLATFORM_KVTSIMUTTOSFILE_H_

#include <cstdint>

#include "KVTSimExport.h"
#include "KVTSimUttMutex.h"
#include "KVTString.h"

class KVTSIM_EXPORT KVTSimUttOSFile {
 public:
  KVTSimUttOSFile() noexcept;
  KVTSimUttOSFile(KVTSimUttOSFile const&) = delete;
  KVTSimUttOSFile& operator=(KVTSimUttOSFile const&) = delete;

  // Closes a file still open, dropping any error (call Close to see them).
  ~KVTSimUttOSFile();

  // Opens an existing file for reading only; ReadOnly() is then true.
  // REQUIRES: the object is not open (an assertion checks it).
  void OpenRead(KVTString const& name);

  // Opens an existing file for reading and writing.
  // REQUIRES: the object is not open.
  void OpenUpdate(KVTString const& name);

  // Opens the file for reading and writing, creating it if needed, and
  // truncates it to 0 bytes once the writer lock is held.
  // REQUIRES: the object is not open.
  void OpenWrite(KVTString const& name);

  // Creates the file for reading and writing; raises ("create", EEXIST) when
  // a file of that name exists, which is never touched.
  // REQUIRES: the object is not open.
  void CreateNew(KVTString const& name);

  // Creates a new file for reading and writing, never overwriting one: its
  // name is "<directory>/<stem>" when no such file exists, otherwise
  // "<directory>/<stem>-<n>" for the smallest n from 1 that is free. An
  // empty directory means the current one. The flag is unused (always false).
  // REQUIRES: the object is not open; stem is not empty.
  void CreateGenerated(KVTString const& directory, KVTString const& stem, bool unused);

  // Creates a new file for reading and writing with an unpredictable name
  // "<directory>/kvtsim-XXXXXX" and mode 0600. An empty directory means
  // "/tmp". The file is removed when the object closes it.
  // REQUIRES: the object is not open.
  void CreateTemporary(KVTString const& directory);

  // Reads up to count bytes at the position into buffer; returns how many were
  // read (fewer only at the end of the file, 0 there). Interrupted and
  // partial reads are continued. On failure the position is unchanged and the
  // contents of buffer are unspecified. A transfer that would end beyond the
  // largest file offset raises EOVERFLOW before any system call.
  std::uint64_t Read(char* buffer, std::uint64_t count);

  // Writes all count bytes at the position, or raises. Interrupted and
  // partial writes are continued; a write that accepts no bytes raises EIO.
  // The position advances by count. On failure the position is unchanged, but
  // a leading part of the bytes may already be in the file (and may have
  // grown it). A transfer that would end beyond the largest file offset
  // raises EOVERFLOW before any system call.
  void WriteAll(char const* buffer, std::uint64_t count);

  // Sets the position; it may lie past the end of the file. Makes no system call.
  void Seek(std::uint64_t const& position);

  // Sets the file's size, cutting or extending it with zeros. The position
  // stays where it was. A size beyond the largest file offset raises EOVERFLOW.
  void Truncate(std::uint64_t const& size);

  // The file's size in bytes.
  std::uint64_t FileSize() const;

  // Makes the written data durable (fdatasync). Does nothing on a file opened
  // read-only.
  void Flush();

  // Closes the file (and removes a temporary one). Closing an object that is
  // not open does nothing. The object is closed even when the system reports
  // an error, which is then raised; close is never retried. A temporary file
  // already removed by someone else is not an error. The object may be opened
  // again afterwards.
  void Close();

  // Whether opens for writing take the writer lock (see the class comment);
  // true unless turned off. Process-wide; safe to call from any thread, and
  // takes effect at the next open.
  static void SetWriterLocking(bool enabled) noexcept;
  static bool WriterLocking() noexcept;

  // The name given at open, or the name chosen by a create; it stays after Close.
  KVTString const& FileName() const noexcept { return mName; }
  bool ReadOnly() const noexcept { return mReadOnly; }
  bool IsOpen() const noexcept { return mFd >= 0; }
  std::uint64_t Position() const noexcept { return mPosition; }
  KVTSimUttMutex& Mutex() noexcept { return mMutex; }

 private:
  void Open(KVTString const& name, int flags, bool readOnly);
  void Adopt(int fd, KVTString const& name, bool readOnly, bool removeOnClose);
  // Takes the writer lock on the adopted file; on failure closes it (removing
  // a temporary file) and raises.
  void LockForWriting();
  void RequireOpen(char const* operation) const;

  int mFd;
  KVTString mName;
  bool mReadOnly;
  bool mRemoveOnClose;
  std::uint64_t mPosition;
  KVTSimUttMutex mMutex;
};

#endif  // KVTSIM_PLATFORM_KVTSIMUTTOSFILE_H_

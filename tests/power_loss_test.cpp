// Simulated power losses at the system-call seam (docs/reliability.md): a
// writer runs on an in-memory disk until the power fails, a random subset of
// its unsynced writes survives, one torn, and every committed record must
// read back and the recovered file pass the chain checks. 1,000 crashes by
// default; KVTSIM_POWER_LOSS_SEED, _CRASHES and _FIRST replay others.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "KVTBasException.h"
#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimRpm_ChainWalker.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_FileRecovery.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimRpm_SalvagePlan.h"
#include "KVTSimUttSysCalls.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using Header = KVTSimRpm_PoolHeader;
using kvtsim_test::U32;

// ---------------------------------------------------------------------------
// The in-memory file system.

class MemoryDisk {
 public:
  // One change made since the file was last synced: a write, or a
  // truncation (bytes empty, offset the new size), with what it replaced so
  // that it can be undone: the size before and the bytes it overwrote or cut.
  struct Change {
    bool truncate;
    std::uint64_t offset;
    std::string bytes;
    std::uint64_t sizeBefore = 0;
    std::string replaced;
  };

  struct File {
    std::string seen;  // what reads return; undoing the unsynced changes gives
                       // what survives a power loss
    std::vector<Change> unsynced;
    bool nameDurable = false;
    ino_t inode = 0;
  };

  // The disk the system-call table reaches; null when none is installed.
  static MemoryDisk* gDisk;

  // Installs this disk behind the system-call table until destroyed. After
  // crashAfter more changes and syncs, every call fails with EIO.
  explicit MemoryDisk(long crashAfter) : mChangesLeft(crashAfter) {
    gDisk = this;
    KVTSimUttSysCalls& calls = KVTSimUttSysCalls::Current();
    calls.Open = &Open;
    calls.MkOsTemp = [](char*, int) { return errno = EROFS, -1; };
    calls.PRead = &PRead;
    calls.PWrite = &PWrite;
    calls.FTruncate = &FTruncate;
    calls.FStat = &FStat;
    calls.Stat = &Stat;
    calls.FDataSync = &Sync;
    calls.FSync = &Sync;
    calls.Close = &Close;
    calls.Unlink = &Unlink;
    // One writer at a time: the lock is the writer lock test's business.
    calls.FcntlLock = [](int, int, struct flock*) { return 0; };
  }
  ~MemoryDisk() {
    KVTSimUttSysCalls::Current() = KVTSimUttSysCalls::Real();
    gDisk = nullptr;
  }

  // A file that survived, as its durable bytes.
  void Put(std::string const& path, std::string const& bytes) {
    File& file = NewFile(path);
    file.seen = bytes;
    file.nameDurable = true;
  }

  bool Crashed() const { return mChangesLeft <= 0; }
  File const* Find(std::string const& path) const {
    auto it = mFiles.find(path);
    return it == mFiles.end() ? nullptr : it->second.get();
  }

  // The files as the power loss leaves them: durable bytes, then a random
  // subset of the unsynced changes in their order, one write torn at a
  // 512-byte or 4 KiB boundary. A name never synced survives by chance.
  std::map<std::string, std::string> PowerLoss(std::mt19937_64& rng) const {
    std::map<std::string, std::string> left;
    for (auto const& [path, file] : mFiles) {
      if (!file->nameDurable && rng() % 2 == 0)
        continue;
      std::vector<Change> kept;
      for (Change const& change : file->unsynced) {
        if (rng() % 2 == 0)
          kept.push_back(change);
      }
      Tear(kept, rng);
      std::string bytes = file->seen;
      for (auto it = file->unsynced.rbegin(); it != file->unsynced.rend(); ++it)
        Undo(bytes, *it);
      for (Change const& change : kept)
        Apply(bytes, change);
      left[path] = bytes;
    }
    return left;
  }

 private:
  // Applies change to bytes, noting in it what it replaced.
  static void NoteChange(std::string& bytes, Change& change) {
    change.sizeBefore = bytes.size();
    std::uint64_t const reach =
        change.truncate ? bytes.size() : change.offset + change.bytes.size();
    if (change.offset < bytes.size())
      change.replaced =
          bytes.substr(change.offset, std::min<std::uint64_t>(reach, bytes.size()) - change.offset);
    Apply(bytes, change);
  }

  static void Undo(std::string& bytes, Change const& change) {
    bytes.resize(std::max<std::uint64_t>(bytes.size(), change.offset + change.replaced.size()));
    bytes.replace(change.offset, change.replaced.size(), change.replaced);
    bytes.resize(change.sizeBefore);
  }

  static void Apply(std::string& bytes, Change const& change) {
    if (change.truncate) {
      bytes.resize(change.offset);
      return;
    }
    if (bytes.size() < change.offset + change.bytes.size())
      bytes.resize(change.offset + change.bytes.size());
    bytes.replace(change.offset, change.bytes.size(), change.bytes);
  }

  // Cuts one of the writes at a boundary inside it: the device wrote the
  // sectors on one side of it only.
  static void Tear(std::vector<Change>& kept, std::mt19937_64& rng) {
    std::vector<Change*> writes;
    for (Change& change : kept) {
      if (!change.truncate && change.bytes.size() > 1)
        writes.push_back(&change);
    }
    if (writes.empty())
      return;
    Change& torn = *writes[rng() % writes.size()];
    std::uint64_t const unit = rng() % 2 == 0 ? 512 : 4096;
    std::uint64_t const first = torn.offset / unit + 1;
    std::uint64_t const last = (torn.offset + torn.bytes.size() - 1) / unit;
    if (first > last)
      return;  // within one unit: written whole
    std::uint64_t const boundary = (first + rng() % (last - first + 1)) * unit;
    std::size_t const split = static_cast<std::size_t>(boundary - torn.offset);
    if (rng() % 2 == 0) {
      torn.bytes.resize(split);
    } else {
      torn.bytes.erase(0, split);
      torn.offset = boundary;
    }
  }

  File& NewFile(std::string const& path) {
    auto file = std::make_shared<File>();
    file->inode = ++mInodes;
    mFiles[path] = file;
    return *file;
  }

  // A change or a sync: false (EIO) once the power has failed.
  bool Spend() {
    if (mChangesLeft <= 0)
      return errno = EIO, false;
    --mChangesLeft;
    if (mChangesLeft > 0)
      return true;
    return errno = EIO, false;  // this very call is the moment of the loss
  }

  struct Descriptor {
    std::shared_ptr<File> file;  // null for a directory
    std::string path;
  };

  static std::string DirectoryOf(std::string const& path) {
    std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
  }

  static Descriptor* Described(int fd) {
    auto it = gDisk->mDescriptors.find(fd);
    return it == gDisk->mDescriptors.end() ? nullptr : &it->second;
  }

  static int Open(char const* name, int flags, mode_t) {
    MemoryDisk& disk = *gDisk;
    if (disk.Crashed())
      return errno = EIO, -1;
    std::string const path = name;
    int const fd = disk.mNextFd++;
    if ((flags & O_DIRECTORY) != 0) {
      disk.mDescriptors[fd] = {nullptr, path};
      return fd;
    }
    auto it = disk.mFiles.find(path);
    if (it == disk.mFiles.end()) {
      if ((flags & O_CREAT) == 0)
        return errno = ENOENT, -1;
      disk.NewFile(path);
      it = disk.mFiles.find(path);
    } else if ((flags & O_CREAT) != 0 && (flags & O_EXCL) != 0) {
      return errno = EEXIST, -1;
    }
    if ((flags & O_TRUNC) != 0 && !Make(*it->second, true, 0))
      return -1;
    disk.mDescriptors[fd] = {it->second, path};
    return fd;
  }

  // The file behind fd; null (EBADF) for a directory or an unknown one.
  static File* FileOf(int fd) {
    Descriptor* d = Described(fd);
    return d == nullptr || d->file == nullptr ? (errno = EBADF, nullptr) : d->file.get();
  }

  // Makes change to file, unsynced; false (EIO) once the power has failed.
  static bool Make(File& file, bool truncate, std::uint64_t offset, std::string bytes = "") {
    if (!gDisk->Spend())
      return false;
    Change change{truncate, offset, std::move(bytes), 0, ""};
    NoteChange(file.seen, change);
    file.unsynced.push_back(std::move(change));
    return true;
  }

  static ssize_t PRead(int fd, void* buffer, std::size_t count, off_t offset) {
    File const* file = FileOf(fd);
    if (file == nullptr)
      return -1;
    std::string const& seen = file->seen;
    std::size_t const at = static_cast<std::size_t>(offset);
    if (at >= seen.size())
      return 0;
    std::size_t const n = std::min(count, seen.size() - at);
    std::memcpy(buffer, seen.data() + at, n);
    return static_cast<ssize_t>(n);
  }

  static ssize_t PWrite(int fd, void const* buffer, std::size_t count, off_t offset) {
    File* file = FileOf(fd);
    std::string bytes(static_cast<char const*>(buffer), count);
    bool const made =
        file != nullptr && Make(*file, false, static_cast<std::uint64_t>(offset), bytes);
    return made ? static_cast<ssize_t>(count) : -1;
  }

  static int FTruncate(int fd, off_t size) {
    File* file = FileOf(fd);
    return file != nullptr && Make(*file, true, static_cast<std::uint64_t>(size)) ? 0 : -1;
  }

  // Fills info for file, or fails with missing when there is none.
  static int Fill(File const* file, struct stat* info, int missing) {
    if (file == nullptr)
      return errno = missing, -1;
    std::memset(info, 0, sizeof *info);
    info->st_mode = S_IFREG | 0644;
    info->st_size = static_cast<off_t>(file->seen.size());
    info->st_ino = file->inode;
    info->st_dev = 1;
    return 0;
  }
  static int FStat(int fd, struct stat* info) { return Fill(FileOf(fd), info, EBADF); }
  static int Stat(char const* name, struct stat* info) {
    return Fill(gDisk->Find(name), info, ENOENT);
  }

  static int Sync(int fd) {
    Descriptor* d = Described(fd);
    if (d == nullptr)
      return errno = EBADF, -1;
    if (!gDisk->Spend())
      return -1;
    if (d->file == nullptr) {
      for (auto& [path, file] : gDisk->mFiles) {
        if (DirectoryOf(path) == d->path)
          file->nameDurable = true;
      }
      return 0;
    }
    d->file->unsynced.clear();
    return 0;
  }

  static int Close(int fd) {
    Descriptor* d = Described(fd);
    if (d == nullptr)
      return errno = EBADF, -1;
    gDisk->mDescriptors.erase(fd);
    return 0;
  }

  static int Unlink(char const* name) {
    if (gDisk->mFiles.erase(name) == 0)
      return errno = ENOENT, -1;
    return 0;
  }

  long mChangesLeft;
  std::map<std::string, std::shared_ptr<File>> mFiles;
  std::map<int, Descriptor> mDescriptors;
  int mNextFd = 100000;
  ino_t mInodes = 0;
};

MemoryDisk* MemoryDisk::gDisk = nullptr;

// ---------------------------------------------------------------------------
// Records: magic, number, payload length, payload, checksum.

constexpr std::uint32_t kMagic = 0x52434f52;
constexpr std::uint64_t kRecordHead = 12;
char const kPath[] = "/mem/run.sim";

std::uint32_t Checksum(std::string const& bytes) {
  std::uint32_t sum = 2166136261u;
  for (char c : bytes)
    sum = (sum ^ static_cast<unsigned char>(c)) * 16777619u;
  return sum;
}

std::uint32_t GetU32(char const* p) {
  std::uint32_t v = 0;
  for (int i = 3; i >= 0; --i)
    v = (v << 8) | static_cast<unsigned char>(p[i]);
  return v;
}

std::string Record(std::uint32_t number, std::size_t payload) {
  std::string body = U32(kMagic) + U32(number) + U32(static_cast<std::uint32_t>(payload));
  for (std::size_t i = 0; i < payload; ++i)
    body.push_back(static_cast<char>('a' + (number * 7 + i) % 26));
  return body + U32(Checksum(body));
}

// The records that read back from the pools of file, in order from 0, each
// pool up to its first record that does not: how many.
std::uint32_t CountRecords(KVTSimRpm_File const& file) {
  std::uint32_t next = 0;
  for (unsigned p = 0; p < file.PoolCount(); ++p) {
    KVTSimRpm_Pool pool = file.Pool(p);
    std::uint64_t offset = 0;
    for (;;) {
      char head[kRecordHead];
      if (offset + kRecordHead > pool.Length() ||
          (pool.Start() + offset).Read(kRecordHead, head) < kRecordHead)
        break;
      std::uint32_t const length = GetU32(head + 8);
      std::uint64_t const size = kRecordHead + length + 4;
      if (GetU32(head) != kMagic || GetU32(head + 4) != next || offset + size > pool.Length())
        break;
      std::string bytes(size, '\0');
      if ((pool.Start() + offset).Read(size, &bytes[0]) < size || bytes != Record(next, length))
        break;
      offset += size;
      ++next;
    }
  }
  return next;
}

// True when the loader refuses the file at kPath.
bool LoaderRefuses() {
  try {
    Doc document("USR1");
    document.AddFile(KVTString(kPath), Doc::AccessRead);
    return false;
  } catch (KVTBasException const&) {
    return true;
  }
}

// ---------------------------------------------------------------------------
// The writer, until the power fails.

struct WriterRun {
  std::uint32_t written = 0;    // records written whole
  std::uint32_t committed = 0;  // of them, before the last flush that returned
};

void AppendRecord(KVTSimRpm_File& file, std::uint32_t number, std::mt19937_64& rng) {
  std::string const record = Record(number, 1 + rng() % 700);
  unsigned const chunk = 16 + static_cast<unsigned>(rng() % 300);
  if (rng() % 2 == 0) {
    KVTSimRpm_BStreamAppendToPool out(file.Pool(), chunk);
    out.Write(record.data(), static_cast<unsigned>(record.size()));
    out.Flush();
  } else {
    KVTSimRpm_BStreamWriteLocator out(file.Allocate(record.size()), record.size(), chunk);
    out.Write(record.data(), static_cast<unsigned>(record.size()));
    out.Flush();
  }
}

void Write(WriterRun& run, std::mt19937_64& rng) {
  std::unique_ptr<Doc> document(new Doc("USR1"));
  KVTSimRpm_File file = document->AddFile(KVTString(kPath), Doc::AccessWrite);
  for (int step = 0; step < 400; ++step) {
    unsigned const action = static_cast<unsigned>(rng() % 100);
    if (action < 72) {
      AppendRecord(file, run.written, rng);
      ++run.written;
    } else if (action < 86) {
      if (action % 2 == 0)
        file.Flush();
      else
        document->Flush();
      run.committed = run.written;
    } else if (action < 96) {
      // Now and then space allocated at the end of the pool is never written.
      if (action == 95)
        file.Allocate(1 + rng() % 5000);
      file.NewPool(nullptr);
    } else {
      document->Close();
      run.committed = run.written;
      document.reset(new Doc("USR1"));
      file = document->AddFile(KVTString(kPath), Doc::AccessUpdate);
      if (action % 2 == 0)
        file.NewPool(nullptr);
    }
  }
}

// ---------------------------------------------------------------------------
// One crash and the checks on what it leaves.

struct Tally {
  long crashes = 0;
  long expected = 0;   // records committed
  long recovered = 0;  // of them, read back
  long found = 0;      // records read back in all
  long refused = 0;    // crashes that left a file the loader refuses
  long mended = 0;     // pools the salvage read closed up
  long losses = 0;
};

// Each pool kept before the last must be one the writer froze with exactly
// these bytes: "" when they are, else what is wrong.
std::string CheckSalvage(KVTSimRpm_File const& file, MemoryDisk::File const& written,
                         std::string const& left) {
  for (unsigned p = 0; p + 1 < file.PoolCount(); ++p) {
    KVTSimRpm_PoolDescription const pool = file.Pool(p).Describe();
    std::uint64_t const at = pool.Location();
    std::uint64_t const length = pool.RecordLength();
    if (at + length > left.size() || at + length > written.seen.size() ||
        left.compare(at, length, written.seen, at, length) != 0) {
      return "pool " + std::to_string(p) + " differs from what the writer wrote";
    }
    std::optional<std::uint64_t> stored = Header::Decode(written.seen.data() + at).StoredLength();
    if (!stored || *stored != length)
      return "pool " + std::to_string(p) + " was not frozen with length " + std::to_string(length);
  }
  return "";
}

// The recovered file must hold the salvaged pools and pass what kvtsim-pool
// check verifies; "" when it does, else what is wrong.
std::string CheckRecovered(std::string const& left, KVTSimRpm_SalvageReport const& report,
                           std::vector<std::uint64_t> const& lengths, bool inPlace,
                           std::uint32_t committed) {
  KVTString const out(inPlace ? kPath : "/mem/out.sim");
  if (inPlace)
    KVTSimRpm_FileRecovery::RecoverInPlace(out, "/mem/run.sim.tail", "USR1");
  else
    KVTSimRpm_FileRecovery::RecoverTo(kPath, out, "USR1");
  if (inPlace && report.LeftOut()) {
    MemoryDisk::File const* tail = MemoryDisk::gDisk->Find("/mem/run.sim.tail");
    if (tail == nullptr || tail->seen != left.substr(report.KeptBytes()))
      return "the tail file does not hold the bytes cut";
  }
  Doc reader("USR1");
  KVTSimRpm_File file = reader.AddFile(out, Doc::AccessRead);
  if (file.PoolCount() != lengths.size())
    return "the recovered file holds another number of pools";
  std::string const& bytes = MemoryDisk::gDisk->Find(out.CStr())->seen;
  for (unsigned p = 0; p < file.PoolCount(); ++p) {
    KVTSimRpm_PoolDescription const pool = file.Pool(p).Describe();
    std::uint64_t const data = pool.Location() + pool.HeaderLength();
    std::uint64_t const end = std::min<std::uint64_t>(pool.Location() + lengths[p], left.size());
    bool const last = p + 1 == file.PoolCount();
    if ((!last && pool.RecordLength() != lengths[p]) ||
        bytes.compare(data, end - data, left, data, end - data) != 0)
      return "recovered pool " + std::to_string(p) + " differs from the salvaged one";
  }
  // What kvtsim-pool check verifies of a chain.
  KVTSimRpm_ChainWalker walker(out, "USR1");
  while (walker.Next()) {
    bool const last = walker.End() == walker.FileSize();
    if (walker.Fault() != Header::FaultNone || !walker.Whole() ||
        (walker.Header().StoredOpen() && !last))
      return "the recovered chain is not whole";
  }
  if (walker.StopReason() != KVTSimRpm_ChainWalker::StopChainEnd)
    return "the recovered chain does not end at the end of the file";
  KVTSimRpm_SalvagePlan const again(out, "USR1", {});
  if (again.Report().LeftOut() || again.Report().ClosedUp())
    return "a salvage read of the recovered file still changes it";
  if (CountRecords(file) < committed)
    return "the recovered file lost committed records";
  return "";
}

class PowerLossTest : public testing::Test {
 protected:
  // Fails the test with what went wrong at crash number crash.
  void Loss(std::uint64_t seed, long crash, std::string const& what) {
    ++tally_.losses;
    ADD_FAILURE() << "crash " << crash << ": " << what
                  << "; replay with KVTSIM_POWER_LOSS_SEED=" << seed
                  << " KVTSIM_POWER_LOSS_FIRST=" << crash << " KVTSIM_POWER_LOSS_CRASHES=1";
  }

  void Crash(std::uint64_t seed, long crash);

  Tally tally_;
};

void PowerLossTest::Crash(std::uint64_t seed, long crash) {
  std::seed_seq sequence{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32),
                         static_cast<std::uint32_t>(crash)};
  std::mt19937_64 rng(sequence);
  WriterRun run;
  std::map<std::string, std::string> left;
  MemoryDisk::File written;
  {
    MemoryDisk disk(1 + static_cast<long>(rng() % 600));
    try {
      Write(run, rng);
    } catch (KVTBasException const&) {
      // The power failed: every call after it fails.
    }
    left = disk.PowerLoss(rng);
    if (disk.Find(kPath) != nullptr)
      written = *disk.Find(kPath);
  }
  ++tally_.crashes;
  tally_.expected += run.committed;
  MemoryDisk disk(1L << 40);
  auto const it = left.find(kPath);
  if (it == left.end()) {
    if (run.committed > 0)
      Loss(seed, crash, "the file vanished");
    return;
  }
  disk.Put(kPath, it->second);
  std::string what;
  try {
    Doc reader("USR1");
    KVTSimRpm_SalvageReport report;
    KVTSimRpm_File file = reader.AddFileSalvaged(KVTString(kPath), report);
    std::uint32_t const found = CountRecords(file);
    tally_.found += found;
    tally_.refused += LoaderRefuses();
    tally_.mended += report.PoolsClosedUp();
    tally_.recovered += std::min(found, run.committed);
    if (found < run.committed) {
      what = std::to_string(run.committed - found) + " committed records lost";
    } else if ((what = CheckSalvage(file, written, it->second)).empty()) {
      std::vector<std::uint64_t> lengths;
      for (unsigned p = 0; p < file.PoolCount(); ++p)
        lengths.push_back(file.Pool(p).Describe().RecordLength());
      reader.Close();
      what = CheckRecovered(it->second, report, lengths, crash % 2 == 1, run.committed);
    }
  } catch (KVTBasException const& e) {
    what = e.DeveloperReport(KVTBasStringModeFull).CStr();
  }
  if (!what.empty())
    Loss(seed, crash, what);
}

long EnvOr(char const* name, long fallback) {
  char const* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? std::strtol(value, nullptr, 10) : fallback;
}

}  // namespace

TEST_F(PowerLossTest, EveryCommittedRecordSurvivesAndRecoveredFilesLoad) {
  std::uint64_t const seed = static_cast<std::uint64_t>(EnvOr("KVTSIM_POWER_LOSS_SEED", 20260601));
  long const crashes = EnvOr("KVTSIM_POWER_LOSS_CRASHES", 1000);
  long const first = EnvOr("KVTSIM_POWER_LOSS_FIRST", 0);
  for (long crash = first; crash < first + crashes; ++crash)
    Crash(seed, crash);
  std::printf(
      "power loss: seed %llu: %ld crashes simulated, %ld records expected, %ld recovered "
      "(%ld found in all), %ld files refused by the loader, %ld pools closed up, %ld losses\n",
      static_cast<unsigned long long>(seed), tally_.crashes, tally_.expected, tally_.recovered,
      tally_.found, tally_.refused, tally_.mended, tally_.losses);
  EXPECT_EQ(tally_.crashes, crashes);
  EXPECT_GT(tally_.expected, 0);
}

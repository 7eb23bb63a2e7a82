// Writers killed with SIGKILL at random moments (docs/reliability.md): each
// child reports through a pipe the record count of every flush that returned;
// after the kill the file must open with records 0, 1, 2, ... including every
// committed one, and a salvage read must find the same. Later writers of a
// chain reopen the file for update and go on after the last record found.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <thread>

#include "KVTBasException.h"
#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_FileRecovery.h"
#include "kvtsim_test_util.h"

namespace {

using Doc = KVTSimRpm_Document;

constexpr int kMagic = 0x4b524543;
constexpr int kChains = 12;
constexpr int kWritersPerChain = 5;  // kill points: kChains x kWritersPerChain
constexpr int kRecordsPerPool = 40;
constexpr int kRecordsPerWriter = 5000;  // then the writer idles until killed
constexpr int kMaxDelayMicros = 30000;

std::string Text(int index) {
  std::string text(static_cast<std::size_t>(index % 61), '\0');
  for (std::size_t i = 0; i < text.size(); ++i)
    text[i] = static_cast<char>('a' + (index + static_cast<int>(i)) % 26);
  return text;
}

int Checksum(int index) {
  std::uint32_t sum = 2166136261u;
  for (char c : Text(index) + std::to_string(index))
    sum = (sum ^ static_cast<unsigned char>(c)) * 16777619u;
  return static_cast<int>(sum);
}

// Bytes of record index: magic, index, stored text, locator, checksum.
std::uint64_t RecordSize(int index) {
  return 4 + 4 + 4 + ((Text(index).size() + 3) & ~std::size_t{3}) + 12 + 4;
}

// A record; previous is the start of the record before it in the same pool,
// null for a pool's first record.
void WriteRecord(KVTSimRpm_BStreamWrite& out, int index, KVTSimRpm_Locator const& previous) {
  Externalize(out, kMagic);
  Externalize(out, index);
  out.Write(KVTString(Text(index).c_str()));
  Externalize(out, previous);
  Externalize(out, Checksum(index));
}

bool SameAddress(KVTSimRpm_Locator const& a, KVTSimRpm_Locator const& b) {
  return a.Null() ? b.Null()
                  : !b.Null() && a.SlotInMap() == b.SlotInMap() && a.Offset() == b.Offset();
}

// True when record index reads back whole at the stream's position.
bool ReadRecord(KVTSimRpm_BStreamRead& in, int index, KVTSimRpm_Locator const& previous) {
  try {
    int magic = 0;
    int number = -1;
    int check = 0;
    KVTString text;
    KVTSimRpm_Locator back;
    Internalize(in, magic);
    Internalize(in, number);
    if (magic != kMagic || number != index)
      return false;
    in.Read(text);
    Internalize(in, back);
    Internalize(in, check);
    return std::string(text.View()) == Text(index) && SameAddress(back, previous) &&
           check == Checksum(index);
  } catch (KVTBasException const&) {
    return false;  // a torn record: the stream ends first, or a reference is bad
  }
}

// The records that read back, pool by pool, each pool up to its first torn
// record; returns how many there are in sequence from record 0.
int CountRecords(KVTSimRpm_File const& file) {
  int next = 0;
  for (unsigned int p = 0; p < file.PoolCount(); ++p) {
    KVTSimRpm_Pool pool = file.Pool(p);
    KVTSimRpm_BStreamReadLocator in(pool.Start(), pool.Length(), 256);
    std::uint64_t offset = 0;
    KVTSimRpm_Locator previous;
    while (offset + RecordSize(next) <= pool.Length() && ReadRecord(in, next, previous)) {
      previous = pool.Start() + offset;
      offset += RecordSize(next);
      ++next;
    }
  }
  return next;
}

// Appends one record to pool, through either kind of stream.
void AppendRecord(KVTSimRpm_Pool const& pool, int index, KVTSimRpm_Locator const& previous) {
  if (index % 2 == 0) {
    KVTSimRpm_BStreamAppendToPool out(pool, 64);
    WriteRecord(out, index, previous);
    out.Flush();
    return;
  }
  KVTSimRpm_Pool grown = pool;
  KVTSimRpm_Locator at = grown.Allocate(RecordSize(index));
  KVTSimRpm_BStreamWriteLocator out(at, RecordSize(index), 32);
  WriteRecord(out, index, previous);
  out.Flush();
}

// The writer process: writes records from next on, and flushes, until killed.
[[noreturn]] void RunWriter(std::string const& path, int next, int progress, unsigned seed) {
  try {
    std::mt19937 rng(seed);
    bool resume = access(path.c_str(), F_OK) == 0;
    Doc document("USR1");
    KVTSimRpm_File file =
        document.AddFile(KVTString(path.c_str()), resume ? Doc::AccessUpdate : Doc::AccessWrite);
    if (resume)
      file.NewPool(nullptr);
    KVTSimRpm_Locator previous;
    int inPool = 0;
    for (int written = 0; written < kRecordsPerWriter; ++written, ++next) {
      if (inPool == kRecordsPerPool) {
        file.NewPool(nullptr);
        previous = KVTSimRpm_Locator();
        inPool = 0;
      }
      KVTSimRpm_Locator start = file.Pool().End();
      AppendRecord(file.Pool(), next, previous);
      previous = start;
      ++inPool;
      if (rng() % 4 == 0) {
        if (rng() % 2 == 0)
          file.Flush();
        else
          document.Flush();
        int const committed = next + 1;
        if (write(progress, &committed, sizeof committed) != sizeof committed)
          _exit(4);
      }
    }
  } catch (KVTBasException const& e) {
    std::fprintf(stderr, "writer: %s\n", e.DeveloperReport(KVTBasStringModeFull).CStr());
    _exit(3);
  }
  for (;;)
    pause();
}

// A directory on a memory file system when there is one: flushes there
// cost nothing, and a kill leaves the same bytes behind as on a disk.
class ScratchDir {
 public:
  ScratchDir() {
    struct stat info;
    std::string base = stat("/dev/shm", &info) == 0 && S_ISDIR(info.st_mode) ? "/dev/shm" : "/tmp";
    std::string pattern = base + "/kvtsim-crash-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr)
      std::abort();
    path_ = pattern;
  }
  ~ScratchDir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
  std::string File(int chain) const { return path_ + "/chain-" + std::to_string(chain) + ".sim"; }

 private:
  std::string path_;
};

class CrashSurvivalTest : public testing::Test {
 protected:
  // Starts a writer at record next, kills it after delay; returns its
  // committed count, or -1 when it ended by itself (a failure, reported on
  // its standard error).
  static int KillWriterAfter(std::string const& path, int next, unsigned seed, int delayMicros) {
    int fds[2];
    if (pipe(fds) != 0)
      std::abort();
    pid_t pid = fork();
    if (pid < 0)
      std::abort();  // kill(-1) below would reach every process of the user
    if (pid == 0) {
      close(fds[0]);
      RunWriter(path, next, fds[1], seed);
    }
    close(fds[1]);
    std::this_thread::sleep_for(std::chrono::microseconds(delayMicros));
    kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    int committed = 0;
    int value = 0;
    while (read(fds[0], &value, sizeof value) == sizeof value)
      committed = value;
    close(fds[0]);
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL ? committed : -1;
  }

  // The records that read back from what the killed writer left. A kill
  // inside the write of a new header can leave it cut, which the loader
  // refuses: then the file is recovered in place, as the salvage read found.
  static int RecordsOnDisk(std::string const& path) {
    if (access(path.c_str(), F_OK) != 0)
      return 0;  // killed before it created the file
    int const salvaged = RecordsIn(path, true);
    try {
      int const found = RecordsIn(path, false);
      EXPECT_EQ(found, salvaged) << "the salvage read of a whole file differs";
      return found;
    } catch (KVTBasException const&) {
      std::string const tail = path + ".tail";
      KVTSimRpm_FileRecovery const recovery = KVTSimRpm_FileRecovery::RecoverInPlace(
          KVTString(path.c_str()), KVTString(tail.c_str()), "USR1");
      std::printf("refused by the loader (%s at %llu): recovered in place, %llu bytes dropped\n",
                  recovery.Report().Reason().c_str(),
                  static_cast<unsigned long long>(recovery.Report().FirstLeftOutOffset()),
                  static_cast<unsigned long long>(recovery.Report().BytesLeftOut()));
      std::remove(tail.c_str());
      int const found = RecordsIn(path, false);
      EXPECT_EQ(found, salvaged) << "recovery gave back other records than the salvage read";
      return found;
    }
  }

  // The records that read back through the loader, or the salvage read.
  static int RecordsIn(std::string const& path, bool salvaged) {
    Doc reader("USR1");
    KVTSimRpm_SalvageReport report;
    KVTString const name(path.c_str());
    return CountRecords(salvaged ? reader.AddFileSalvaged(name, report)
                                 : reader.AddFile(name, Doc::AccessRead));
  }
};

}  // namespace

TEST_F(CrashSurvivalTest, KilledWritersLeaveFilesThatOpenWithEveryCommittedRecord) {
  ScratchDir dir;
  std::mt19937 rng(20240607);
  int kills = 0;
  int killsWithCommits = 0;
  long verified = 0;
  for (int chain = 0; chain < kChains; ++chain) {
    std::string path = dir.File(chain);
    int committed = 0;
    int found = 0;
    for (int writer = 0; writer < kWritersPerChain; ++writer) {
      int delay = static_cast<int>(rng() % kMaxDelayMicros);
      int reported = KillWriterAfter(path, found, static_cast<unsigned>(rng()), delay);
      ASSERT_GE(reported, 0) << "writer " << writer << " of chain " << chain << " failed";
      committed = reported > committed ? reported : committed;
      try {
        found = RecordsOnDisk(path);
      } catch (KVTBasException const& e) {
        FAIL() << "chain " << chain << ", kill " << writer << " after " << delay
               << " us: " << e.DeveloperReport(KVTBasStringModeFull).CStr();
      }
      EXPECT_GE(found, committed) << "chain " << chain << ", kill " << writer;
      ++kills;
      killsWithCommits += reported > 0;
      verified += committed;
    }
  }
  std::printf("%d kills, %d after a commit, %ld committed records verified\n", kills,
              killsWithCommits, verified);
  EXPECT_GE(kills, 50);
}

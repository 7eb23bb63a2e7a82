// Throughput of the binary streams, of pool copying and of opening a file,
// each beside a hand-written POSIX baseline that does the same work on the
// same bytes in the same run.
//
// Figures (library / baseline):
//  1 append:       1 KiB records through KVTSimRpm_BStreamAppendToPool
//                  (chunk 256 KiB) / the same records gathered into a
//                  256 KiB buffer and written with write(2).
//  2 read_bulk:    whole records through KVTSimRpm_BStreamReadLocator /
//                  pread(2) of 256 KiB blocks and memcpy of each record.
//  2 read_fields:  PrepRead(4) + InternalizeScalar per field / a buffered
//                  decoder over 256 KiB pread(2) blocks.
//  3 write_fields: PrepWrite(4) + ExternalizeScalar through a locator write
//                  stream / a buffered encoder writing 256 KiB blocks.
//  4 append_pool:  KVTSimRpm_File::AppendPool of the pool written by figure 1
//                  / pread(2) and write(2) of the same byte range in 256 KiB
//                  blocks.
//  5 open/N:       KVTSimRpm_Document::AddFile (read-only) of a file of N
//                  pools / one pread(2) of each 48-byte header and one of
//                  each directory. open_fresh/N times the same in a new
//                  process each time (this program run with --open-once).
//  6 read_array:   InternalizeArray of the whole data pool as one array of
//                  doubles through KVTSimRpm_BStreamReadLocator (chunk
//                  256 KiB) / pread(2) of 256 KiB blocks and memcpy of each
//                  into the same destination array.
//  7 write_array:  ExternalizeArray of one array of doubles through
//                  KVTSimRpm_BStreamAppendToPool (chunk 256 KiB) / memcpy
//                  into a 256 KiB buffer and write(2) of each block.
//  8 read_doubles, write_doubles: Internalize / Externalize of one double
//                  at a time through the locator streams; compared, field
//                  for field, with the 4-byte fields of figures 2 and 3.
//
// Every file lives in a fresh directory under $TMPDIR (or /tmp), removed at
// the end. Nothing is synced on either side, so the files stay in the page
// cache and the figures measure CPU and memory traffic, not the disk (except
// that the library syncs the directory entry of the new file that figure 4
// copies into, one fsync of the directory, and syncs twice for each new pool
// of figure 5's files, which are built untimed). Raw
// baseline files start with an 80-byte block standing in for the pool header
// and its one-entry directory, so both sides write files of the same size at
// the same offsets. Outputs are checked for size and removed after every
// iteration, and the input files are synced once when made, so that no
// writeback of earlier output runs while something is measured.
//
// Size: --bytes=SIZE or KVTSIM_BENCH_BYTES (suffix K, M or G; default 1G).
// Pool counts for figure 5: --pools=LIST or KVTSIM_BENCH_POOLS (default
// "100,1000"). KVTSIM_BENCH_CLOCK=cpu times with the CPU clock instead of
// the wall clock. bench/run-stream-benchmarks prints the figures as a table.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "KVTBasException.h"
#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_File.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Pool.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimRpm_Swapper.h"

namespace {

constexpr std::size_t kChunk = 256 * 1024;
constexpr std::size_t kRecord = 1024;
constexpr std::size_t kFieldsPerRecord = kRecord / 4;
// Pool header and a directory of one entry.
constexpr std::size_t kPoolHeader = KVTSimRpm_PoolHeader::kSize;
constexpr std::size_t kFirstPoolHeader = kPoolHeader + KVTSimRpm_PoolHeader::kEntrySize;
constexpr char kSig[] = "BNCH";

// ---------------------------------------------------------------------------
// Configuration and files.

struct Config {
  std::uint64_t bytes = 1ull << 30;
  std::vector<int> pools = {100, 1000};
  std::string dir;
};

Config& TheConfig() {
  static Config config;
  return config;
}

std::string PathOf(char const* leaf) {
  return TheConfig().dir + "/" + leaf;
}

[[noreturn]] void FailErrno(char const* operation, std::string const& path) {
  throw std::runtime_error(std::string(operation) + " " + path + ": " + std::strerror(errno));
}

int OpenOrFail(std::string const& path, int flags) {
  int fd = ::open(path.c_str(), flags | O_CLOEXEC, 0644);
  if (fd < 0)
    FailErrno("open", path);
  return fd;
}

void CloseOrFail(int fd, std::string const& path) {
  if (::close(fd) != 0)
    FailErrno("close", path);
}

void WriteAll(int fd, char const* data, std::size_t n, std::string const& path) {
  while (n != 0) {
    ssize_t done = ::write(fd, data, n);
    if (done < 0 && errno == EINTR)
      continue;
    if (done <= 0)
      FailErrno("write", path);
    data += done;
    n -= static_cast<std::size_t>(done);
  }
}

// Reads up to n bytes at offset; fewer only at the end of the file.
std::size_t PReadFull(int fd, char* buffer, std::size_t n, std::uint64_t offset,
                      std::string const& path) {
  std::size_t got = 0;
  while (got < n) {
    ssize_t done = ::pread(fd, buffer + got, n - got, static_cast<off_t>(offset + got));
    if (done < 0 && errno == EINTR)
      continue;
    if (done < 0)
      FailErrno("pread", path);
    if (done == 0)
      break;
    got += static_cast<std::size_t>(done);
  }
  return got;
}

std::uint64_t FileSize(std::string const& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0)
    FailErrno("stat", path);
  return static_cast<std::uint64_t>(info.st_size);
}

void Unlink(std::string const& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT)
    FailErrno("unlink", path);
}

void ExpectSize(std::string const& path, std::uint64_t expected) {
  std::uint64_t size = FileSize(path);
  if (size != expected) {
    throw std::runtime_error(path + " has " + std::to_string(size) + " bytes, expected " +
                             std::to_string(expected));
  }
}

// Checks an output file's size, then removes it: its dirty pages would
// otherwise be written back while a later benchmark runs.
void CheckAndRemove(std::string const& path, std::uint64_t expected) {
  ExpectSize(path, expected);
  Unlink(path);
}

// Writes a set-up file through to the disk before anything is measured, for
// the same reason.
void SyncFile(std::string const& path) {
  int fd = OpenOrFail(path, O_RDONLY);
  if (::fsync(fd) != 0)
    FailErrno("fsync", path);
  CloseOrFail(fd, path);
}

// Reads a whole input file before a benchmark uses it. The page cache may
// drop pages that have not been used for a while (some machines reclaim idle
// memory on their own), and a measurement must not include reading them back
// from the disk.
void WarmFile(std::string const& path) {
  int fd = OpenOrFail(path, O_RDONLY);
  std::vector<char> block(4 * kChunk);
  for (std::uint64_t offset = 0;;) {
    std::size_t n = PReadFull(fd, block.data(), block.size(), offset, path);
    if (n == 0)
      break;
    offset += n;
  }
  CloseOrFail(fd, path);
}

// ---------------------------------------------------------------------------
// Timing and errors.

// KVTSIM_BENCH_CLOCK=cpu times with the process's CPU clock instead of the
// wall clock: on a busy machine the wall clock also counts time the process
// spent waiting for a core. Everything timed here runs on the calling thread.
bool CpuClock() {
  static bool const cpu = [] {
    char const* env = std::getenv("KVTSIM_BENCH_CLOCK");
    return env != nullptr && std::strcmp(env, "cpu") == 0;
  }();
  return cpu;
}

class Stopwatch {
 public:
  Stopwatch() : mStart(Now()) {}
  double Seconds() const { return Now() - mStart; }

 private:
  static double Now() {
    timespec now;
    ::clock_gettime(CpuClock() ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
  }

  double mStart;
};

// Runs prepare once, then body once per iteration; body returns the seconds
// it measured. Errors of either side end the benchmark with their report
// instead of the process.
template <typename Prepare, typename Body>
void RunTimed(benchmark::State& state, Prepare prepare, Body body) {
  try {
    prepare();
    for (auto _ : state) {
      state.SetIterationTime(body());
    }
  } catch (KVTBasException const& error) {
    state.SkipWithError(error.DeveloperReport(KVTBasStringModeFull).CStr());
  } catch (std::exception const& error) {
    state.SkipWithError(error.what());
  }
}

template <typename Body>
void RunTimed(benchmark::State& state, Body body) {
  RunTimed(
      state, [] {}, body);
}

void Check(bool ok, char const* what) {
  if (!ok)
    throw std::runtime_error(what);
}

// kRecord as a number the compiler cannot see: a copy of a constant 1 KiB is
// compiled inline (as "rep movsq" for generic x86-64, markedly slower than
// the C library's memcpy), while the library copies records of run-time
// length with the C library. The baselines copy the same way.
std::size_t OpaqueRecordSize() {
  std::size_t size = kRecord;
  benchmark::DoNotOptimize(size);
  return size;
}

// ---------------------------------------------------------------------------
// The data both sides write: records of 256 little-endian 32-bit fields, a
// fixed pattern with the record's index in field 0.

class Records {
 public:
  Records() {
    for (std::size_t i = 0; i < kFieldsPerRecord; ++i) {
      std::uint32_t v = static_cast<std::uint32_t>(i) * 0x9E3779B1u;
      std::memcpy(mBytes + 4 * i, &v, 4);
    }
  }

  char const* Record(std::uint64_t index) {
    std::uint32_t v = static_cast<std::uint32_t>(index);
    std::memcpy(mBytes, &v, 4);
    return mBytes;
  }

  static std::uint64_t Count() { return TheConfig().bytes / kRecord; }

  // Sum of field 0 over all records.
  static std::uint64_t IndexSum() {
    std::uint64_t sum = 0;
    for (std::uint64_t r = 0; r < Count(); ++r)
      sum += static_cast<std::uint32_t>(r);
    return sum;
  }

  // Sum of every 8-byte word of every record, each taken as unsigned 64-bit
  // (little-endian: field 2k is its low half), modulo 2^64.
  static std::uint64_t WordSum() {
    std::uint64_t pattern = 0;
    for (std::size_t i = 2; i < kFieldsPerRecord; i += 2) {
      pattern += static_cast<std::uint32_t>(i) * 0x9E3779B1u;
      pattern += static_cast<std::uint64_t>(static_cast<std::uint32_t>(i + 1) * 0x9E3779B1u) << 32;
    }
    // Word 0: the index in the low half, field 1's pattern in the high half.
    std::uint64_t const high = static_cast<std::uint64_t>(0x9E3779B1u) << 32;
    return Count() * (pattern + high) + IndexSum();
  }

  // Sum of every field of every record, each taken as unsigned 32-bit.
  static std::uint64_t FieldSum() {
    std::uint64_t pattern = 0;
    for (std::size_t i = 1; i < kFieldsPerRecord; ++i)
      pattern += static_cast<std::uint32_t>(i) * 0x9E3779B1u;
    return Count() * pattern + IndexSum();
  }

 private:
  char mBytes[kRecord];
};

// The library's append of every record to the current pool of a new file.
void AppendRecordsWithLibrary(std::string const& path) {
  KVTSimRpm_Document document(kSig);
  KVTSimRpm_File file = document.AddFile(KVTString(path.c_str()), KVTSimRpm_Document::AccessWrite);
  KVTSimRpm_BStreamAppendToPool stream(file.Pool(), kChunk);
  Records records;
  for (std::uint64_t r = 0; r < Records::Count(); ++r)
    stream.Write(records.Record(r), kRecord);
  stream.Flush();
  // Destroying the document writes nothing: the open pool's stored header
  // already says that its length is the rest of the file.
}

// The file of figure 1's records, written once by the library and read by
// figures 2 and 4.
std::string const& DataFile() {
  static std::string path;
  if (path.empty()) {
    std::string candidate = PathOf("data.sim");
    AppendRecordsWithLibrary(candidate);
    ExpectSize(candidate, kFirstPoolHeader + TheConfig().bytes);
    SyncFile(candidate);
    path = candidate;
  }
  return path;
}

// ---------------------------------------------------------------------------
// Figure 1: appending records.

void AppendLibrary(benchmark::State& state) {
  std::string const path = PathOf("append-lib.sim");
  RunTimed(state, [&] {
    Unlink(path);
    Stopwatch watch;
    AppendRecordsWithLibrary(path);
    double seconds = watch.Seconds();
    CheckAndRemove(path, kFirstPoolHeader + TheConfig().bytes);
    return seconds;
  });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * TheConfig().bytes));
}

void AppendBaseline(benchmark::State& state) {
  std::string const path = PathOf("append-raw.bin");
  std::vector<char> buffer(kChunk);
  RunTimed(state, [&] {
    Unlink(path);
    Stopwatch watch;
    int fd = OpenOrFail(path, O_WRONLY | O_CREAT | O_TRUNC);
    char header[kFirstPoolHeader] = {};
    WriteAll(fd, header, sizeof header, path);
    Records records;
    std::size_t const size = OpaqueRecordSize();
    std::size_t fill = 0;
    for (std::uint64_t r = 0; r < Records::Count(); ++r) {
      if (fill + size > buffer.size()) {
        WriteAll(fd, buffer.data(), fill, path);
        fill = 0;
      }
      std::memcpy(buffer.data() + fill, records.Record(r), size);
      fill += size;
    }
    WriteAll(fd, buffer.data(), fill, path);
    CloseOrFail(fd, path);
    double seconds = watch.Seconds();
    CheckAndRemove(path, kFirstPoolHeader + TheConfig().bytes);
    return seconds;
  });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * TheConfig().bytes));
}

// ---------------------------------------------------------------------------
// Figure 2: reading the records back.

// Reads every record through a locator stream; returns the sum of field 0.
template <typename Consume>
void ReadWithLibrary(Consume consume) {
  KVTSimRpm_Document document(kSig);
  KVTSimRpm_File file =
      document.AddFile(KVTString(DataFile().c_str()), KVTSimRpm_Document::AccessRead);
  KVTSimRpm_Pool pool = file.Pool();
  Check(pool.Length() == TheConfig().bytes, "the data pool has the wrong length");
  KVTSimRpm_BStreamReadLocator stream(pool.Start(), pool.Length(), kChunk);
  consume(stream);
}

// A hand-written buffered reader over the data of the file's first pool:
// it reads the header for the directory size, then 256 KiB blocks.
class RawReader {
 public:
  explicit RawReader(std::string const& path)
      : mPath(path), mFd(OpenOrFail(path, O_RDONLY)), mBlock(kChunk) {
    char header[kPoolHeader];
    Check(PReadFull(mFd, header, sizeof header, 0, mPath) == sizeof header, "short header");
    mOffset = KVTSimRpm_PoolHeader::Decode(header).HeaderLength();
  }
  ~RawReader() { ::close(mFd); }

  // The next block, or an empty one at the end of the file.
  std::size_t Next() {
    std::size_t n = PReadFull(mFd, mBlock.data(), mBlock.size(), mOffset, mPath);
    mOffset += n;
    return n;
  }
  char const* Data() const { return mBlock.data(); }

 private:
  std::string mPath;
  int mFd;
  std::vector<char> mBlock;
  std::uint64_t mOffset;
};

void ReadBulkLibrary(benchmark::State& state) {
  RunTimed(
      state, [] { WarmFile(DataFile()); },
      [&] {
        Stopwatch watch;
        std::uint64_t sum = 0;
        ReadWithLibrary([&](KVTSimRpm_BStreamReadLocator& stream) {
          char record[kRecord];
          for (std::uint64_t r = 0; r < Records::Count(); ++r) {
            stream.Read(record, kRecord);
            std::uint32_t index;
            std::memcpy(&index, record, 4);
            sum += index;
          }
        });
        double seconds = watch.Seconds();
        Check(sum == Records::IndexSum(), "records read back wrong");
        return seconds;
      });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * TheConfig().bytes));
}

void ReadBulkBaseline(benchmark::State& state) {
  RunTimed(
      state, [] { WarmFile(DataFile()); },
      [&] {
        Stopwatch watch;
        std::uint64_t sum = 0;
        RawReader reader(DataFile());
        std::size_t const size = OpaqueRecordSize();
        char record[kRecord];
        for (std::size_t n = reader.Next(); n != 0; n = reader.Next()) {
          for (std::size_t at = 0; at + size <= n; at += size) {
            std::memcpy(record, reader.Data() + at, size);
            benchmark::DoNotOptimize(record);
            std::uint32_t index;
            std::memcpy(&index, record, 4);
            sum += index;
          }
        }
        double seconds = watch.Seconds();
        Check(sum == Records::IndexSum(), "records read back wrong");
        return seconds;
      });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * TheConfig().bytes));
}

void ReadFieldsLibrary(benchmark::State& state) {
  std::uint64_t const fields = TheConfig().bytes / 4;
  RunTimed(
      state, [] { WarmFile(DataFile()); },
      [&] {
        Stopwatch watch;
        std::uint64_t sum = 0;
        ReadWithLibrary([&](KVTSimRpm_BStreamReadLocator& stream) {
          for (std::uint64_t i = 0; i < fields; ++i) {
            unsigned int value;
            KVTSimRpm_Swapper::InternalizeScalar(stream.PrepRead(4), value);
            sum += value;
          }
        });
        double seconds = watch.Seconds();
        Check(sum == Records::FieldSum(), "fields read back wrong");
        return seconds;
      });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * TheConfig().bytes));
}

// A hand-written buffered decoder: a cursor over a 256 KiB block, refilled
// with pread(2) when a field does not fit.
class RawDecoder {
 public:
  explicit RawDecoder(std::string const& path) : mReader(path) {}

  bool Next(std::uint32_t& value) {
    if (mEnd - mCursor < 4 && !Refill())
      return false;
    std::memcpy(&value, mCursor, 4);
    mCursor += 4;
    return true;
  }

 private:
  bool Refill() {
    // Records are whole fields, so a block never ends inside one.
    std::size_t n = mReader.Next();
    mCursor = mReader.Data();
    mEnd = mCursor + n;
    return n >= 4;
  }

  RawReader mReader;
  char const* mCursor = nullptr;
  char const* mEnd = nullptr;
};

void ReadFieldsBaseline(benchmark::State& state) {
  RunTimed(
      state, [] { WarmFile(DataFile()); },
      [&] {
        Stopwatch watch;
        std::uint64_t sum = 0;
        RawDecoder decoder(DataFile());
        for (std::uint32_t value; decoder.Next(value);)
          sum += value;
        double seconds = watch.Seconds();
        Check(sum == Records::FieldSum(), "fields read back wrong");
        return seconds;
      });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * TheConfig().bytes));
}

// ---------------------------------------------------------------------------
// Figure 3: serialising fields.

void WriteFieldsLibrary(benchmark::State& state) {
  std::string const path = PathOf("fields-lib.sim");
  std::uint64_t const bytes = TheConfig().bytes;
  RunTimed(state, [&] {
    Unlink(path);
    Stopwatch watch;
    {
      KVTSimRpm_Document document(kSig);
      KVTSimRpm_File file =
          document.AddFile(KVTString(path.c_str()), KVTSimRpm_Document::AccessWrite);
      KVTSimRpm_BStreamWriteLocator stream(file.Allocate(bytes), bytes, kChunk);
      for (std::uint64_t i = 0; i < bytes / 4; ++i) {
        unsigned int value = static_cast<unsigned int>(i);
        KVTSimRpm_Swapper::ExternalizeScalar(stream.PrepWrite(4), value);
      }
      stream.Flush();
    }
    double seconds = watch.Seconds();
    CheckAndRemove(path, kFirstPoolHeader + bytes);
    return seconds;
  });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

// A hand-written buffered encoder: a cursor over a 256 KiB block, written
// with write(2) when a field does not fit.
class RawEncoder {
 public:
  RawEncoder(int fd, std::string const& path)
      : mFd(fd), mPath(path), mBlock(kChunk), mCursor(mBlock.data()), mEnd(mCursor + kChunk) {}

  void Put(std::uint32_t value) {
    if (mEnd - mCursor < 4)
      Flush();
    std::memcpy(mCursor, &value, 4);
    mCursor += 4;
  }

  void Flush() {
    WriteAll(mFd, mBlock.data(), static_cast<std::size_t>(mCursor - mBlock.data()), mPath);
    mCursor = mBlock.data();
  }

 private:
  int mFd;
  std::string const& mPath;
  std::vector<char> mBlock;
  char* mCursor;
  char* mEnd;
};

void WriteFieldsBaseline(benchmark::State& state) {
  std::string const path = PathOf("fields-raw.bin");
  std::uint64_t const bytes = TheConfig().bytes;
  RunTimed(state, [&] {
    Unlink(path);
    Stopwatch watch;
    int fd = OpenOrFail(path, O_WRONLY | O_CREAT | O_TRUNC);
    char header[kFirstPoolHeader] = {};
    WriteAll(fd, header, sizeof header, path);
    RawEncoder encoder(fd, path);
    for (std::uint64_t i = 0; i < bytes / 4; ++i)
      encoder.Put(static_cast<std::uint32_t>(i));
    encoder.Flush();
    CloseOrFail(fd, path);
    double seconds = watch.Seconds();
    CheckAndRemove(path, kFirstPoolHeader + bytes);
    return seconds;
  });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

// ---------------------------------------------------------------------------
// Figure 4: copying a pool.

void AppendPoolLibrary(benchmark::State& state) {
  std::string const path = PathOf("copy-lib.sim");
  std::uint64_t const record = kFirstPoolHeader + TheConfig().bytes;
  KVTSimRpm_Document source(kSig);
  RunTimed(
      state, [] { WarmFile(DataFile()); },
      [&] {
        // Opened by the first iteration; later ones get the same file back.
        KVTSimRpm_File sourceFile =
            source.AddFile(KVTString(DataFile().c_str()), KVTSimRpm_Document::AccessRead);
        Unlink(path);
        Stopwatch watch;
        {
          KVTSimRpm_Document target(kSig);
          KVTSimRpm_File file =
              target.AddFile(KVTString(path.c_str()), KVTSimRpm_Document::AccessWrite);
          file.AppendPool(sourceFile.Pool());
        }
        double seconds = watch.Seconds();
        CheckAndRemove(path, record);
        return seconds;
      });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * record));
}

void AppendPoolBaseline(benchmark::State& state) {
  std::string const path = PathOf("copy-raw.bin");
  std::uint64_t const record = kFirstPoolHeader + TheConfig().bytes;
  std::vector<char> block(kChunk);
  std::string from;
  int source = -1;
  auto prepare = [&] {
    from = DataFile();
    WarmFile(from);
    source = OpenOrFail(from, O_RDONLY);
  };
  RunTimed(state, prepare, [&] {
    Unlink(path);
    Stopwatch watch;
    int fd = OpenOrFail(path, O_WRONLY | O_CREAT | O_TRUNC);
    for (std::uint64_t done = 0; done < record;) {
      std::size_t n = PReadFull(source, block.data(),
                                std::min<std::uint64_t>(kChunk, record - done), done, from);
      Check(n != 0, "source ended early");
      WriteAll(fd, block.data(), n, path);
      done += n;
    }
    CloseOrFail(fd, path);
    double seconds = watch.Seconds();
    CheckAndRemove(path, record);
    return seconds;
  });
  if (source >= 0)
    ::close(source);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * record));
}

// ---------------------------------------------------------------------------
// Figure 5: opening a file of many pools.

// A file of count pools with a few data bytes each; pool k's directory lists
// k + 1 entries. Built once per count.
std::string const& PoolsFile(int count) {
  static std::map<int, std::string> built;
  std::string& path = built[count];
  if (!path.empty())
    return path;
  std::string candidate = PathOf(("pools-" + std::to_string(count) + ".sim").c_str());
  KVTSimRpm_Document document(kSig);
  KVTSimRpm_File file =
      document.AddFile(KVTString(candidate.c_str()), KVTSimRpm_Document::AccessWrite);
  char const data[16] = "sixteen bytes..";
  for (int k = 0; k < count; ++k) {
    // A new pool replaces an empty current pool, so each one gets data first.
    if (k != 0)
      file.NewPool(nullptr);
    file.Allocate(sizeof data).Write(sizeof data, data);
  }
  document.Close();
  path = candidate;
  return path;
}

// Times the library's read-only open of path; returns its pool count.
unsigned OpenWithLibrary(std::string const& path, double& seconds) {
  std::unique_ptr<KVTSimRpm_Document> document;
  Stopwatch watch;
  document = std::make_unique<KVTSimRpm_Document>(kSig);
  KVTSimRpm_File file = document->AddFile(KVTString(path.c_str()), KVTSimRpm_Document::AccessRead);
  seconds = watch.Seconds();
  // The document is destroyed untimed: the figure is the open.
  return file.PoolCount();
}

// Walks the chain as the library does: each header gives the entry count and
// the stored length (0 for the open last pool: the rest of the file).
std::uint64_t ReadChain(int fd, std::string const& path, std::vector<char>& directory) {
  struct stat info;
  if (::fstat(fd, &info) != 0)
    FailErrno("fstat", path);
  std::uint64_t const size = static_cast<std::uint64_t>(info.st_size);
  std::uint64_t pools = 0;
  for (std::uint64_t offset = 0; offset < size; ++pools) {
    char bytes[kPoolHeader];
    Check(PReadFull(fd, bytes, sizeof bytes, offset, path) == sizeof bytes, "short header");
    KVTSimRpm_PoolHeader const header = KVTSimRpm_PoolHeader::Decode(bytes);
    Check(header.CheckLayout(offset, size) == KVTSimRpm_PoolHeader::FaultNone, "bad header");
    directory.resize(header.HeaderLength() - kPoolHeader);
    Check(PReadFull(fd, directory.data(), directory.size(), offset + kPoolHeader, path) ==
              directory.size(),
          "short directory");
    offset += header.RecordLength(offset, size);
  }
  return pools;
}

// Times the baseline's walk over the headers and directories of path.
unsigned OpenWithReads(std::string const& path, std::vector<char>& directory, double& seconds) {
  Stopwatch watch;
  int fd = OpenOrFail(path, O_RDONLY);
  std::uint64_t pools = ReadChain(fd, path, directory);
  seconds = watch.Seconds();
  ::close(fd);
  return static_cast<unsigned>(pools);
}

void SetOpenCounters(benchmark::State& state, int count) {
  state.counters["pools"] = count;
  state.counters["directory_entries"] = count * (count + 1.0) / 2.0;
}

// The pools file of count pools, read through once.
std::string const& WarmPoolsFile(int count) {
  std::string const& path = PoolsFile(count);
  WarmFile(path);
  return path;
}

void OpenLibrary(benchmark::State& state, int count) {
  std::string path;
  RunTimed(
      state, [&] { path = WarmPoolsFile(count); },
      [&] {
        double seconds = 0;
        Check(OpenWithLibrary(path, seconds) == static_cast<unsigned>(count), "wrong pool count");
        return seconds;
      });
  SetOpenCounters(state, count);
}

void OpenBaseline(benchmark::State& state, int count) {
  std::string path;
  std::vector<char> directory;
  RunTimed(
      state, [&] { path = WarmPoolsFile(count); },
      [&] {
        double seconds = 0;
        Check(OpenWithReads(path, directory, seconds) == static_cast<unsigned>(count),
              "wrong pool count");
        return seconds;
      });
  SetOpenCounters(state, count);
}

// The repeated opens above run with a warm allocator: the heap already holds
// blocks as large as the reference matrix. A program that opens one file
// right after it starts pays for fresh memory as well, so each side is also
// timed in a new process: this program run again with --open-once.
constexpr char kOpenOnce[] = "--open-once=";

// Child side: "--open-once=library:PATH" or "--open-once=baseline:PATH".
// Prints the seconds and the pool count.
int OpenOnce(std::string const& spec) {
  std::size_t colon = spec.find(':');
  std::string side = spec.substr(0, colon);
  std::string path = spec.substr(colon + 1);
  double seconds = 0;
  unsigned pools = 0;
  try {
    std::vector<char> directory;
    pools = side == "library" ? OpenWithLibrary(path, seconds)
                              : OpenWithReads(path, directory, seconds);
  } catch (KVTBasException const& error) {
    std::fprintf(stderr, "%s\n", error.DeveloperReport(KVTBasStringModeFull).CStr());
    return 1;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  std::printf("%.9f %u\n", seconds, pools);
  return 0;
}

// Parent side: runs the child and returns the seconds it measured.
double OpenInFreshProcess(char const* side, std::string const& path, int count) {
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0)
    FailErrno("pipe", path);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
  std::string arg = std::string(kOpenOnce) + side + ":" + path;
  char self[] = "/proc/self/exe";
  char* argv[] = {self, &arg[0], nullptr};
  pid_t pid = -1;
  int spawned = ::posix_spawn(&pid, self, &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipe[1]);
  std::string output;
  char chunk[256];
  for (ssize_t n; spawned == 0 && (n = ::read(pipe[0], chunk, sizeof chunk)) > 0;)
    output.append(chunk, static_cast<std::size_t>(n));
  ::close(pipe[0]);
  int status = 0;
  if (spawned != 0 || ::waitpid(pid, &status, 0) != pid || status != 0)
    throw std::runtime_error(std::string("the --open-once child failed for ") + path);
  double seconds = 0;
  unsigned pools = 0;
  Check(std::sscanf(output.c_str(), "%lf %u", &seconds, &pools) == 2, "bad child output");
  Check(pools == static_cast<unsigned>(count), "wrong pool count");
  return seconds;
}

void OpenFresh(benchmark::State& state, int count, char const* side) {
  std::string path;
  RunTimed(
      state, [&] { path = WarmPoolsFile(count); },
      [&] { return OpenInFreshProcess(side, path, count); });
  SetOpenCounters(state, count);
}

// ---------------------------------------------------------------------------
// Figures 6 to 8: arrays and fields of doubles.

// A destination or source array of the benchmark's size in doubles, touched
// once so that no iteration pays for first-touch page faults.
std::vector<double> TouchedDoubles() {
  std::vector<double> values(TheConfig().bytes / sizeof(double));
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = static_cast<double>(i) * 0.5;
  return values;
}

// Checks an array read from the data file: each record's field 0 is its
// index, in the low 4 bytes of the record's first double.
void CheckRecordsIn(std::vector<double> const& values) {
  std::size_t const perRecord = kRecord / sizeof(double);
  for (std::uint64_t r = 0; r < Records::Count(); r += 4099) {
    std::uint32_t index;
    std::memcpy(&index, &values[r * perRecord], 4);
    Check(index == static_cast<std::uint32_t>(r), "array read back wrong");
  }
}

void ReadArrayLibrary(benchmark::State& state) {
  std::vector<double> values;
  RunTimed(
      state,
      [&] {
        WarmFile(DataFile());
        values = TouchedDoubles();
      },
      [&] {
        Stopwatch watch;
        ReadWithLibrary([&](KVTSimRpm_BStreamReadLocator& stream) {
          InternalizeArray(stream, values.data(), values.size());
        });
        double seconds = watch.Seconds();
        CheckRecordsIn(values);
        return seconds;
      });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * TheConfig().bytes));
}

void ReadArrayBaseline(benchmark::State& state) {
  std::vector<double> values;
  RunTimed(
      state,
      [&] {
        WarmFile(DataFile());
        values = TouchedDoubles();
      },
      [&] {
        Stopwatch watch;
        RawReader reader(DataFile());
        char* to = reinterpret_cast<char*>(values.data());
        for (std::size_t n = reader.Next(); n != 0; n = reader.Next()) {
          std::memcpy(to, reader.Data(), n);
          to += n;
        }
        double seconds = watch.Seconds();
        Check(to == reinterpret_cast<char*>(values.data() + values.size()), "short read");
        CheckRecordsIn(values);
        return seconds;
      });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * TheConfig().bytes));
}

void WriteArrayLibrary(benchmark::State& state) {
  std::string const path = PathOf("array-lib.sim");
  std::vector<double> values;
  RunTimed(
      state, [&] { values = TouchedDoubles(); },
      [&] {
        Unlink(path);
        Stopwatch watch;
        {
          KVTSimRpm_Document document(kSig);
          KVTSimRpm_File file =
              document.AddFile(KVTString(path.c_str()), KVTSimRpm_Document::AccessWrite);
          KVTSimRpm_BStreamAppendToPool stream(file.Pool(), kChunk);
          ExternalizeArray(stream, values);
          stream.Flush();
        }
        double seconds = watch.Seconds();
        CheckAndRemove(path, kFirstPoolHeader + TheConfig().bytes);
        return seconds;
      });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * TheConfig().bytes));
}

void WriteArrayBaseline(benchmark::State& state) {
  std::string const path = PathOf("array-raw.bin");
  std::vector<double> values;
  std::vector<char> buffer(kChunk);
  RunTimed(
      state, [&] { values = TouchedDoubles(); },
      [&] {
        Unlink(path);
        Stopwatch watch;
        int fd = OpenOrFail(path, O_WRONLY | O_CREAT | O_TRUNC);
        char header[kFirstPoolHeader] = {};
        WriteAll(fd, header, sizeof header, path);
        char const* from = reinterpret_cast<char const*>(values.data());
        for (std::size_t left = values.size() * sizeof(double); left != 0;) {
          std::size_t const n = std::min(left, buffer.size());
          std::memcpy(buffer.data(), from, n);
          WriteAll(fd, buffer.data(), n, path);
          from += n;
          left -= n;
        }
        CloseOrFail(fd, path);
        double seconds = watch.Seconds();
        CheckAndRemove(path, kFirstPoolHeader + TheConfig().bytes);
        return seconds;
      });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * TheConfig().bytes));
}

// Figure 8 compares these with the 4-byte fields of figures 2 and 3, field
// for field: the same calls per field, twice the bytes.
void ReadDoublesLibrary(benchmark::State& state) {
  std::uint64_t const fields = TheConfig().bytes / sizeof(double);
  RunTimed(
      state, [] { WarmFile(DataFile()); },
      [&] {
        Stopwatch watch;
        // Summed as bits: a chain of floating-point additions would cost more
        // than the integer sum of the 4-byte figure and blur the comparison.
        std::uint64_t sum = 0;
        ReadWithLibrary([&](KVTSimRpm_BStreamReadLocator& stream) {
          for (std::uint64_t i = 0; i < fields; ++i) {
            double value;
            Internalize(stream, value);
            std::uint64_t bits;
            std::memcpy(&bits, &value, sizeof bits);
            sum += bits;
          }
        });
        double seconds = watch.Seconds();
        Check(sum == Records::WordSum(), "doubles read back wrong");
        return seconds;
      });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * TheConfig().bytes));
}

void WriteDoublesLibrary(benchmark::State& state) {
  std::string const path = PathOf("doubles-lib.sim");
  std::uint64_t const bytes = TheConfig().bytes;
  RunTimed(state, [&] {
    Unlink(path);
    Stopwatch watch;
    {
      KVTSimRpm_Document document(kSig);
      KVTSimRpm_File file =
          document.AddFile(KVTString(path.c_str()), KVTSimRpm_Document::AccessWrite);
      KVTSimRpm_BStreamWriteLocator stream(file.Allocate(bytes), bytes, kChunk);
      // From a signed count: one instruction, where an unsigned one takes several.
      for (std::int64_t i = 0; i < static_cast<std::int64_t>(bytes / sizeof(double)); ++i)
        Externalize(stream, static_cast<double>(i));
      stream.Flush();
    }
    double seconds = watch.Seconds();
    CheckAndRemove(path, kFirstPoolHeader + bytes);
    return seconds;
  });
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

// ---------------------------------------------------------------------------
// Set-up.

// "64M", "1G", "4096K" or a plain byte count.
std::uint64_t ParseSize(std::string const& text) {
  std::size_t used = 0;
  std::uint64_t value = std::stoull(text, &used);
  std::string suffix = text.substr(used);
  if (suffix == "K" || suffix == "k" || suffix == "KiB")
    value <<= 10;
  else if (suffix == "M" || suffix == "m" || suffix == "MiB")
    value <<= 20;
  else if (suffix == "G" || suffix == "g" || suffix == "GiB")
    value <<= 30;
  else if (!suffix.empty())
    throw std::invalid_argument("bad size suffix in '" + text + "'");
  // Whole records, and at least one.
  value -= value % kRecord;
  if (value == 0)
    throw std::invalid_argument("size '" + text + "' is below one record of 1024 bytes");
  return value;
}

std::vector<int> ParseList(std::string const& text) {
  std::vector<int> counts;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t comma = text.find(',', at);
    if (comma == std::string::npos)
      comma = text.size();
    int count = std::stoi(text.substr(at, comma - at));
    if (count < 1)
      throw std::invalid_argument("pool counts must be positive");
    counts.push_back(count);
    at = comma + 1;
  }
  return counts;
}

// Takes --bytes= and --pools= out of argv (they override the environment).
void ReadOptions(int& argc, char** argv) {
  Config& config = TheConfig();
  if (char const* env = std::getenv("KVTSIM_BENCH_BYTES"))
    config.bytes = ParseSize(env);
  if (char const* env = std::getenv("KVTSIM_BENCH_POOLS"))
    config.pools = ParseList(env);
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg.rfind("--bytes=", 0) == 0)
      config.bytes = ParseSize(arg.substr(8));
    else if (arg.rfind("--pools=", 0) == 0)
      config.pools = ParseList(arg.substr(8));
    else
      argv[kept++] = argv[i];
  }
  argc = kept;
}

// A fresh directory for the run's files, removed with everything in it.
class TempDir {
 public:
  TempDir() {
    char const* base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/kvtsim-bench-XXXXXX";
    if (::mkdtemp(&pattern[0]) == nullptr)
      FailErrno("mkdtemp", pattern);
    mPath = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
  }
  std::string const& Path() const { return mPath; }

 private:
  std::string mPath;
};

void Register(std::string const& name, void (*fn)(benchmark::State&)) {
  benchmark::RegisterBenchmark(name.c_str(), fn)->UseManualTime()->Unit(benchmark::kMillisecond);
}

void RegisterAll() {
  Register("1_append/library", AppendLibrary);
  Register("1_append/baseline", AppendBaseline);
  Register("2_read_bulk/library", ReadBulkLibrary);
  Register("2_read_bulk/baseline", ReadBulkBaseline);
  Register("2_read_fields/library", ReadFieldsLibrary);
  Register("2_read_fields/baseline", ReadFieldsBaseline);
  Register("3_write_fields/library", WriteFieldsLibrary);
  Register("3_write_fields/baseline", WriteFieldsBaseline);
  Register("4_append_pool/library", AppendPoolLibrary);
  Register("4_append_pool/baseline", AppendPoolBaseline);
  Register("6_read_array/library", ReadArrayLibrary);
  Register("6_read_array/baseline", ReadArrayBaseline);
  Register("7_write_array/library", WriteArrayLibrary);
  Register("7_write_array/baseline", WriteArrayBaseline);
  Register("8_read_doubles/library", ReadDoublesLibrary);
  Register("8_write_doubles/library", WriteDoublesLibrary);
  for (int count : TheConfig().pools) {
    std::string prefix = "5_open/" + std::to_string(count);
    benchmark::RegisterBenchmark((prefix + "/library").c_str(), OpenLibrary, count)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((prefix + "/baseline").c_str(), OpenBaseline, count)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  for (int count : TheConfig().pools) {
    std::string prefix = "5_open_fresh/" + std::to_string(count);
    for (char const* side : {"library", "baseline"}) {
      benchmark::RegisterBenchmark((prefix + "/" + side).c_str(), OpenFresh, count, side)
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strncmp(argv[1], kOpenOnce, sizeof kOpenOnce - 1) == 0)
    return OpenOnce(argv[1] + sizeof kOpenOnce - 1);
  try {
    ReadOptions(argc, argv);
  } catch (std::exception const& error) {
    std::fprintf(stderr, "stream_bench: %s\n", error.what());
    return 2;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 2;
  TempDir dir;
  TheConfig().dir = dir.Path();
  benchmark::AddCustomContext("kvtsim_bytes", std::to_string(TheConfig().bytes));
  benchmark::AddCustomContext("kvtsim_tmpdir", dir.Path());
  benchmark::AddCustomContext("kvtsim_clock", CpuClock() ? "cpu" : "wall");
  benchmark::AddCustomContext(
      "kvtsim_note",
      "files stay in the page cache (no sync on either side): CPU and memcpy cost, not disk");
  RegisterAll();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

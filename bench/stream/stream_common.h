// What the figures of stream_bench share: the run's configuration, the
// records both sides write, the data file of figure 1's records, and the
// timed frames of a write into a new file and of a read of the data file.
// Each figure family lives in a source of its own and registers its
// benchmarks through one of the Register functions at the end.

#ifndef KVTSIM_BENCH_STREAM_STREAM_COMMON_H_
#define KVTSIM_BENCH_STREAM_STREAM_COMMON_H_

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_File.h"
#include "KVTSimRpm_PoolHeader.h"
#include "bench_util.h"

namespace bench::stream {

constexpr std::size_t kChunk = 256 * 1024;
constexpr std::size_t kRecord = 1024;
constexpr std::size_t kFieldsPerRecord = kRecord / 4;
// Pool header and a directory of one entry.
constexpr std::size_t kPoolHeader = KVTSimRpm_PoolHeader::kSize;
constexpr std::size_t kFirstPoolHeader = kPoolHeader + KVTSimRpm_PoolHeader::kEntrySize;
constexpr char kSig[] = "BNCH";

struct Config {
  std::uint64_t bytes = 1ull << 30;
  std::vector<int> pools = {100, 1000};
  std::string dir;
};

Config& TheConfig();

std::string PathOf(std::string const& leaf);

// Checks an output file's size, then removes it: its dirty pages would
// otherwise be written back while a later benchmark runs.
void CheckAndRemove(std::string const& path, std::uint64_t expected);

// Runs prepare once, then body once per iteration; body returns the seconds
// it measured. Errors of either side end the benchmark with their report.
template <typename Prepare, typename Body>
void RunTimed(benchmark::State& state, Prepare prepare, Body body) {
  Guarded(state, [&] {
    prepare();
    for (auto _ : state) {
      state.SetIterationTime(body());
    }
  });
}

// RunTimed, reporting bytes per iteration as the benchmark's throughput.
template <typename Prepare, typename Body>
void RunThroughput(benchmark::State& state, std::uint64_t bytes, Prepare prepare, Body body) {
  RunTimed(state, prepare, body);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

// kRecord as a number the compiler cannot see: a copy of a constant 1 KiB is
// compiled inline (as "rep movsq" for generic x86-64, markedly slower than
// the C library's memcpy), while the library copies records of run-time
// length with the C library. The baselines copy the same way.
std::size_t OpaqueRecordSize();

// ---------------------------------------------------------------------------
// The data both sides write: records of 256 little-endian 32-bit fields, a
// fixed pattern with the record's index in field 0.

class Records {
 public:
  Records();

  char const* Record(std::uint64_t index) {
    std::uint32_t v = static_cast<std::uint32_t>(index);
    std::memcpy(mBytes, &v, 4);
    return mBytes;
  }

  static std::uint64_t Count() { return TheConfig().bytes / kRecord; }

  // Sum of field 0 over all records.
  static std::uint64_t IndexSum();

  // Sum of every 8-byte word of every record, each taken as unsigned 64-bit
  // (little-endian: field 2k is its low half), modulo 2^64.
  static std::uint64_t WordSum();

  // Sum of every field of every record, each taken as unsigned 32-bit.
  static std::uint64_t FieldSum();

 private:
  char mBytes[kRecord];
};

// Appends every record to the current pool of file.
void AppendRecords(KVTSimRpm_File const& file);

// The file of figure 1's records, written once by the library and read by
// the reading figures and figure 4.
std::string const& DataFile();

// RunThroughput of the configured size over the data file, read through
// once before the first iteration.
template <typename Body>
void RunOverDataFile(benchmark::State& state, Body body) {
  RunThroughput(
      state, TheConfig().bytes, [] { WarmFile(DataFile()); }, body);
}

// ---------------------------------------------------------------------------
// Timed frames. Both return the seconds measured and check that the new file
// holds one pool of the configured size, then remove it.

// Times write(file) on a new file at path opened for writing by the library,
// including the document's close.
template <typename Write>
double TimeLibraryWrite(std::string const& path, Write write) {
  Unlink(path);
  Stopwatch watch;
  {
    KVTSimRpm_Document document(kSig);
    KVTSimRpm_File file =
        document.AddFile(KVTString(path.c_str()), KVTSimRpm_Document::AccessWrite);
    write(file);
  }
  double seconds = watch.Seconds();
  CheckAndRemove(path, kFirstPoolHeader + TheConfig().bytes);
  return seconds;
}

// Times write(fd) on a new raw file at path, which starts with a zeroed block
// standing in for the pool header and its one-entry directory.
template <typename Write>
double TimeRawWrite(std::string const& path, Write write) {
  Unlink(path);
  Stopwatch watch;
  int fd = OpenOrFail(path, O_WRONLY | O_CREAT | O_TRUNC);
  char header[kFirstPoolHeader] = {};
  WriteAll(fd, header, sizeof header, path);
  write(fd);
  CloseOrFail(fd, path);
  double seconds = watch.Seconds();
  CheckAndRemove(path, kFirstPoolHeader + TheConfig().bytes);
  return seconds;
}

// Reads the data file's pool through a locator stream handed to consume.
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

// A hand-written buffered reader over the data of a file's first pool: it
// reads the header for the directory size, then 256 KiB blocks.
class RawReader {
 public:
  explicit RawReader(std::string const& path);
  ~RawReader();
  RawReader(RawReader const&) = delete;
  RawReader& operator=(RawReader const&) = delete;

  // The next block, or an empty one at the end of the file.
  std::size_t Next();
  char const* Data() const { return mBlock.data(); }

 private:
  std::string mPath;
  int mFd;
  std::vector<char> mBlock;
  std::uint64_t mOffset;
};

// ---------------------------------------------------------------------------
// The figure families, each registering its library and baseline benchmarks.

void RegisterRecordFigures();  // records.cpp: 1 append, 2 read_bulk
void RegisterFieldFigures();   // fields.cpp: 2 read_fields, 3 write_fields, 8
void RegisterCopyFigures();    // copy_pool.cpp: 4 append_pool
void RegisterOpenFigures();    // open.cpp: 5 open, 5 open_fresh
void RegisterArrayFigures();   // arrays.cpp: 6 read_array, 7 write_array

// The child side of figure 5's open_fresh.
int OpenOnce(std::string const& request);

}  // namespace bench::stream

#endif  // KVTSIM_BENCH_STREAM_STREAM_COMMON_H_

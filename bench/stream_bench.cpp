// Throughput of the binary streams, of pool copying and of opening a file,
// each beside a hand-written POSIX baseline that does the same work on the
// same bytes in the same run. The figures live in stream/, one source per
// family, each describing what its library and baseline sides do:
//
//   stream/records.cpp    1 append, 2 read_bulk: whole 1 KiB records
//   stream/fields.cpp     2 read_fields, 3 write_fields, 8 read_doubles and
//                         write_doubles: single values, one at a time
//   stream/copy_pool.cpp  4 append_pool: copying a pool into a new file
//   stream/open.cpp       5 open, 5 open_fresh: opening a file of many pools
//   stream/arrays.cpp     6 read_array, 7 write_array: arrays of doubles
//
// Every file lives in a fresh directory under $TMPDIR (or /tmp), removed at
// the end. Nothing is synced on either side, so the files stay in the page
// cache and the figures measure CPU and memory traffic, not the disk (except
// that the library syncs the directory entry of the new file that figure 4
// copies into, one fsync of the directory). Raw baseline files start with an
// 80-byte block standing in for the pool header and its one-entry directory,
// so both sides write files of the same size at the same offsets. Outputs are
// checked for size and removed after every iteration, and the input files
// are synced once when made, so that no writeback of earlier output runs
// while something is measured.
//
// Size: --bytes=SIZE or KVTSIM_BENCH_BYTES (suffix K, M or G; default 1G).
// Pool counts for figure 5: --pools=LIST or KVTSIM_BENCH_POOLS (default
// "100,1000"). KVTSIM_BENCH_CLOCK=cpu times with the CPU clock instead of
// the wall clock. bench/run-stream-benchmarks prints the figures as a table.

#include <cstdlib>
#include <stdexcept>

#include "stream/stream_common.h"

namespace bench::stream {
namespace {

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

// Takes --bytes= and --pools= out of argv (they override the environment).
void ReadOptions(int& argc, char** argv) {
  Config& config = TheConfig();
  if (char const* env = std::getenv("KVTSIM_BENCH_BYTES"))
    config.bytes = ParseSize(env);
  if (char const* env = std::getenv("KVTSIM_BENCH_POOLS"))
    config.pools = ParseCounts(env, "pool counts");
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg.rfind("--bytes=", 0) == 0)
      config.bytes = ParseSize(arg.substr(8));
    else if (arg.rfind("--pools=", 0) == 0)
      config.pools = ParseCounts(arg.substr(8), "pool counts");
    else
      argv[kept++] = argv[i];
  }
  argc = kept;
}

void RegisterAll(std::string const& dir) {
  TheConfig().dir = dir;
  benchmark::AddCustomContext("kvtsim_bytes", std::to_string(TheConfig().bytes));
  benchmark::AddCustomContext("kvtsim_clock", CpuClock() ? "cpu" : "wall");
  benchmark::AddCustomContext(
      "kvtsim_note",
      "files stay in the page cache (no sync on either side): CPU and memcpy cost, not disk");
  RegisterRecordFigures();
  RegisterFieldFigures();
  RegisterCopyFigures();
  RegisterArrayFigures();
  RegisterOpenFigures();
}

}  // namespace
}  // namespace bench::stream

int main(int argc, char** argv) {
  namespace stream = bench::stream;
  return bench::Main(argc, argv,
                     {"stream_bench", stream::ReadOptions, stream::RegisterAll, stream::OpenOnce});
}

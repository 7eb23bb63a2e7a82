// Figure 5: opening a file of many pools.
//
//  5 open/N:        KVTSimRpm_Document::AddFile (read-only) of a file of N
//                   pools / one pread(2) of each 48-byte header and one of
//                   each directory.
//  5 open_fresh/N:  the same, each time in a new process (this program run
//                   again as a child), so that neither side finds a warm
//                   allocator.
//
// The library syncs twice for each new pool of these files; they are built
// untimed.

#include <unistd.h>

#include <cstdio>
#include <map>
#include <memory>

#include "stream_common.h"

namespace bench::stream {
namespace {

// A file of count pools with a few data bytes each; pool k's directory lists
// k + 1 entries. Built once per count.
std::string const& PoolsFile(int count) {
  static std::map<int, std::string> built;
  std::string& path = built[count];
  if (!path.empty())
    return path;
  std::string candidate = PathOf("pools-" + std::to_string(count) + ".sim");
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

// The pools file of count pools, read through once.
std::string const& WarmPoolsFile(int count) {
  std::string const& path = PoolsFile(count);
  WarmFile(path);
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

// Times the baseline's walk over the headers and directories of path.
unsigned OpenWithReads(std::string const& path, std::vector<char>& directory, double& seconds) {
  Stopwatch watch;
  int fd = OpenOrFail(path);
  std::uint64_t pools = ReadChain(fd, path, directory);
  seconds = watch.Seconds();
  ::close(fd);
  return static_cast<unsigned>(pools);
}

void SetOpenCounters(benchmark::State& state, int count) {
  state.counters["pools"] = count;
  state.counters["directory_entries"] = count * (count + 1.0) / 2.0;
}

// Times open(path, seconds), which returns the pool count, on the warm
// pools file of count pools.
template <typename Open>
void RunOpen(benchmark::State& state, int count, Open open) {
  std::string path;
  RunTimed(
      state, [&] { path = WarmPoolsFile(count); },
      [&] {
        double seconds = 0;
        Check(open(path, seconds) == static_cast<unsigned>(count), "wrong pool count");
        return seconds;
      });
  SetOpenCounters(state, count);
}

void OpenLibrary(benchmark::State& state, int count) {
  RunOpen(state, count, OpenWithLibrary);
}

void OpenBaseline(benchmark::State& state, int count) {
  std::vector<char> directory;
  RunOpen(state, count, [&](std::string const& path, double& seconds) {
    return OpenWithReads(path, directory, seconds);
  });
}

// The repeated opens above run with a warm allocator: the heap already holds
// blocks as large as the reference matrix. A program that opens one file
// right after it starts pays for fresh memory as well, so each side is also
// timed in a new process, which prints its seconds and pool count.
void OpenFresh(benchmark::State& state, int count, char const* side) {
  RunOpen(state, count, [&](std::string const& path, double& seconds) {
    std::string output = RunChild(std::string(side) + ":" + path);
    unsigned pools = 0;
    Check(std::sscanf(output.c_str(), "%lf %u", &seconds, &pools) == 2, "bad child output");
    return pools;
  });
}

}  // namespace

// "library:PATH" or "baseline:PATH".
int OpenOnce(std::string const& request) {
  std::size_t colon = request.find(':');
  std::string side = request.substr(0, colon);
  std::string path = request.substr(colon + 1);
  double seconds = 0;
  std::vector<char> directory;
  unsigned pools =
      side == "library" ? OpenWithLibrary(path, seconds) : OpenWithReads(path, directory, seconds);
  std::printf("%.9f %u\n", seconds, pools);
  return 0;
}

void RegisterOpenFigures() {
  for (int count : TheConfig().pools) {
    std::string prefix = "5_open/" + std::to_string(count);
    RegisterTimed(prefix + "/library", OpenLibrary, count);
    RegisterTimed(prefix + "/baseline", OpenBaseline, count);
  }
  for (int count : TheConfig().pools) {
    std::string prefix = "5_open_fresh/" + std::to_string(count);
    for (char const* side : {"library", "baseline"})
      RegisterTimed(prefix + "/" + side, OpenFresh, count, side);
  }
}

}  // namespace bench::stream

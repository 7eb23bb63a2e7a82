// Long runs: a simulation's output as a mesh file and a results file of many
// time-step pools, each figure beside what a plain file of the same data
// costs, measured in the same run.
//
// Layout: mesh.sim holds 2 pools (1,000 nodes of 3 doubles; 1,000 elements
// of 3 stored locators to nodes); results-N.sim holds N step pools made with
// NewPool(nullptr, {nodes, elements}), each holding a stored locator to each
// mesh pool and 1,000 doubles.
//
// Figures (library / baseline):
//  1 overhead/N:  bytes of headers and directories in both files / bytes of
//                 data (what a plain file of the same data holds). Counters
//                 also give what directories that list every earlier pool
//                 would take (computed, not written) and the reference
//                 memo's bytes after the writer stored its 2 N locators.
//  2 open/N:      KVTSimRpm_Document::AddFile (read-only) of both files /
//                 one pread(2) of every 48-byte header and one of every
//                 directory of both files; the two sides alternate, and the
//                 fastest of 5 opens of each counts.
//  2 open_rss/N:  the peak resident memory that opening adds, measured in a
//                 new process (this program run with --open-once) for each
//                 side.
//  3 follow:      1,000,000 stored locators at random offsets of a 256 MiB
//                 pool of a read-only file, each read from a locator stream
//                 and followed by a 64-byte KVTSimRpm_Locator::Read: the
//                 median over batches of 1,000 of the time per reference,
//                 with the read cache holding the pool / with the cache off
//                 (one pread(2) per read, the path before the cache).
//                 Each repetition starts with an empty cache; the page cache
//                 is warm. follow/memory: the same stored locators decoded
//                 from the same stream, each followed by a 64-byte memcpy
//                 from the pool's bytes held in memory (what decoding and
//                 memory alone cost). follow_hot: references into the first 1 MiB
//                 only, which stays in the processor's caches: the library's
//                 own cost per reference.
//
// Every file lives in a fresh directory under $TMPDIR (or /tmp), removed at
// the end. KVTSIM_BENCH_CLOCK=cpu times with the CPU clock. Step counts: --steps=LIST or
// KVTSIM_BENCH_STEPS (default "1000,5000,20000"). bench/run-long-run-benchmarks prints the figures
// as a table beside their targets.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "KVTBasMem.h"
#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_PoolImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "bench_util.h"

namespace {

using bench::Check;
using bench::CloseOrFail;
using bench::FileSize;
using bench::Guarded;
using bench::OpenOrFail;
using bench::ParseCounts;
using bench::RegisterTimed;
using bench::RunChild;
using bench::Stopwatch;
using bench::WarmFile;

constexpr char kSig[] = "BNCH";
constexpr int kMeshItems = 1000;
constexpr int kValuesPerStep = 1000;
constexpr std::uint64_t kBigPool = 256ull << 20;
constexpr int kReferences = 1000000;
constexpr int kBatch = 1000;
constexpr std::uint64_t kReadLength = 64;
// Enough for every block of the 256 MiB pool and the ones at its edges.
constexpr std::uint64_t kFollowCache = 512ull << 20;

using Doc = KVTSimRpm_Document;

// ---------------------------------------------------------------------------
// Configuration.

struct Config {
  std::vector<int> steps = {1000, 5000, 20000};
  std::string dir;
};

Config& TheConfig() {
  static Config config;
  return config;
}

std::string PathOf(std::string const& leaf) {
  return TheConfig().dir + "/" + leaf;
}

KVTSimRpm_PoolMap const& MapOf(KVTSimRpm_Pool const& pool) {
  return *pool.Impl()->Directory()->Map().Get();
}

// ---------------------------------------------------------------------------
// Figure 1: the files of a run of N steps.

struct RunFiles {
  std::string mesh;
  std::string results;
  std::uint64_t dataBytes = 0;
  std::uint64_t memoBytes = 0;  // the writer's reference memo, after the last step
};

// Appends count doubles derived from seed.
void AppendDoubles(KVTSimRpm_BStreamAppendToPool& out, int count, int seed) {
  std::vector<double> values(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i)
    values[static_cast<std::size_t>(i)] = seed + 0.001 * i;
  // Stored little-endian, as the streams store scalars (the host's order here).
  out.Write(reinterpret_cast<char const*>(values.data()),
            static_cast<unsigned>(values.size() * sizeof(double)));
}

RunFiles const& Run(int steps) {
  static std::map<int, RunFiles> built;
  RunFiles& run = built[steps];
  if (!run.results.empty())
    return run;
  std::string const mesh = PathOf("mesh-" + std::to_string(steps) + ".sim");
  std::string const results = PathOf("results-" + std::to_string(steps) + ".sim");
  Doc document(kSig);
  KVTSimRpm_File meshFile = document.AddFile(KVTString(mesh.c_str()), Doc::AccessWrite);
  std::uint64_t data = 0;
  {
    KVTSimRpm_BStreamAppendToPool nodes(meshFile.Pool(), 1 << 16);
    AppendDoubles(nodes, 3 * kMeshItems, 0);
    nodes.Flush();
    data += nodes.Length();
  }
  KVTSimRpm_Locator const node0 = meshFile.Pool().Start();
  meshFile.NewPool(nullptr, {meshFile.Pool(0)});
  {
    KVTSimRpm_BStreamAppendToPool elements(meshFile.Pool(), 1 << 16);
    for (int e = 0; e < 3 * kMeshItems; ++e)
      Externalize(elements, node0 + 24ull * static_cast<unsigned>((e + e / 3) % kMeshItems));
    elements.Flush();
    data += elements.Length();
  }
  std::vector<KVTSimRpm_Pool> const meshPools = {meshFile.Pool(0), meshFile.Pool(1)};
  KVTSimRpm_Locator const element0 = meshFile.Pool(1).Start();
  KVTSimRpm_File resultsFile =
      document.AddFile(KVTString(results.c_str()), Doc::AccessWrite, meshPools);
  for (int step = 0; step < steps; ++step) {
    if (step != 0)
      resultsFile.NewPool(nullptr, meshPools);
    KVTSimRpm_BStreamAppendToPool out(resultsFile.Pool(), 1 << 14);
    Externalize(out, node0);
    Externalize(out, element0);
    AppendDoubles(out, kValuesPerStep, step);
    out.Flush();
    data += out.Length();
  }
  run.memoBytes = MapOf(resultsFile.Pool()).Matrix().AllocatedBytes();
  document.Close();
  run.mesh = mesh;
  run.results = results;
  run.dataBytes = data;
  return run;
}

// What the step pools' directories would take if each listed every pool
// made before it (NewPool without a list): step k lists itself, the 2 mesh
// pools and the k steps before it.
double WideDirectoryBytes(int steps) {
  double entries = 0;
  for (int k = 0; k < steps; ++k)
    entries += 3.0 + k;
  return 48.0 * steps + 32.0 * entries;
}

void Overhead(benchmark::State& state, int steps) {
  Guarded(state, [&] {
    for (auto _ : state) {
      Stopwatch watch;
      RunFiles const& run = Run(steps);
      state.SetIterationTime(watch.Seconds());
      double files = static_cast<double>(FileSize(run.mesh) + FileSize(run.results));
      state.counters["data_bytes"] = static_cast<double>(run.dataBytes);
      state.counters["overhead_bytes"] = files - static_cast<double>(run.dataBytes);
      state.counters["wide_overhead_bytes"] = WideDirectoryBytes(steps) + 80 + 112;
      state.counters["memo_bytes"] = static_cast<double>(run.memoBytes);
    }
  });
}

// ---------------------------------------------------------------------------
// Figure 2: opening both files read-only.

// The library's open of both files; returns the pool count and, through
// memo, the reader's reference memo bytes.
unsigned OpenWithLibrary(RunFiles const& run, double& seconds, std::size_t& memo) {
  std::unique_ptr<Doc> document;
  Stopwatch watch;
  document = std::make_unique<Doc>(kSig);
  KVTSimRpm_File mesh = document->AddFile(KVTString(run.mesh.c_str()), Doc::AccessRead);
  KVTSimRpm_File results = document->AddFile(KVTString(run.results.c_str()), Doc::AccessRead);
  seconds = watch.Seconds();
  memo = MapOf(results.Pool()).Matrix().AllocatedBytes();
  // The document is destroyed untimed: the figure is the open.
  return mesh.PoolCount() + results.PoolCount();
}

// The baseline's open of path: a walk over its headers and directories.
unsigned ReadChain(std::string const& path, std::vector<char>& directory) {
  int fd = OpenOrFail(path);
  std::uint64_t pools = bench::ReadChain(fd, path, directory);
  CloseOrFail(fd, path);
  return static_cast<unsigned>(pools);
}

unsigned OpenWithReads(RunFiles const& run, double& seconds) {
  std::vector<char> directory;
  Stopwatch watch;
  unsigned pools = ReadChain(run.mesh, directory) + ReadChain(run.results, directory);
  seconds = watch.Seconds();
  return pools;
}

// Both sides alternately, kOpens times each; the fastest open of each side
// counts, so that a moment of a busy machine does not decide the figure.
constexpr int kOpens = 5;

void Open(benchmark::State& state, int steps) {
  Guarded(state, [&] {
    RunFiles const& run = Run(steps);
    WarmFile(run.mesh);
    WarmFile(run.results);
    for (auto _ : state) {
      double library = 1e9;
      double baseline = 1e9;
      double total = 0;
      std::size_t memo = 0;
      for (int i = 0; i < kOpens; ++i) {
        double seconds = 0;
        Check(OpenWithLibrary(run, seconds, memo) == static_cast<unsigned>(steps) + 2,
              "wrong pool count");
        library = std::min(library, seconds);
        total += seconds;
        Check(OpenWithReads(run, seconds) == static_cast<unsigned>(steps) + 2, "wrong pool count");
        baseline = std::min(baseline, seconds);
        total += seconds;
      }
      state.SetIterationTime(total);
      state.counters["library_s"] = library;
      state.counters["baseline_s"] = baseline;
      state.counters["memo_bytes"] = static_cast<double>(memo);
    }
  });
}

// Peak resident memory in a new process. The child resets its peak, notes
// its resident size, opens, and reports the peak minus that size.
std::uint64_t StatusKiB(char const* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  std::size_t const n = std::strlen(field);
  while (std::getline(status, line)) {
    if (line.compare(0, n, field) == 0)
      return std::stoull(line.substr(n + 1));
  }
  throw std::runtime_error(std::string("no ") + field + " in /proc/self/status");
}

// Child side: "library:MESH:RESULTS" or "baseline:MESH:RESULTS"; prints
// the added peak in bytes.
int OpenOnce(std::string const& request) {
  std::size_t first = request.find(':');
  std::size_t second = request.find(':', first + 1);
  RunFiles run;
  run.mesh = request.substr(first + 1, second - first - 1);
  run.results = request.substr(second + 1);
  // Writing 5 resets the peak (VmHWM) to the current resident size.
  std::ofstream("/proc/self/clear_refs") << "5";
  std::uint64_t const before = StatusKiB("VmRSS:");
  double seconds = 0;
  std::size_t memo = 0;
  if (request.compare(0, first, "library") == 0)
    OpenWithLibrary(run, seconds, memo);
  else
    OpenWithReads(run, seconds);
  std::uint64_t const peak = StatusKiB("VmHWM:");
  std::printf("%llu\n", static_cast<unsigned long long>(peak > before ? peak - before : 0) * 1024);
  return 0;
}

void OpenRss(benchmark::State& state, int steps, char const* side) {
  Guarded(state, [&] {
    RunFiles const& run = Run(steps);
    WarmFile(run.mesh);
    WarmFile(run.results);
    for (auto _ : state) {
      Stopwatch watch;
      std::string request = std::string(side) + ":" + run.mesh + ":" + run.results;
      state.counters["rss_added_bytes"] = std::stod(RunChild(request));
      state.SetIterationTime(watch.Seconds());
    }
  });
}

// ---------------------------------------------------------------------------
// Figure 3: following stored locators into a 256 MiB pool.

struct FollowFiles {
  std::string big;
  std::string refs;     // anywhere in the pool
  std::string hotRefs;  // in its first 1 MiB, which stays in the processor's caches
};

constexpr std::uint64_t kHotRange = 1 << 20;

// A file whose one pool holds kReferences stored locators to random offsets
// of the first range bytes of big.
void WriteReferences(Doc& document, KVTSimRpm_Pool const& big, std::string const& path,
                     std::uint64_t range, unsigned seed) {
  KVTSimRpm_File file = document.AddFile(KVTString(path.c_str()), Doc::AccessWrite, {big});
  KVTSimRpm_BStreamAppendToPool out(file.Pool(), 1 << 16);
  std::mt19937_64 random(seed);
  for (int i = 0; i < kReferences; ++i)
    Externalize(out, big.Start() + random() % (range - kReadLength));
  out.Flush();
}

FollowFiles const& Follow() {
  static FollowFiles files;
  if (!files.refs.empty())
    return files;
  std::string const big = PathOf("big.sim");
  std::string const refs = PathOf("refs.sim");
  Doc document(kSig);
  KVTSimRpm_File bigFile = document.AddFile(KVTString(big.c_str()), Doc::AccessWrite);
  {
    KVTSimRpm_BStreamAppendToPool out(bigFile.Pool(), 1 << 20);
    std::vector<std::uint64_t> block((1 << 20) / 8);
    std::mt19937_64 random(1);
    for (std::uint64_t done = 0; done < kBigPool; done += 1 << 20) {
      for (std::uint64_t& word : block)
        word = random();
      out.Write(reinterpret_cast<char const*>(block.data()), 1 << 20);
    }
    out.Flush();
  }
  WriteReferences(document, bigFile.Pool(), refs, kBigPool, 2);
  WriteReferences(document, bigFile.Pool(), PathOf("refs-hot.sim"), kHotRange, 3);
  document.Close();
  files.big = big;
  files.refs = refs;
  files.hotRefs = PathOf("refs-hot.sim");
  return files;
}

// Follows every stored reference; returns the per-reference time of each
// batch, in nanoseconds.
std::vector<double> FollowAll(std::string const& big, std::string const& references,
                              std::uint64_t cacheLimit) {
  Doc document(kSig);
  document.SetReadCacheLimit(cacheLimit);
  document.AddFile(KVTString(big.c_str()), Doc::AccessRead);
  KVTSimRpm_Pool refs = document.AddFile(KVTString(references.c_str()), Doc::AccessRead).Pool();
  KVTSimRpm_BStreamReadLocator in(refs.Start(), refs.Length(), 1 << 16);
  std::vector<double> batches;
  char bytes[kReadLength];
  unsigned sink = 0;
  for (int done = 0; done < kReferences; done += kBatch) {
    Stopwatch watch;
    for (int i = 0; i < kBatch; ++i) {
      KVTSimRpm_Locator at;
      Internalize(in, at);
      Check(at.Read(kReadLength, bytes) == kReadLength, "short read");
      sink += static_cast<unsigned char>(bytes[0]);
    }
    batches.push_back(watch.Seconds() * 1e9 / kBatch);
  }
  benchmark::DoNotOptimize(sink);
  return batches;
}

void FollowReferences(benchmark::State& state, std::uint64_t cacheLimit, bool hot) {
  Guarded(state, [&] {
    FollowFiles const& files = Follow();
    std::string const& references = hot ? files.hotRefs : files.refs;
    WarmFile(files.big);
    WarmFile(references);
    for (auto _ : state) {
      std::vector<double> batches = FollowAll(files.big, references, cacheLimit);
      double total = 0;
      for (double ns : batches)
        total += ns * kBatch;
      state.SetIterationTime(total * 1e-9);
      std::sort(batches.begin(), batches.end());
      state.counters["median_ns"] = batches[batches.size() / 2];
      state.counters["mean_ns"] = total / kReferences;
    }
  });
}

// The same references followed in memory: each stored locator decoded from
// the same stream, then a 64-byte memcpy at its offset from the pool's bytes
// held in a block of memory (with the huge-page advice the cache takes).
// What decoding and memory alone cost on this machine.
void FollowInMemory(benchmark::State& state) {
  Guarded(state, [&] {
    FollowFiles const& files = Follow();
    char* pool = static_cast<char*>(mem_Malloc(kBigPool));
    std::unique_ptr<char, void (*)(void*)> owner(pool, mem_Free);
    mem_AdviseRandomAccess(pool, kBigPool);
    Doc document(kSig);
    KVTSimRpm_Pool big = document.AddFile(KVTString(files.big.c_str()), Doc::AccessRead).Pool();
    Check(big.Start().Read(kBigPool, pool) == kBigPool, "short pool");
    KVTSimRpm_Pool refs = document.AddFile(KVTString(files.refs.c_str()), Doc::AccessRead).Pool();
    for (auto _ : state) {
      KVTSimRpm_BStreamReadLocator in(refs.Start(), refs.Length(), 1 << 16);
      std::vector<double> batches;
      char bytes[kReadLength];
      unsigned sink = 0;
      double total = 0;
      for (int done = 0; done < kReferences; done += kBatch) {
        Stopwatch watch;
        for (int i = 0; i < kBatch; ++i) {
          KVTSimRpm_Locator at;
          Internalize(in, at);
          std::memcpy(bytes, pool + at.Offset(), kReadLength);
          sink += static_cast<unsigned char>(bytes[0]);
        }
        double seconds = watch.Seconds();
        total += seconds;
        batches.push_back(seconds * 1e9 / kBatch);
      }
      benchmark::DoNotOptimize(sink);
      state.SetIterationTime(total);
      std::sort(batches.begin(), batches.end());
      state.counters["median_ns"] = batches[batches.size() / 2];
      state.counters["mean_ns"] = total * 1e9 / kReferences;
    }
  });
}

// ---------------------------------------------------------------------------
// Set-up.

void ReadOptions(int& argc, char** argv) {
  Config& config = TheConfig();
  if (char const* env = std::getenv("KVTSIM_BENCH_STEPS"))
    config.steps = ParseCounts(env, "step counts");
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg.rfind("--steps=", 0) == 0)
      config.steps = ParseCounts(arg.substr(8), "step counts");
    else
      argv[kept++] = argv[i];
  }
  argc = kept;
}

template <typename... Args>
void Register(std::string const& name, Args... args) {
  RegisterTimed(name, args...)->Iterations(1);
}

void RegisterAll(std::string const& dir) {
  TheConfig().dir = dir;
  for (int steps : TheConfig().steps) {
    std::string const n = std::to_string(steps);
    Register("1_overhead/" + n, Overhead, steps);
    Register("2_open/" + n, Open, steps);
    Register("2_open_rss/" + n + "/library", OpenRss, steps, "library");
    Register("2_open_rss/" + n + "/baseline", OpenRss, steps, "baseline");
  }
  Register("3_follow/library", FollowReferences, kFollowCache, false);
  Register("3_follow/today", FollowReferences, std::uint64_t{0}, false);
  Register("3_follow_hot/library", FollowReferences, kFollowCache, true);
  Register("3_follow/memory", FollowInMemory);
}

}  // namespace

int main(int argc, char** argv) {
  return bench::Main(argc, argv, {"long_run_bench", ReadOptions, RegisterAll, OpenOnce});
}

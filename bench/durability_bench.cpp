// What durability costs: a new pool after 4 KiB of data, as the library makes
// it (synced before and after the previous pool's length is stored), beside
// the same work with the sync calls taken out at the system-call seam, in the
// same run. Files live in a fresh directory under $TMPDIR (or /tmp): run it
// once on a disk and once on a memory file system to see the syncs' share.
//
//   build/release/bench/durability_bench [--benchmark_filter=...]

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "KVTSimRpm_Document.h"
#include "KVTSimUttSysCalls.h"

namespace {

constexpr int kPoolsPerFile = 100;

int NoSync(int) {
  return 0;
}

std::string ScratchDirectory() {
  char const* base = std::getenv("TMPDIR");
  std::string pattern =
      std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/kvtsim-durability-XXXXXX";
  if (mkdtemp(&pattern[0]) == nullptr)
    std::abort();
  return pattern;
}

// Files of kPoolsPerFile pools, each given 4 KiB before the next is started;
// the time per new pool.
void NewPool(benchmark::State& state, bool synced) {
  std::string const directory = ScratchDirectory();
  std::string const path = directory + "/pools.sim";
  std::string const data(4096, 'x');
  KVTSimUttSysCalls& calls = KVTSimUttSysCalls::Current();
  if (!synced) {
    calls.FDataSync = NoSync;
    calls.FSync = NoSync;
  }
  for (auto _ : state) {
    KVTSimRpm_Document document("BNCH");
    KVTSimRpm_File file =
        document.AddFile(KVTString(path.c_str()), KVTSimRpm_Document::AccessWrite);
    for (int i = 0; i < kPoolsPerFile; ++i) {
      file.Allocate(data.size()).Write(data.size(), data.data());
      file.NewPool(nullptr);
    }
    document.Close();
  }
  calls = KVTSimUttSysCalls::Real();
  state.SetItemsProcessed(state.iterations() * kPoolsPerFile);
  std::remove(path.c_str());
  std::remove(directory.c_str());
}

void NewPoolSynced(benchmark::State& state) {
  NewPool(state, true);
}
void NewPoolUnsynced(benchmark::State& state) {
  NewPool(state, false);
}

BENCHMARK(NewPoolSynced)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(NewPoolUnsynced)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

// Cost of the pool map's growth and of reference externalization.
//
// The reference memo is sparse: slots cost nothing in it, and each
// remembered (source, target) pair costs 16 to 64 bytes, so filling a map of
// N slots takes time and memory in proportion to N.
// ExternalizeReference searches a directory the first time a (source,
// target) pair is seen and answers later calls from the memo.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <vector>

#include "KVTSimPoolManagerInternals.h"

namespace {

// A 32-byte identifier unique to i.
void MakeId(int i, char* out) {
  char text[33];
  std::snprintf(text, sizeof text, "%032d", i);
  for (int k = 0; k < 32; ++k)
    out[k] = text[k];
}

// Fills a fresh map with n slots.
void BM_NewSlotGrowth(benchmark::State& state) {
  int const n = static_cast<int>(state.range(0));
  char id[32];
  for (auto _ : state) {
    KVTSimRpm_PoolMap map;
    for (int i = 0; i < n; ++i) {
      MakeId(i, id);
      map.NewSlot(id);
    }
    benchmark::DoNotOptimize(map.Length());
    state.counters["memo_bytes"] = static_cast<double>(map.Matrix().AllocatedBytes());
  }
  state.SetComplexityN(n);
}
BENCHMARK(BM_NewSlotGrowth)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(5000)
    ->Arg(50000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN)
    ->Iterations(1);

// n free-standing directories in one document; the last lists every slot.
// Building one costs as much as BM_NewSlotGrowth, so each size is built once
// and shared: the miss benchmark runs first and sees every pair for the first
// time, the hit benchmark then finds every pair remembered.
struct Directories {
  explicit Directories(int n) : document("BNCH") {
    for (int i = 0; i < n; ++i)
      all.push_back(document.NewDirectory());
  }
  KVTSimRpm_DocumentImpl document;
  std::vector<KVTSimRpm_StrongRef<KVTSimRpm_PoolDirectoryImpl>> all;
};

Directories& Shared(int n) {
  static std::map<int, std::unique_ptr<Directories>> fixtures;
  std::unique_ptr<Directories>& fixture = fixtures[n];
  if (!fixture)
    fixture = std::make_unique<Directories>(n);
  return *fixture;
}

// First externalization of every target from the last directory: a search each.
void BM_ExternalizeMiss(benchmark::State& state) {
  int const n = static_cast<int>(state.range(0));
  KVTSimRpm_PoolDirectoryImpl const& last = *Shared(n).all.back();
  for (auto _ : state) {
    for (int target = 0; target < n; ++target) {
      benchmark::DoNotOptimize(last.ExternalizeReference(target));
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_ExternalizeMiss)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(5000)
    ->Iterations(1)
    ->Unit(benchmark::kMicrosecond);

// Repeated externalization of known pairs: answered from the memo.
void BM_ExternalizeHit(benchmark::State& state) {
  int const n = static_cast<int>(state.range(0));
  KVTSimRpm_PoolDirectoryImpl const& last = *Shared(n).all.back();
  for (auto _ : state) {
    for (int target = 0; target < n; ++target) {
      benchmark::DoNotOptimize(last.ExternalizeReference(target));
    }
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_ExternalizeHit)->Arg(100)->Arg(1000)->Arg(5000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();

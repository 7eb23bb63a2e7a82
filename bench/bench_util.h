// Helpers shared by the benchmark programs: POSIX file calls that throw on
// failure, the clock, a benchmark body's error handling, option lists, the
// hand-written baseline's walk over a file's pool headers, running this
// program again in a new process, and the main function around it all.
//
// Every helper throws std::runtime_error (with the call, the path and the
// system's message) where it fails; the library's own errors pass through.

#ifndef KVTSIM_BENCH_BENCH_UTIL_H_
#define KVTSIM_BENCH_BENCH_UTIL_H_

#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "KVTBasException.h"

namespace bench {

// ---------------------------------------------------------------------------
// Files.

[[noreturn]] void FailErrno(char const* operation, std::string const& path);

// Throws std::runtime_error(what) unless ok.
void Check(bool ok, char const* what);

// open(2) with O_CLOEXEC (and mode 0644 for O_CREAT).
int OpenOrFail(std::string const& path, int flags = O_RDONLY);
void CloseOrFail(int fd, std::string const& path);

// Writes all n bytes, retrying after EINTR and short writes.
void WriteAll(int fd, char const* data, std::size_t n, std::string const& path);

// Reads up to n bytes at offset; fewer only at the end of the file.
std::size_t PReadFull(int fd, char* buffer, std::size_t n, std::uint64_t offset,
                      std::string const& path);

std::uint64_t FileSize(std::string const& path);

// Removes path; a missing file is not an error.
void Unlink(std::string const& path);

// Reads a whole input file before a benchmark uses it. The page cache may
// drop pages that have not been used for a while (some machines reclaim idle
// memory on their own), and a measurement must not include reading them back
// from the disk.
void WarmFile(std::string const& path);

// The baseline's open of a container file: walks the chain as the library
// does, one pread(2) of each 48-byte header (checked with the library's
// header codec) and one of each directory into directory. Returns the
// number of pools.
std::uint64_t ReadChain(int fd, std::string const& path, std::vector<char>& directory);

// ---------------------------------------------------------------------------
// Timing and errors.

// KVTSIM_BENCH_CLOCK=cpu times with the process's CPU clock instead of the
// wall clock: on a machine busy with other work the wall clock also counts
// the time the process waited for a core. Everything timed runs on the
// calling thread.
bool CpuClock();

class Stopwatch {
 public:
  Stopwatch() : mStart(Now()) {}
  double Seconds() const { return Now() - mStart; }

 private:
  static double Now();

  double mStart;
};

// Runs body; an error of the library or of the standard library ends the
// benchmark with the error's report instead of ending the process.
template <typename Body>
void Guarded(benchmark::State& state, Body body) {
  try {
    body();
  } catch (KVTBasException const& error) {
    state.SkipWithError(error.DeveloperReport(KVTBasStringModeFull).CStr());
  } catch (std::exception const& error) {
    state.SkipWithError(error.what());
  }
}

// Registers a benchmark timed by hand (SetIterationTime), in milliseconds.
template <typename... Args>
benchmark::internal::Benchmark* RegisterTimed(std::string const& name, Args... args) {
  return benchmark::RegisterBenchmark(name.c_str(), args...)
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
}

// ---------------------------------------------------------------------------
// Options and processes.

// "100,1000": positive counts; what names them in the error otherwise.
std::vector<int> ParseCounts(std::string const& text, char const* what);

// Child processes of a benchmark run this program again with one argument,
// kChildOption followed by what the child is to do.
constexpr char kChildOption[] = "--open-once=";

// Runs this program again with kChildOption + request and returns what the
// child printed on standard output. Throws when the child cannot be started
// or does not exit with status 0 (its errors go to standard error).
std::string RunChild(std::string const& request);

// What a benchmark program gives the shared main function.
struct Program {
  char const* name;
  // Takes the program's own options out of argv; throws on bad values.
  std::function<void(int& argc, char** argv)> readOptions;
  // Registers the benchmarks; dir is a fresh directory for their files,
  // removed with everything in it when the run ends.
  std::function<void(std::string const& dir)> registerAll;
  // The child side of RunChild: does what request asks, prints its result
  // and returns the exit status. Errors thrown are reported on standard
  // error and end the child with status 1.
  std::function<int(std::string const& request)> child;
};

// The main function of a benchmark program.
int Main(int argc, char** argv, Program const& program);

}  // namespace bench

#endif  // KVTSIM_BENCH_BENCH_UTIL_H_

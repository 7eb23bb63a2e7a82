#include "bench_util.h"

#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <stdexcept>

#include "KVTSimRpm_PoolHeader.h"

namespace bench {

void FailErrno(char const* operation, std::string const& path) {
  throw std::runtime_error(std::string(operation) + " " + path + ": " + std::strerror(errno));
}

void Check(bool ok, char const* what) {
  if (!ok)
    throw std::runtime_error(what);
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

void WarmFile(std::string const& path) {
  int fd = OpenOrFail(path);
  std::vector<char> block(1 << 20);
  for (std::uint64_t offset = 0;;) {
    std::size_t n = PReadFull(fd, block.data(), block.size(), offset, path);
    if (n == 0)
      break;
    offset += n;
  }
  CloseOrFail(fd, path);
}

std::uint64_t ReadChain(int fd, std::string const& path, std::vector<char>& directory) {
  struct stat info;
  if (::fstat(fd, &info) != 0)
    FailErrno("fstat", path);
  std::uint64_t const size = static_cast<std::uint64_t>(info.st_size);
  std::uint64_t pools = 0;
  for (std::uint64_t offset = 0; offset < size; ++pools) {
    char bytes[KVTSimRpm_PoolHeader::kSize];
    Check(PReadFull(fd, bytes, sizeof bytes, offset, path) == sizeof bytes, "short header");
    KVTSimRpm_PoolHeader const header = KVTSimRpm_PoolHeader::Decode(bytes);
    Check(header.CheckLayout(offset, size) == KVTSimRpm_PoolHeader::FaultNone, "bad header");
    directory.resize(header.HeaderLength() - KVTSimRpm_PoolHeader::kSize);
    Check(PReadFull(fd, directory.data(), directory.size(), offset + KVTSimRpm_PoolHeader::kSize,
                    path) == directory.size(),
          "short directory");
    // The stored length, or the rest of the file for the open last pool.
    offset += header.RecordLength(offset, size);
  }
  return pools;
}

bool CpuClock() {
  static bool const cpu = [] {
    char const* env = std::getenv("KVTSIM_BENCH_CLOCK");
    return env != nullptr && std::strcmp(env, "cpu") == 0;
  }();
  return cpu;
}

double Stopwatch::Now() {
  timespec now;
  ::clock_gettime(CpuClock() ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

std::vector<int> ParseCounts(std::string const& text, char const* what) {
  std::vector<int> counts;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t comma = text.find(',', at);
    if (comma == std::string::npos)
      comma = text.size();
    int count = std::stoi(text.substr(at, comma - at));
    if (count < 1)
      throw std::invalid_argument(std::string(what) + " must be positive");
    counts.push_back(count);
    at = comma + 1;
  }
  return counts;
}

std::string RunChild(std::string const& request) {
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0)
    FailErrno("pipe", request);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
  std::string arg = kChildOption + request;
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
    throw std::runtime_error("the child " + arg + " failed");
  return output;
}

namespace {

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

int Child(Program const& program, std::string const& request) {
  try {
    return program.child(request);
  } catch (KVTBasException const& error) {
    std::fprintf(stderr, "%s\n", error.DeveloperReport(KVTBasStringModeFull).CStr());
  } catch (std::exception const& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  return 1;
}

}  // namespace

int Main(int argc, char** argv, Program const& program) {
  if (argc == 2 && std::strncmp(argv[1], kChildOption, sizeof kChildOption - 1) == 0)
    return Child(program, argv[1] + sizeof kChildOption - 1);
  try {
    program.readOptions(argc, argv);
  } catch (std::exception const& error) {
    std::fprintf(stderr, "%s: %s\n", program.name, error.what());
    return 2;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 2;
  TempDir dir;
  benchmark::AddCustomContext("kvtsim_tmpdir", dir.Path());
  program.registerAll(dir.Path());
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace bench

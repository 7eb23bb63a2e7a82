// Helpers shared by the fuzz harnesses and the seed generator: a scratch
// directory, fixed pool identifiers, and the check that turns a broken
// promise of the library into a finding.

#ifndef KVTSIM_FUZZ_KVTSIM_FUZZ_UTIL_H_
#define KVTSIM_FUZZ_KVTSIM_FUZZ_UTIL_H_

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "KVTString.h"

namespace kvtsim_fuzz {

// The user signature of every document the harnesses open.
inline constexpr char kSig[] = "USR1";

// Identifiers forced on the pools the harnesses create, so that inputs can
// name them (a fresh identifier would differ in every run).
inline constexpr char kFirstPoolId[] = "f0f0f0f0f0f0400080000000000000a1";
inline constexpr char kSecondPoolId[] = "f0f0f0f0f0f0400080000000000000b2";
inline constexpr char kFreeDirectoryId[] = "f0f0f0f0f0f0400080000000000000c3";

// A behaviour the library promises did not hold: report it and stop, so that
// libFuzzer keeps the input as a crash.
#define KVTSIM_FUZZ_CHECK(cond)                                                           \
  do {                                                                                    \
    if (!(cond)) {                                                                        \
      std::fprintf(stderr, "fuzz check failed: %s (%s:%d)\n", #cond, __FILE__, __LINE__); \
      std::abort();                                                                       \
    }                                                                                     \
  } while (0)

// A directory of the process's own, removed at exit.
class ScratchDir {
 public:
  static ScratchDir& Get() {
    static ScratchDir* dir = new ScratchDir;  // never destroyed: atexit removes the files
    return *dir;
  }

  std::string File(char const* leaf) const { return path_ + "/" + leaf; }
  KVTString Name(char const* leaf) const { return KVTString(File(leaf).c_str()); }

 private:
  ScratchDir() {
    char const* base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/kvtsim-fuzz-XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr)
      std::abort();
    path_ = pattern;
    std::atexit(&RemoveAtExit);
  }

  static void RemoveAtExit() {
    std::string command = "rm -rf '" + Get().path_ + "'";
    if (std::system(command.c_str()) != 0)
      std::fprintf(stderr, "could not remove %s\n", Get().path_.c_str());
  }

  std::string path_;
};

// Replaces the file's contents with the size bytes at data.
inline void WriteFile(std::string const& path, std::uint8_t const* data, std::size_t size) {
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  KVTSIM_FUZZ_CHECK(fd >= 0);
  std::size_t done = 0;
  while (done < size) {
    ssize_t n = write(fd, data + done, size - done);
    KVTSIM_FUZZ_CHECK(n > 0);
    done += static_cast<std::size_t>(n);
  }
  close(fd);
}

}  // namespace kvtsim_fuzz

#endif  // KVTSIM_FUZZ_KVTSIM_FUZZ_UTIL_H_

// CopyProgress: shows on a terminal how far a pool copy has come.
//
// The library copies a pool in one call (KVTSimRpm_File::AppendPool) and
// reports nothing while it runs. So, while the copy runs, a thread of this
// object reads how many bytes the process has written so far (the "wchar"
// count of /proc/self/io) and redraws one status line on standard error
// four times a second. Where that count cannot be read, it prints one line
// when the copy starts and one with the time taken when it ends.
//
// REQUIRES: the copy writes nothing else meanwhile, or the count runs ahead.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_COPY_PROGRESS_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_COPY_PROGRESS_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>

namespace kvtsim_pool {

class CopyProgress {
 public:
  // Starts showing the progress of a copy of total bytes; when enabled is
  // false it shows nothing at all.
  CopyProgress(std::uint64_t total, bool enabled);
  CopyProgress(CopyProgress const&) = delete;
  CopyProgress& operator=(CopyProgress const&) = delete;

  // Stops the thread; the status line is left as it is.
  ~CopyProgress();

  // Stops the thread and ends the status line with the time taken.
  void Done();

 private:
  void Watch();
  void Stop();
  void Draw(std::uint64_t copied) const;
  static std::optional<std::uint64_t> BytesWritten();

  std::uint64_t const mTotal;
  bool const mEnabled;
  std::chrono::steady_clock::time_point const mStart;
  std::optional<std::uint64_t> mWrittenBefore;
  std::mutex mMutex;
  std::condition_variable mWake;
  bool mStopping = false;
  std::thread mThread;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_COPY_PROGRESS_H_

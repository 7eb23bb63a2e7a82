#include "copy_progress.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

#include "text_format.h"

namespace kvtsim_pool {

namespace {

constexpr std::chrono::milliseconds kRedrawEvery(250);

}  // namespace

CopyProgress::CopyProgress(std::uint64_t total, bool enabled)
    : mTotal(total), mEnabled(enabled), mStart(std::chrono::steady_clock::now()) {
  if (!mEnabled)
    return;
  mWrittenBefore = BytesWritten();
  if (mWrittenBefore)
    mThread = std::thread([this] { Watch(); });
  else
    std::fprintf(stderr, "copying %s...\n", Mebibytes(mTotal).c_str());
}

CopyProgress::~CopyProgress() {
  Stop();
}

void CopyProgress::Done() {
  Stop();
  if (!mEnabled)
    return;
  std::chrono::duration<double> const taken = std::chrono::steady_clock::now() - mStart;
  if (mWrittenBefore)
    Draw(mTotal);
  std::fprintf(stderr, "%scopied %s in %.1f s\n", mWrittenBefore ? ", " : "",
               Mebibytes(mTotal).c_str(), taken.count());
}

void CopyProgress::Stop() {
  {
    std::lock_guard<std::mutex> lock(mMutex);
    mStopping = true;
  }
  mWake.notify_all();
  if (mThread.joinable())
    mThread.join();
}

void CopyProgress::Watch() {
  std::unique_lock<std::mutex> lock(mMutex);
  while (!mWake.wait_for(lock, kRedrawEvery, [this] { return mStopping; })) {
    std::optional<std::uint64_t> const now = BytesWritten();
    if (now)
      Draw(std::min(mTotal, *now - *mWrittenBefore));
  }
}

void CopyProgress::Draw(std::uint64_t copied) const {
  double const percent = mTotal == 0 ? 100.0 : 100.0 * copied / mTotal;
  std::fprintf(stderr, "\rcopying: %s of %s (%3.0f%%)", Mebibytes(copied).c_str(),
               Mebibytes(mTotal).c_str(), percent);
  std::fflush(stderr);
}

std::optional<std::uint64_t> CopyProgress::BytesWritten() {
  std::ifstream io("/proc/self/io");
  std::string key;
  std::uint64_t value = 0;
  while (io >> key >> value) {
    if (key == "wchar:")
      return value;
  }
  return std::nullopt;
}

}  // namespace kvtsim_pool

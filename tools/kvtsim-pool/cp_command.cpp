#include "cp_command.h"

#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>

#include "KVTBasException.h"
#include "KVTSimPoolManager.h"
#include "copy_progress.h"
#include "read_only_document.h"
#include "text_format.h"
#include "tool_error.h"
#include "user_signature.h"

namespace kvtsim_pool {

CLI::App* CpCommand::Attach(CLI::App& app) {
  CLI::App* sub = AddSubcommand(
      app, "cp", "Append a pool of one file to another file",
      "Appends pool POOL of SRC to the end of DST, byte for byte, creating DST when it does\n"
      "not exist; the copy becomes DST's last pool, and an empty last pool of DST is\n"
      "replaced. Both files take the same user signature. On a terminal, pools over 64 MiB\n"
      "show their progress on standard error.");
  sub->add_option("SRC", mSource, "Container file holding the pool")->required();
  sub->add_option("POOL", mPool, "Pool index in SRC (0 is the first) or identifier")->required();
  sub->add_option("DST", mTarget, "Container file to append the copy to")->required();
  return sub;
}

int CpCommand::Run() {
  mCurrent = mSource;
  UserSignature const signature = UserSignature::Resolve(mOptions.signature, mSource);
  RefuseSameFile();
  ReadOnlyDocument source(signature);
  source.Add(mSource);
  KVTSimRpm_Pool const pool = source.SelectPool(0, mPool);

  struct stat info {};
  bool const create = ::stat(mTarget.c_str(), &info) != 0 && errno == ENOENT;
  mCurrent = mTarget;
  unsigned int index = 0;
  try {
    index = Append(pool, signature, create);
  } catch (KVTBasException const& e) {
    // A file made only to receive the copy is not left behind half made.
    if (create)
      ::unlink(mTarget.c_str());
    // A pool that ends early is the source's fault, though it shows while
    // the target is written.
    std::string const message = DescribeError(e);
    if (message.rfind("KVTSimExcShortPool", 0) == 0)
      throw ToolError(mSource, message);
    throw;
  } catch (...) {
    if (create)
      ::unlink(mTarget.c_str());
    throw;
  }
  std::printf("%s pool %s (%s, %llu bytes) -> %s pool %u\n", mSource.c_str(), mPool.c_str(),
              pool.GetGUID().CStr(),
              static_cast<unsigned long long>(pool.Describe().RecordLength()), mTarget.c_str(),
              index);
  return 0;
}

unsigned int CpCommand::Append(KVTSimRpm_Pool const& pool, UserSignature const& signature,
                               bool create) {
  KVTSimRpm_Document document(signature.Bytes());
  KVTSimRpm_File file =
      document.AddFile(KVTString(mTarget.c_str()),
                       create ? KVTSimRpm_Document::AccessWrite : KVTSimRpm_Document::AccessUpdate);
  std::uint64_t const bytes = pool.Describe().RecordLength();
  CopyProgress progress(bytes, ::isatty(STDERR_FILENO) == 1 && bytes > kProgressThreshold);
  file.AppendPool(pool);
  progress.Done();
  unsigned int const index = file.PoolCount() - 1;
  document.Close();
  return index;
}

void CpCommand::RefuseSameFile() const {
  struct stat source {};
  struct stat target {};
  if (::stat(mSource.c_str(), &source) == 0 && ::stat(mTarget.c_str(), &target) == 0 &&
      source.st_dev == target.st_dev && source.st_ino == target.st_ino) {
    throw ToolError(mTarget, "DST and SRC are the same file");
  }
}

}  // namespace kvtsim_pool

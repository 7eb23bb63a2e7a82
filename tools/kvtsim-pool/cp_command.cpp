#include "cp_command.h"

#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <set>

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
      "replaced. Both files take the same user signature. On a terminal, copies over 64 MiB\n"
      "show their progress on standard error.\n"
      "When the pool's directory names pools DST lacks, cp warns, naming them: references\n"
      "into them cannot be followed in DST. --with-references first copies those SRC holds\n"
      "(and the pools they name in turn), each before the pools that name it. Should a\n"
      "later copy fail, the pools copied before it stay in an existing DST.",
      "$ kvtsim-pool cp --with-references demo/mesh.sim 1 copy.sim\n"
      "demo/mesh.sim pool 0 (64f67965fe614c32a3ea130e936ff74f, 208 bytes) -> copy.sim pool 0\n"
      "demo/mesh.sim pool 1 (9e44f494c782474eacc6c13568b5d3bf, 220 bytes) -> copy.sim pool 1");
  sub->add_option("SRC", mSource, "Container file holding the pool")->required();
  sub->add_option("POOL", mPool, "Pool index in SRC (0 is the first) or identifier")->required();
  sub->add_option("DST", mTarget, "Container file to append the copy to")->required();
  sub->add_flag("--with-references", mWithReferences,
                "Also copy the pools of SRC that the pool's directory names and DST lacks, "
                "transitively, each before the pools naming it");
  return sub;
}

namespace {

std::string Identifier(KVTSimRpm_Pool const& pool) {
  return std::string(pool.GetGUID().View());
}

// Each pool of file by its identifier: its index.
std::map<std::string, unsigned int> PoolsByIdentifier(KVTSimRpm_File const& file) {
  std::map<std::string, unsigned int> pools;
  for (unsigned int p = 0; p < file.PoolCount(); ++p)
    pools.emplace(Identifier(file.Pool(p)), p);
  return pools;
}

// Appends to order, depth first, the pools of source (indexed by pools) that
// pool names and held lacks, then pool itself: every pool comes after the
// pools it names, as when they were made. A pool already placed (or being
// placed, should two directories name each other) is not placed again.
void ReferencesFirst(KVTSimRpm_File const& source, std::map<std::string, unsigned int> const& pools,
                     unsigned int pool, std::set<std::string>& held,
                     std::vector<unsigned int>& order) {
  KVTSimRpm_PoolDescription const description = source.Pool(pool).Describe();
  held.insert(description.Identifier());
  std::vector<KVTSimRpm_PoolDescription::Entry> const& entries = description.Entries();
  // Slot 0 is the pool itself.
  for (std::size_t slot = 1; slot < entries.size(); ++slot) {
    if (held.count(entries[slot].Identifier()) != 0)
      continue;
    auto const named = pools.find(entries[slot].Identifier());
    if (named != pools.end())
      ReferencesFirst(source, pools, named->second, held, order);
  }
  order.push_back(pool);
}

}  // namespace

int CpCommand::Run() {
  mCurrent = mSource;
  UserSignature const signature = UserSignature::Resolve(mOptions.signature, mSource);
  RefuseSameFile();
  ReadOnlyDocument source(signature);
  source.Add(mSource);
  KVTSimRpm_File const& sourceFile = source.File(0);
  mSourcePools = PoolsByIdentifier(sourceFile);
  unsigned int const pool = mSourcePools.at(Identifier(source.SelectPool(0, mPool)));

  struct stat info {};
  bool const create = ::stat(mTarget.c_str(), &info) != 0 && errno == ENOENT;
  mCurrent = mTarget;
  std::vector<Copied> copied;
  try {
    copied = Append(sourceFile, pool, signature, create);
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
  Report(sourceFile, copied);
  return 0;
}

std::vector<CpCommand::Copied> CpCommand::Append(KVTSimRpm_File const& source, unsigned int pool,
                                                 UserSignature const& signature, bool create) {
  KVTSimRpm_Document document(signature.Bytes());
  KVTSimRpm_File file =
      document.AddFile(KVTString(mTarget.c_str()),
                       create ? KVTSimRpm_Document::AccessWrite : KVTSimRpm_Document::AccessUpdate);
  std::set<std::string> held;
  for (auto const& entry : PoolsByIdentifier(file))
    held.insert(entry.first);
  std::vector<unsigned int> order;
  if (!mWithReferences || held.count(Identifier(source.Pool(pool))) != 0)
    order.push_back(pool);  // a pool DST holds is refused before anything is copied
  else
    ReferencesFirst(source, mSourcePools, pool, held, order);

  std::uint64_t bytes = 0;
  for (unsigned int p : order)
    bytes += source.Pool(p).Describe().RecordLength();
  CopyProgress progress(bytes, ::isatty(STDERR_FILENO) == 1 && bytes > kProgressThreshold);
  std::vector<Copied> copied;
  for (unsigned int p : order) {
    file.AppendPool(source.Pool(p));
    copied.push_back(Copied{p, file.PoolCount() - 1});
  }
  progress.Done();
  // The copies' directories are resolved in a document holding DST alone.
  for (Copied const& copy : copied) {
    KVTSimRpm_PoolDescription const description = file.Pool(copy.targetIndex).Describe();
    for (KVTSimRpm_PoolDescription::Entry const& entry : description.Entries()) {
      if (!entry.Loaded() &&
          std::find(mLacking.begin(), mLacking.end(), entry.Identifier()) == mLacking.end())
        mLacking.push_back(entry.Identifier());
    }
  }
  document.Close();
  return copied;
}

void CpCommand::Report(KVTSimRpm_File const& source, std::vector<Copied> const& copied) const {
  for (Copied const& copy : copied) {
    KVTSimRpm_PoolDescription const pool = source.Pool(copy.sourceIndex).Describe();
    std::printf("%s pool %u (%s, %llu bytes) -> %s pool %u\n", mSource.c_str(), copy.sourceIndex,
                Printable(pool.Identifier()).c_str(),
                static_cast<unsigned long long>(pool.RecordLength()), mTarget.c_str(),
                copy.targetIndex);
  }
  if (mLacking.empty())
    return;
  std::string names;
  bool inSource = false;
  for (std::string const& identifier : mLacking) {
    names += (names.empty() ? "" : ", ") + Printable(identifier);
    inSource = inSource || mSourcePools.count(identifier) != 0;
  }
  std::fflush(stdout);
  std::fprintf(
      stderr,
      "kvtsim-pool cp: warning: %s lacks %s that the copied directory names (%s): "
      "references into %s cannot be followed there%s\n",
      mTarget.c_str(), Counted(mLacking.size(), "pool").c_str(), names.c_str(),
      mLacking.size() == 1 ? "it" : "them",
      inSource && !mWithReferences ? "; --with-references copies those SRC holds too" : "");
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

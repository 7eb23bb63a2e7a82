// Fuzz harness "load": the input is a container file.
//
// It is added read-only to one document, where every pool is visited: its
// identifier, its directory walked slot by slot, its data read, and the
// stored locators found in its data resolved. In a second document it is
// added for update, extended (an appended record, a new pool) and closed; a
// file that the library loaded and then wrote must load again with what was
// written. Error kinds of the library are normal outcomes.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "KVTBasException.h"
#include "KVTSimExc.h"
#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamReadBuffer.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_PoolImpl.h"
#include "KVTSimRpm_PoolMap.h"
#include "kvtsim_fuzz_util.h"

namespace {

using Doc = KVTSimRpm_Document;

// Reads and resolves at most this much of each pool: stored lengths may be
// huge, and a pool's data is not bounded by the file.
constexpr std::uint64_t kDataCap = 1 << 16;
constexpr int kLocatorCap = 64;
// Walks at most this many directory slots: storing a reference to a slot
// searches the directory the first time, so a walk over a directory of n
// entries costs n^2 / 2 comparisons (a record of 30,000 entries would take
// longer than the harness's time limit under the sanitizers).
constexpr int kDirectoryCap = 4096;
constexpr char kMarker[] = "written by the load harness";

void WalkDirectory(KVTSimRpm_PoolDirectoryImpl const& directory) {
  KVTSimRpm_PoolMap& map = *directory.Map().Get();
  for (int i = 0; i < directory.Length() && i < kDirectoryCap; ++i) {
    int slot = directory.InternalizeReference(i);
    KVTSIM_FUZZ_CHECK(slot >= 0 && slot < map.Length());
    map.UUID(slot);
    // The lowest directory slot naming a pool is the one stored for it.
    int stored = directory.ExternalizeReference(slot);
    KVTSIM_FUZZ_CHECK(stored >= 0 && stored <= i);
    KVTSIM_FUZZ_CHECK(directory.InternalizeReference(stored) == slot);
  }
}

// Follows one stored locator: its pool's identifier and a few of its bytes.
void Resolve(KVTSimRpm_Locator const& locator) {
  if (locator.Null())
    return;
  locator.GetGUID();
  char bytes[16];
  KVTSIM_FUZZ_CHECK(locator.Read(sizeof bytes, bytes) <= sizeof bytes);
}

// Stored locators at every 12-byte step of the data, as in a table of them.
void ResolveLocators(KVTSimRpm_Pool const& pool, std::string const& data) {
  KVTSimRpm_BStreamReadBuffer in(data.data(), data.size(), pool);
  for (int i = 0; i < kLocatorCap; ++i) {
    KVTSimRpm_Locator locator;
    try {
      Internalize(in, locator);
    } catch (KVTSimExcShortBuffer const&) {
      return;  // the end of the data
    } catch (KVTBasException const&) {
      continue;  // a bad reference still consumed its 12 bytes
    }
    try {
      Resolve(locator);
    } catch (KVTBasException const&) {
    }
  }
}

std::string ReadData(KVTSimRpm_Pool const& pool) {
  std::uint64_t length = pool.Length() < kDataCap ? pool.Length() : kDataCap;
  std::string data(length, '\0');
  std::uint64_t got = pool.Start().Read(length, &data[0]);
  KVTSIM_FUZZ_CHECK(got <= length);
  data.resize(got);
  return data;
}

void VisitPool(KVTSimRpm_Pool const& pool) {
  KVTSIM_FUZZ_CHECK(pool.GetGUID().GetLengthInByte() <= 32);
  KVTSimRpm_PoolImpl const& impl = *pool.Impl().Get();
  KVTSIM_FUZZ_CHECK(impl.Length() >= impl.HeaderLength());
  try {
    WalkDirectory(*impl.Directory());
  } catch (KVTBasException const&) {
  }
  std::string data = ReadData(pool);
  ResolveLocators(pool, data);
  // Through a locator stream as well, with a limit at the data's end.
  KVTSimRpm_BStreamReadLocator in(pool.Start(), data.size(), 64);
  try {
    for (int i = 0; i < kLocatorCap; ++i) {
      KVTSimRpm_Locator locator;
      Internalize(in, locator);
      Resolve(locator);
    }
  } catch (KVTBasException const&) {
  }
}

void VisitReadOnly(KVTString const& name) {
  try {
    Doc document(kvtsim_fuzz::kSig);
    KVTSimRpm_File file = document.AddFile(name, Doc::AccessRead);
    for (unsigned int i = 0; i < file.PoolCount(); ++i)
      VisitPool(file.Pool(i));
    document.Close();
  } catch (KVTBasException const&) {
  }
}

// Appends a record to the last pool (when append is set), then adds a pool
// holding the marker. Returns false when the library refused something (a
// normal outcome).
bool Extend(KVTString const& name, bool append) {
  try {
    Doc document(kvtsim_fuzz::kSig);
    KVTSimRpm_File file = document.AddFile(name, Doc::AccessUpdate);
    if (append && file.PoolCount() > 0) {
      KVTSimRpm_Pool pool = file.Pool();
      KVTSimRpm_BStreamAppendToPool out(pool, 64);
      Externalize(out, 42);
      out.Write(KVTString("appended"));
      Externalize(out, pool.Start());
      out.Flush();
    }
    file.NewPool(nullptr);
    KVTSimRpm_Locator at = file.Allocate(sizeof kMarker);
    at.Write(sizeof kMarker, kMarker);
    document.Close();
    return true;
  } catch (KVTBasException const&) {
    return false;
  }
}

// What Extend wrote must load again: the library wrote this file itself.
void CheckReload(KVTString const& name) {
  try {
    Doc document(kvtsim_fuzz::kSig);
    KVTSimRpm_File file = document.AddFile(name, Doc::AccessRead);
    KVTSIM_FUZZ_CHECK(file.PoolCount() > 0);
    KVTSimRpm_Pool last = file.Pool();
    KVTSIM_FUZZ_CHECK(last.Length() == sizeof kMarker);
    char back[sizeof kMarker];
    KVTSIM_FUZZ_CHECK(last.Start().Read(sizeof back, back) == sizeof back);
    KVTSIM_FUZZ_CHECK(std::memcmp(back, kMarker, sizeof back) == 0);
  } catch (KVTBasException const& e) {
    std::fprintf(stderr, "reload failed: %s\n", e.DeveloperReport(KVTBasStringModeFull).CStr());
    KVTSIM_FUZZ_CHECK(!"a file the library extended loads again");
  }
}

void Probe(KVTString const& name) {
  try {
    Doc::GetFileType(name);
    Doc::BinaryUpgradeRequired(name);
  } catch (KVTBasException const&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kvtsim_fuzz::ScratchDir& scratch = kvtsim_fuzz::ScratchDir::Get();
  kvtsim_fuzz::WriteFile(scratch.File("load.sim"), data, size);
  KVTString name = scratch.Name("load.sim");
  Probe(name);
  VisitReadOnly(name);
  // The last byte chooses whether the open pool grows before the new pool.
  bool append = size > 0 && (data[size - 1] & 1) != 0;
  if (Extend(name, append))
    CheckReload(name);
  return 0;
}

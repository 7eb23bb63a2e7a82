// Fuzz harness "salvage": the input is a container file, read with the
// salvage read and recovered.
//
// Whatever the bytes, the salvage read must not fail, must not write to the
// file, and must keep only pools that the loader would take on their own:
// each kept pool, written alone to a file (stored open, as a last pool is),
// must load with the same identifier and data. A file the loader opens must
// give the same pools unless the salvage read closed one up. The recovered
// file must load with the kept pools, and a salvage read of it must find
// nothing to leave out or close up.

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "KVTBasException.h"
#include "KVTBasMemoryExhausted.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_FileRecovery.h"
#include "KVTSimRpm_PoolHeader.h"
#include "kvtsim_fuzz_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using Header = KVTSimRpm_PoolHeader;

// A kept pool as the salvage read presents it.
struct Kept {
  std::uint64_t location;
  std::uint64_t length;
  std::uint32_t headerLength;
  std::string identifier;
  std::string data;  // what the file holds of its data area
};

std::string ReadFile(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void Save(std::string const& path, std::string const& bytes) {
  kvtsim_fuzz::WriteFile(path, reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
}

std::string DataOf(KVTSimRpm_Pool const& pool, std::uint64_t inFile) {
  std::string data(inFile, '\0');
  KVTSIM_FUZZ_CHECK(pool.Start().Read(inFile, &data[0]) == inFile);
  return data;
}

// The pools the salvage read keeps; the report's figures must agree.
std::vector<Kept> Salvage(KVTString const& name, std::size_t size,
                          KVTSimRpm_SalvageReport& report) {
  Doc document(kvtsim_fuzz::kSig);
  KVTSimRpm_File file = document.AddFileSalvaged(name, report);
  KVTSIM_FUZZ_CHECK(file.PoolCount() == report.PoolsKept());
  KVTSIM_FUZZ_CHECK(report.FileSize() == size);
  KVTSIM_FUZZ_CHECK(report.KeptBytes() + report.BytesLeftOut() == size);
  KVTSIM_FUZZ_CHECK(report.LeftOut() == !report.Reason().empty());
  std::vector<Kept> kept;
  std::uint64_t end = 0;
  for (unsigned i = 0; i < file.PoolCount(); ++i) {
    KVTSimRpm_PoolDescription const d = file.Pool(i).Describe();
    KVTSIM_FUZZ_CHECK(d.Location() == end);
    KVTSIM_FUZZ_CHECK(d.RecordLength() >= d.HeaderLength());
    KVTSIM_FUZZ_CHECK(d.Location() + d.HeaderLength() <= size);
    end = d.Location() + d.RecordLength();
    std::uint64_t const inFile =
        std::min<std::uint64_t>(end, size) - d.Location() - d.HeaderLength();
    kept.push_back({d.Location(), d.RecordLength(), d.HeaderLength(), d.Identifier(),
                    DataOf(file.Pool(i), inFile)});
  }
  KVTSIM_FUZZ_CHECK(std::min<std::uint64_t>(end, size) == report.KeptBytes());
  return kept;
}

// Each kept pool alone, as the last pool of a file of its own: the loader
// must take it.
void CheckAlone(std::string const& bytes, Kept const& pool) {
  std::uint64_t const end = std::min<std::uint64_t>(pool.location + pool.length, bytes.size());
  std::string alone = bytes.substr(pool.location, end - pool.location);
  Header open = Header::Decode(alone.data());
  open.SetStoredLength(0);
  open.EncodeTo(&alone[0]);
  std::string const path = kvtsim_fuzz::ScratchDir::Get().File("alone.sim");
  Save(path, alone);
  try {
    Doc document(kvtsim_fuzz::kSig);
    KVTSimRpm_File file = document.AddFile(KVTString(path.c_str()), Doc::AccessRead);
    KVTSIM_FUZZ_CHECK(file.PoolCount() == 1);
    KVTSIM_FUZZ_CHECK(file.Pool(0).Describe().Identifier() == pool.identifier);
    KVTSIM_FUZZ_CHECK(DataOf(file.Pool(0), file.Pool(0).Length()) == pool.data);
  } catch (KVTBasException const& e) {
    std::fprintf(stderr, "a kept pool refused alone: %s\n",
                 e.DeveloperReport(KVTBasStringModeFull).CStr());
    KVTSIM_FUZZ_CHECK(!"the loader takes every kept pool on its own");
  }
}

// A file the loader opens gives the same pools, unless one was closed up.
void CheckAgainstLoader(KVTString const& name, std::vector<Kept> const& kept,
                        KVTSimRpm_SalvageReport const& report) {
  Doc document(kvtsim_fuzz::kSig);
  unsigned count = 0;
  try {
    count = document.AddFile(name, Doc::AccessRead).PoolCount();
  } catch (KVTBasException const&) {
    KVTSIM_FUZZ_CHECK(report.LeftOut() || report.ClosedUp());
    return;
  }
  if (!report.ClosedUp()) {
    KVTSIM_FUZZ_CHECK(!report.LeftOut());
    KVTSIM_FUZZ_CHECK(count == kept.size());
  }
}

void CheckRecovered(KVTString const& name, std::vector<Kept> const& kept) {
  std::string const out = kvtsim_fuzz::ScratchDir::Get().File("recovered.sim");
  std::remove(out.c_str());
  KVTString const outName(out.c_str());
  try {
    KVTSimRpm_FileRecovery::RecoverTo(name, outName, kvtsim_fuzz::kSig);
    Doc document(kvtsim_fuzz::kSig);
    KVTSimRpm_File file = document.AddFile(outName, Doc::AccessRead);
    KVTSIM_FUZZ_CHECK(file.PoolCount() == kept.size());
    for (unsigned i = 0; i < file.PoolCount(); ++i) {
      KVTSIM_FUZZ_CHECK(file.Pool(i).Describe().Identifier() == kept[i].identifier);
      KVTSIM_FUZZ_CHECK(DataOf(file.Pool(i), file.Pool(i).Length()) == kept[i].data);
    }
    KVTSimRpm_SalvageReport again;
    Doc other(kvtsim_fuzz::kSig);
    other.AddFileSalvaged(outName, again);
    KVTSIM_FUZZ_CHECK(!again.LeftOut() && !again.ClosedUp());
  } catch (KVTBasException const& e) {
    std::fprintf(stderr, "recovery failed: %s\n", e.DeveloperReport(KVTBasStringModeFull).CStr());
    KVTSIM_FUZZ_CHECK(!"a recovered file loads");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  kvtsim_fuzz::ScratchDir& scratch = kvtsim_fuzz::ScratchDir::Get();
  std::string const path = scratch.File("salvage.sim");
  kvtsim_fuzz::WriteFile(path, data, size);
  KVTString const name = scratch.Name("salvage.sim");
  std::string const bytes(reinterpret_cast<char const*>(data), size);
  std::vector<Kept> kept;
  KVTSimRpm_SalvageReport report;
  try {
    kept = Salvage(name, size, report);
  } catch (KVTBasMemoryExhausted const&) {
    return 0;  // a directory naming more pools than the memory holds
  } catch (KVTBasException const& e) {
    std::fprintf(stderr, "salvage read failed: %s\n",
                 e.DeveloperReport(KVTBasStringModeFull).CStr());
    KVTSIM_FUZZ_CHECK(!"the salvage read takes any bytes");
  }
  KVTSIM_FUZZ_CHECK(ReadFile(path) == bytes);  // never written
  for (Kept const& pool : kept)
    CheckAlone(bytes, pool);
  CheckAgainstLoader(name, kept, report);
  CheckRecovered(name, kept);
  return 0;
}

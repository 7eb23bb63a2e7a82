// Writes the seed corpora of the fuzz harnesses: files and pool data that
// the library writes itself.
//
//   kvtsim_fuzz_seeds OUTDIR
//
// makes OUTDIR/load (container files), OUTDIR/streams (a parameter head and
// pool data holding stored integers, strings and locators),
// OUTDIR/directory (directory records of pools) and OUTDIR/salvage (whole
// and damaged container files). Exit status 0 on success.

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "KVTBasException.h"
#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTSimRpm_PoolImpl.h"
#include "kvtsim_fuzz_util.h"

namespace {

using Doc = KVTSimRpm_Document;
using Header = KVTSimRpm_PoolHeader;

void Save(std::string const& path, std::string const& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// A record as the tests write them: a number, a text and a reference.
void WriteRecord(KVTSimRpm_BStreamWrite& out, int n, KVTSimRpm_Locator const& target) {
  Externalize(out, n);
  out.Write(KVTString(
      std::string(static_cast<std::size_t>(n % 7), static_cast<char>('a' + n % 26)).c_str()));
  Externalize(out, target);
}

// Three pools: records appended to the first, written through a locator
// stream in the second (with references into the first), the third empty.
void WriteChain(std::string const& path) {
  Doc document(kvtsim_fuzz::kSig);
  KVTSimRpm_File file = document.AddFile(KVTString(path.c_str()), Doc::AccessWrite);
  KVTSimRpm_Locator first = file.Pool().End();
  {
    KVTSimRpm_BStreamAppendToPool out(file.Pool(), 32);
    for (int i = 0; i < 6; ++i)
      WriteRecord(out, i, first + 4 * static_cast<unsigned>(i));
    Externalize(out, KVTSimRpm_Locator());
    out.Flush();
  }
  file.NewPool(nullptr);
  KVTSimRpm_Locator record = file.Allocate(128);
  {
    KVTSimRpm_BStreamWriteLocator out(record, 128, 16);
    for (int i = 0; i < 4; ++i)
      WriteRecord(out, 10 + i, i % 2 == 0 ? first : record);
    out.Flush();
  }
  file.NewPool(nullptr);
  document.Close();
}

void LoadSeeds(std::string const& dir) {
  {
    Doc document(kvtsim_fuzz::kSig);
    document.AddFile(KVTString((dir + "/one-empty-pool.sim").c_str()), Doc::AccessWrite);
    document.Close();
  }
  WriteChain(dir + "/three-pools.sim");
  // Reopened for update and extended: the last pool grows, the others stay.
  std::string extended = dir + "/extended.sim";
  WriteChain(extended);
  Doc document(kvtsim_fuzz::kSig);
  KVTSimRpm_File file = document.AddFile(KVTString(extended.c_str()), Doc::AccessUpdate);
  file.Allocate(8).Write(8, "appended");
  document.Close();
}

std::string Head(unsigned chunk, unsigned limit, unsigned overlayStart, unsigned overlaySize,
                 std::uint32_t program) {
  std::string head;
  for (unsigned v : {chunk, limit, overlayStart, overlaySize, program & 0xFFFF, program >> 16}) {
    head += static_cast<char>(v & 0xFF);
    head += static_cast<char>(v >> 8);
  }
  return head;
}

// Pool data as the streams harness lays it out: the second pool of a file
// whose first pool holds 16 bytes.
std::string StreamData() {
  kvtsim_fuzz::ScratchDir& scratch = kvtsim_fuzz::ScratchDir::Get();
  Doc document(kvtsim_fuzz::kSig);
  KVTSimRpm_PoolDirectoryImpl::TestForceUUID(kvtsim_fuzz::kFirstPoolId);
  KVTSimRpm_File file = document.AddFile(scratch.Name("seed.sim"), Doc::AccessWrite);
  KVTSimRpm_Locator firstPool = file.Allocate(16);
  firstPool.Write(16, "first pool data.");
  file.NewPool(kvtsim_fuzz::kSecondPoolId);
  KVTSimRpm_Locator start = file.Allocate(240);
  {
    KVTSimRpm_BStreamWriteLocator out(start, 240, 64);
    for (int i = 0; i < 9; ++i)
      WriteRecord(out, i, i % 3 == 0 ? firstPool + 3 : start + 12 * static_cast<unsigned>(i));
    out.Flush();
  }
  std::string data(240, '\0');
  start.Read(data.size(), &data[0]);
  document.Close();
  return data;
}

void StreamSeeds(std::string const& dir) {
  std::string data = StreamData();
  // Programs: int, string, locator repeated; and a mix of bulk reads.
  std::uint32_t const records = 0x10210210;
  std::uint32_t const bulk = 0x76543210;
  Save(dir + "/records-chunk16", Head(16, 0, 0, 0, records) + data);
  Save(dir + "/records-limit", Head(64, 100, 0, 0, records) + data);
  Save(dir + "/records-overlay", Head(32, 0, 0, 120, records) + data);
  Save(dir + "/bulk-overlay", Head(20, 0, 24, 64, bulk) + data);
}

// Directory records: a pool's own, listing every pool made before it, and
// one naming the pools the harness's map holds.
void DirectorySeeds(std::string const& dir) {
  kvtsim_fuzz::ScratchDir& scratch = kvtsim_fuzz::ScratchDir::Get();
  Doc document(kvtsim_fuzz::kSig);
  KVTSimRpm_File file = document.AddFile(scratch.Name("seed-dir.sim"), Doc::AccessWrite);
  for (int i = 0; i < 3; ++i) {
    file.Allocate(1).Write(1, "x");
    file.NewPool(nullptr);
  }
  KVTSimRpm_PoolDirectoryImpl const& last = *file.Pool().Impl()->Directory();
  std::string record(static_cast<std::size_t>(last.Length()) * 32, '\0');
  last.Dump(&record[0]);
  document.Close();
  Save(dir + "/four-pools", std::string(1, '\0') + record);
  Save(dir + "/known-ids", std::string(1, '\3') + kvtsim_fuzz::kSecondPoolId +
                               kvtsim_fuzz::kFirstPoolId + kvtsim_fuzz::kFreeDirectoryId +
                               "f0f0f0f0f0f0400080000000000000d4");
}

// Damaged files as crashes leave them: a chain cut inside a header, a pool
// stored open ahead of others, zeros where a header should be.
void SalvageSeeds(std::string const& dir) {
  std::string const whole = dir + "/three-pools.sim";
  WriteChain(whole);
  std::ifstream in(whole, std::ios::binary);
  std::string const bytes((std::istreambuf_iterator<char>(in)), {});
  Header first = Header::Decode(bytes.data());
  std::size_t const second = static_cast<std::size_t>(first.StoredLength().value_or(0));
  Save(dir + "/cut-in-header.sim", bytes.substr(0, second + 30));
  Save(dir + "/cut-in-directory.sim", bytes.substr(0, second + 60));
  std::string open = bytes;
  first.SetStoredLength(0);
  first.EncodeTo(&open[0]);
  Save(dir + "/open-ahead.sim", open);
  Save(dir + "/zeros-after.sim", bytes.substr(0, second) + std::string(512, '\0'));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUTDIR\n", argv[0]);
    return 2;
  }
  std::string out = argv[1];
  try {
    for (char const* leaf : {"", "/load", "/streams", "/directory", "/salvage"})
      mkdir((out + leaf).c_str(), 0755);
    LoadSeeds(out + "/load");
    SalvageSeeds(out + "/salvage");
    StreamSeeds(out + "/streams");
    DirectorySeeds(out + "/directory");
  } catch (KVTBasException const& e) {
    std::fprintf(stderr, "%s\n", e.DeveloperReport(KVTBasStringModeFull).CStr());
    return 1;
  }
  return 0;
}

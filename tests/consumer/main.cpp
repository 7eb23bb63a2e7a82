// Checks that an installed pool manager can be found, included, linked and
// loaded: the module marker, the load-time initialisation, the file-type probe,
// the pool header codec and the raw chain walk, and an error kind caught by
// type across the library boundary; both umbrella headers must compile.
// Prints one line per failed check and exits with 1 if any failed.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "KVTSimPoolManager.h"
// Installed as well, for code that reaches the implementation classes.
#include "KVTSimPoolManagerInternals.h"

namespace {

int gFailures = 0;

void Check(bool ok, char const* what) {
  if (!ok) {
    std::fprintf(stderr, "consumer: FAILED: %s\n", what);
    ++gFailures;
  }
}

// Writes n bytes to path; false when the file could not be written whole.
bool WriteFile(std::string const& path, char const* bytes, std::size_t n) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr)
    return false;
  bool const written = std::fwrite(bytes, 1, n, f) == n;
  return std::fclose(f) == 0 && written;
}

void CheckLifecycle() {
  Check(ORVANTE_QFR2_INTERNAL_KVTSimPoolManager() == 1, "module marker returns 1");
  // Loading the library was the first initialisation, so another one only
  // raises the count and adds nothing to the tally.
  int tally = 0;
  KVTSimPoolManager_initialize(tally);
  Check(tally == 0, "library initialised at load");
  KVTSimPoolManager_finalize(tally);
  Check(tally == 0, "finalise after an extra initialise keeps the services");
  Check(KVTSimUtt_get_invalid_parameter_handler() != nullptr,
        "invalid-parameter handler installed at load");
}

void CheckProbe(std::string const& dir) {
  std::string const current = dir + "/current.sim";
  // A new pool's header, written with the library's codec.
  char header[KVTSimRpm_PoolHeader::kSize];
  KVTSimRpm_PoolHeader().EncodeTo(header);
  Check(WriteFile(current, header, sizeof header), "write current.sim");
  try {
    Check(KVTSimRpm_Document::GetFileType(KVTString(current.c_str())) ==
              KVTSimRpm_Document::FileTypeSim,
          "current.sim is a container file");
    Check(!KVTSimRpm_Document::BinaryUpgradeRequired(KVTString(current.c_str())),
          "current.sim needs no upgrade");
    // Read back raw: the header lists no directory entry, which the loader refuses.
    KVTSimRpm_ChainWalker walker(KVTString(current.c_str()), nullptr);
    Check(walker.Next() && walker.Fault() == KVTSimRpm_PoolHeader::FaultEntryCount,
          "the walker finds the empty directory");
  } catch (KVTBasException const& e) {
    std::fprintf(stderr, "consumer: %s\n", e.DeveloperReport(KVTBasStringModeFull).CStr());
    Check(false, "probe of current.sim raises nothing");
  }
  std::remove(current.c_str());
}

void CheckShortFile(std::string const& dir) {
  std::string const shortFile = dir + "/short.bin";
  char const* signature = reinterpret_cast<char const*>(KVTSimRpm_PoolHeader::kFormatSignature);
  Check(WriteFile(shortFile, signature, 4), "write short.bin");
  bool caught = false;
  try {
    KVTSimRpm_Document::BinaryUpgradeRequired(KVTString(shortFile.c_str()));
  } catch (KVTSimExcNotSimFile const& e) {
    caught = e.GetCode() == KVTSimCodeNotSimFile && e.File() != nullptr;
  } catch (...) {
    Check(false, "short file raises KVTSimExcNotSimFile, not another kind");
  }
  Check(caught, "short file raises KVTSimExcNotSimFile with its location");
  std::remove(shortFile.c_str());
}

}  // namespace

int main() {
  char const* tmp = std::getenv("TMPDIR");
  std::string dirTemplate =
      std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/kvtsim-consumer-XXXXXX";
  if (mkdtemp(dirTemplate.data()) == nullptr) {
    std::perror("consumer: mkdtemp");
    return 1;
  }
  std::string const dir(dirTemplate);
  CheckLifecycle();
  CheckProbe(dir);
  CheckShortFile(dir);
  rmdir(dir.c_str());
  if (gFailures != 0)
    return 1;
  std::printf("consumer: all checks passed\n");
  return 0;
}

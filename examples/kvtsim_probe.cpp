// kvtsim_probe: tells, for each file named on the command line, whether it is
// a container file of the pool manager and whether its format version differs
// from the one this library writes.
//
//   usage: kvtsim_probe FILE...
//
// One line per file on standard output, e.g.
//   data.sim: Sim, upgrade required: no
//   notes.txt: NotSim, upgrade required: yes
// or, when the library raises an error for the file, one line on standard error:
//   missing.sim: error: KVTSimUttOSError(open 'missing.sim': No such file or directory)
//
// Exit status: 0 when every file was probed, 2 when at least one raised an
// error (or no file was named).
//
// Both calls read only the first nine bytes of a file (the format signature
// and the version byte) and need no document.

#include <cstdio>

#include "KVTSimPoolManager.h"

namespace {

char const* FileTypeName(KVTSimRpm_Document::FileType type) {
  switch (type) {
    case KVTSimRpm_Document::FileTypeNotSim:
      return "NotSim";
    case KVTSimRpm_Document::FileTypeSim:
      return "Sim";
    case KVTSimRpm_Document::FileTypeOldSim:
      return "OldSim";
  }
  return "unknown";
}

// Prints the result for one file; returns false when the library raised an
// error for it.
bool Probe(char const* path) {
  KVTString const fileName(path);
  try {
    KVTSimRpm_Document::FileType const type = KVTSimRpm_Document::GetFileType(fileName);
    // The upgrade check looks at the version byte only, so it answers "yes" for
    // any file of nine bytes or more whose ninth byte is not the current
    // version, container or not; a shorter file raises KVTSimExcNotSimFile.
    bool const upgrade = KVTSimRpm_Document::BinaryUpgradeRequired(fileName);
    std::printf("%s: %s, upgrade required: %s\n", path, FileTypeName(type), upgrade ? "yes" : "no");
    return true;
  } catch (KVTBasException const& e) {
    // Every error of the library derives from KVTBasException; the short user
    // report names the kind and its arguments on one line.
    std::fflush(stdout);
    std::fprintf(stderr, "%s: error: %s\n", path, e.UserReport(KVTBasStringModeShort).CStr());
    return false;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE...\n", argc > 0 ? argv[0] : "kvtsim_probe");
    return 2;
  }
  // Loading the shared library has already initialised it: no set-up call is
  // needed before the first probe.
  bool allProbed = true;
  for (int i = 1; i < argc; ++i) {
    if (!Probe(argv[i]))
      allProbed = false;
  }
  return allProbed ? 0 : 2;
}

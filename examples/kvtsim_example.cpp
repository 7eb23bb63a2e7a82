// kvtsim_example: the pool manager in one short program, to copy from.
//
//   usage: kvtsim_example [DIR]
//
// 1. Creates two container files in DIR (default: a new temporary
//    directory): geometry.sim with a pool of named points, and run.sim with
//    a record that refers to one of those points and holds an array of
//    temperatures.
// 2. Closes them.
// 3. Opens both again, read-only, in a new document, reads the record and
//    follows its reference into the other file.
// Exit status 0 when everything read back as it was written, 1 when not,
// 2 when the library raised an error. Existing files are never overwritten.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "KVTSimPoolManager.h"

namespace {

// Every file of a document carries the document's 4-byte user signature;
// opening a file of another signature raises KVTSimExcUserSigMismatch.
char const kSignature[] = "EXMP";

struct Files {
  std::string geometry;
  std::string run;
};

// The run's results: one temperature per time step.
std::vector<double> const kTemperatures = {293.15, 294.5, 296.125, 301.4};

// Writes three points through an append stream and returns a locator (a
// position inside a pool) to the second one.
KVTSimRpm_Locator WritePoints(KVTSimRpm_File& geometry) {
  // A new file holds one empty pool; an append stream adds bytes at its end,
  // so a record lies at the pool's old end plus what was written before it.
  KVTSimRpm_Locator const start = geometry.Pool().End();
  KVTSimRpm_Locator second;
  KVTSimRpm_BStreamAppendToPool out(geometry.Pool(), 4096);
  char const* const names[] = {"origin", "tip", "hinge"};
  for (int i = 0; i < 3; ++i) {
    if (i == 1)
      second = start + out.Length();
    out.Write(KVTString(names[i]));  // stored as length, bytes, zero padding to 4
    Externalize(out, i * 10.5);      // x, a double: 8 little-endian bytes
    Externalize(out, i * 5.25);      // y
  }
  out.Flush();  // the destructor flushes too, but cannot report an error
  return second;
}

// Writes a record {title, steps, point, count, temperatures} into space
// allocated first.
void WriteRun(KVTSimRpm_File& run, KVTSimRpm_Locator const& point) {
  KVTString const title("wing test");
  // The record's stored size, from the stored sizes of its parts.
  unsigned long long const size =
      KVTSimRpm_BStreamWrite::StoredStringSize(title) + KVTSimRpm_Swapper::StoredSize<int>() +
      KVTSimRpm_Locator::kStoredSize + KVTSimRpm_Swapper::StoredSize<std::uint32_t>() +
      kTemperatures.size() * KVTSimRpm_Swapper::StoredSize<double>();
  KVTSimRpm_Locator const record = run.Allocate(size);
  // The limit makes a miscounted size an error here, not garbage later.
  KVTSimRpm_BStreamWriteLocator out(record, size, 64);
  out.Write(title);
  Externalize(out, 42);
  // A reference is stored as a slot of the writing pool's directory, which
  // lists the pools that existed when that pool was made.
  Externalize(out, point);
  // An array is stored without its count: the record stores it first.
  Externalize(out, static_cast<std::uint32_t>(kTemperatures.size()));
  ExternalizeArray(out, kTemperatures);
  out.Flush();
}

Files Write(std::string const& directory) {
  KVTSimRpm_Document document(kSignature);
  KVTString const dir(directory.c_str());
  // CreateGenerated never overwrites: it takes "geometry.sim", or
  // "geometry.sim-1", "geometry.sim-2", ... when that name is taken.
  KVTSimRpm_File geometry = document.CreateGenerated(dir, KVTString("geometry.sim"));
  KVTSimRpm_Locator const tip = WritePoints(geometry);
  // run.sim's pool is made after geometry.sim's, so its directory lists that
  // pool and its data can refer to it. (A reference the other way round would
  // raise KVTSimExcCantExternalizeLoc.)
  KVTSimRpm_File run = document.CreateGenerated(dir, KVTString("run.sim"));
  WriteRun(run, tip);
  Files const files{geometry.FileName().CStr(), run.FileName().CStr()};
  // Close writes the pool headers; destroying a document writes nothing.
  document.Close();
  return files;
}

bool ReadBack(Files const& files) {
  KVTSimRpm_Document document(kSignature);
  KVTSimRpm_File run =
      document.AddFile(KVTString(files.run.c_str()), KVTSimRpm_Document::AccessRead);
  // A reference is followed through the document's map of pools: the file it
  // points into must be open in the same document.
  document.AddFile(KVTString(files.geometry.c_str()), KVTSimRpm_Document::AccessRead);

  KVTSimRpm_BStreamReadLocator in(run.Pool().Start(), run.Pool().Length(), 64);
  KVTString title;
  int steps = 0;
  KVTSimRpm_Locator point;
  std::uint32_t count = 0;
  std::vector<double> temperatures;
  in.Read(title);
  Internalize(in, steps);
  Internalize(in, point);
  Internalize(in, count);
  // A damaged count meets the end of the record (the stream's limit), not
  // an allocation of that size.
  InternalizeArray(in, temperatures, count);

  KVTSimRpm_BStreamReadLocator at(point, 0, 64);  // 0: no length limit
  KVTString name;
  double x = -1;
  double y = -1;
  at.Read(name);
  Internalize(at, x);
  Internalize(at, y);
  std::printf("%s: \"%s\", %d steps, point \"%s\" (%g, %g) from %s, %u temperatures\n",
              files.run.c_str(), title.CStr(), steps, name.CStr(), x, y, files.geometry.c_str(),
              count);
  return title == KVTString("wing test") && steps == 42 && name == KVTString("tip") && x == 10.5 &&
         y == 5.25 && temperatures == kTemperatures;
}

std::string NewTemporaryDirectory() {
  char const* tmp = std::getenv("TMPDIR");
  std::string pattern =
      std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/kvtsim-example-XXXXXX";
  if (mkdtemp(&pattern[0]) == nullptr) {
    std::perror("kvtsim_example: mkdtemp");
    std::exit(2);
  }
  return pattern;
}

}  // namespace

int main(int argc, char** argv) {
  std::string const directory = argc > 1 ? argv[1] : NewTemporaryDirectory();
  try {
    Files const files = Write(directory);
    std::printf("wrote %s and %s\n", files.geometry.c_str(), files.run.c_str());
    if (!ReadBack(files)) {
      std::fprintf(stderr, "kvtsim_example: read back something else than was written\n");
      return 1;
    }
  } catch (KVTBasException const& e) {
    // Every error of the library derives from KVTBasException; AsString names
    // the kind and its arguments, e.g. "KVTSimExcUserSigMismatch".
    std::fprintf(stderr, "kvtsim_example: %s\n", e.UserReport(KVTBasStringModeShort).CStr());
    return 2;
  }
  return 0;
}

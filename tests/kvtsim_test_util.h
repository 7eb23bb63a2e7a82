// Helpers shared by the tests: temporary directories, file bytes and checks.

#ifndef KVTSIM_TESTS_KVTSIM_TEST_UTIL_H_
#define KVTSIM_TESTS_KVTSIM_TEST_UTIL_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "KVTBasAssertException.h"
#include "KVTSimExc.h"
#include "KVTSimRpm_BStreamRead.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_File.h"
#include "KVTSimRpm_PoolHeader.h"
#include "KVTString.h"

namespace kvtsim_test {

// A fresh directory under /tmp, removed with everything in it.
class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/kvtsim-test-XXXXXX";
    if (mkdtemp(pattern) == nullptr)
      std::abort();
    path_ = pattern;
  }
  ~TempDir() { std::system(("rm -rf '" + path_ + "'").c_str()); }

  std::string const& Path() const { return path_; }
  std::string File(std::string const& name) const { return path_ + "/" + name; }
  KVTString Name(std::string const& name) const { return KVTString(File(name).c_str()); }

 private:
  std::string path_;
};

// A fixture: a document with user signature "USR1" and one new file, a.sim,
// open for writing in a fresh directory.
class WritableFileTest : public testing::Test {
 protected:
  WritableFileTest()
      : document_("USR1"),
        file_(document_.AddFile(dir_.Name("a.sim"), KVTSimRpm_Document::AccessWrite)) {}

  // The data area of the file's current pool, read back through the library.
  std::string PoolData() {
    std::string bytes(file_.Pool().Length(), '\0');
    file_.Pool().Start().Read(bytes.size(), &bytes[0]);
    return bytes;
  }

  TempDir dir_;
  KVTSimRpm_Document document_;
  KVTSimRpm_File file_;
};

inline std::string ReadBytes(std::string const& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void WriteBytes(std::string const& file, std::string const& bytes) {
  std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

// n bytes of a pseudo-random pattern chosen by seed.
inline std::string RandomBytes(std::size_t n, unsigned seed) {
  std::mt19937 random(seed);
  std::string bytes(n, '\0');
  for (char& c : bytes)
    c = static_cast<char>(random());
  return bytes;
}

// Writes a file of one pool whose data is data, with user signature "USR1".
inline void WriteOnePool(KVTString const& name, std::string const& data) {
  KVTSimRpm_Document document("USR1");
  KVTSimRpm_File file = document.AddFile(name, KVTSimRpm_Document::AccessWrite);
  file.Allocate(data.size()).Write(data.size(), data.data());
  document.Close();
}

// Overwrites bytes of the file at offset (the file keeps its other bytes).
inline void Patch(std::string const& file, std::size_t offset, std::string const& bytes) {
  std::string all = ReadBytes(file);
  all.replace(offset, bytes.size(), bytes);
  WriteBytes(file, all);
}

inline void Shrink(std::string const& file, std::size_t size) {
  if (truncate(file.c_str(), static_cast<off_t>(size)) != 0)
    std::abort();
}

// The 8 bytes of the format signature that begin every pool record.
inline std::string FormatSignature() {
  return std::string(reinterpret_cast<char const*>(KVTSimRpm_PoolHeader::kFormatSignature),
                     KVTSimRpm_PoolHeader::kSignatureSize);
}

// A little-endian 32-bit field as stored bytes.
inline std::string U32(std::uint32_t v) {
  std::string s(4, '\0');
  for (int i = 0; i < 4; ++i)
    s[i] = static_cast<char>(v >> (8 * i));
  return s;
}

// Runs fn and returns the expression text of the check it fails, or
// "(none)"; the check's report on standard error is swallowed.
template <typename Fn>
std::string FailedCheck(Fn fn) {
  testing::internal::CaptureStderr();
  std::string expression = "(none)";
  try {
    fn();
  } catch (KVTBasAssertException const& e) {
    expression = e.Expression();
  }
  testing::internal::GetCapturedStderr();
  return expression;
}

// True when fn fails a check, whatever its expression; for checks whose text
// is the library's own business. The report is swallowed.
template <typename Fn>
bool FailsCheck(Fn fn) {
  return FailedCheck(fn) != "(none)";
}

// A stream of a caller's own: it forwards only the required operations, so
// the library cannot look ahead in it, and records each PrepRead length.
class ForwardingStream : public KVTSimRpm_BStreamRead {
 public:
  explicit ForwardingStream(KVTSimRpm_BStreamRead& inner) : inner_(inner) {}

  using KVTSimRpm_BStreamRead::Read;
  char const* PrepRead(unsigned long long length) override {
    requests.push_back(length);
    return inner_.PrepRead(length);
  }
  void Read(char* buffer, unsigned int length) override { inner_.Read(buffer, length); }
  KVTSimRpm_PoolDirectoryImpl const& SourceDir() const override { return inner_.SourceDir(); }
  KVTSimRpm_MemoryPool* IMPool() const override { return inner_.IMPool(); }

  std::vector<unsigned long long> requests;

 private:
  KVTSimRpm_BStreamRead& inner_;
};

// The numbers a short-stream error carries: needed and available bytes, or
// requested bytes and capacity.
inline std::pair<unsigned long long, unsigned long long> NumbersOf(KVTSimExcShortBuffer const& e) {
  return {e.Needed(), e.Available()};
}
inline std::pair<unsigned long long, unsigned long long> NumbersOf(
    KVTSimExcRequestTooBig const& e) {
  return {e.Requested(), e.Capacity()};
}

// Success when fn raises Error (KVTSimExcShortBuffer or KVTSimExcRequestTooBig)
// carrying these two numbers.
template <typename Error, typename Fn>
testing::AssertionResult Raises(Fn fn, unsigned long long first, unsigned long long second) {
  try {
    fn();
  } catch (Error const& e) {
    if (NumbersOf(e) == std::make_pair(first, second))
      return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "raised with " << NumbersOf(e).first << ", " << NumbersOf(e).second;
  }
  return testing::AssertionFailure() << "nothing raised";
}

}  // namespace kvtsim_test

#endif  // KVTSIM_TESTS_KVTSIM_TEST_UTIL_H_

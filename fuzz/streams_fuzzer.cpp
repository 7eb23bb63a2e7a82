// Fuzz harness "streams": the input becomes a pool's data, read back as
// stored integers, strings, locators and arrays of doubles.
//
// Input: a 12-byte head of parameters, then the pool data.
//   0  2  chunk size of the locator streams (little-endian)
//   2  2  length limit (0: none)
//   4  2  start of a memory-pool overlay in the data (clamped)
//   6  2  size of the overlay (clamped to the data)
//   8  4  program: eight 4-bit operations, repeated (the 16 operations are
//         the cases of Step)
// The data is read by the same program through a buffer stream (the
// reference), a locator stream from the pool's start, and a locator stream
// from the overlay's start that carries the overlay. Wherever the reference
// and a pool stream both deliver a value, the values must agree: the
// streams read the same bytes. An overlaid stream is compared only up to the
// overlay's end, where its locator reads stop short. Error kinds of the
// library are normal outcomes, and end a stream's run.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "KVTBasException.h"
#include "KVTSimRpm_BStreamReadBuffer.h"
#include "KVTSimRpm_BStreamReadLocator.h"
#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_MemoryPool.h"
#include "KVTSimRpm_PoolDirectoryImpl.h"
#include "kvtsim_fuzz_util.h"

namespace {

using Doc = KVTSimRpm_Document;

constexpr std::size_t kHeadSize = 12;
constexpr int kMaxSteps = 2048;

// What one step read (its size and a hash of its bytes: steps may read up
// to a chunk), and where it ended (bytes from the stream's start).
struct Value {
  std::size_t size;
  std::uint64_t hash;
  std::uint64_t end;
};
using Transcript = std::vector<Value>;

// Counts the bytes that another stream hands out.
class CountingStream : public KVTSimRpm_BStreamRead {
 public:
  explicit CountingStream(KVTSimRpm_BStreamRead& inner) : inner_(inner), count_(0) {}

  using KVTSimRpm_BStreamRead::Read;
  char const* PrepRead(unsigned long long length) override {
    char const* span = inner_.PrepRead(length);
    count_ += length;
    return span;
  }
  void Read(char* buffer, unsigned int length) override {
    inner_.Read(buffer, length);
    count_ += length;
  }
  KVTSimRpm_PoolDirectoryImpl const& SourceDir() const override { return inner_.SourceDir(); }
  KVTSimRpm_MemoryPool* IMPool() const override { return inner_.IMPool(); }
  // Looking ahead hands nothing out.
  char const* PeekRead(unsigned long long length) override { return inner_.PeekRead(length); }
  void CheckRead(unsigned long long length) override { inner_.CheckRead(length); }
  std::uint64_t Count() const { return count_; }

 protected:
  // Arrays through the inner stream's own spans.
  char const* NextReadSpan(unsigned long long wanted, unsigned int unit,
                           unsigned long long& granted) override {
    char const* span = inner_.PrepReadSpan(wanted, unit, granted);
    KVTSIM_FUZZ_CHECK(granted >= unit && granted <= wanted && granted % unit == 0);
    count_ += granted;
    return span;
  }

 private:
  KVTSimRpm_BStreamRead& inner_;
  std::uint64_t count_;
};

struct Params {
  unsigned chunk;
  std::uint64_t limit;
  std::uint64_t overlayStart;
  std::uint64_t overlaySize;
  std::uint32_t program;
};

unsigned U16(std::uint8_t const* p) {
  return p[0] | (static_cast<unsigned>(p[1]) << 8);
}

Params ParseHead(std::uint8_t const* head, std::uint64_t dataSize) {
  Params params;
  params.chunk = U16(head);
  params.limit = U16(head + 2);
  params.overlayStart = U16(head + 4) <= dataSize ? U16(head + 4) : dataSize;
  std::uint64_t room = dataSize - params.overlayStart;
  params.overlaySize = U16(head + 6) <= room ? U16(head + 6) : room;
  params.program = U16(head + 8) | (static_cast<std::uint32_t>(U16(head + 10)) << 16);
  return params;
}

std::uint64_t Hash(std::string const& text) {
  std::uint64_t hash = 14695981039346656037ull;
  for (char c : text)
    hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
  return hash;
}

std::string Bytes(char const* p, std::size_t n) {
  return std::string(p, n);
}

// Bulk bytes through Read, into a zeroed destination.
std::string BulkRead(KVTSimRpm_BStreamRead& in, unsigned n) {
  std::string bytes(n, '\0');
  in.Read(&bytes[0], n);
  return bytes;
}

// Tries to follow a locator read from a stream; any error kind is fine.
void Resolve(KVTSimRpm_Locator const& locator) {
  if (locator.Null())
    return;
  try {
    char bytes[8];
    KVTSIM_FUZZ_CHECK(locator.Read(sizeof bytes, bytes) <= sizeof bytes);
    locator.GetGUID();
  } catch (KVTBasException const&) {
  }
}

// Doubles as their bytes in host order, for comparing bit patterns.
std::string Doubles(std::vector<double> const& values) {
  return Bytes(reinterpret_cast<char const*>(values.data()), values.size() * sizeof(double));
}

// One operation of the program; the value it read, as text.
std::string Step(KVTSimRpm_BStreamRead& in, unsigned op, unsigned chunk) {
  switch (op & 15) {
    case 0: {
      int value = 0;
      Internalize(in, value);
      return "int " + std::to_string(value);
    }
    case 1: {
      KVTString text;
      in.Read(text);
      return "string " + std::string(text.View());
    }
    case 2: {
      KVTSimRpm_Locator locator;
      Internalize(in, locator);
      Resolve(locator);
      return "locator " + std::to_string(locator.SlotInMap()) + " " +
             std::to_string(locator.Offset());
    }
    case 3:
      return BulkRead(in, 5);
    case 4:  // larger than the chunk: locator streams read around their buffer
      return BulkRead(in, chunk + 9);
    case 5:
      return Bytes(in.PrepRead(3), 3);
    case 6:
      return Bytes(in.PrepRead(chunk), chunk);
    case 8: {  // more than a chunk's worth: several spans
      std::vector<double> values(chunk / 8 + 3);
      InternalizeArray(in, values.data(), values.size());
      return "doubles " + Doubles(values);
    }
    case 9: {  // a stored count, possibly huge, then that many values
      unsigned count = 0;
      Internalize(in, count);
      std::vector<double> values;
      InternalizeArray(in, values, count);
      KVTSIM_FUZZ_CHECK(values.size() == count);
      return "counted doubles " + Doubles(values);
    }
    case 10: {
      std::int16_t value = 0;
      Internalize(in, value);
      return "short " + std::to_string(value);
    }
    default:
      in.Read(nullptr, 0);
      return Bytes(in.PrepRead(1), 1);
  }
}

Transcript Run(KVTSimRpm_BStreamRead& stream, std::uint32_t program, unsigned chunk) {
  CountingStream in(stream);
  Transcript transcript;
  try {
    for (int i = 0; i < kMaxSteps; ++i) {
      std::string text = Step(in, program >> (4 * (i % 8)), chunk);
      transcript.push_back(Value{text.size(), Hash(text), in.Count()});
    }
  } catch (KVTBasException const&) {
  }
  return transcript;
}

// Compares the steps that both delivered and that the reference ended at or
// before bound.
void CheckAgree(Transcript const& reference, Transcript const& other, std::uint64_t bound) {
  std::size_t n = reference.size() < other.size() ? reference.size() : other.size();
  for (std::size_t i = 0; i < n && reference[i].end <= bound; ++i) {
    bool same = reference[i].size == other[i].size && reference[i].hash == other[i].hash;
    if (!same)
      std::fprintf(stderr, "step %zu differs: %zu bytes read as %zu bytes\n", i, reference[i].size,
                   other[i].size);
    KVTSIM_FUZZ_CHECK(same);
  }
}

// The reference: the bytes from start in memory, cut at the limit.
Transcript Reference(std::string const& data, std::uint64_t start, Params const& params,
                     KVTSimRpm_Pool const& pool) {
  std::uint64_t length = data.size() - start;
  if (params.limit != 0 && params.limit < length)
    length = params.limit;
  KVTSimRpm_BStreamReadBuffer in(data.data() + start, length, pool);
  return Run(in, params.program, params.chunk < 16 ? 16 : params.chunk);
}

void ReadBack(KVTSimRpm_Pool const& pool, std::string const& data, Params const& params) {
  unsigned chunk = params.chunk < 16 ? 16 : params.chunk;
  KVTSimRpm_Locator start = pool.Start();
  {
    KVTSimRpm_BStreamReadLocator in(start, params.limit, params.chunk);
    CheckAgree(Reference(data, 0, params, pool), Run(in, params.program, chunk), ~0ull);
  }
  try {
    KVTSimRpm_MemoryPool overlay(start + params.overlayStart, params.overlaySize);
    KVTSimRpm_BStreamReadLocator in(KVTSimRpm_Locator(start + params.overlayStart, overlay),
                                    params.limit, params.chunk);
    bool toTheEnd = params.overlayStart + params.overlaySize == data.size();
    CheckAgree(Reference(data, params.overlayStart, params, pool), Run(in, params.program, chunk),
               toTheEnd ? ~0ull : params.overlaySize);
  } catch (KVTBasException const&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* input, std::size_t size) {
  if (size < kHeadSize)
    return 0;
  std::string data(reinterpret_cast<char const*>(input) + kHeadSize, size - kHeadSize);
  Params params = ParseHead(input, data.size());
  try {
    Doc document(kvtsim_fuzz::kSig);
    KVTSimRpm_PoolDirectoryImpl::TestForceUUID(kvtsim_fuzz::kFirstPoolId);
    KVTSimRpm_File file =
        document.AddFile(kvtsim_fuzz::ScratchDir::Get().Name("streams.sim"), Doc::AccessWrite);
    file.Allocate(16).Write(16, "first pool data.");
    // The second pool's directory lists the first at slot 1.
    file.NewPool(kvtsim_fuzz::kSecondPoolId);
    file.Allocate(data.size()).Write(data.size(), data.data());
    ReadBack(file.Pool(), data, params);
    document.Close();
  } catch (KVTBasException const& e) {
    std::fprintf(stderr, "set-up failed: %s\n", e.DeveloperReport(KVTBasStringModeFull).CStr());
    KVTSIM_FUZZ_CHECK(!"the pool under test can be written");
  }
  return 0;
}

// Compiled by the compile_fail tests (tests/CMakeLists.txt) once per case,
// with KVTSIM_CASE set to the case's number. Case 0 must compile; every
// other case must fail with the message that lists the stored types.

#include <cstdint>
#include <vector>

#include "KVTSimRpm_BStreamRead.h"
#include "KVTSimRpm_BStreamWrite.h"

namespace {

enum Colour { kRed };
struct Point {
  double x;
  double y;
};
// Converts to a number; an implicit conversion once stored it as an int.
struct Celsius {
  operator double() const { return 21.5; }  // NOLINT: implicit on purpose
};

// A caller's record with its own overloads, and a type derived from it.
struct Record {
  int id;
};
struct TaggedRecord : Record {};
void Externalize(KVTSimRpm_BStreamWrite& s, Record const& r) {
  Externalize(s, r.id);
}
void Internalize(KVTSimRpm_BStreamRead& s, Record& r) {
  Internalize(s, r.id);
}

}  // namespace

void Use(KVTSimRpm_BStreamWrite& out, KVTSimRpm_BStreamRead& in) {
#if KVTSIM_CASE == 0
  // Everything stored compiles, in both 64-bit spellings; a class with its
  // own overloads keeps them, also for a derived class.
  Externalize(out, std::int16_t{1});
  Externalize(out, std::uint64_t{1});
  Externalize(out, 1ull);
  Externalize(out, std::size_t{1});
  Externalize(out, 1.5);
  double d = 0;
  long l = 0;
  Internalize(in, d);
  Internalize(in, l);
  std::vector<float> values;
  ExternalizeArray(out, values);
  InternalizeArray(in, values, 3);
  TaggedRecord tagged{};
  Externalize(out, tagged);
  Internalize(in, tagged);
  static_assert(KVTSimRpm_Swapper::StoredSize<unsigned long>() == 8);
#elif KVTSIM_CASE == 1
  Externalize(out, true);
#elif KVTSIM_CASE == 2
  Externalize(out, 1.0L);
#elif KVTSIM_CASE == 3
  Externalize(out, Celsius{});  // no longer reaches the int overload through double
#elif KVTSIM_CASE == 4
  char c = 0;
  Internalize(in, c);
#elif KVTSIM_CASE == 5
  Externalize(out, kRed);
#elif KVTSIM_CASE == 6
  int x = 0;
  Externalize(out, &x);
#elif KVTSIM_CASE == 7
  Externalize(out, Point{});
#elif KVTSIM_CASE == 8
  long double values[2] = {};
  InternalizeArray(in, values, 2);
#elif KVTSIM_CASE == 9
  std::vector<bool> flags;
  ExternalizeArray(out, flags);
#elif KVTSIM_CASE == 10
  char stored[8];
  KVTSimRpm_Swapper::ExternalizeScalar(stored, 'x');
#elif KVTSIM_CASE == 11
  int const fixed = 0;
  Internalize(in, fixed);
#else
#error unknown case
#endif
  (void)out;
  (void)in;
}

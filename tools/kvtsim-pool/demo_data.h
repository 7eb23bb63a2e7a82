// The example document that "kvtsim-pool demo" writes: a small mesh and
// results computed on it, in two files.
//
//   mesh.sim     pool 0  nodes:    int count; per node: int id, string name, double x,
//                                  double y
//                pool 1  elements: int count; per element: string name, int n, then n
//                                  locators to node records of pool 0
//   results.sim  pool 0  step 1:   string label, int count; per result: string quantity,
//                pool 1  step 2:   double value, locator to an element record of mesh.sim
//                                  pool 1
//
// A stored int is 4 bytes and a stored double 8 (IEEE-754), little-endian; a
// stored string is its byte length as an int, the bytes, and zero bytes up
// to a multiple of 4; a stored locator is 12 bytes: the data offset (low and
// high word) and the target's slot in the writing pool's directory.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_DEMO_DATA_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_DEMO_DATA_H_

#include <cstddef>
#include <cstring>

#include "KVTSimRpm_BStreamWrite.h"
#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Swapper.h"

namespace kvtsim_pool::demo {

struct Node {
  int id;
  char const* name;
  double x;
  double y;
};

struct Element {
  char const* name;
  int nodes[3];  // indexes into kNodes
};

struct Result {
  char const* quantity;
  double value;
  int element;  // index into kElements
};

struct Step {
  char const* label;
  Result const* results;
  int count;
};

inline constexpr Node kNodes[] = {
    {1, "inlet", 0, 0}, {2, "outlet", 10.5, 0}, {3, "top", 0, 7.25}, {4, "corner", 10.5, 7.25}};

inline constexpr Element kElements[] = {{"tri-a", {0, 1, 2}}, {"tri-b", {1, 3, 2}}};

inline constexpr Result kStep1[] = {
    {"pressure", 1013.25, 0}, {"temperature", 293.15, 0}, {"pressure", 998.5, 1}};
inline constexpr Result kStep2[] = {{"pressure", 1020.75, 0}, {"temperature", 301.4, 1}};

inline constexpr Step kSteps[] = {{"step 1", kStep1, 3}, {"step 2", kStep2, 2}};

inline constexpr char const* kMeshFile = "mesh.sim";
inline constexpr char const* kResultsFile = "results.sim";
inline constexpr char const* kDefaultSignature = "DEMO";

// Stored sizes, in bytes.
inline constexpr std::size_t kIntSize = KVTSimRpm_Swapper::StoredSize<int>();
inline constexpr std::size_t kLocatorSize = KVTSimRpm_Locator::kStoredSize;
inline std::size_t StringSize(char const* text) {
  return KVTSimRpm_BStreamWrite::StoredStringSize(std::strlen(text));
}

}  // namespace kvtsim_pool::demo

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_DEMO_DATA_H_

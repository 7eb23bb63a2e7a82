// DemoReader: reads the example document of demo_data.h back from files
// opened in a new document and prints it, following the references from
// the results to the mesh elements and from the elements to their nodes.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_DEMO_READER_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_DEMO_READER_H_

#include <string>

#include "KVTSimRpm_Locator.h"
#include "KVTSimRpm_Pool.h"

namespace kvtsim_pool {

class ReadOnlyDocument;

class DemoReader {
 public:
  // document holds the mesh file as file 0 and the results file as file 1;
  // it must outlive the reader.
  explicit DemoReader(ReadOnlyDocument const& document) : mDocument(document) {}

  // Prints every pool of both files. Raises the library's error kinds.
  void Print() const;

 private:
  void PrintNodes(KVTSimRpm_Pool const& pool) const;
  void PrintElements(KVTSimRpm_Pool const& pool) const;
  void PrintStep(KVTSimRpm_Pool const& pool) const;
  std::string DescribeElement(KVTSimRpm_Locator const& record) const;
  static std::string DescribeNode(KVTSimRpm_Locator const& record);
  std::string Where(KVTSimRpm_Locator const& record) const;

  ReadOnlyDocument const& mDocument;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_DEMO_READER_H_

// DemoWriter: writes the example document of demo_data.h into two new files
// through the library's streams, then closes them.
//
// Nodes and results are written with the append stream, elements with the
// locator stream into space allocated first. A pool can refer only to pools
// listed in its directory, so each referring pool is created after the pools
// it refers to: mesh nodes, then mesh elements (whose directory lists every
// earlier pool), then the results, whose directories name the two mesh pools
// only.

#ifndef KVTSIM_TOOLS_KVTSIM_POOL_DEMO_WRITER_H_
#define KVTSIM_TOOLS_KVTSIM_POOL_DEMO_WRITER_H_

#include <string>
#include <vector>

#include "KVTSimRpm_Document.h"
#include "KVTSimRpm_File.h"
#include "KVTSimRpm_Locator.h"
#include "demo_data.h"
#include "user_signature.h"

namespace kvtsim_pool {

class DemoWriter {
 public:
  // Files to create; both must not exist yet.
  DemoWriter(std::string meshPath, std::string resultsPath, UserSignature const& signature);

  // Writes both files and closes them. Raises the library's error kinds.
  void Write();

 private:
  // Each returns the locators of the records it wrote, in order.
  std::vector<KVTSimRpm_Locator> WriteNodes(KVTSimRpm_File& mesh);
  std::vector<KVTSimRpm_Locator> WriteElements(KVTSimRpm_File& mesh,
                                               std::vector<KVTSimRpm_Locator> const& nodes);
  static void WriteStep(KVTSimRpm_File& results, demo::Step const& step,
                        std::vector<KVTSimRpm_Locator> const& elements);

  std::string mMeshPath;
  std::string mResultsPath;
  KVTSimRpm_Document mDocument;
};

}  // namespace kvtsim_pool

#endif  // KVTSIM_TOOLS_KVTSIM_POOL_DEMO_WRITER_H_

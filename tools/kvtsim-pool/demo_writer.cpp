#include "demo_writer.h"

#include <utility>

#include "KVTSimRpm_BStreamAppendToPool.h"
#include "KVTSimRpm_BStreamWriteLocator.h"
#include "KVTSimUttAssert.h"

namespace kvtsim_pool {

namespace {

// Stream buffer size; records are far smaller.
constexpr unsigned long long kChunk = 4096;

std::size_t ElementsSize() {
  std::size_t size = demo::kIntSize;
  for (demo::Element const& element : demo::kElements) {
    size += demo::StringSize(element.name) + demo::kIntSize +
            demo::kLocatorSize * std::size(element.nodes);
  }
  return size;
}

}  // namespace

DemoWriter::DemoWriter(std::string meshPath, std::string resultsPath,
                       UserSignature const& signature)
    : mMeshPath(std::move(meshPath)),
      mResultsPath(std::move(resultsPath)),
      mDocument(signature.Bytes()) {}

void DemoWriter::Write() {
  KVTSimRpm_File mesh =
      mDocument.AddFile(KVTString(mMeshPath.c_str()), KVTSimRpm_Document::AccessWrite);
  std::vector<KVTSimRpm_Locator> const nodes = WriteNodes(mesh);
  mesh.NewPool(nullptr);  // lists the nodes pool, so elements can refer to it
  std::vector<KVTSimRpm_Locator> const elements = WriteElements(mesh, nodes);

  // Each results pool lists only the two mesh pools, not every earlier step:
  // its directory stays three entries long however many steps there are.
  std::vector<KVTSimRpm_Pool> const meshPools = {mesh.Pool(0), mesh.Pool(1)};
  KVTSimRpm_File results = mDocument.AddFile(KVTString(mResultsPath.c_str()),
                                             KVTSimRpm_Document::AccessWrite, meshPools);
  for (std::size_t i = 0; i < std::size(demo::kSteps); ++i) {
    if (i != 0)
      results.NewPool(nullptr, meshPools);
    WriteStep(results, demo::kSteps[i], elements);
  }
  mDocument.Close();
}

std::vector<KVTSimRpm_Locator> DemoWriter::WriteNodes(KVTSimRpm_File& mesh) {
  KVTSimRpm_Locator const start = mesh.Pool().End();
  std::vector<KVTSimRpm_Locator> records;
  KVTSimRpm_BStreamAppendToPool out(mesh.Pool(), kChunk);
  Externalize(out, static_cast<int>(std::size(demo::kNodes)));
  for (demo::Node const& node : demo::kNodes) {
    // Everything appended lies contiguously from where the pool ended.
    records.push_back(start + out.Length());
    Externalize(out, node.id);
    out.Write(KVTString(node.name));
    Externalize(out, node.x);
    Externalize(out, node.y);
  }
  out.Flush();
  return records;
}

std::vector<KVTSimRpm_Locator> DemoWriter::WriteElements(
    KVTSimRpm_File& mesh, std::vector<KVTSimRpm_Locator> const& nodes) {
  std::size_t const size = ElementsSize();
  KVTSimRpm_Locator const start = mesh.Allocate(size);
  std::vector<KVTSimRpm_Locator> records;
  KVTSimRpm_BStreamWriteLocator out(start, size, kChunk);
  Externalize(out, static_cast<int>(std::size(demo::kElements)));
  std::size_t position = demo::kIntSize;
  for (demo::Element const& element : demo::kElements) {
    records.push_back(start + position);
    out.Write(KVTString(element.name));
    Externalize(out, static_cast<int>(std::size(element.nodes)));
    for (int node : element.nodes)
      Externalize(out, nodes.at(static_cast<std::size_t>(node)));
    position += demo::StringSize(element.name) + demo::kIntSize +
                demo::kLocatorSize * std::size(element.nodes);
  }
  KVTSIM_ASSERT(position == size);
  out.Flush();
  return records;
}

void DemoWriter::WriteStep(KVTSimRpm_File& results, demo::Step const& step,
                           std::vector<KVTSimRpm_Locator> const& elements) {
  KVTSimRpm_BStreamAppendToPool out(results.Pool(), kChunk);
  out.Write(KVTString(step.label));
  Externalize(out, step.count);
  for (int i = 0; i < step.count; ++i) {
    demo::Result const& result = step.results[i];
    out.Write(KVTString(result.quantity));
    Externalize(out, result.value);
    // Stored as a slot of this pool's directory, which names the mesh pool.
    Externalize(out, elements.at(static_cast<std::size_t>(result.element)));
  }
  out.Flush();
}

}  // namespace kvtsim_pool

#include "demo_reader.h"

#include <charconv>
#include <cstdio>

#include "KVTSimRpm_BStreamReadLocator.h"
#include "read_only_document.h"

namespace kvtsim_pool {

namespace {

// Read-ahead of the streams; records are far smaller.
constexpr unsigned long long kChunk = 256;
// No length limit: records are read up to what they hold.
constexpr unsigned long long kNoLimit = 0;

int ReadInt(KVTSimRpm_BStreamRead& in) {
  int value = 0;
  Internalize(in, value);
  return value;
}

double ReadDouble(KVTSimRpm_BStreamRead& in) {
  double value = 0;
  Internalize(in, value);
  return value;
}

// The shortest text that reads back as value: "10.5", "0", "293.15".
std::string Number(double value) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

std::string ReadString(KVTSimRpm_BStreamRead& in) {
  KVTString text;
  in.Read(text);
  return text.CStr();
}

}  // namespace

void DemoReader::Print() const {
  KVTSimRpm_File const& mesh = mDocument.File(0);
  KVTSimRpm_File const& results = mDocument.File(1);
  PrintNodes(mesh.Pool(0));
  PrintElements(mesh.Pool(1));
  for (unsigned int p = 0; p < results.PoolCount(); ++p)
    PrintStep(results.Pool(p));
}

void DemoReader::PrintNodes(KVTSimRpm_Pool const& pool) const {
  KVTSimRpm_BStreamReadLocator in(pool.Start(), pool.Length(), kChunk);
  int const count = ReadInt(in);
  std::printf("%s: %d nodes\n", Where(pool.Start()).c_str(), count);
  for (int i = 0; i < count; ++i) {
    int const id = ReadInt(in);
    std::string const name = ReadString(in);
    double const x = ReadDouble(in);
    double const y = ReadDouble(in);
    std::printf("  node %d \"%s\" at (%s, %s)\n", id, name.c_str(), Number(x).c_str(),
                Number(y).c_str());
  }
}

void DemoReader::PrintElements(KVTSimRpm_Pool const& pool) const {
  KVTSimRpm_BStreamReadLocator in(pool.Start(), pool.Length(), kChunk);
  int const count = ReadInt(in);
  std::printf("%s: %d elements\n", Where(pool.Start()).c_str(), count);
  for (int i = 0; i < count; ++i) {
    std::string const name = ReadString(in);
    int const corners = ReadInt(in);
    std::string nodes;
    for (int c = 0; c < corners; ++c) {
      KVTSimRpm_Locator node;
      Internalize(in, node);
      nodes += (c == 0 ? " " : ", ") + DescribeNode(node);
    }
    std::printf("  element \"%s\" with nodes%s\n", name.c_str(), nodes.c_str());
  }
}

void DemoReader::PrintStep(KVTSimRpm_Pool const& pool) const {
  KVTSimRpm_BStreamReadLocator in(pool.Start(), pool.Length(), kChunk);
  std::string const label = ReadString(in);
  int const count = ReadInt(in);
  std::printf("%s: %s, %d results\n", Where(pool.Start()).c_str(), label.c_str(), count);
  for (int i = 0; i < count; ++i) {
    std::string const quantity = ReadString(in);
    double const value = ReadDouble(in);
    KVTSimRpm_Locator element;
    Internalize(in, element);  // resolved through the directory to the mesh file's pool
    std::printf("  %s = %s on %s\n", quantity.c_str(), Number(value).c_str(),
                DescribeElement(element).c_str());
  }
}

std::string DemoReader::DescribeElement(KVTSimRpm_Locator const& record) const {
  KVTSimRpm_BStreamReadLocator in(record, kNoLimit, kChunk);
  std::string const name = ReadString(in);
  int const corners = ReadInt(in);
  std::string text = "element \"" + name + "\" (" + Where(record) + ") with nodes";
  for (int c = 0; c < corners; ++c) {
    KVTSimRpm_Locator node;
    Internalize(in, node);
    text += (c == 0 ? " " : ", ") + DescribeNode(node);
  }
  return text;
}

std::string DemoReader::DescribeNode(KVTSimRpm_Locator const& record) {
  KVTSimRpm_BStreamReadLocator in(record, kNoLimit, kChunk);
  ReadInt(in);  // the id
  std::string const name = ReadString(in);
  double const x = ReadDouble(in);
  double const y = ReadDouble(in);
  return "\"" + name + "\" (" + Number(x) + ", " + Number(y) + ")";
}

std::string DemoReader::Where(KVTSimRpm_Locator const& record) const {
  std::string const pool = mDocument.Locate(record.SlotInMap());
  if (record.Offset() == 0)
    return pool;
  return pool + " +" + std::to_string(record.Offset());
}

}  // namespace kvtsim_pool

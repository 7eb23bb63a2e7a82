#include "walk_text.h"

#include "KVTBasException.h"
#include "tool_error.h"

namespace kvtsim_pool {

using Header = KVTSimRpm_PoolHeader;

std::string FaultText(Header::Fault fault) {
  switch (fault) {
    case Header::FaultNone:
      break;
    case Header::FaultCutShort:
      return "header cut short: the file ends inside it";
    case Header::FaultSignature:
      return "no format signature: no pool record begins here";
    case Header::FaultVersion:
      return "format version other than " + std::to_string(Header::kFormatVersion);
    case Header::FaultUserSignature:
      return "user signature differs from the document's";
    case Header::FaultLengthDigits:
      return "length is not 16 decimal digits";
    case Header::FaultEntryCount:
      return "directory entry count out of range: a pool lists at least itself";
    case Header::FaultDirectoryPastEnd:
      return "directory passes the end of the file";
    case Header::FaultRecordLength:
      return "record length shorter than the header and directory, or longer than 16 digits";
    case Header::FaultDirectoryCutShort:
      return "directory cut short";
  }
  return "no fault";
}

std::string FaultKind(Header const& header, Header::Fault fault, std::string const& fileName) {
  // The kind comes from the codec that the loader raises it with, so the two
  // cannot drift apart.
  try {
    header.Raise(fault, KVTString(fileName.c_str()), __FILE__, __LINE__);
  } catch (KVTBasException const& e) {
    return DescribeError(e);
  }
  return std::string();  // not reached: Raise always raises
}

char const* StopName(KVTSimRpm_ChainWalker::Stop stop) {
  switch (stop) {
    case KVTSimRpm_ChainWalker::StopNone:
      break;
    case KVTSimRpm_ChainWalker::StopChainEnd:
      return "chain_end";
    case KVTSimRpm_ChainWalker::StopPastEnd:
      return "past_end";
    case KVTSimRpm_ChainWalker::StopBroken:
      return "broken";
  }
  return "none";
}

std::string StopText(KVTSimRpm_ChainWalker const& walker) {
  std::string const offset = std::to_string(walker.StopOffset());
  switch (walker.StopReason()) {
    case KVTSimRpm_ChainWalker::StopNone:
      break;
    case KVTSimRpm_ChainWalker::StopChainEnd:
      return "the chain ends at offset " + offset + ", exactly at the end of the file";
    case KVTSimRpm_ChainWalker::StopPastEnd:
      return "the last pool claims bytes up to offset " + offset + ", " +
             std::to_string(walker.StopOffset() - walker.FileSize()) + " past the end of the file";
    case KVTSimRpm_ChainWalker::StopBroken:
      return "the walk stops at offset " + offset +
             ": the extent of the record there cannot be known";
  }
  return "the walk goes on";
}

}  // namespace kvtsim_pool

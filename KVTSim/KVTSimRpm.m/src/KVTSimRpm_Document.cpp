#include "KVTSimRpm_Document.h"

#include "KVTSimRpm_DocumentImpl.h"

KVTSimRpm_Document::FileType KVTSimRpm_Document::GetFileType(KVTString const& fileName) {
  return KVTSimRpm_DocumentImpl::GetFileType(fileName);
}

bool KVTSimRpm_Document::BinaryUpgradeRequired(KVTString const& fileName) {
  return KVTSimRpm_DocumentImpl::BinaryUpgradeRequired(fileName);
}

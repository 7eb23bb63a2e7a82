#include "KVTSimRpm_DocumentImpl.h"

#include <cstring>

#include "KVTSimExc.h"
#include "KVTSimRpm_Format.h"
#include "KVTSimUttOSFile.h"

KVTSimRpm_Document::FileType KVTSimRpm_DocumentImpl::GetFileType(KVTString const& fileName) {
  KVTSimUttOSFile file;
  file.OpenRead(fileName);
  char probe[kKVTSimRpmProbeLength];
  if (file.Read(probe, sizeof probe) < sizeof probe) return KVTSimRpm_Document::FileTypeNotSim;
  file.Close();
  if (std::memcmp(probe, kKVTSimRpmFormatSignature, sizeof kKVTSimRpmFormatSignature) != 0) {
    return KVTSimRpm_Document::FileTypeNotSim;
  }
  // The version byte is signed here: 0x80 to 0xFF count as negative.
  signed char version = static_cast<signed char>(probe[8]);
  if (version <= 0 || version > static_cast<signed char>(kKVTSimRpmFormatVersion)) {
    return KVTSimRpm_Document::FileTypeNotSim;
  }
  return version <= 2 ? KVTSimRpm_Document::FileTypeOldSim : KVTSimRpm_Document::FileTypeSim;
}

bool KVTSimRpm_DocumentImpl::BinaryUpgradeRequired(KVTString const& fileName) {
  KVTSimUttOSFile file;
  file.OpenRead(fileName);
  char probe[kKVTSimRpmProbeLength];
  if (file.Read(probe, sizeof probe) < sizeof probe) {
    KVTSimExcNotSimFile error;
    error.Throw(__FILE__, __LINE__);
  }
  file.Close();
  return static_cast<unsigned char>(probe[8]) != kKVTSimRpmFormatVersion;
}

// KVTSimRpm_Document: a caller's document of container files.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_DOCUMENT_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_DOCUMENT_H_

#include "KVTSimExport.h"
#include "KVTString.h"

class KVTSIM_EXPORT KVTSimRpm_Document {
 public:
  // How AddFile opens a file.
  enum AccessMode { AccessWrite = 0, AccessUpdate = 1, AccessRead = 2 };

  // What the file-type probe finds at the start of a file.
  enum FileType {
    FileTypeNotSim = 0,  // shorter than 9 bytes, no signature, or unknown version
    FileTypeSim = 1,     // signature with format version 3 to 6
    FileTypeOldSim = 2,  // signature with format version 1 or 2
  };

  // Probes the first 9 bytes of the file (format signature and version byte)
  // without loading anything. Writes nothing.
  // Raises KVTSimUttOSError when the file cannot be opened or read.
  static FileType GetFileType(KVTString const& fileName);

  // True when the file's format version byte is not the current version 6;
  // the signature is not examined.
  // Raises KVTSimExcNotSimFile when the file is shorter than 9 bytes, and
  // KVTSimUttOSError when it cannot be opened or read.
  static bool BinaryUpgradeRequired(KVTString const& fileName);
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_DOCUMENT_H_

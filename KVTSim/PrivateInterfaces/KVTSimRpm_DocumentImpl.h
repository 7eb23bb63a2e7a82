// KVTSimRpm_DocumentImpl: the implementation behind KVTSimRpm_Document.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_DOCUMENTIMPL_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_DOCUMENTIMPL_H_

#include "KVTSimExport.h"
#include "KVTSimRpm_Document.h"
#include "KVTString.h"

class KVTSIM_EXPORT KVTSimRpm_DocumentImpl {
 public:
  // See KVTSimRpm_Document::GetFileType. Touches no document state.
  static KVTSimRpm_Document::FileType GetFileType(KVTString const& fileName);

  // See KVTSimRpm_Document::BinaryUpgradeRequired. Touches no document state.
  static bool BinaryUpgradeRequired(KVTString const& fileName);
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_DOCUMENTIMPL_H_

#include "KVTSimRpm_SalvageReport.h"

#include "KVTSimUttAssert.h"

KVTSimRpm_SalvageReport::KVTSimRpm_SalvageReport() noexcept
    : mFileSize(0), mPoolsKept(0), mKeptBytes(0), mPoolsClosedUp(0), mReasonCode(0) {}

KVTSimRpm_SalvageReport::KVTSimRpm_SalvageReport(std::uint64_t fileSize, unsigned poolsKept,
                                                 std::uint64_t keptBytes, unsigned poolsClosedUp,
                                                 KVTBasException const* reason)
    : mFileSize(fileSize),
      mPoolsKept(poolsKept),
      mKeptBytes(keptBytes),
      mPoolsClosedUp(poolsClosedUp),
      mReasonCode(0) {
  KVTSIM_ASSERT(keptBytes <= fileSize);
  KVTSIM_ASSERT((reason == nullptr) == (keptBytes == fileSize));
  if (reason == nullptr)
    return;
  mReasonText = reason->AsString(KVTBasStringModeShort).CStr();
  // An error's report begins with its kind's name; arguments follow in
  // parentheses.
  mReason = mReasonText.substr(0, mReasonText.find('('));
  mReasonCode = reason->GetCode();
}

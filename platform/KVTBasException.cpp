#include "KVTBasException.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

// An immutable text with an atomic use count: copies of an error may end on
// other threads (an exception_ptr rethrown elsewhere), so sharing must not
// depend on one thread's plain counts.
struct KVTBasException::ReportText {
  std::atomic<std::uint32_t> mUseCount;

  // The terminated text follows the count in the same block.
  char* Text() noexcept { return reinterpret_cast<char*>(this + 1); }

  static ReportText* Make(atr_String const& text) {
    std::size_t n = text.GetLengthInByte();
    ReportText* made = new (mem_Malloc(sizeof(ReportText) + n + 1)) ReportText;
    made->mUseCount.store(1, std::memory_order_relaxed);
    std::memcpy(made->Text(), text.CStr(), n + 1);
    return made;
  }

  static ReportText* Share(ReportText* text) noexcept {
    if (text != nullptr)
      text->mUseCount.fetch_add(1, std::memory_order_relaxed);
    return text;
  }

  static void Release(ReportText* text) noexcept {
    if (text != nullptr && text->mUseCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      text->~ReportText();
      mem_Free(text);
    }
  }
};

KVTBasException::KVTBasException() noexcept : mFile(nullptr), mLine(0), mReport(nullptr) {}

KVTBasException::KVTBasException(KVTBasException const& other) noexcept
    : std::exception(other),
      mFile(other.mFile),
      mLine(other.mLine),
      mReport(ReportText::Share(other.mReport.load(std::memory_order_acquire))) {}

KVTBasException& KVTBasException::operator=(KVTBasException const& other) noexcept {
  // Share first: assigning an error to itself must not release its text.
  ReportText* report = ReportText::Share(other.mReport.load(std::memory_order_acquire));
  ReportText::Release(mReport.exchange(report, std::memory_order_acq_rel));
  mFile = other.mFile;
  mLine = other.mLine;
  return *this;
}

KVTBasException::~KVTBasException() {
  ReportText::Release(mReport.load(std::memory_order_acquire));
}

char const* KVTBasException::what() const noexcept {
  ReportText* report = mReport.load(std::memory_order_acquire);
  if (report != nullptr)
    return report->Text();
  ReportText* made = nullptr;
  try {
    made = ReportText::Make(UserReport(KVTBasStringModeShort));
  } catch (...) {
    // No memory for the text: what() must still answer.
    return "KVTBasException";
  }
  // Another thread may have made the text meanwhile: keep the first one.
  if (!mReport.compare_exchange_strong(report, made, std::memory_order_acq_rel)) {
    ReportText::Release(made);
    return report->Text();
  }
  return made->Text();
}

atr_String KVTBasException::DeveloperReport(KVTBasStringMode mode) const {
  atr_String kind = AsString(mode);
  if (mFile == nullptr)
    return kind;
  // The report is for a log line: cut an absurdly long location rather than fail.
  char text[2048];
  std::snprintf(text, sizeof text, "%s at %s:%d", kind.CStr(), mFile, mLine);
  return atr_String(text);
}

atr_String KVTBasException::UserReport(KVTBasStringMode mode) const {
  return AsString(mode);
}

void KVTBasException::Throw(char const* file, int line) {
  mFile = file;
  mLine = line;
  Propagate();
  // A kind whose Propagate returned has broken its contract; never continue.
  std::abort();
}

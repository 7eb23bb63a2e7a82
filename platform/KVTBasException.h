// KVTBasException: the base of every error the library raises.
//
// An error is constructed as a local and raised with Throw(file, line), which
// records the location and rethrows the object as its most-derived kind
// through Propagate. Callers catch the kinds by type (all are exported), or
// every kind at once as KVTBasException or as std::exception, whose what()
// gives the short user report.

#ifndef KVTSIM_PLATFORM_KVTBASEXCEPTION_H_
#define KVTSIM_PLATFORM_KVTBASEXCEPTION_H_

#include <atomic>
#include <exception>

#include "KVTBasMem.h"
#include "KVTSimExport.h"
#include "KVTString.h"

// Codes returned by GetCode for the kinds of the base and platform layers.
// The pool manager's own kinds return a KVTSimErrorCode (KVTSimExc.h), from
// 100 on.
enum KVTBasErrorCode {
  KVTBasCodeAssert = 1,
  KVTBasCodeMemoryExhausted = 2,
  KVTSimUttCodeOSError = 3,
};

// How much a report says. Both modes give one line of text.
enum KVTBasStringMode { KVTBasStringModeShort = 0, KVTBasStringModeFull = 1 };

class KVTSIM_EXPORT KVTBasException : public mem_AllocationOperators, public std::exception {
 public:
  // Location pair cleared (null file, line 0).
  KVTBasException() noexcept;
  // Copies never fail and cost a few words: a report text made by what() is
  // shared, not copied.
  KVTBasException(KVTBasException const& other) noexcept;
  KVTBasException& operator=(KVTBasException const& other) noexcept;
  ~KVTBasException() override;

  // The short user report, UserReport(KVTBasStringModeShort), for example
  // "KVTSimExcIOBounds(start=0, end=9, limit=8)". The text is made at the
  // first call (from any thread) and is valid while this error object lives.
  // Never raises: when no memory is left for the text it is "KVTBasException".
  char const* what() const noexcept override;

  // For a developer: the kind, its arguments and the raising location.
  virtual atr_String DeveloperReport(KVTBasStringMode mode) const;

  // For a user: the kind and its arguments.
  virtual atr_String UserReport(KVTBasStringMode mode) const;

  // The kind's name and arguments, e.g. "KVTSimExcIOBounds(start=0, end=9, limit=8)".
  virtual atr_String AsString(KVTBasStringMode mode) const = 0;

  // Throws a copy of this object as its most-derived kind. Does not return.
  [[noreturn]] virtual void Propagate() const = 0;

  // The kind's KVTBasErrorCode.
  virtual int GetCode() const = 0;

  // Records file and line, then raises through Propagate. Does not return.
  // REQUIRES: file is null or a text that outlives the error (a literal).
  [[noreturn]] void Throw(char const* file, int line);

  // The location recorded by Throw; null and 0 before it was raised.
  char const* File() const noexcept { return mFile; }
  int Line() const noexcept { return mLine; }

 private:
  struct ReportText;

  char const* mFile;
  int mLine;
  // Made by the first what(); shared by the copies of the error.
  mutable std::atomic<ReportText*> mReport;
};

#endif  // KVTSIM_PLATFORM_KVTBASEXCEPTION_H_

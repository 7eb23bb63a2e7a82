// KVTSimRpm_PoolHeader: the 48-byte header that begins every pool record, as
// stored, and the checks the loader applies to it. It reads and writes no
// file: callers hand it bytes and take bytes from it.
//
// A container file is a chain of pool records laid end to end from offset 0.
// Each record is this header, the directory record (kEntrySize bytes per
// entry; entry 0 is the pool's own identifier) and the data area. Offsets are
// from the start of the record; integers are unsigned 32-bit little-endian:
//
//   offset  size  field                  named offsets and sizes
//        0     8  format signature       kSignatureOffset, kSignatureSize
//        8     1  format version (6)     kVersionOffset
//        9     7  zero padding           kPaddingOffset, kPaddingSize
//       16     4  user signature         kUserSignatureOffset, kUserSignatureSize
//       20    16  record length, ASCII   kLengthOffset, kLengthDigits
//                 decimal digits; all
//                 "0" while the pool is
//                 open
//       36     4  header word A          kWordAOffset
//       40     4  header word B          kWordBOffset
//       44     4  directory entry count  kEntryCountOffset (read as signed)
//       48  32xn  directory record       kSize, kEntrySize
//
// A header holds its 48 bytes exactly as stored. The accessors decode fields
// from them and the setters encode fields into them, so Decode followed by
// EncodeTo gives back the same bytes, whatever they are; bytes no setter
// touches (the padding, a foreign version byte) are carried unchanged.
//
// The checks each return the fault they find, or FaultNone. Check runs them
// in the order in which the loader applies them and returns the first fault;
// Raise turns a fault into the error kind the loader raises for it. The
// loader uses exactly these functions, so it refuses a whole header if and
// only if Check finds a fault in it, and then with the kind Raise gives.
//
// Thread safety: a header is a plain value; distinct objects may be used on
// distinct threads, one object by one thread at a time.

#ifndef KVTSIM_EXPORTED_KVTSIMRPM_POOLHEADER_H_
#define KVTSIM_EXPORTED_KVTSIMRPM_POOLHEADER_H_

#include <climits>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "KVTSimExport.h"
#include "KVTString.h"

class KVTSIM_EXPORT KVTSimRpm_PoolHeader {
 public:
  // Named offsets and sizes of the stored header (see the table above).
  static constexpr std::size_t kSize = 48;
  static constexpr std::size_t kSignatureOffset = 0;
  static constexpr std::size_t kSignatureSize = 8;
  static constexpr std::size_t kVersionOffset = 8;
  static constexpr std::size_t kPaddingOffset = 9;
  static constexpr std::size_t kPaddingSize = 7;
  static constexpr std::size_t kUserSignatureOffset = 16;
  static constexpr std::size_t kUserSignatureSize = 4;
  static constexpr std::size_t kLengthOffset = 20;
  static constexpr std::size_t kLengthDigits = 16;
  static constexpr std::size_t kWordAOffset = 36;
  static constexpr std::size_t kWordBOffset = 40;
  static constexpr std::size_t kEntryCountOffset = 44;

  // A directory entry is one pool identifier of this many bytes.
  static constexpr std::size_t kEntrySize = 32;

  // The 8 bytes that begin every pool record: 0x89, "SIM", CR, LF, 0x1A, LF.
  static constexpr unsigned char kFormatSignature[kSignatureSize] = {0x89, 0x53, 0x49, 0x4D,
                                                                     0x0D, 0x0A, 0x1A, 0x0A};

  // The format version this library reads and writes.
  static constexpr unsigned kFormatVersion = 6;

  // The file-type probe reads this many bytes: the signature and the version.
  static constexpr std::size_t kProbeSize = kVersionOffset + 1;

  // Header words of every pool created by this library.
  static constexpr std::uint32_t kNewWordA = 2;
  static constexpr std::uint32_t kNewWordB = 0;

  // The largest record length that 16 decimal digits store.
  static constexpr std::uint64_t kMaxRecordLength = 9999999999999999ull;

  // The largest entry count whose header and directory fit a signed 32-bit
  // length.
  static constexpr std::int32_t kMaxEntryCount =
      static_cast<std::int32_t>((INT_MAX - kSize) / kEntrySize);

  // What a check found. Each fault is named with the error kind the loader
  // raises for it (Raise).
  enum Fault {
    FaultNone = 0,
    FaultCutShort,           // fewer than kSize header bytes: KVTSimExcCorruptHeader
    FaultSignature,          // no format signature: KVTSimExcNotSimFile
    FaultVersion,            // a version other than 6: KVTSimExcNeedUpgrade
    FaultUserSignature,      // another user signature: KVTSimExcUserSigMismatch
    FaultLengthDigits,       // a length character not a decimal digit: KVTSimExcCorruptHeader
    FaultEntryCount,         // entry count below 1 or above kMaxEntryCount:
                             // KVTSimExcCorruptDirectory
    FaultDirectoryPastEnd,   // the directory record passes the end of the file:
                             // KVTSimExcCorruptDirectory
    FaultRecordLength,       // record length below HeaderLength() or above
                             // kMaxRecordLength: KVTSimExcCorruptHeader
    FaultDirectoryCutShort,  // fewer directory bytes delivered than the count
                             // needs: KVTSimExcCorruptDirectory
  };

  // The header of a new pool: the format signature, version 6, zero padding,
  // a zero user signature, stored open (sixteen "0"), header words 2 and 0,
  // and no directory entry.
  KVTSimRpm_PoolHeader() noexcept;

  // The header stored in the kSize bytes at bytes, taken as they are.
  static KVTSimRpm_PoolHeader Decode(char const* bytes) noexcept;

  // Writes the kSize stored bytes to out.
  void EncodeTo(char* out) const noexcept;

  // The kSize stored bytes; valid while this header lives and is not changed.
  char const* Bytes() const noexcept { return mBytes; }

  // Fields as stored. UserSignature and LengthDigits point into Bytes() and
  // are not terminated (4 and 16 bytes).
  unsigned Version() const noexcept;
  char const* UserSignature() const noexcept { return mBytes + kUserSignatureOffset; }
  char const* LengthDigits() const noexcept { return mBytes + kLengthOffset; }
  std::uint32_t WordA() const noexcept;
  std::uint32_t WordB() const noexcept;
  std::int32_t EntryCount() const noexcept;

  // The stored record length (0: stored open), or none when one of the 16
  // length characters is not a decimal digit.
  std::optional<std::uint64_t> StoredLength() const noexcept;

  // True when the length is stored as sixteen "0": the pool was open.
  bool StoredOpen() const noexcept;

  // Bytes of the header and the directory record: kSize + kEntrySize x
  // EntryCount(). REQUIRES: CheckEntryCount() == FaultNone.
  std::uint32_t HeaderLength() const noexcept;

  // The record length the loader takes for a record at location in a file
  // whose end is fileEnd: the stored length, or fileEnd - location when the
  // pool was stored open. REQUIRES: StoredLength() has a value and, for an
  // open pool, location <= fileEnd.
  std::uint64_t RecordLength(std::uint64_t location, std::uint64_t fileEnd) const noexcept;

  // Setters. sig: 4 bytes, none examined. SetStoredLength(0) marks the pool
  // open; a length of 10^16 or more keeps only its low 16 digits.
  void SetUserSignature(char const* sig) noexcept;
  void SetStoredLength(std::uint64_t length) noexcept;
  void SetHeaderWords(std::uint32_t wordA, std::uint32_t wordB) noexcept;
  void SetEntryCount(std::int32_t count) noexcept;

  // The checks, each alone; FaultNone when it passes.
  Fault CheckSignature() const noexcept;
  Fault CheckVersion() const noexcept;
  // The 4 bytes at sig compared with the stored user signature.
  Fault CheckUserSignature(char const* sig) const noexcept;
  Fault CheckLengthDigits() const noexcept;
  Fault CheckEntryCount() const noexcept;
  // REQUIRES: CheckEntryCount() == FaultNone.
  Fault CheckDirectoryEnd(std::uint64_t location, std::uint64_t fileEnd) const noexcept;
  // REQUIRES: the three checks above pass.
  Fault CheckRecordLength(std::uint64_t location, std::uint64_t fileEnd) const noexcept;

  // Whether the record's extent can be known: the length digits, the entry
  // count, the directory end and the record length, in this order; the first
  // fault or FaultNone. When it passes, RecordLength() is where the next
  // record begins.
  Fault CheckLayout(std::uint64_t location, std::uint64_t fileEnd) const noexcept;

  // Every check the loader applies to a header at location in a file whose
  // end is fileEnd, in its order (signature, version, user signature, then
  // CheckLayout); the first fault or FaultNone. A null sig skips the user
  // signature.
  Fault Check(std::uint64_t location, std::uint64_t fileEnd, char const* sig) const noexcept;

  // Raises the error kind the loader raises for fault (see Fault), recording
  // sourceFile and line as its location; KVTSimExcNeedUpgrade carries the
  // current version, this header's version byte taken as signed, and
  // fileName. REQUIRES: fault != FaultNone; sourceFile outlives the error (a
  // literal such as __FILE__).
  [[noreturn]] void Raise(Fault fault, KVTString const& fileName, char const* sourceFile,
                          int line) const;

 private:
  char mBytes[kSize];
};

#endif  // KVTSIM_EXPORTED_KVTSIMRPM_POOLHEADER_H_

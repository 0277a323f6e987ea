// What it costs a read of a whole file to find out, kept with the file in kernel attributes for as long as it is as it
// was: its digests, and who signed it.
//
//   "$KERNEL.PURGE.KXFH"       digests of the content, a line each: "SHA256##…"
//   "$KERNEL.PURGE.KXCATHASH"  digests of what a signature covers: "AUTHENTICODE-SHA256##…"
//   "$KERNEL.PURGE.KXSBJCN"    the signers, a line each: the status, a blank, the name
//
// Each text has a first line, "1" and the time when it was found out, and a last one, the keyed signature of what
// stands before it together with the name of the attribute and the identity, size and times of the file. So a fact
// counts for that file as it is alone. It is believed only where no user's program can have set it
// (Common_CPP/file/kernel_ea_trust.h), and where there is a key it must be signed; on systems whose kernel does not
// guard such attributes there is no other way.
//
// Signers are believed for a day: a certificate may be revoked, and a root be trusted no more, while the file stays.
#pragma once

#include "Common_CPP/crypto/file_digest.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/signature/signature.h"

class CkxKeptFacts {
 public:
  /// `file` is open, and `status` is what it is like; both outlive the object.
  CkxKeptFacts(const CkxFileReader& file, const SkxFileStatus& status) : _file(file), _status(status) {}

  /// Those that are kept and believed; none otherwise.
  KxFileDigests Digests() const;

  /// By the system's own roots: whoever looks with others must not ask.
  std::optional<SkxSigners> Signers() const;

  /// Through the driver helper that the host has installed; without one nothing is kept. A file that has changed since
  /// `status` keeps nothing. Changes when the file was changed last: for the end of a description.
  void Keep(const KxFileDigests& digests, const std::optional<SkxSigners>& signers) const;

 private:
  std::optional<std::string> _Read(const char* name, uint64_t maxAge) const;
  void _Write(const char* name, const std::string& lines) const;
  std::string _Bound(const char* name, const std::string& text) const;
  bool _IsBelieved() const;

  const CkxFileReader& _file;
  const SkxFileStatus& _status;
};

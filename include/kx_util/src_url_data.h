// The URI that a file was downloaded from, kept with the file in the attribute "KXAgentUri":
//
//   0      u32  bytes of the URI with its zero, n
//   4      n    the URI in UTF-8, with its zero
//   4+n    u32  bytes of the signature, s
//   8+n    s    the signature, over the URI without its zero
//
// Only the URI is signed, not which file it is of: a record that somebody copies to another file holds there too, so it
// says that the agent has seen a download from there, and no more. What is bound to its file is the record of its
// origin.
//
//   CkxSrcUrlData data;
//   if (data.FromFile(path)) Show(data.Uri());
#pragma once

#include <kx_util/data_signature.h>

#include <span>
#include <vector>

#include "Common_CPP/util/owned_str.h"

/// Every operation leaves a line in the trace where it fails. A failed read leaves the object empty.
class KX_UTIL_API CkxSrcUrlData {
 public:
  static constexpr const char* kEaName = "KXAgentUri";
  static constexpr size_t kMaxRecordBytes = 65535;

  static const char* ClassName() { return "CkxSrcUrlData"; }

  CkxSrcUrlData() = default;
  explicit CkxSrcUrlData(CkxTextView uri) : _uri(uri) {}

  const CkxUtilStr& Uri() const { return _uri; }
  /// As it was read, or made last.
  std::span<const unsigned char> Signature() const { return _signature; }
  bool IsEmpty() const { return _uri.IsEmpty(); }
  void Empty();

  /// The record, signed.
  bool ToBytes(std::vector<unsigned char>& record, EkxSignatureForm form = EkxSignatureForm::Keyed) noexcept;
  bool FromBytes(std::span<const unsigned char> record,
                 EkxSignatureCheck check = EkxSignatureCheck::AsConfigured) noexcept;

  /// A file is named by its path, or given as a handle that may set attributes: the system's on Windows, elsewhere the
  /// descriptor as a pointer.
  bool ToFile(const WCHAR* path) noexcept;
  bool ToFile(void* file) noexcept;
  bool FromFile(const WCHAR* path) noexcept;
  bool FromFile(void* file) noexcept;

  /// Reads a record that may be of the older form, and says whether it is.
  bool FromFileMigration(const WCHAR* path, bool& isOlder) noexcept;

  /// Signs a file's record anew where it is of the older form, holds, and such ones are still believed. One of the
  /// keyed form that holds stays as it is.
  static bool OverwriteSignature(const WCHAR* path) noexcept;

  /// True also when there was none.
  static bool DeleteFromFile(const WCHAR* path) noexcept;

 private:
  bool _GetDataSignature(std::span<const unsigned char> uri, EkxSignatureForm form);
  bool _Serialize(std::span<const unsigned char> uri, std::vector<unsigned char>& record) const;

  CkxUtilStr _uri;
  std::vector<unsigned char> _signature;
};

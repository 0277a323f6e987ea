// The e-mail that a file came with as an attachment: who sent it, and what it was about. The mail program's part of the
// agent writes it beside the file, as "setup.exe.kxsrc" for "setup.exe", in UTF-8:
//
//   <KxSrcEmail receivedTime="133000000000000000" entryId="..." storeId="...">
//     <Sender><SMTPAddr>sender@example.com</SMTPAddr></Sender><Subject>...</Subject></KxSrcEmail>
//
// without line ends. It is not signed: whoever may write beside the file can write it too.
#pragma once

#include <string>
#include <string_view>

#include "Common_CPP/util/owned_str.h"

/// Every operation leaves a line in the trace where it fails. A failed read leaves the object empty.
class KX_UTIL_API CkxSrcEmailData {
 public:
  static constexpr size_t kMaxFileBytes = size_t{64} << 10;

  static const char* ClassName() { return "CkxSrcEmailData"; }

  CkxSrcEmailData() = default;
  void Empty() { *this = CkxSrcEmailData(); }

  uint64_t receivedTime = 0;  ///< file time
  CkxUtilStr entryId;         ///< of the mail store: the message, and the store that it is in
  CkxUtilStr storeId;
  CkxUtilStr senderAddress;  ///< SMTP
  CkxUtilStr subject;

  /// False for what XML has no place for.
  bool ToXml(std::string& xml) const noexcept;

  /// An e-mail has a sender: an element without one is refused.
  bool FromXml(std::string_view xml) noexcept;

  /// Beside the file `path`, in one step: a reader finds the old one or the new one. Refused to a process that may not
  /// say where files come from (`kx_util/origin_caller.h`), and without a sender.
  bool ToFile(const WCHAR* path) const noexcept;
  bool FromFile(const WCHAR* path) noexcept;

  /// Where that lies; empty for an empty path.
  static KxWString SideFileOf(const WCHAR* path);
};

// What is asked about: something that somebody recorded, as a target document, or something on this machine.
//
//   SkxDocumentError error;
//   const auto recorded = CkxTarget::Parse(R"({"kind":"process","path":"C:\\Apps\\firefox.exe"})", error);
//   const auto here = CkxTarget::File("setup.exe", error);
//   if (!here) return Fail(error.Text());
//
// A recorded one is judged by what its document says, with its user and the machine that it was recorded on; nothing is
// read from this machine. A live one is looked at when it is judged. Nothing here throws but std::bad_alloc.
#pragma once

#include <kx_publish/document_error.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// For one thread at a time: facts are fetched when they are first asked for.
class CkxTarget {
 public:
  /// One target document. `user`, a SID, takes the place of the document's own where it is not empty.
  static std::optional<CkxTarget> Parse(std::string_view document, SkxDocumentError& error, std::string_view user = {});

  /// A file of this machine; of a shortcut it is what that starts. For the user of `token`, null being the caller's
  /// own.
  static std::optional<CkxTarget> File(std::string_view path, SkxDocumentError& error, void* token = nullptr);

  /// A process of this machine. `token`, where given, takes the place of the process's own.
  static std::optional<CkxTarget> Process(uint32_t pid, SkxDocumentError& error, void* token = nullptr);

  CkxTarget(CkxTarget&&) noexcept;
  CkxTarget& operator=(CkxTarget&&) noexcept;
  ~CkxTarget();

  /// The document's id, as JSON text; of a live one its path or number. What answers are told apart by.
  const std::string& IdJson() const;

 private:
  friend class CkxJudge;
  struct Content;
  explicit CkxTarget(std::unique_ptr<const Content> content);

  std::unique_ptr<const Content> _content;
};

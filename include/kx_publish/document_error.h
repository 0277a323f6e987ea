// Texts that are handed in, and what is wrong with one: every call that can fail says where and why.
#pragma once

#include <string>

/// A document as it was read.
struct SkxDocumentText {
  std::string name;  ///< how faults call it: a file's path
  std::string text;
};

/// Where a document is at fault: `pointer` is a JSON pointer, empty for the document as a whole and for a syntax fault,
/// whose message names line and column.
struct SkxDocumentError {
  std::string document;
  std::string pointer;
  std::string message;

  /// "policies.jsonc: /policies/0/id: must be ...", without what is empty.
  std::string Text() const;
};

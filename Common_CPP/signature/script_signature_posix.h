// The signature that scripts carry at their end, between two lines of comments:
//
//   script                                   what is signed: its text in UTF-16, mark and all
//   # SIG # Begin signature block            the comments are those of the script's language
//   # BASE64...                              a PKCS #7 message, line by line
//   # SIG # End signature block              and nothing behind it
#pragma once

#include <optional>
#include <vector>

#include "Common_CPP/util/text_view.h"

class IkxByteSource;

struct SkxScriptSignature {
  std::vector<unsigned char> covered;  ///< UTF-16LE, to be hashed
  bool hasBlock = false;
  bool isWhole = false;  ///< the block is the end of the file, and every line of it is a comment
  std::vector<unsigned char> message;
};

/// Whether the system knows how to sign scripts with the extension of `path`.
bool KxScriptSignature_IsFor(CkxTextView path);

/// Nothing when the file cannot be read, is too large, or not in an encoding that is known.
std::optional<SkxScriptSignature> KxScriptSignature_Read(const IkxByteSource& file, uint64_t size, CkxTextView path);

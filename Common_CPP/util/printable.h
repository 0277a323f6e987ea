// Other people's texts on a terminal. A name may have line ends, escape sequences, controls that run text backwards,
// or characters that do not show: printed raw, it forges lines and hides what is there. All that is printed for a
// person goes through here: "tool<U+202E>gpj.exe". The brackets cannot be mistaken for a part of a path, which has
// none.
#pragma once

#include <string>

#include "Common_CPP/util/text_view.h"

/// UTF-8. Controls, format characters and halves of surrogate pairs become "<U+000A>"; all else stays as it is. What
/// has been through here goes through again unchanged.
std::string KxText_Printable(CkxTextView text);

/// The same of UTF-8; each byte of a text that is none, beyond ASCII, becomes "<FF>".
std::string KxText_Printable(std::string_view utf8);

/// "\"text\"", its own quotation marks and backslashes behind a backslash.
std::string KxText_PrintableQuoted(std::string_view utf8);

/// Whether nothing in it would be changed.
bool KxText_IsPrintable(CkxTextView text);

// Values that are written alike in the policies of several systems.
#pragma once

#include "Agent/engine/kx_publish/import/imported_rules.h"

/// "1.2.3.4", fewer parts when the rest is 0. Nothing for any other text.
std::optional<uint64_t> KxImportValue_Version(CkxTextView text);

/// Upper case; nothing for a text that is no such number of hexadecimal digits.
std::optional<KxWString> KxImportValue_Hex(CkxTextView text, size_t digits);

/// What signers go by of "CN=Vendor, O=Vendor Inc., C=US": an attribute's value, without its quotation marks; nothing
/// when there is none of that name, or the text is no such list.
std::optional<KxWString> KxImportValue_NamePart(CkxTextView distinguishedName, CkxTextView attribute);

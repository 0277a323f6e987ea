// The counted text that automation interfaces hand over: UTF-16 with a terminating NUL, and right before it the bytes
// of the text, terminator not counted, as a 4-byte number. A pointer to the text is the whole handle; null is a text
// too, the empty one. Whoever is given one frees it.
#pragma once

#include "Common_CPP/util/text_view.h"

/// The system's BSTR where it has that type.
using KxBstr = WCHAR*;

/// Null when there is no memory for it. On Windows this is SysAllocStringLen.
KX_UTIL_API KxBstr KxBstr_Alloc(CkxTextView text);

/// Takes null too. On Windows this is SysFreeString.
KX_UTIL_API void KxBstr_Free(KxBstr text);

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <oleauto.h>

#include "Common_CPP/util/bstr.h"

KxBstr KxBstr_Alloc(CkxTextView text) {
  if (text.Size() > UINT_MAX / sizeof(WCHAR)) return nullptr;
  const KxBstr copy = SysAllocStringLen(nullptr, static_cast<UINT>(text.Size()));
  if (copy != nullptr && !text.IsEmpty()) std::memcpy(copy, text.Bytes(), text.Size() * sizeof(WCHAR));
  return copy;
}

void KxBstr_Free(KxBstr text) { SysFreeString(text); }

#include "Common_CPP/access_token/object_access_win.h"

#include "Common_CPP/access_token/owner_win.h"
#include "Common_CPP/util/last_error.h"

// After windows.h, which it does not include itself.
#include <sddl.h>

CkxObjectAccess::CkxObjectAccess(const KxWString& others, const KxWString& label) {
  const std::optional<CkxSid> owner = KxToken_OwnerOfNewObjects();
  if (!owner) return;
  const KxWString text =
      L"O:" + owner->ToText() + L"D:P" + others + L"(A;;GA;;;SY)(A;;GA;;;" + owner->ToText() + L")" + label;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &_attributes.lpSecurityDescriptor,
                                                       nullptr);
}

CkxObjectAccess::~CkxObjectAccess() {
  const CkxLastErrorGuard guard;
  if (_attributes.lpSecurityDescriptor != nullptr) LocalFree(_attributes.lpSecurityDescriptor);
}

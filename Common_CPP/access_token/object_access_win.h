// Who may do what with a named object that this process makes.
//
//   CkxObjectAccess access(L"(A;;GR;;;WD)");      // everyone may read
//   if (access) CreateFileMappingW(INVALID_HANDLE_VALUE, access.Attributes(), ...);
#pragma once

#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/text_view.h"

/// The object is its maker's (`KxToken_OwnerOfNewObjects`). The system and the maker may do all; `others` are the
/// entries for everybody else. None when the maker cannot be told: then nothing must be made, since the system's own
/// default would be something else. `label` is the object's integrity label, S:(ML;...), where it is not the maker's.
class CkxObjectAccess {
 public:
  explicit CkxObjectAccess(const KxWString& others, const KxWString& label = {});
  ~CkxObjectAccess();
  CkxObjectAccess(const CkxObjectAccess&) = delete;
  CkxObjectAccess& operator=(const CkxObjectAccess&) = delete;

  explicit operator bool() const { return _attributes.lpSecurityDescriptor != nullptr; }
  SECURITY_ATTRIBUTES* Attributes() { return &_attributes; }

 private:
  SECURITY_ATTRIBUTES _attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};

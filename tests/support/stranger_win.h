// Objects that somebody else made, as far as anybody can tell: their owner is no account that may be the agent.
#pragma once

#include "Common_CPP/util/handle_win.h"

// After windows.h, which it does not include itself.
#include <sddl.h>

/// Everybody may do all with them. The system gives away to others only what a privileged process makes.
class CkxStrangersAccess {
 public:
  CkxStrangersAccess() {
    ConvertStringSecurityDescriptorToSecurityDescriptorW(L"O:S-1-5-21-9-9-9-1001D:P(A;;GA;;;WD)", SDDL_REVISION_1,
                                                         &_attributes.lpSecurityDescriptor, nullptr);
  }
  ~CkxStrangersAccess() { LocalFree(_attributes.lpSecurityDescriptor); }
  CkxStrangersAccess(const CkxStrangersAccess&) = delete;
  CkxStrangersAccess& operator=(const CkxStrangersAccess&) = delete;

  SECURITY_ATTRIBUTES* Attributes() { return &_attributes; }

 private:
  SECURITY_ATTRIBUTES _attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};

#include "Common_CPP/file/native_access.h"

namespace {

/// The innermost scope's table of this thread; null: the system's own.
const CkxThreadPointer<const SkxNativeAccess>& CurrentNativeAccess() {
  static const CkxThreadPointer<const SkxNativeAccess> table;
  return table;
}

}  // namespace

const SkxNativeAccess& KxNativeAccess() {
  const SkxNativeAccess* const table = CurrentNativeAccess().Get();
  return table != nullptr ? *table : KxNativeAccess_OfSystem();
}

CkxNativeAccessScope::CkxNativeAccessScope(const SkxNativeAccess& table) : _scope(CurrentNativeAccess(), &table) {}

#include "Common_CPP/file/native_ea.h"

namespace {

/// The innermost scope's table of this thread; null: the system's own.
const CkxThreadPointer<const SkxNativeEa>& CurrentNativeEa() {
  static const CkxThreadPointer<const SkxNativeEa> table;
  return table;
}

}  // namespace

const SkxNativeEa& KxNativeEa() {
  const SkxNativeEa* const table = CurrentNativeEa().Get();
  return table != nullptr ? *table : KxNativeEa_OfSystem();
}

CkxNativeEaScope::CkxNativeEaScope(const SkxNativeEa& table) : _scope(CurrentNativeEa(), &table) {}

#include "Common_CPP/token_security_attributes/native_token_attributes.h"

namespace {

/// The innermost scope's table of this thread; null: the system's own.
const CkxThreadPointer<const SkxNativeTokenAttributes>& CurrentTokenAttributes() {
  static const CkxThreadPointer<const SkxNativeTokenAttributes> table;
  return table;
}

}  // namespace

const SkxNativeTokenAttributes& KxNativeTokenAttributes() {
  const SkxNativeTokenAttributes* const table = CurrentTokenAttributes().Get();
  return table != nullptr ? *table : KxNativeTokenAttributes_OfSystem();
}

CkxNativeTokenAttributesScope::CkxNativeTokenAttributesScope(const SkxNativeTokenAttributes& table)
    : _scope(CurrentTokenAttributes(), &table) {}

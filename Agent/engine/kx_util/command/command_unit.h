// What single units mean in the command lines that people write.
#pragma once

#include "Common_CPP/util/base.h"

inline bool KxUnit_IsOneOf(WCHAR unit, KxWStringView units) { return units.find(unit) != KxWStringView::npos; }
inline bool KxUnit_IsBlank(WCHAR unit) { return unit == KXW(' ') || unit == KXW('\t'); }

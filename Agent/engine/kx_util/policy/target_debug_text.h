// What the debug texts of several kinds of targets share.
#pragma once

#include "Agent/engine/kx_util/property/prop_text.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/format.h"

/// What one part of a record says of itself: all that `write` appends to `text`, or nothing when memory runs out.
template <class Write>
void KxDebugText_Append(CkxUtilStr& text, Write write) {
  const size_t before = text.Length();
  const bool isWhole = KxEntry(false, [&] {
    write();
    return true;
  });
  if (!isWhole) text.CutOff(before);
}

inline const WCHAR* KxText_YesNo(bool value) { return value ? KXW("Yes") : KXW("No"); }

/// "    LABEL: TEXT\r\n" for a property that is set.
template <class Prop>
void KxTargetText_AppendProp(CkxUtilStr& text, const WCHAR* label, const Prop& prop) {
  if (!prop.Initialized()) return;
  KxText_AppendFormat(text, KXW("    %s: "), label);
  KxPropText_Append(text, prop);
  text.Append(KXW("\r\n"));
}

/// The location and the types of location, when it is set.
void KxTargetText_AppendLocation(CkxUtilStr& text, const CkxShBufPropFileLocation& location);

/// The users, unless they are the marker for none.
void KxTargetText_AppendUsers(CkxUtilStr& text, CkxTextView users);

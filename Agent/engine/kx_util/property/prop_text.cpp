#include "Agent/engine/kx_util/property/prop_text.h"

#include "Agent/engine/kx_util/match/compare_modes.h"
#include "Common_CPP/util/format.h"
#include "Common_CPP/util/guid.h"

namespace {

constexpr const WCHAR* kAnything = KXW("anything");

void AppendCompared(CkxUtilStr& text, EkxStrCompareAs compareAs, CkxTextView pattern) {
  for (const SkxCompareMode& mode : kKxCompareModes) {
    if (mode.code == compareAs) return KxText_AppendFormat(text, KXW("%s %s"), mode.words, pattern);
  }
  KxText_AppendFormat(text, KXW("(unknown mode %u) %s"), static_cast<uint16_t>(compareAs), pattern);
}

/// What a property says when it is set.
template <class Prop, class Say>
void WhenSet(CkxUtilStr& text, const Prop& prop, Say say) {
  if (prop.Initialized()) {
    say();
  } else {
    text.Append(kAnything);
  }
}

template <class Prop>
void AppendList(CkxUtilStr& text, const CkxShBufPropList<Prop>& list, const WCHAR* joint) {
  WhenSet(text, list, [&] {
    if (list.Count() == 0) text.Append(KXW("an empty list"));
    const WCHAR* before = KXW("");
    for (const CkxPropNode<Prop>& node : list.Elements()) {
      text.Append(before);
      KxPropText_Append(text, node.prop);
      before = joint;
    }
  });
}

void AppendGroup(CkxUtilStr& text, const WCHAR* relation, const GUID& group, bool anyAncestor) {
  if (KxGuid_IsNull(group)) return;
  if (!text.IsEmpty()) text.Append(KXW(", "));
  KxText_AppendFormat(text, KXW("%s %s%s"), relation, KxGuid_ToText(group),
                      anyAncestor ? KXW(" (any ancestor)") : KXW(""));
}

}  // namespace

void KxPropText_Append(CkxUtilStr& text, const SkxVersion& version) {
  if (version.IsEmpty()) return;
  KxText_AppendFormat(text, KXW("%hu.%hu.%hu.%hu"), version.GetAt(0), version.GetAt(1), version.GetAt(2),
                      version.GetAt(3));
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropStr& prop) {
  WhenSet(text, prop, [&] {
    AppendCompared(text, prop.CompareAs(), prop.Pattern());
    if (prop.CaseSensitive()) text.Append(KXW(", case-sensitive"));
  });
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileName& prop) {
  WhenSet(text, prop, [&] {
    AppendCompared(text, prop.CompareAs(), prop.Pattern());
    if (prop.Hash().IsEmpty()) return;
    KxText_AppendFormat(text, KXW(", %s"), prop.Hash());
    if (prop.FileSize() != IkxPathProvider::kUnknownSize)
      KxText_AppendFormat(text, KXW(", %I64d bytes"), prop.FileSize());
  });
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileLocation& prop) {
  WhenSet(text, prop, [&] {
    KxText_AppendFormat(text, KXW("%s%s"), prop.Pattern(), prop.WithSubfolders() ? KXW(" with subfolders") : KXW(""));
    if (!prop.LocationTypes().IsEmpty()) KxText_AppendFormat(text, KXW(", on %s"), prop.LocationTypes());
  });
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropSvcName& prop) {
  WhenSet(text, prop, [&] { text.Append(prop.Name()); });
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropVersionRange& prop) {
  WhenSet(text, prop, [&] {
    const CkxVersionRange& range = prop.Range();
    if (range.IsInfinite()) return text.Append(kAnything);
    if (range.MinVersion().IsEmpty()) {
      text.Append(KXW("up to "));
    } else if (range.MaxVersion().IsEmpty()) {
      text.Append(KXW("from "));
    }
    KxPropText_Append(text, range.MinVersion());
    if (!range.MinVersion().IsEmpty() && !range.MaxVersion().IsEmpty()) text.Append(KXW(" to "));
    KxPropText_Append(text, range.MaxVersion());
  });
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropPublisher& prop) {
  if (!prop.Initialized()) return text.Append(KXW("nothing"));
  if (prop.UnsignedOnly()) return text.Append(KXW("unsigned"));
  KxPropText_Append(text, static_cast<const CkxShBufPropStr&>(prop));
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileOwner& prop) {
  WhenSet(text, prop, [&] { text.Append(prop.Owner().ToText()); });
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileVerInfo& prop) {
  if (!prop.Initialized()) return text.Append(KXW("nothing"));
  KxText_AppendFormat(text, KXW("%s "), prop.Field());
  KxPropText_Append(text, static_cast<const CkxShBufPropStr&>(prop));
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropPublishers& prop) { AppendList(text, prop, KXW(" or ")); }
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileOwners& prop) { AppendList(text, prop, KXW(" or ")); }
void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileVerInfos& prop) { AppendList(text, prop, KXW(" and ")); }

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileMsiInfo& prop) {
  if (!prop.Initialized()) return text.Append(KXW("nothing"));
  KxText_AppendFormat(text, KXW("%s "), prop.Property());
  KxPropText_Append(text, static_cast<const CkxShBufPropStr&>(prop));
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileMsiInfos& prop) { AppendList(text, prop, KXW(" and ")); }

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropCapability& prop) {
  WhenSet(text, prop,
          [&] { KxText_AppendFormat(text, KXW("%s%s"), prop.Flag() ? KXW("") : KXW("not "), prop.Name()); });
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropCapabilities& prop) { AppendList(text, prop, KXW(" and ")); }

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropMediaInfo& prop) {
  WhenSet(text, prop, [&] {
    const WCHAR* separator = KXW("");
    const auto appendField = [&](const WCHAR* name, const CkxShBufPropStr& field) {
      if (!field.Initialized()) return;
      KxText_AppendFormat(text, KXW("%s%s "), separator, name);
      KxPropText_Append(text, field);
      separator = KXW(", ");
    };
    appendField(KXW("Type"), prop.Type());
    appendField(KXW("Vendor"), prop.Vendor());
    appendField(KXW("Product"), prop.Product());
    appendField(KXW("SerialNumber"), prop.SerialNumber());
    if (separator[0] == 0) text.Append(kAnything);
  });
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropParentProcess& prop) {
  WhenSet(text, prop, [&] {
    CkxUtilStr groups;
    AppendGroup(groups, KXW("in"), prop.IncludedGroup(), prop.IncludedAnyAncestor());
    AppendGroup(groups, KXW("not in"), prop.ExcludedGroup(), prop.ExcludedAnyAncestor());
    text.Append(groups.IsEmpty() ? CkxTextView(KXW("in no group at all")) : groups.View());
  });
}

void KxPropText_Append(CkxUtilStr& text, const CkxShBufPropFileOrigin& prop) {
  WhenSet(text, prop, [&] {
    if (prop.MainSourceType() == 0) return text.Append(KXW("a known origin"));
    KxText_AppendFormat(text, KXW("of source type %u"), prop.MainSourceType());
  });
}

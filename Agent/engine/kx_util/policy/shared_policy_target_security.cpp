#include <kx_util/shared_policy_target_security.h>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/policy/target_debug_text.h"
#include "Common_CPP/util/text.h"

namespace {

struct RootKey {
  uint32_t handle;
  const WCHAR* name;
};
constexpr RootKey kRootKeys[] = {
    {0x80000000, KXW("HKCR")}, {0x80000001, KXW("HKCU")}, {0x80000002, KXW("HKLM")},
    {0x80000003, KXW("HKU")},  {0x80000005, KXW("HKCC")},
};

KxWString RootName(uint32_t root) {
  for (const RootKey& key : kRootKeys) {
    if (key.handle == root) return key.name;
  }
  CkxUtilStr number;
  KxText_AppendFormat(number, KXW("0x%.8X"), root);
  return number.View().ToString();
}

}  // namespace

bool CkxShBufTargetSecurity::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxShBufTarget::FromBuffer(cursor, remaining) && CkxBufReader(cursor, remaining).U32(_accessMask);
}

bool CkxShBufTargetFSEntry::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxShBufTargetSecurity::FromBuffer(cursor, remaining) && CkxBufReader(cursor, remaining).Nested(_path);
}

void CkxShBufTargetFSEntry::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    KxText_AppendFormat(text, KXW("\r\n  Target: %s: AccessMask=0x%.8X [%s]\r\n"),
                        IsFolder() ? KXW("DIR") : KXW("FILE"), AccessMask(), _path.Path());
  });
}

bool CkxShBufTargetRegKey::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTargetSecurity::FromBuffer(cursor, remaining)) return false;
  CkxBufReader in(cursor, remaining);
  return in.U32(_root) && in.ObfuscatedText(_keyPath);
}

void CkxShBufTargetRegKey::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    KxText_AppendFormat(text, KXW("\r\n  Target: REGKEY: AccessMask=0x%.8X [%s\\%s]\r\n"), AccessMask(),
                        RootName(_root), KeyPath());
  });
}

bool CkxShBufTargetService::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxShBufTargetSecurity::FromBuffer(cursor, remaining) && CkxBufReader(cursor, remaining).Nested(_service);
}

void CkxShBufTargetService::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    KxText_AppendFormat(text, KXW("\r\n  Target: SERVICE: AccessMask=0x%.8X Name=[%s]\r\n"), AccessMask(),
                        _service.Name());
  });
}

bool CkxShBufTargetRemovableMedia::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxShBufTargetSecurity::FromBuffer(cursor, remaining) && CkxBufReader(cursor, remaining).Nested(_media);
}

bool CkxShBufTargetRemovableMedia::MatchMedia(const SkxMediaFacts& media) const {
  const WCHAR* const kind = IsTargetType(EkxPolicyTarget::UsbDevice) ? kKxMediaUsb : kKxMediaOpticalDisc;
  return KxEntry(
      false, [&] { return media.type.has_value() && KxText_Equals(*media.type, kind, false) && _media.Match(media); });
}

void CkxShBufTargetRemovableMedia::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] {
    KxText_AppendFormat(text, KXW("\r\n  Target: %s: AccessMask=0x%.8X\r\n"), KxUtil_PolicyTargetTypeStr(TargetType()),
                        AccessMask());
    for (const CkxPropNode<CkxShBufPropMediaInfo>& node : _media.Elements()) {
      text.Append(KXW("    "));
      KxPropText_Append(text, node.prop);
      text.Append(KXW("\r\n"));
    }
  });
}

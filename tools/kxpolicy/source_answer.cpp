#include "tools/kxpolicy/source_answer.h"

#include <nlohmann/json.hpp>

#include "Common_CPP/util/text.h"

namespace {

void AddMainSource(nlohmann::ordered_json& answer, CkxFileSrcType::EkxType type, const WCHAR* name, const WCHAR* detail,
                   int order) {
  answer["mainSourceType"] = static_cast<uint32_t>(type);
  if (type == CkxFileSrcType::None) return;
  answer["mainSourceName"] = KxText_ToUtf8(name);
  answer["mainSourceDetail"] = KxText_ToUtf8(detail);
  answer["mainSourceOrder"] = order;
}

}  // namespace

void KxSourceAnswer_Add(nlohmann::ordered_json& answer, const CkxFileSrcInstaller& installer) {
  const WCHAR* name = nullptr;
  const WCHAR* detail = nullptr;
  int order = 0;
  const CkxFileSrcType::EkxType type = installer.GetMainSourceType(name, detail, order);
  AddMainSource(answer, type, name, detail, order);
}

void KxSourceAnswer_Add(nlohmann::ordered_json& answer, const CkxFileOrigin& origin) {
  KxSourceAnswer_Add(answer, origin.SourceInstaller());
}

void KxSourceAnswer_Add(nlohmann::ordered_json& answer, const CkxFileSrcProcess& process) {
  const WCHAR* name = nullptr;
  const WCHAR* detail = nullptr;
  const CkxFileSrcType::EkxType type = process.GetMainSourceType(name, detail);
  AddMainSource(answer, type, name, detail, process.Facts().order);
  answer["displayName"] = KxText_ToUtf8(process.GetDisplayName());
  const WCHAR* const known = CkxFileSrcProcess::HumanReadableNameFromWellKnown(process.Facts().wellKnown);
  if (known != nullptr) answer["humanName"] = KxText_ToUtf8(known);
  answer["deleted"] = CkxFileSrcProcess::IsPathDeleted(process.Facts().path);
}

#include <kx_util/shared_policy_target_url.h>
#include <kx_util/target_info_kinds.h>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/policy/target_checks.h"
#include "Agent/engine/kx_util/policy/target_debug_text.h"

bool CkxShBufTargetUrl::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return CkxShBufTarget::FromBuffer(cursor, remaining) && CkxBufReader(cursor, remaining).Nested(_url);
}

bool CkxShBufTargetUrl::MatchTarget(const CkxTargetInfo& target) const {
  const auto* const request =
      target.IsTargetInfoElevator() ? static_cast<const CkxTargetInfoElevator*>(&target) : nullptr;
  const bool isUrl = request != nullptr && request->RequestKind() == CkxTargetInfoElevator::kUrlRequest;
  return KxCheck_Kind(isUrl, KXW("request for an address"), target) && KxCheck_Url(_url, request->Url());
}

void CkxShBufTargetUrl::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(text, [&] { KxText_AppendFormat(text, KXW("\r\n  Target: URL: %s\r\n"), _url.Pattern()); });
}

#include <kx_util/target_info_kinds.h>

CkxTargetInfoElevator::CkxTargetInfoElevator(uint32_t requestKind, CkxUtilStr url, void* userToken, bool flag,
                                             std::optional<EkxPolicyTarget> type)
    : CkxTargetInfo(userToken, flag),
      _requestKind(requestKind),
      _url(std::move(url)),
      _type(type.value_or(requestKind == kUrlRequest ? EkxPolicyTarget::Url : EkxPolicyTarget::Invalid)) {}

void CkxTargetInfoElevator::_GetDescriptionForAlert(CkxUtilStr& text) const { text = _url; }
void CkxTargetInfoElevator::_GetDescriptionForEvent(CkxUtilStr& text) const { text = _url; }

namespace {

SkxFileFacts WithType(SkxFileFacts facts, EkxPolicyTarget type) {
  if (!facts.targetType) facts.targetType = static_cast<uint32_t>(type);
  return facts;
}

}  // namespace

CkxTargetInfoServer::CkxTargetInfoServer(SkxFileFacts facts, SkxServerFacts server, EkxPolicyTarget type,
                                         void* userToken, bool flag)
    : CkxTargetInfo(userToken, flag),
      _file(WithType(std::move(facts), type), userToken, flag),
      _server(std::move(server)),
      _type(_file.TargetType()) {}

CkxTargetInfoServer::CkxTargetInfoServer(const WCHAR* path, SkxServerFacts server, EkxPolicyTarget type,
                                         void* userToken, bool flag)
    : CkxTargetInfo(userToken, flag), _file(path, userToken, flag), _server(std::move(server)), _type(type) {}

void CkxTargetInfoServer::_GetDescriptionForAlert(CkxUtilStr& text) const {
  _file.AppendDescription(GetDescriptionBase(), text);
}

void CkxTargetInfoServer::_GetDescriptionForEvent(CkxUtilStr& text) const {
  _file.AppendDescription(GetDescriptionBase(), text);
}

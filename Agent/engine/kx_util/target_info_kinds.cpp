#include <kx_util/target_info_kinds.h>

CkxTargetInfoElevator::CkxTargetInfoElevator(uint32_t requestKind, CkxUtilStr url, void* userToken, bool flag)
    : CkxTargetInfo(userToken, flag), _requestKind(requestKind), _url(std::move(url)) {}

EkxPolicyTarget CkxTargetInfoElevator::TargetType() const {
  return _requestKind == kUrlRequest ? EkxPolicyTarget::Url : EkxPolicyTarget::Invalid;
}

void CkxTargetInfoElevator::_GetDescriptionForAlert(CkxUtilStr& text) const { text = _url; }
void CkxTargetInfoElevator::_GetDescriptionForEvent(CkxUtilStr& text) const { text = _url; }

CkxTargetInfoServer::CkxTargetInfoServer(SkxFileFacts facts, SkxServerFacts server, EkxPolicyTarget type,
                                         void* userToken, bool flag)
    : CkxTargetInfo(userToken, flag),
      _file(std::move(facts), userToken, flag),
      _server(std::move(server)),
      _type(type) {}

CkxTargetInfoServer::CkxTargetInfoServer(const WCHAR* path, SkxServerFacts server, EkxPolicyTarget type,
                                         void* userToken, bool flag)
    : CkxTargetInfo(userToken, flag), _file(path, userToken, flag), _server(std::move(server)), _type(type) {}

void CkxTargetInfoServer::_GetDescriptionForAlert(CkxUtilStr& text) const {
  _file.AppendDescription(GetDescriptionBase(), text);
}

void CkxTargetInfoServer::_GetDescriptionForEvent(CkxUtilStr& text) const {
  _file.AppendDescription(GetDescriptionBase(), text);
}

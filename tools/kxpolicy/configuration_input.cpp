#include "tools/kxpolicy/configuration_input.h"

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/image/image_source.h"
#include "Common_CPP/access_token/access_token.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/memory.h"

namespace {

void RequirePublished() {
  SkxSectionBytes section;
  const EkxSectionState state = KxPolicySource_Current().OpenSection(EkxPolicySection::Policies, section);
  if (state == EkxSectionState::Open) return;
  throw CkxToolFault(EkxExit::SystemRefused, state == EkxSectionState::NotPublished
                                                 ? "No policies are published on this machine"
                                                 : std::string(KxUtil_FaultText(EkxEvaluationFault::SectionRefused)));
}

}  // namespace

struct CkxConfigurationInput::Held {
  std::optional<CkxImageSource> image;
  std::optional<CkxPolicySourceScope> scope;
  std::optional<CkxAccessToken> token;
};

void SkxConfigurationOptions::AddTo(const CkxVerbOptions& verb) {
  verb.Add("--image", image, "Folder of a compiled image; without it the policies in force on this machine").Folder();
  verb.Add("--user", user, "SID of the user to ask for").NotEmpty();
}

CkxConfigurationInput::CkxConfigurationInput(const SkxConfigurationOptions& options) : _held(std::make_unique<Held>()) {
  if (!options.user.empty()) {
    const std::optional<CkxSid> user = CkxSid::FromUtf8(options.user);
    if (!user) throw CkxToolFault(EkxExit::UnusableArguments, "--user: \"" + options.user + "\" is no SID");
    _held->token.emplace(*user, std::vector<CkxSid>{}, false);
  }
  if (options.image.empty()) {
    RequirePublished();
  } else {
    _held->image.emplace(KxImage_Load(options.image));
    _held->scope.emplace(*_held->image);
  }
}
CkxConfigurationInput::~CkxConfigurationInput() = default;

void* CkxConfigurationInput::Token() const { return _held->token ? _held->token->Handle() : nullptr; }

std::string CkxConfigurationInput::Fault(const CkxRefusal& refusal) {
  KxTool_RequireMemory();
  const EkxEvaluationFault fault = KxUtil_LastFault();
  if (fault == EkxEvaluationFault::None) return {};
  _isAnyUnanswered = _isAnyUnanswered || !_held->image;
  return refusal.Text().empty() ? std::string(KxUtil_FaultText(fault)) : refusal.Text();
}

nlohmann::ordered_json KxConfiguration_NotFound(const std::string& fault) {
  nlohmann::ordered_json answer = {{"found", false}};
  if (!fault.empty()) answer["error"] = fault;
  return answer;
}

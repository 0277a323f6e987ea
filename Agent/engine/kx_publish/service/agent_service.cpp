#include "Agent/engine/kx_publish/service/agent_service.h"

#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy_kinds.h>
#include <kx_util/target_info_process.h>

#include <cstring>

#include "Agent/engine/kx_publish/image/image_judge.h"
#include "Agent/engine/kx_publish/service/client_path.h"
#include "Agent/engine/kx_util/store/agent_requests.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/user_groups.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

/// An image, with its policies prepared for as many questions as come.
struct SkxServedImage {
  SkxServedImage(SkxPolicyImage image, const CkxPolicyHitCounter* before)
      : source(std::move(image)), judge(source, EkxPrepare::AtOnce), hits(source.Image(), before) {}

  /// The central evaluation.
  bool Decide(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const {
    EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
    return judge.Evaluate(target, judge.SnapshotForNext(), info, outcome);
  }

  const CkxImageSource source;
  const CkxImageJudge judge;
  const CkxPolicyHitCounter hits;
};

namespace {

using Body = std::span<const unsigned char>;
using Reply = std::vector<unsigned char>;

constexpr const char* kAnonymous = "S-1-5-7";
constexpr const char* kNoImage = "refused, no image";
constexpr const char* kGivenUp = "given up";

template <class Block>
void Append(Reply& reply, const Block& block) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&block);
  reply.insert(reply.end(), bytes, bytes + sizeof(block));
}

bool ReadQuestion(Body body, SkxConsentQuestion& question) {
  if (body.size() != sizeof(question)) return false;
  std::memcpy(&question, body.data(), sizeof(question));
  return true;
}

CkxTextView PathOf(const SkxConsentQuestion& question) {
  return CkxTextView::FromBytes(question.path, sizeof(question.path));
}

bool ReplacesPrompt(const CkxShBufPolicy& policy, bool administrator) {
  if (const auto* const run = dynamic_cast<const CkxShBufPolicyNormalRun*>(&policy)) {
    return run->ShouldReplaceUAC(administrator);
  }
  const auto* const trust = dynamic_cast<const CkxShBufPolicyElevateOnDemand*>(&policy);
  return trust != nullptr && trust->ShouldReplaceUAC(administrator);
}

/// The dialog that the policy shows instead of the prompt, where it names one that there is.
void FillDialog(const CkxShBufPolicy& policy, bool administrator, SvcUacActionInfo& action) {
  const EkxAlertTrigger trigger =
      administrator ? EkxAlertTrigger::ReplaceUacOfAdministrator : EkxAlertTrigger::ReplaceUacOfStandardUser;
  CkxShBufCustGuiBase* alert = nullptr;
  if (!policy.GetAlert(trigger, EkxAlertType::Dialog, alert)) return;
  const CkxShBufCustGuiPtr owned(alert);
  const auto& dialog = static_cast<const CkxShBufCustGuiDialog&>(*alert);
  const CkxTextView path = dialog.HtmlPathView();
  if (path.Size() >= SvcUacActionInfo::kHtmlPathUnits) return;  // cut off it would name something else
  action.alertId = dialog.Id();
  action.dialogType = static_cast<uint32_t>(dialog.DlgType());
  for (size_t i = 0; i < path.Size(); ++i) action.htmlPath[i] = path[i];
}

CkxTargetInfoProcess ProgramAt(CkxTextView path, EkxClientPath kind, CkxAccessToken& user) {
  const KxWString text = path.ToString();
  if (kind == EkxClientPath::File) return CkxTargetInfoProcess(text.c_str(), SkxProcessFacts{}, user.Handle());
  SkxFileFacts facts;
  facts.path = text;
  return CkxTargetInfoProcess(std::move(facts), SkxProcessFacts{}, user.Handle());
}

/// What the policies say of a prompt that `user` is about to see. Runs with the rights of the user.
SvcUacActionInfo ActionOf(const SkxServedImage& image, const CkxTargetInfoProcess& program, bool administrator) {
  SvcUacActionInfo action;
  std::memset(static_cast<void*>(&action), 0, sizeof(action));
  SkxTriggerPolicyShortInfo info;
  CkxShBufPolicy* policy = nullptr;
  if (!image.Decide(program, info)) return action;
  action.policy = info;
  action.policyApplies = 1;
  if (!CkxSharedPoliciesData::GetPolicyById(info.PolicyId, policy)) return action;
  const CkxShBufPolicyPtr owned(policy);
  action.replacePrompt = ReplacesPrompt(*policy, administrator) ? 1 : 0;
  if (action.replacePrompt != 0) FillDialog(*policy, administrator, action);
  return action;
}

/// "HANDLER_APPLICABLE_POLICIES from S-1-5-18: 3 policies", with "as [System, Microsoft Windows]" behind the user where
/// it claims to be somebody.
std::string Event(const std::string& request, const SkxSecureIpcCaller& caller, const std::string& outcome) {
  const SkxClientClaim& claim = caller.claim;
  std::string line = request;
  line.append(" from ").append(caller.peer.user.ToUtf8());
  if (!claim.image.IsEmpty() || !claim.signer.IsEmpty()) {
    line.append(" as [")
        .append(KxText_ToUtf8(claim.image))
        .append(", ")
        .append(KxText_ToUtf8(claim.signer))
        .append("]");
  }
  return line.append(": ").append(outcome);
}

/// As the system knows them.
bool LearnGroups(const CkxSid& user, std::vector<CkxSid>& groups) {
  std::optional<std::vector<CkxSid>> known = KxUser_Groups(user);
  if (!known) return false;
  groups = *std::move(known);
  return true;
}

std::string Described(const SkxConsentQuestion& question, const SvcUacActionInfo& action) {
  std::string text = "\"" + KxText_ToUtf8(PathOf(question)) + "\": ";
  text += action.policyApplies != 0 ? "policy " + std::to_string(action.policy.PolicyId) : "no policy";
  return text + (action.replacePrompt != 0 ? ", replaces the prompt" : "");
}

/// The two questions about a prompt. Whoever can be told by name is answered, about nobody but itself: the system, or
/// the user who is about to see the prompt. Which program it claims to be is for the log, since anybody can.
EkxServiceAnswer AnswerPrompt(const SkxServedImage* image, const SkxSecureIpcCaller& caller, Body body,
                              SvcUacActionInfo& action, std::string& outcome) {
  SkxConsentQuestion question;
  outcome = kNoImage;
  if (image == nullptr) return EkxServiceAnswer::Refused;
  outcome = "refused, " + std::to_string(body.size()) + " bytes";
  if (!ReadQuestion(body, question)) return EkxServiceAnswer::Refused;
  outcome = "refused, nobody's";
  if (caller.peer.user.ToUtf8() == kAnonymous) return EkxServiceAnswer::Refused;
  const EkxClientPath kind = KxClientPath_KindOf(PathOf(question));
  outcome = "refused, \"" + KxText_ToUtf8(PathOf(question)) + "\" is no file of this machine";
  if (PathOf(question).IsEmpty()) return EkxServiceAnswer::Refused;  // too long to be asked about
  if (kind == EkxClientPath::Refused) return EkxServiceAnswer::Refused;

  const bool administrator = question.administrator != 0;
  std::vector<CkxSid> groups;
  outcome = "refused, the client's groups cannot be told";
  if (image->source.AsksForUsers() && !LearnGroups(caller.peer.user, groups)) return EkxServiceAnswer::Refused;
  CkxAccessToken user(caller.peer.user, std::move(groups), administrator);
  const CkxTargetInfoProcess program = ProgramAt(PathOf(question), kind, user);
  const CkxPolicySourceScope scope(image->source);
  CkxEntryScope budget;  // one for all that the answer takes
  outcome = kGivenUp;
  if (!budget.IsOpen()) return EkxServiceAnswer::Failed;
  const CkxActAsClient client(caller.pipe);
  outcome = "refused, the client's rights cannot be taken on";
  if (!client) return EkxServiceAnswer::Refused;
  outcome = "refused, the client's drive is another machine's";
  if (KxMachine_Facts().DriveType(KxPath_DriveLetter(PathOf(question))) == EkxDriveType::Remote)
    return EkxServiceAnswer::Refused;
  action = ActionOf(*image, program, administrator);
  outcome = kGivenUp;
  if (KxFault_Current() != EkxEvaluationFault::None) return EkxServiceAnswer::Failed;  // none may be made up
  outcome = Described(question, action);
  if (action.policyApplies != 0) image->hits.Count(action.policy.PolicyId);
  return EkxServiceAnswer::Answered;
}

}  // namespace

struct CkxAgentService::Channel {
  const SkxAgentRequest& request;
  Answer answer;
};

const std::array<CkxAgentService::Channel, 3> CkxAgentService::kChannels = {{
    {kKxApplicablePoliciesRequest, &CkxAgentService::AnswerApplicablePolicies},
    {kKxUacActionRequest, &CkxAgentService::AnswerUacAction},
    {kKxHookConsentRequest, &CkxAgentService::AnswerHookConsent},
}};

CkxAgentService::CkxAgentService(KxAgentServiceListener listener) : _listener(std::move(listener)) {}

CkxAgentService::~CkxAgentService() { Stop(); }

void CkxAgentService::Serve(SkxPolicyImage image) {
  auto served = Served(std::move(image));
  const std::lock_guard lock(_mutex);
  _image = std::move(served);
}

bool CkxAgentService::Replace(SkxPolicyImage image, const std::function<bool()>& publish) {
  auto served = Served(std::move(image));
  const CkxSwapGate::Change change(_gate);
  if (!publish()) return false;
  const std::lock_guard lock(_mutex);
  _image = std::move(served);
  return true;
}

std::shared_ptr<const SkxServedImage> CkxAgentService::Image() const {
  const std::lock_guard lock(_mutex);
  return _image;
}

std::shared_ptr<const SkxServedImage> CkxAgentService::Served(SkxPolicyImage image) const {
  const std::shared_ptr<const SkxServedImage> before = Image();
  return std::make_shared<const SkxServedImage>(std::move(image), before != nullptr ? &before->hits : nullptr);
}

std::vector<SkxRequestCounts> CkxAgentService::Requests() const {
  std::vector<SkxRequestCounts> counts;
  for (size_t i = 0; i < kChannels.size(); ++i) {
    counts.push_back(_requests[i].Read(KxText_ToUtf8(kChannels[i].request.requestName)));
  }
  return counts;
}

std::vector<SkxPolicyHits> CkxAgentService::Hits() const {
  const std::shared_ptr<const SkxServedImage> image = Image();
  return image != nullptr ? image->hits.Read() : std::vector<SkxPolicyHits>();
}

bool CkxAgentService::Start(KxWString& name) {
  for (size_t i = 0; i < kChannels.size(); ++i) {
    const SkxAgentRequest& request = kChannels[i].request;
    auto& server = *_servers.emplace_back(std::make_unique<CkxSecureIpcServer>());
    server.Handle(request.requestName, request.channel,
                  [this, i](const SkxSecureIpcCaller& caller, Body body, Reply& reply) {
                    return AnswerCounted(i, caller, body, reply);
                  });
    if (server.Start(request.serverName)) continue;
    name = request.serverName;
    const CkxLastErrorGuard guard;
    Stop();
    return false;
  }
  return true;
}

void CkxAgentService::Stop() {
  for (const auto& server : _servers) server->Stop();
  for (const auto& server : _servers) server->Wait();
  _servers.clear();
}

/// What memory is short for counts too.
bool CkxAgentService::AnswerCounted(size_t channel, const SkxSecureIpcCaller& caller, Body body, Reply& reply) {
  const CkxWorkCancelScope cancel(caller.cancel);
  EkxServiceAnswer answer = EkxServiceAnswer::Failed;
  std::string outcome;
  try {
    answer = (this->*kChannels[channel].answer)(caller, body, reply, outcome);
  } catch (const std::bad_alloc&) {
    outcome = "out of memory";
  }
  _requests[channel].Count(answer);
  if (_listener) _listener(Event(KxText_ToUtf8(kChannels[channel].request.requestName), caller, outcome));
  return answer == EkxServiceAnswer::Answered;
}

EkxServiceAnswer CkxAgentService::AnswerApplicablePolicies(const SkxSecureIpcCaller& /*caller*/, Body body,
                                                           Reply& reply, std::string& outcome) {
  const CkxTextView text = CkxTextView::FromBytes(body.data(), body.size());
  const std::optional<CkxSid> user = CkxSid::FromUtf8(KxText_ToUtf8(text));
  if (!user) {
    outcome = "refused, no SID";
    return EkxServiceAnswer::Refused;
  }
  const CkxSwapGate::Request request(_gate);
  const std::shared_ptr<const SkxServedImage> image = Image();
  outcome = kNoImage;
  if (image == nullptr) return EkxServiceAnswer::Refused;
  std::vector<CkxSid> groups;
  outcome = "refused, the groups of " + user->ToUtf8() + " cannot be told";
  if (image->source.AsksForUsers() && !LearnGroups(*user, groups))
    return EkxServiceAnswer::Refused;  // with less it might get other policies
  const CkxPolicySourceScope scope(image->source);
  CkxAccessToken token(*user, std::move(groups), false);
  std::vector<int> ids;
  CkxSharedPoliciesData::GetPoliciesApplicableForUser(token.Handle(), ids);
  outcome = kGivenUp;
  if (KxUtil_LastFault() != EkxEvaluationFault::None) return EkxServiceAnswer::Failed;  // not the same as "none"
  for (const int id : ids) Append(reply, id);
  outcome = user->ToUtf8() + ": " + std::to_string(ids.size()) + " policies";
  if (ids.empty()) Append(reply, 0);  // a reply without anything would be taken for a fault
  return EkxServiceAnswer::Answered;
}

EkxServiceAnswer CkxAgentService::AnswerUacAction(const SkxSecureIpcCaller& caller, Body body, Reply& reply,
                                                  std::string& outcome) {
  SvcUacActionInfo action;
  const EkxServiceAnswer answer = AnswerPrompt(Image().get(), caller, body, action, outcome);
  if (answer == EkxServiceAnswer::Answered) Append(reply, action);
  return answer;
}

EkxServiceAnswer CkxAgentService::AnswerHookConsent(const SkxSecureIpcCaller& caller, Body body, Reply& reply,
                                                    std::string& outcome) {
  SvcUacActionInfo action;
  const EkxServiceAnswer answer = AnswerPrompt(Image().get(), caller, body, action, outcome);
  if (answer == EkxServiceAnswer::Answered) reply.push_back(action.replacePrompt);
  return answer;
}

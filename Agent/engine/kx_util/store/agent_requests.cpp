#include "Agent/engine/kx_util/store/agent_requests.h"

#include <kx_util/shared_policies_data.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "Agent/engine/kx_util/store/expected_agent.h"
#include "Agent/engine/kx_util/store/store_scope.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/secure_ipc/secure_ipc_client.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

namespace {

using ReplyBytes = std::vector<unsigned char>;

/// How the two halves of a request report their failure.
struct FailureWords {
  const char* send;
  const char* receive;
};
constexpr FailureWords kIdsWords = {"Failed to get receive list of applicable policies Ids",
                                    "Failed to get receive list of applicable policies Ids"};
constexpr FailureWords kConsentWords = {"Failed to send consent info", "Failed to get receive policy info"};

void Fail(std::string_view line) { KxTrace(EkxTraceLevel::Error, kKxStoreScope, line); }

void FailForSize(std::span<const unsigned char> reply) {
  KxTrace(EkxTraceLevel::Error, kKxStoreScope,
          "Buffer got an incorrect message or is corrupted. Returned buffer size: ", reply.size());
}

/// What failed of a request.
struct AskedStep {
  enum class Which : unsigned char { None, Open, Send, Receive };
  Which which = Which::None;
  bool isTurnedAway = false;
};

/// An agent that has too many of a user's requests at once turns some away: they come again, a little later each time.
constexpr uint32_t kFirstPause = 20;  // milliseconds
constexpr uint32_t kLastPause = 640;

using Work = std::function<void()>;

AskedStep AskOnce(const SkxSecureIpcRequest& whom, CkxDeadline deadline, std::span<const unsigned char> body,
                  const Work& meanwhile, ReplyBytes& reply) {
  using Result = EkxSecureIpcResult;
  CkxSecureIpcClient client;
  if (client.Open(whom, deadline.Remaining()) != Result::Done) return {AskedStep::Which::Open, false};
  const Result sent = client.Send(body);
  if (sent != Result::Done) return {AskedStep::Which::Send, sent == Result::TurnedAway};
  if (meanwhile) meanwhile();
  const Result received = client.Receive(reply);
  if (received != Result::Done) return {AskedStep::Which::Receive, received == Result::TurnedAway};
  return {};
}

bool Ask(const SkxAgentRequest& request, const FailureWords& words, std::span<const unsigned char> body,
         ReplyBytes& reply, const Work& meanwhile = {}) {
  const std::shared_ptr<const SkxExpectedPeer> expected = KxAgent_Expected();
  const SkxPipeOptions options = {expected != nullptr ? *expected : SkxExpectedPeer(), request.namesFile};
  const SkxSecureIpcRequest whom = {request.serverName,
                                    request.clientName,
                                    request.requestName,
                                    request.channel,
                                    {request.image, request.signer},
                                    options};
  const CkxDeadline deadline = CkxDeadline::After(request.timeout);
  AskedStep failed = AskOnce(whom, deadline, body, meanwhile, reply);
  for (uint32_t pause = kFirstPause; failed.isTurnedAway && pause <= kLastPause; pause *= 2) {
    if (deadline.Remaining() <= pause) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(pause));
    failed = AskOnce(whom, deadline, body, meanwhile, reply);
  }
  if (failed.which == AskedStep::Which::Open) {
    KxTrace(EkxTraceLevel::Error, kKxStoreScope, "Failed to initiate connection with agent to ",
            CkxTextView(request.requestName));
  }
  if (failed.which == AskedStep::Which::Send) Fail(words.send);
  if (failed.which == AskedStep::Which::Receive) Fail(words.receive);
  return failed.which == AskedStep::Which::None;
}

SkxConsentQuestion Question(CkxTextView path, uint32_t administrator) {
  SkxConsentQuestion question = {};
  question.administrator = administrator;
  if (path.Size() >= SkxConsentQuestion::kPathUnits) return question;  // cut off it would name something else
  for (size_t i = 0; i < path.Size(); ++i) question.path[i] = path[i];
  return question;
}

template <class Block>
std::span<const unsigned char> BytesOf(const Block& block) {
  return {reinterpret_cast<const unsigned char*>(&block), sizeof(block)};
}

}  // namespace

std::optional<std::vector<uint32_t>> KxAgent_ApplicablePolicies(CkxTextView userSid, const SkxAgentRequest& request,
                                                                const std::function<void()>& meanwhile) {
  const KxWString user = userSid.ToString();
  const std::span body(reinterpret_cast<const unsigned char*>(user.c_str()), (user.size() + 1) * sizeof(WCHAR));
  ReplyBytes reply;
  if (!Ask(request, kIdsWords, body, reply, meanwhile)) return std::nullopt;
  return KxAgent_ReadApplicablePolicies(reply);
}

std::optional<std::vector<uint32_t>> KxAgent_ReadApplicablePolicies(std::span<const unsigned char> reply) {
  if (reply.empty()) {
    Fail("Failure getting applicable policies for the user - msg empty");
    return std::nullopt;
  }
  if (reply.size() % sizeof(uint32_t) != 0) {
    FailForSize(reply);
    return std::nullopt;
  }
  std::vector<uint32_t> ids(reply.size() / sizeof(uint32_t));
  std::memcpy(ids.data(), reply.data(), reply.size());
  if (ids.front() == 0) {
    Fail("No applicable policies for the user");
    ids.clear();
  }
  return ids;
}

bool KxAgent_UacAction(CkxTextView path, uint32_t administrator, SvcUacActionInfo& action,
                       const SkxAgentRequest& request) {
  ReplyBytes reply;
  if (!Ask(request, kConsentWords, BytesOf(Question(path, administrator)), reply)) return false;
  return KxAgent_ReadUacAction(reply, action);
}

bool KxAgent_ReadUacAction(std::span<const unsigned char> reply, SvcUacActionInfo& action) {
  if (reply.size() != sizeof(action)) {
    FailForSize(reply);
    return false;
  }
  std::memcpy(static_cast<void*>(&action), reply.data(), sizeof(action));
  return true;
}

std::optional<bool> KxAgent_ShouldHookConsent(CkxTextView path, uint32_t administrator,
                                              const SkxAgentRequest& request) {
  ReplyBytes reply;
  if (!Ask(request, kConsentWords, BytesOf(Question(path, administrator)), reply)) return std::nullopt;
  return KxAgent_ReadHookConsent(reply);
}

std::optional<bool> KxAgent_ReadHookConsent(std::span<const unsigned char> reply) {
  if (reply.size() != 1) {
    FailForSize(reply);
    return std::nullopt;
  }
  return reply.front() != 0;
}

bool CkxSharedPoliciesData::GetUacAction(const WCHAR* path, uint32_t administrator, SvcUacActionInfo& action) {
  return KxEntry(false, [&] { return KxAgent_UacAction(path, administrator, action); });
}

bool CkxSharedPoliciesData::ShouldHookConsent(const WCHAR* path, uint32_t administrator) {
  return KxEntry(false, [&] { return KxAgent_ShouldHookConsent(path, administrator).value_or(false); });
}

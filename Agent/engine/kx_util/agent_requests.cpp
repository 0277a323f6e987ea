#include "Agent/engine/kx_util/agent_requests.h"

#include <kx_util/shared_policies_data.h>

#include <cstring>

#include "Agent/engine/kx_util/evaluation_fault.h"
#include "Common_CPP/secure_ipc/secure_ipc_client.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kScope = "CkxSharedPoliciesData";

using Bytes = std::vector<unsigned char>;

/// How the two halves of a request report their failure.
struct FailureWords {
  const char* send;
  const char* receive;
};
constexpr FailureWords kIdsWords = {"Failed to get receive list of applicable policies Ids",
                                    "Failed to get receive list of applicable policies Ids"};
constexpr FailureWords kConsentWords = {"Failed to send consent info", "Failed to get receive policy info"};

void Fail(std::string_view line) { KxTrace(EkxTraceLevel::Error, kScope, line); }

void FailForSize(const Bytes& reply) {
  KxTrace(EkxTraceLevel::Error, kScope,
          "Buffer got an incorrect message or is corrupted. Returned buffer size: ", reply.size());
}

bool Ask(const SkxAgentRequest& request, const FailureWords& words, std::span<const unsigned char> body, Bytes& reply) {
  CkxSecureIpcClient client;
  const SkxSecureIpcRequest whom = {
      request.serverName, request.clientName, request.requestName, request.channel, {request.image, request.signer}};
  if (client.Open(whom, request.timeout) != EkxSecureIpcResult::Done) {
    KxTrace(EkxTraceLevel::Error, kScope, "Failed to initiate connection with agent to ",
            CkxTextView(request.requestName));
    return false;
  }
  if (client.Send(body, request.timeout) != EkxSecureIpcResult::Done) {
    Fail(words.send);
    return false;
  }
  if (client.Receive(reply, request.timeout) != EkxSecureIpcResult::Done) {
    Fail(words.receive);
    return false;
  }
  return true;
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

std::optional<std::vector<uint32_t>> KxAgent_ApplicablePolicies(CkxTextView userSid, const SkxAgentRequest& request) {
  const KxWString user = userSid.ToString();
  const std::span body(reinterpret_cast<const unsigned char*>(user.c_str()), (user.size() + 1) * sizeof(WCHAR));
  Bytes reply;
  if (!Ask(request, kIdsWords, body, reply)) return std::nullopt;
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
  Bytes reply;
  if (!Ask(request, kConsentWords, BytesOf(Question(path, administrator)), reply)) return false;
  if (reply.size() != sizeof(action)) {
    FailForSize(reply);
    return false;
  }
  std::memcpy(static_cast<void*>(&action), reply.data(), sizeof(action));
  return true;
}

std::optional<bool> KxAgent_ShouldHookConsent(CkxTextView path, uint32_t administrator,
                                              const SkxAgentRequest& request) {
  Bytes reply;
  if (!Ask(request, kConsentWords, BytesOf(Question(path, administrator)), reply)) return std::nullopt;
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

#include "Agent/engine/kx_publish/service/service_control.h"

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/decision/json_text.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_util/store/expected_agent.h"
#include "Common_CPP/secure_ipc/secure_ipc_client.h"

namespace {

constexpr const WCHAR* kControlServer = KXW("serviceControlServ");
constexpr const WCHAR* kControlClient = KXW("serviceControlCli");
constexpr uint32_t kControlChannel = 8;
constexpr uint32_t kControlTimeout = 30000;  // milliseconds; an image of many policies is published meanwhile

constexpr const char* kNotAnAdministrator =
    "only an administrator, the system, or the account that the service runs as may ask that";

const WCHAR* NameOf(EkxServiceRequest request) {
  return request == EkxServiceRequest::Status ? KXW("HANDLER_SERVICE_STATUS") : KXW("HANDLER_SERVICE_ROLLBACK");
}

std::vector<unsigned char> BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

std::vector<unsigned char> RefusedFor(const std::string& why) {
  std::string json = "{\"refused\":";
  KxJsonText_AddAnyText(json, why);
  return BytesOf(json + '}');
}

std::string WhyNot(EkxSecureIpcResult result) {
  switch (result) {
    case EkxSecureIpcResult::WrongPeer:
      return "what answers on the service's channel may not be the agent; it was told nothing";
    case EkxSecureIpcResult::CannotConnect:
      return "no service answers on this machine; `kxpolicy serve DIR` is one";
    case EkxSecureIpcResult::TimedOut:
      return "the service does not answer in time";
    case EkxSecureIpcResult::TurnedAway:
      return "the service has too much to do, or does not know the request";
    default:
      return "the service gives no answer that can be used";
  }
}

}  // namespace

bool CkxServiceControl::Start(KxWString& name) {
  for (const EkxServiceRequest request : {EkxServiceRequest::Status, EkxServiceRequest::Rollback}) {
    _server.Handle(NameOf(request), kControlChannel, [this, request](const auto& caller, auto /*body*/, auto& reply) {
      reply = caller.pipe.ClientMayAdminister() ? Answer(request) : RefusedFor(kNotAnAdministrator);
      return true;
    });
  }
  name = kControlServer;
  return _server.Start(kControlServer);
}

void CkxServiceControl::Stop() {
  _server.Stop();
  _server.Wait();
}

std::vector<unsigned char> CkxServiceControl::Answer(EkxServiceRequest request) const {
  const std::string why = request == EkxServiceRequest::Rollback ? _controls.rollback() : "";
  return why.empty() ? BytesOf("{\"status\":" + KxServiceStatus_Json(_controls.status()) + '}') : RefusedFor(why);
}

EkxServiceReply KxService_Ask(EkxServiceRequest request, SkxServiceStatus& status, std::string& why) {
  const std::shared_ptr<const SkxExpectedPeer> expected = KxAgent_Expected();
  SkxSecureIpcRequest whom;
  whom.serverName = kControlServer;
  whom.clientName = kControlClient;
  whom.requestName = NameOf(request);
  whom.channel = kControlChannel;
  if (expected != nullptr) whom.server.expected = *expected;

  CkxSecureIpcClient client;
  std::vector<unsigned char> reply;
  EkxSecureIpcResult result = client.Open(whom, kControlTimeout);
  const bool isThere = result == EkxSecureIpcResult::Done;
  if (isThere) result = client.Send({});
  if (result == EkxSecureIpcResult::Done) result = client.Receive(reply);
  if (result == EkxSecureIpcResult::Done) return KxService_ReadReply(reply, status, why);
  why = WhyNot(result);
  return isThere ? EkxServiceReply::Unusable : EkxServiceReply::NoService;
}

EkxServiceReply KxService_ReadReply(std::span<const unsigned char> reply, SkxServiceStatus& status, std::string& why) {
  try {
    const std::string_view text(reinterpret_cast<const char*>(reply.data()), reply.size());
    const nlohmann::json json = KxJson_Parse(text, false);
    CkxJsonObject in(json, "");
    if (in.Optional("refused", why)) return EkxServiceReply::Refused;
    const nlohmann::json* const told = in.Find("status");
    if (told == nullptr) throw CkxDocumentFault("", "\"status\" is missing");
    status = KxServiceStatus_FromJson(*told);
    return EkxServiceReply::Status;
  } catch (const CkxDocumentFault& fault) {
    why = "the service's answer cannot be used: " + fault.Line();
    return EkxServiceReply::Unusable;
  }
}

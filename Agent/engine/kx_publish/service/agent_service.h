// The agent's service as far as the library asks it: answers the three requests from an image. What a developer runs on
// a desk, and what tests run in place of the agent.
//
//   CkxAgentService service([](const std::string& line) { ... });
//   KxWString channel;
//   service.Serve(image);
//   if (!service.Start(channel)) ...
//   ... service.Replace(anotherImage, [&] { return publication.Commit(error); });         // from any thread
//
// A client is answered with no rights but its own: a file that it names is opened as the client, and only one of this
// machine (client_path.h); the work that its question takes ends with the evaluation's budget, with the time that a
// client waits, and when the service stops.
#pragma once

#include <kx_util/agent_uac_action.h>

#include <functional>
#include <memory>
#include <mutex>

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Agent/engine/kx_publish/service/service_counts.h"
#include "Agent/engine/kx_publish/service/swap_gate.h"
#include "Common_CPP/secure_ipc/secure_ipc_server.h"

/// Told of each request and what became of it: "HANDLER_APPLICABLE_POLICIES from S-1-5-18: 3 policies". On the server's
/// threads, several at once.
using KxAgentServiceListener = std::function<void(const std::string& line)>;

struct SkxServedImage;

class CkxAgentService {
 public:
  explicit CkxAgentService(KxAgentServiceListener listener = {});
  ~CkxAgentService();
  CkxAgentService(const CkxAgentService&) = delete;
  CkxAgentService& operator=(const CkxAgentService&) = delete;

  /// What is answered from, beginning with the next request, where nothing is published: who asks about a publication
  /// must not be answered from another image. Before that every request is refused.
  void Serve(SkxPolicyImage image);

  /// The same as one step with what `publish` puts in force, seen from whoever asks for a user's policies: such a
  /// request is answered before both or after both. Questions about prompts, which nobody holds against what is
  /// published, keep the image that they began with. False, with nothing changed, when `publish` says so.
  bool Replace(SkxPolicyImage image, const std::function<bool()>& publish);

  /// False with the thread's last error set; `name` is then the channel that could not be opened, and none is open.
  bool Start(KxWString& name);

  /// Returns once nobody is answered any more.
  void Stop();

  /// What it has done since it was made, by request and by policy of what is answered from. From any thread.
  std::vector<SkxRequestCounts> Requests() const;
  std::vector<SkxPolicyHits> Hits() const;

 private:
  using Body = std::span<const unsigned char>;
  using Reply = std::vector<unsigned char>;
  /// Fills the reply and says in `outcome` what it is, or what is wrong with the request.
  using Answer = EkxServiceAnswer (CkxAgentService::*)(const SkxSecureIpcCaller& caller, Body body, Reply& reply,
                                                       std::string& outcome);
  struct Channel;
  static const std::array<Channel, 3> kChannels;

  bool AnswerCounted(size_t channel, const SkxSecureIpcCaller& caller, Body body, Reply& reply);
  EkxServiceAnswer AnswerApplicablePolicies(const SkxSecureIpcCaller&, Body, Reply&, std::string&);
  EkxServiceAnswer AnswerUacAction(const SkxSecureIpcCaller&, Body, Reply&, std::string&);
  EkxServiceAnswer AnswerHookConsent(const SkxSecureIpcCaller&, Body, Reply&, std::string&);
  std::shared_ptr<const SkxServedImage> Image() const;
  std::shared_ptr<const SkxServedImage> Served(SkxPolicyImage image) const;

  const KxAgentServiceListener _listener;
  CkxSwapGate _gate;
  mutable std::mutex _mutex;  // guards the pointer
  std::shared_ptr<const SkxServedImage> _image;
  std::array<CkxRequestCounter, 3> _requests;  // by channel
  std::vector<std::unique_ptr<CkxSecureIpcServer>> _servers;
};

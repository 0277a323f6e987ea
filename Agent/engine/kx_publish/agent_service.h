// The agent's service as far as the library asks it: answers the three requests from an image. What a developer runs on
// a desk, and what tests run in place of the agent.
//
//   CkxAgentService service([](const std::string& line) { ... });
//   KxWString channel;
//   service.Serve(image);
//   if (!service.Start(channel)) ...
//   ... service.Serve(anotherImage);       // from any thread; requests under way keep the image that they began with
#pragma once

#include <kx_util/agent_uac_action.h>

#include <functional>
#include <memory>
#include <mutex>

#include "Agent/engine/kx_publish/image_source.h"
#include "Common_CPP/secure_ipc/secure_ipc_server.h"

/// Told of each request and what became of it: "HANDLER_APPLICABLE_POLICIES from S-1-5-18: 3 policies". On the server's
/// threads, several at once.
using KxAgentServiceListener = std::function<void(const std::string& line)>;

class CkxAgentService {
 public:
  explicit CkxAgentService(KxAgentServiceListener listener = {});
  ~CkxAgentService();
  CkxAgentService(const CkxAgentService&) = delete;
  CkxAgentService& operator=(const CkxAgentService&) = delete;

  void Serve(SkxPolicyImage image);

  /// False with the thread's last error set; `name` is then the channel that could not be opened, and none is open.
  bool Start(KxWString& name);

  /// Returns once nobody is answered any more.
  void Stop();

 private:
  using Body = std::span<const unsigned char>;
  using Reply = std::vector<unsigned char>;
  /// Fills the reply and says in `outcome` what it is, or what is wrong with the request.
  using Answer = bool (*)(const CkxImageSource& source, const SkxSecureIpcCaller& caller, Body body, Reply& reply,
                          std::string& outcome);
  struct Channel;

  static bool AnswerApplicablePolicies(const CkxImageSource&, const SkxSecureIpcCaller&, Body, Reply&, std::string&);
  static bool AnswerUacAction(const CkxImageSource&, const SkxSecureIpcCaller&, Body, Reply&, std::string&);
  static bool AnswerHookConsent(const CkxImageSource&, const SkxSecureIpcCaller&, Body, Reply&, std::string&);
  std::shared_ptr<const CkxImageSource> Source() const;

  const KxAgentServiceListener _listener;
  mutable std::mutex _mutex;  // guards the pointer
  std::shared_ptr<const CkxImageSource> _source;
  std::vector<std::unique_ptr<CkxSecureIpcServer>> _servers;
};

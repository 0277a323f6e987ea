// The administrator's channel to a running service, beside the three on which the library asks it.
//
//   HANDLER_SERVICE_STATUS     request: nothing   reply: {"status": ...} (service_status.h)
//   HANDLER_SERVICE_ROLLBACK   request: nothing   reply: {"status": ...} as it is afterwards
//
// or {"refused": "why"}, with which nothing has changed. Replies are JSON in UTF-8, so that a command and a service
// need not be of one version. Which policies are hit tells what a machine's users do, and a rollback weakens what they
// are held to: only who may administer the service is answered (`CkxSecurePipe::ClientMayAdminister`), and a client
// judges the service as the library does.
#pragma once

#include <functional>
#include <string>

#include "Agent/engine/kx_publish/service/service_status.h"
#include "Common_CPP/secure_ipc/secure_ipc_server.h"

struct SkxServiceControls {
  std::function<SkxServiceStatus()> status;

  /// Empty once it is done, else why nothing was done.
  std::function<std::string()> rollback;
};

enum class EkxServiceRequest : unsigned char { Status, Rollback };

class CkxServiceControl {
 public:
  /// The controls are called on the channel's threads, several at once, until `Stop` has returned.
  explicit CkxServiceControl(SkxServiceControls controls) : _controls(std::move(controls)) {}

  /// False with the thread's last error set; `name` is then the channel.
  bool Start(KxWString& name);
  void Stop();

 private:
  std::vector<unsigned char> Answer(EkxServiceRequest request) const;

  const SkxServiceControls _controls;
  CkxSecureIpcServer _server;
};

enum class EkxServiceReply : unsigned char {
  Status,
  NoService,  ///< nobody answers, or somebody who may not be the agent
  Refused,
  Unusable,  ///< cut off, or no reply
};

/// Asks the service of this machine. `why` is one line unless the answer is a status.
EkxServiceReply KxService_Ask(EkxServiceRequest request, SkxServiceStatus& status, std::string& why);

/// What a reply says, whoever sent it.
EkxServiceReply KxService_ReadReply(std::span<const unsigned char> reply, SkxServiceStatus& status, std::string& why);

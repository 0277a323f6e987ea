// The agent that `serve` runs: publishes an image, answers from it, follows its folder, goes back to the image before,
// and tells an administrator about all that.
//
// The loop that looks at the image and whoever asks for a rollback take turns; telling the status waits for neither.
#pragma once

#include <filesystem>
#include <mutex>

#include "Agent/engine/kx_publish/service/agent_service.h"
#include "Agent/engine/kx_publish/service/image_history.h"
#include "Agent/engine/kx_publish/service/publication.h"
#include "Agent/engine/kx_publish/service/service_control.h"
#include "tools/kxpolicy/folder_watch.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/serve_log.h"

struct SkxServeOptions {
  std::string image;
  std::string keep;  ///< folder of the images that were in force; empty: they are kept in memory
  SkxSignatureOptions signature;
  bool mayBeEmpty = false;
  bool verbose = false;
};

/// Whether the folder's image may be put in force again after a rollback took it out.
enum class EkxWithdrawn : unsigned char { StaysOut, MayComeBack };

class CkxServedAgent {
 public:
  CkxServedAgent(const SkxServeOptions& options, SkxStreams& streams);

  /// Throws CkxToolFault.
  void Start();

  /// An image that changed is shown once it has stopped changing. One that cannot be used, or not now, leaves the one
  /// before in force and is tried again.
  void LookAtImage();

  /// What the folder holds is shown now, changed or not, and also where a rollback took it out of force.
  void Reload();

  /// Throws CkxToolFault.
  void Stop();

  /// In one line, for a manager of services.
  std::string StateLine() const;

  /// Without a wait for what changes images.
  SkxServiceStatus Status() const;

  /// Empty, or why nothing was done. What is thrown leaves everything as it was.
  std::string Rollback();

 private:
  SkxPublishableImage Load() const;
  SkxPublishableImage LoadForStart(bool& isKept);
  SkxPublishableImage FromHistory(const SkxKeptImage& kept) const;
  bool IsWithdrawn(const SkxPublishableImage& publishable) const;
  void ShowFolder(EkxWithdrawn withdrawn);
  void Show(const SkxPublishableImage& publishable);
  void PutInForce(const SkxPublishableImage& publishable, SkxImageHistoryState next);
  SkxServiceStatus StatusOf(const SkxPublishableImage& publishable, const SkxImageHistoryState& history) const;
  void TakeStep(SkxImageHistoryState next, SkxServiceStatus told) noexcept;
  void KeepHistory() noexcept;
  void TellFault(const char* fault) noexcept;

  const SkxServeOptions _options;
  const CkxSignatureDemand _demand;
  CkxServeLog _log;
  const int64_t _startedAt;

  std::mutex _changing;  // guards what follows, once there is somebody else to ask for a rollback
  CkxPolicyPublication _publication;
  CkxFolderWatch _watch;
  CkxImageHistory _history;

  mutable std::mutex _telling;  // guards what is told; held for a copy at most
  SkxServiceStatus _told;
  SkxKeptImagePtr _before;  // what a rollback puts back in force, if its signature counts then
  std::string _fault;       // of the folder's image as it is; empty where that is usable

  CkxAgentService _service;
  CkxServiceControl _control;
};

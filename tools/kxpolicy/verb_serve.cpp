// serve: what the agent's service does, from an image: publishes it, answers the library's requests, and follows the
// image as it changes on disk.
#include <array>
#include <filesystem>
#include <mutex>
#include <ostream>
#include <utility>

#include "Agent/engine/kx_publish/service/agent_service.h"
#include "Agent/engine/kx_publish/service/publication.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/stop.h"
#include "tools/kxpolicy/tool.h"

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kLookMilliseconds = 200;
constexpr unsigned kLooksToRetry = 25;  // at an image that could not be used, though it has not changed since

struct ServeOptions {
  std::string image;
  bool mayBeEmpty = false;
  bool verbose = false;
};

/// Lines for a person, whole ones from several threads. That nobody reads them any more is no reason to stop.
class Log {
 public:
  Log(SkxStreams& streams, bool verbose) : _streams(streams), _verbose(verbose) {}

  void Event(const std::string& line) {
    if (_verbose) Write(_streams.out, line);
  }
  void State(const std::string& line) { Write(_streams.out, line); }
  void Fault(const std::string& line) { Write(_streams.err, "kxpolicy: " + line); }

 private:
  void Write(std::ostream& out, const std::string& line) {
    const std::string printable = KxText_Printable(line) + '\n';
    const std::lock_guard lock(_mutex);
    out.clear();
    out << printable << std::flush;
  }

  SkxStreams& _streams;
  const bool _verbose;
  std::mutex _mutex;
};

/// What tells one state of an image's folder from another, without reading it. The times are the system's own: the
/// standard library's are whole seconds on some, and an image may be compiled twice in one.
class FolderState {
 public:
  static FolderState Of(const fs::path& folder) {
    FolderState state;
    size_t i = 0;
    for (const char* const name : {"policies.sec", "appgroups.sec", "alerts.sec", "applicable.json"}) {
      File& file = state._files[i++];
      const std::optional<SkxFileStatus> status = KxFile_Status((folder / name).string<WCHAR>());
      if (status) file = {status->size, status->modificationTime};
    }
    return state;
  }
  bool operator==(const FolderState&) const = default;

 private:
  struct File {
    uint64_t size = 0;
    int64_t written = 0;
    bool operator==(const File&) const = default;
  };
  std::array<File, 4> _files;
};

class Agent {
 public:
  Agent(const ServeOptions& options, SkxStreams& streams)
      : _options(options), _log(streams, options.verbose), _service([this](const auto& line) { _log.Event(line); }) {}

  void Start() {
    _seen = _tried = FolderState::Of(FolderPath());
    SkxPublishableImage publishable = Load();
    KxWString channel;
    // Whoever asks before the publication is there is refused: another one may still be in force, and its policies are
    // not this image's.
    if (!_service.Start(channel)) {
      throw CkxToolFault(EkxExit::SystemRefused, "the channel " + KxText_ToUtf8(channel) + " cannot be opened, error " +
                                                     std::to_string(KxLastError_Get()));
    }
    Show(std::move(publishable));
    _log.State("serving " + _options.image);
  }

  /// An image that changed is shown once it has stopped changing. One that cannot be used, or not now, leaves the one
  /// before in force and is tried again.
  void LookAtImage() {
    try {
      if (!IsWorthALoad(FolderState::Of(FolderPath()))) return;
      Show(Load());
      _fault.clear();
    } catch (const std::exception& fault) {
      _looksToRetry = kLooksToRetry;
      TellOnce(fault.what());
    }
  }

  void Stop() {
    _service.Stop();
    std::string error;
    if (!_publication.Unpublish(error)) throw CkxToolFault(EkxExit::SystemRefused, error);
    _log.Event("stopped");
  }

 private:
  fs::path FolderPath() const { return fs::path(KxText_FromUtf8(_options.image).value_or(KxWString())); }

  SkxPublishableImage Load() const { return KxImage_LoadToPublish(_options.image, _options.mayBeEmpty); }

  void TellOnce(const char* fault) noexcept {
    try {
      if (_fault != fault) _log.Fault(fault);
      _fault = fault;
    } catch (const std::bad_alloc&) {  // it is told at the next try
    }
  }

  bool IsWorthALoad(const FolderState& now) {
    const bool isSettled = now == std::exchange(_seen, now);
    const bool isToRetry = _looksToRetry != 0 && --_looksToRetry == 0;
    if (!isSettled || (now == _tried && !isToRetry)) return false;
    _tried = now;
    _looksToRetry = 0;
    return true;
  }

  /// One step for whoever asks: a user's policies are those of the publication that is in force.
  void Show(SkxPublishableImage publishable) {
    std::string error;
    if (!_publication.Prepare(publishable.image, error) ||
        !_service.Replace(std::move(publishable.image), [&] { return _publication.Commit(error); })) {
      throw CkxToolFault(EkxExit::SystemRefused, error);
    }
    _log.State(publishable.line);
  }

  const ServeOptions _options;
  Log _log;
  CkxPolicyPublication _publication;
  CkxAgentService _service;
  FolderState _seen;   // at the last look
  FolderState _tried;  // of the image that was loaded last, whatever came of it
  unsigned _looksToRetry = 0;
  std::string _fault;  // that was told last
};

EkxExit Serve(const ServeOptions& options, SkxStreams& streams) {
  CkxStop stop(streams);
  streams.outMayClose = true;
  Agent agent(options, streams);
  agent.Start();
  while (!stop.Wait(kLookMilliseconds)) agent.LookAtImage();
  agent.Stop();
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Serve(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<ServeOptions>();
  verb.Add("image", options->image, "Folder of a compiled image").Folder().Required();
  verb.AddFlag("--empty", options->mayBeEmpty, "Also an image without policies, with which nothing applies any more");
  verb.AddFlag("--verbose", options->verbose, "One line for each request");
  verb.Footer("Runs until it is interrupted. The image may be compiled again meanwhile.");
  return [options](SkxStreams& streams) { return Serve(*options, streams); };
}

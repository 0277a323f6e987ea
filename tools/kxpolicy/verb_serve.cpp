// serve: what the agent's service does, from an image: publishes it, answers the library's requests, and follows the
// image as it changes on disk.
#include <array>
#include <filesystem>
#include <mutex>
#include <ostream>

#include "Agent/engine/kx_publish/agent_service.h"
#include "Agent/engine/kx_publish/publication.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/image_input.h"
#include "tools/kxpolicy/stop.h"
#include "tools/kxpolicy/tool.h"

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kLookMilliseconds = 200;

struct Options {
  std::string image;
  bool verbose = false;
};

/// Lines for a person, whole ones from several threads.
class Log {
 public:
  Log(SkxStreams& streams, bool verbose) : _streams(streams), _verbose(verbose) {}

  void Event(const std::string& line) {
    if (_verbose) Write(_streams.out, line);
  }
  void Ready(const std::string& line) { Write(_streams.out, line); }
  void Fault(const std::string& line) { Write(_streams.err, "kxpolicy: " + line); }

 private:
  /// What a client sent may be part of it: a line stays one.
  void Write(std::ostream& out, std::string line) {
    for (char& c : line) {
      if (static_cast<unsigned char>(c) < ' ') c = ' ';
    }
    const std::lock_guard lock(_mutex);
    out << line << std::endl;
  }

  SkxStreams& _streams;
  const bool _verbose;
  std::mutex _mutex;
};

/// What tells one state of an image's folder from another, without reading it.
class FolderState {
 public:
  static FolderState Of(const fs::path& folder) {
    FolderState state;
    size_t i = 0;
    for (const char* const name : {"policies.sec", "appgroups.sec", "alerts.sec", "applicable.json"}) {
      std::error_code error;
      File& file = state._files[i++];
      file.size = fs::file_size(folder / name, error);
      file.written = fs::last_write_time(folder / name, error);
    }
    return state;
  }
  bool operator==(const FolderState&) const = default;

 private:
  struct File {
    uintmax_t size = 0;
    fs::file_time_type written;
    bool operator==(const File&) const = default;
  };
  std::array<File, 4> _files;
};

class Agent {
 public:
  Agent(const Options& options, SkxStreams& streams)
      : _folder(options.image),
        _log(streams, options.verbose),
        _service([this](const auto& line) { _log.Event(line); }) {}

  void Start() {
    _seen = _shown = FolderState::Of(FolderPath());
    SkxPolicyImage image = KxImage_Load(_folder);
    _service.Serve(image);  // who reads the publication finds the agent there
    KxWString channel;
    if (!_service.Start(channel)) {
      throw CkxToolFault(EkxExit::SystemRefused, "the channel " + KxText_ToUtf8(channel) + " cannot be opened, error " +
                                                     std::to_string(KxLastError_Get()));
    }
    Show(std::move(image));
    _log.Ready("serving " + _folder);
  }

  /// An image that changed is shown once it has stopped changing. One that is not usable leaves the one before.
  void LookAtImage() {
    const FolderState now = FolderState::Of(FolderPath());
    const bool settled = now == std::exchange(_seen, now);
    if (!settled || now == _shown) return;
    _shown = now;
    try {
      Show(KxImage_Load(_folder));
    } catch (const CkxToolFault& fault) {
      _log.Fault(fault.what());
    }
  }

  void Stop() {
    _service.Stop();
    std::string error;
    if (!_publication.Unpublish(error)) throw CkxToolFault(EkxExit::SystemRefused, error);
    _log.Event("stopped");
  }

 private:
  fs::path FolderPath() const { return fs::path(KxText_FromUtf8(_folder).value_or(KxWString())); }

  /// The service first: who is told of the publication asks at once, and may remember what it hears.
  void Show(SkxPolicyImage image) {
    std::string error;
    _service.Serve(image);
    if (!_publication.Publish(image, error)) {
      _service.Serve(_published);
      throw CkxToolFault(EkxExit::SystemRefused, error);
    }
    _published = std::move(image);
    _log.Event("published " + _folder);
  }

  const std::string _folder;
  Log _log;
  CkxPolicyPublication _publication;
  CkxAgentService _service;
  SkxPolicyImage _published;
  FolderState _seen;   // at the last look
  FolderState _shown;  // of the image that is published
};

EkxExit Run(const Options& options, SkxStreams& streams) {
  CkxStop stop(streams);
  Agent agent(options, streams);
  agent.Start();
  while (!stop.Wait(kLookMilliseconds)) agent.LookAtImage();
  agent.Stop();
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Serve(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  app.add_option("image", options->image, "Folder of a compiled image")->required();
  app.add_flag("--verbose", options->verbose, "One line for each publication and request");
  app.footer("Runs until it is interrupted. The image may be compiled again meanwhile.");
  return [options](SkxStreams& streams) { return Run(*options, streams); };
}

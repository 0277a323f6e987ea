#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include <filesystem>

#include "Common_CPP/file/replace_posix.h"
#include "Common_CPP/file/runtime_folder_posix.h"
#include "Common_CPP/notice/named_notice.h"
#include "Common_CPP/util/last_error.h"

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kOfTheFile = IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_DONT_FOLLOW;
constexpr uint32_t kOfAFolder = IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

bool NoticeFile(CkxTextView name, std::string& file) {
  if (!KxPosix_RuntimeFileName(name, file)) return false;
  file += ".notice";
  return true;
}

bool Exists(const fs::path& path) {
  std::error_code ignored;
  return fs::exists(path, ignored);
}

class CkxFileNoticeWaiter : public IkxNoticeWaiter {
 public:
  explicit CkxFileNoticeWaiter(fs::path file)
      : _file(std::move(file)),
        _stop(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        _events(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {}

  bool Open() { return _stop && _events && Watch(); }

  EkxNoticeWait Wait() override {
    for (;;) {
      pollfd ready[] = {{_stop.Get(), POLLIN, 0}, {_events.Get(), POLLIN, 0}};
      if (poll(ready, std::size(ready), -1) < 0) {
        if (errno == EINTR) continue;
        return Fail();
      }
      if (ready[0].revents != 0) return EkxNoticeWait::Stopped;
      if (!ReadEvents()) continue;
      const bool happenedToFile = _watchesFile;
      // What happens before the new watch is covered by the answer.
      if (!Watch()) return Fail();
      if (happenedToFile || _watchesFile) return EkxNoticeWait::Told;
    }
  }

  void Stop() override { eventfd_write(_stop.Get(), 1); }

 private:
  static EkxNoticeWait Fail() {
    KxLastError_SetFromSystem();
    return EkxNoticeWait::Failed;
  }

  /// Takes all events; true when something happened to what is watched now, or more than the system keeps.
  bool ReadEvents() const {
    bool happened = false;
    alignas(inotify_event) char bytes[4096];
    for (ssize_t count; (count = read(_events.Get(), bytes, sizeof(bytes))) > 0;) {
      for (const char* at = bytes; at < bytes + count;) {
        const auto* const event = reinterpret_cast<const inotify_event*>(at);
        happened = happened || event->wd == _watch || event->wd < 0;
        at += sizeof(inotify_event) + event->len;
      }
    }
    return happened;
  }

  /// Watches the file, or the nearest folder above it that exists, in place of what is watched.
  bool Watch() {
    for (;;) {
      fs::path place = _file;
      const int watch = WatchNearest(place);
      if (watch < 0) return false;
      if (watch != _watch && _watch >= 0) inotify_rm_watch(_events.Get(), _watch);  // unless it is gone with its file
      _watch = watch;
      _watchesFile = place == _file;
      // What was looked for and was not there may have come before its folder was watched.
      if (_watchesFile || !Exists(place / *_file.lexically_relative(place).begin())) return true;
    }
  }

  /// Goes up from `place` to the first that exists.
  int WatchNearest(fs::path& place) const {
    for (;;) {
      const int watch = inotify_add_watch(_events.Get(), place.c_str(), place == _file ? kOfTheFile : kOfAFolder);
      if (watch >= 0 || errno != ENOENT || place == place.parent_path()) return watch;
      place = place.parent_path();
    }
  }

  const fs::path _file;
  const CkxDescriptor _stop;
  const CkxDescriptor _events;
  int _watch = -1;
  bool _watchesFile = false;
};

}  // namespace

struct CkxNoticeSender::State {
  std::string file;  // empty when the name is no name
};

CkxNoticeSender::CkxNoticeSender(CkxTextView name) : _state(std::make_unique<State>()) {
  if (!NoticeFile(name, _state->file)) _state->file.clear();
}

CkxNoticeSender::~CkxNoticeSender() = default;

bool CkxNoticeSender::Signal() {
  errno = EINVAL;
  const CkxDescriptor folder = _state->file.empty() ? CkxDescriptor() : KxPosix_OpenRuntimeFolder(true);
  if (folder && KxPosixFile_Replace(folder.Get(), _state->file, {}, 0444, EkxReplaced::UntilRestart)) return true;
  KxLastError_SetFromSystem();
  return false;
}

void CkxNoticeSender::Withdraw() {
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(false);
  if (folder) unlinkat(folder.Get(), _state->file.c_str(), 0);
}

std::unique_ptr<IkxNoticeWaiter> KxNotice_OpenWaiter(CkxTextView name) {
  std::string file;
  const fs::path folder = KxPosix_RuntimeFolder();
  std::error_code error;
  if (NoticeFile(name, file)) {
    errno = ENOENT;
    const fs::path path = folder.empty() ? folder : fs::absolute(folder / file, error).lexically_normal();
    auto waiter = std::make_unique<CkxFileNoticeWaiter>(path);
    if (!path.empty() && waiter->Open()) return waiter;
  }
  KxLastError_SetFromSystem();
  return nullptr;
}

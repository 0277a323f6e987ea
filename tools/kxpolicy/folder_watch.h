// When an image on disk is worth another load: once it has changed and then stopped changing, and now and then while it
// could not be used.
#pragma once

#include <array>
#include <filesystem>
#include <utility>

#include "Common_CPP/file/file.h"

/// What tells one state of an image's folder from another, without reading it. The times are the system's own: the
/// standard library's are whole seconds on some, and an image may be compiled twice in one.
class CkxFolderState {
 public:
  static CkxFolderState Of(const std::filesystem::path& folder) {
    CkxFolderState state;
    size_t i = 0;
    for (const char* const name :
         {"policies.sec", "appgroups.sec", "alerts.sec", "applicable.json", "names.json", "image.p7s"}) {
      File& file = state._files[i++];
      const std::optional<SkxFileStatus> status = KxFile_Status((folder / name).string<WCHAR>());
      if (status) file = {status->size, status->modificationTime};
    }
    return state;
  }
  bool operator==(const CkxFolderState&) const = default;

 private:
  struct File {
    uint64_t size = 0;
    int64_t written = 0;
    bool operator==(const File&) const = default;
  };
  std::array<File, 6> _files;
};

class CkxFolderWatch {
 public:
  explicit CkxFolderWatch(std::filesystem::path folder) : _folder(std::move(folder)) { LookNow(); }

  /// What is there now is what is loaded next, whether or not it has changed.
  void LookNow() { _seen = _tried = CkxFolderState::Of(_folder); }

  /// One look, to be taken every so often.
  bool IsWorthALoad() {
    const CkxFolderState now = CkxFolderState::Of(_folder);
    const bool isSettled = now == std::exchange(_seen, now);
    const bool isToRetry = _looksToRetry != 0 && --_looksToRetry == 0;
    if (!isSettled || (now == _tried && !isToRetry)) return false;
    _tried = now;
    _looksToRetry = 0;
    return true;
  }

  /// What was loaded last could not be used, or not now.
  void TryAgain() { _looksToRetry = kLooksToRetry; }

 private:
  static constexpr unsigned kLooksToRetry = 25;  // at what has not changed since

  const std::filesystem::path _folder;
  CkxFolderState _seen;   // at the last look
  CkxFolderState _tried;  // of what was loaded last, whatever came of it
  unsigned _looksToRetry = 0;
};

// Whether a user has a folder of tools, remembered: shells ask on every window that they open.
#pragma once

#include <map>
#include <optional>
#include <shared_mutex>
#include <string>

#include "Common_CPP/thread/shared_lock.h"
#include "Common_CPP/util/base.h"

/// Answers per user, of one publication. Look-ups of several threads do not wait for each other.
class CkxToolsFolderCache {
 public:
  /// The process's cache. Never destroyed: at the end of a process its other threads may still ask.
  static CkxToolsFolderCache& Instance();

  /// The remembered answer for `user` (SID text), if it was given of the publication of that name.
  std::optional<bool> Find(const KxWString& publication, const std::string& user) const;

  /// Another publication than before drops what was remembered.
  void Save(const KxWString& publication, const std::string& user, bool enabled);

  void Drop();

 private:
  static constexpr size_t kMaxUsers = 4096;  // a terminal server's; what nobody asks about again does not pile up

  mutable CkxSharedLock _lock;
  KxWString _publication;
  std::map<std::string, bool> _enabled;
};

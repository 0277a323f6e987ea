// Writing an image: beside its place, then in one step into it.
#include <chrono>
#include <thread>

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Agent/engine/kx_publish/image/policy_image_files.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/file/file_lock.h"
#include "Common_CPP/file/held_folder.h"
#include "Common_CPP/util/error_words.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kWorkFolderBegin = ".kx-image-";
constexpr const char* kWorkLock = "lock";

template <class Result>
Result Checked(const fs::path& path, const char* what, const std::error_code& error, Result result) {
  if (error) throw SkxImageFailure(path, std::string(what) + ": " + KxError_Words(error));
  return result;
}

bool Exists(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found) return false;
  return Checked(path, "cannot be looked at", error, true);
}

template <class Bytes>
void WriteFile(const fs::path& path, const std::optional<Bytes>& bytes) {
  if (!bytes.has_value()) return;
  const std::span content(reinterpret_cast<const unsigned char*>(bytes->data()), bytes->size());
  if (!KxFile_ReplaceAll(KxImageFile_Text(path), content)) {
    throw SkxImageFailure(path, "cannot be written: " + KxError_Words());
  }
}

/// False when `folder` does not exist; a fault when replacing it would lose anything but an image.
bool CheckReplaceable(const fs::path& folder) {
  if (!Exists(folder)) return false;
  std::error_code error;
  if (!fs::is_directory(folder, error)) throw SkxImageFailure(folder, "is not a folder");
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (!KxImageFile_IsKnown(KxImageFile_Text(entry->path().filename())))
      throw SkxImageFailure(entry->path(), "is not part of an image; the folder is left as it is");
  }
  return Checked(folder, "cannot be listed", error, true);
}

/// The folders above the image's place, made where they are missing. Those go again unless they are kept, as far as
/// they are empty.
class ParentFolders {
 public:
  explicit ParentFolders(const fs::path& folder) {
    for (fs::path missing = folder; !missing.empty() && !Exists(missing); missing = missing.parent_path()) {
      _made.push_back(missing);
    }
    std::error_code error;
    fs::create_directories(folder, error);
    if (!error) return;
    Remove();
    throw SkxImageFailure(folder, "cannot be made: " + KxError_Words(error));
  }
  ParentFolders(const ParentFolders&) = delete;
  ParentFolders& operator=(const ParentFolders&) = delete;
  ~ParentFolders() { Remove(); }

  void Keep() { _made.clear(); }

 private:
  void Remove() {
    std::error_code ignored;
    for (const fs::path& folder : _made) fs::remove(folder, ignored);
  }

  std::vector<fs::path> _made;  // the lowest first
};

constexpr int kWorkFolderDepth = 2;  // it has folders with files

/// As far as it goes: what somebody has open keeps its place on some systems. (The standard library's own function may
/// never end where an entry goes away under it.)
void RemoveTree(const fs::path& folder, int depth) {
  std::error_code ignored;
  std::vector<fs::path> entries;
  for (fs::directory_iterator entry(folder, ignored), end; !ignored && entry != end; entry.increment(ignored)) {
    entries.push_back(entry->path());
  }
  for (const fs::path& entry : entries) {
    const bool isFolder = fs::symlink_status(entry, ignored).type() == fs::file_type::directory;
    if (isFolder && depth > 1) RemoveTree(entry, depth - 1);
    if (!isFolder) fs::remove(entry, ignored);
  }
  fs::remove(folder, ignored);
}

void RemoveWorkFolder(const fs::path& folder, CkxFileLock& lock) {
  RemoveTree(folder, kWorkFolderDepth);
  lock.Release();
  RemoveTree(folder, kWorkFolderDepth);  // with the lock, where that was kept by being held
}

/// A new folder of its own beside the image's place, on the same volume so that renaming is enough. Goes with what is
/// in it; that of a process that was killed is told by its lock, which nobody holds.
class WorkFolder {
 public:
  explicit WorkFolder(const fs::path& beside) {
    std::error_code error;
    for (int attempt = 0; attempt < 1000; ++attempt) {
      const fs::path path = beside.parent_path() / (kWorkFolderBegin + std::to_string(attempt));
      if (fs::create_directory(path, error)) {
        _path = path;
        if (_lock.Acquire(KxImageFile_Text(path / kWorkLock))) return;
        RemoveWorkFolder(path, _lock);  // somebody has just taken it for one that was left behind
      }
      if (error && error != std::errc::file_exists) break;
    }
    throw SkxImageFailure(beside.parent_path(), "has no place for a folder to work in: " + KxError_Words(error));
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;
  ~WorkFolder() {
    try {
      if (!_path.empty()) RemoveWorkFolder(_path, _lock);
    } catch (const std::bad_alloc&) {  // it goes with the next writer's
    }
  }

  fs::path Of(const char* name) const { return _path / name; }
  void Keep() { _path.clear(); }

  /// Those in `parent` that were left behind.
  static void RemoveLeftBehind(const fs::path& parent) {
    std::error_code error;
    for (fs::directory_iterator entry(parent, error), end; !error && entry != end; entry.increment(error)) {
      const KxWString name = KxImageFile_Text(entry->path().filename());
      if (!name.starts_with(fs::path(kWorkFolderBegin).string<WCHAR>())) continue;
      if (entry->symlink_status(error).type() != fs::file_type::directory) continue;
      CkxFileLock lock;
      if (lock.Acquire(KxImageFile_Text(entry->path() / kWorkLock))) RemoveWorkFolder(entry->path(), lock);
    }
  }

 private:
  fs::path _path;
  CkxFileLock _lock;
};

/// Where the system does not let go of a folder as long as somebody reads a file in it, the reader is waited for.
void Rename(const fs::path& from, const fs::path& to) {
  constexpr int kMaxAttempts = 100;
  std::error_code error;
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    fs::rename(from, to, error);
    if (error != std::errc::permission_denied) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  Checked(to, "cannot be put in place", error, true);
}

/// In two steps: what was there goes to the work folder first, and comes back when the second one fails.
void SwapInSteps(const fs::path& made, const fs::path& place, WorkFolder& work) {
  const fs::path old = work.Of("old");
  Rename(place, old);
  try {
    Rename(made, place);
  } catch (SkxImageFailure& failure) {
    std::error_code error;
    fs::rename(old, place, error);
    if (error) {
      work.Keep();
      failure.line += "; what was there is now " + KxText_ToUtf8(KxImageFile_Text(old));
    }
    throw;
  }
}

/// Puts `made` where `place` is: in one step where the system has one, so that there is always one of the two images.
void Swap(const fs::path& made, const fs::path& place, bool placeExists, WorkFolder& work) {
  if (!placeExists) return Rename(made, place);
  if (!KxFolder_Exchange(KxImageFile_Text(made), KxImageFile_Text(place))) SwapInSteps(made, place, work);
}

void Write(const fs::path& folder, const SkxPolicyImage& image) {
  std::error_code error;
  // Renaming wants a plain last component: no trailing separator, no "..", and the folder itself, not a link to it.
  const fs::path place = Checked(folder, "is no usable place", error,
                                 fs::weakly_canonical(fs::absolute(folder / "").parent_path(), error));
  if (!place.has_filename()) throw SkxImageFailure(folder, "is no place for an image");
  const bool exists = CheckReplaceable(place);

  ParentFolders parents(place.parent_path());
  WorkFolder work(place);
  const fs::path made = work.Of("new");
  if (exists) {
    fs::create_directory(made, place, error);  // with the permissions of the folder that it replaces
  } else {
    fs::create_directory(made, error);
  }
  Checked(made, "cannot be made", error, true);
  WriteFile(made / kKxPoliciesFile, image.policies);
  WriteFile(made / kKxAppGroupsFile, image.appGroups);
  WriteFile(made / kKxAlertsFile, image.alerts);
  WriteFile(made / kKxApplicableFile, image.applicable);
  WriteFile(made / kKxNamesFile, image.names);
  WriteFile(made / kKxSignatureFile, image.signature);
  Swap(made, place, exists, work);
  parents.Keep();
  WorkFolder::RemoveLeftBehind(place.parent_path());  // only now: what lies there may have been all that was left
}

}  // namespace

bool KxPolicyImage_Write(CkxTextView folder, const SkxPolicyImage& image, std::string& error) {
  return KxImage_Reported(error, [&] { Write(fs::path(folder.ToString()), image); });
}

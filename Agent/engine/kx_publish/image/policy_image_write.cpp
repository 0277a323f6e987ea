// Writing an image: beside its place, then in one step into it. Whatever fails on the way, also for want of memory, the
// place has the old image or the new one, and nothing is left beside it: what takes memory comes before the step, and
// what is made is removed, and a step undone, without any. Folders are listed by `CkxHeldFolder`, since the standard
// library's own lists end the process where there is no memory.
#include <chrono>
#include <thread>
#include <utility>

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Agent/engine/kx_publish/image/policy_image_files.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/file/file_lock.h"
#include "Common_CPP/file/held_folder.h"
#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

namespace fs = std::filesystem;

constexpr const WCHAR* kWorkFolderBegin = KXW(".kx-image-");

template <class Result>
Result Checked(const fs::path& path, const char* what, const std::error_code& error, Result result) {
  if (error) throw SkxImageFailure(path, std::string(what) + ": " + KxError_Words(error));
  return result;
}

/// Of a function that sets the thread's last error.
void Require(bool isDone, const fs::path& path, const char* what) {
  if (!isDone) throw SkxImageFailure(path, std::string(what) + ": " + KxError_Words());
}

bool Exists(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found) return false;
  return Checked(path, "cannot be looked at", error, true);
}

std::optional<std::vector<KxWString>> NamesIn(const fs::path& folder) {
  CkxHeldFolder held;
  return held.Open(KxImageFile_Text(folder)) ? held.Names() : std::nullopt;
}

void FlushFolder(const fs::path& folder) {
  CkxHeldFolder held;
  Require(held.Open(KxImageFile_Text(folder)) && held.Flush(), folder, "cannot be flushed to the disk");
}

template <class Bytes>
void WriteFile(const fs::path& path, const std::optional<Bytes>& bytes) {
  if (!bytes.has_value()) return;
  const std::span content(reinterpret_cast<const unsigned char*>(bytes->data()), bytes->size());
  Require(KxFile_WriteNew(KxImageFile_Text(path), content), path, "cannot be written");
}

/// False when `folder` does not exist; a fault when replacing it would lose anything but an image.
bool CheckReplaceable(const fs::path& folder) {
  if (!Exists(folder)) return false;
  std::error_code error;
  if (!fs::is_directory(folder, error)) throw SkxImageFailure(folder, "is not a folder");
  const std::optional<std::vector<KxWString>> names = NamesIn(folder);
  Require(names.has_value(), folder, "cannot be listed");
  for (const KxWString& name : *names) {
    if (!KxImageFile_IsKnown(name))
      throw SkxImageFailure(folder / name, "is not part of an image; the folder is left as it is");
  }
  return true;
}

/// The folders above the image's place, made where they are missing. Those go again unless they are kept, as far as
/// they are empty.
class ParentFolders {
 public:
  explicit ParentFolders(const fs::path& folder) : ParentFolders() {
    std::vector<fs::path> missing;  // the lowest first
    for (fs::path above = folder; !above.empty() && !Exists(above); above = above.parent_path()) {
      missing.push_back(above);
    }
    _made.reserve(missing.size());
    for (; !missing.empty(); missing.pop_back()) Make(std::move(missing.back()));
  }
  ParentFolders(const ParentFolders&) = delete;
  ParentFolders& operator=(const ParentFolders&) = delete;
  ~ParentFolders() {
    std::error_code ignored;
    for (; !_made.empty(); _made.pop_back()) fs::remove(_made.back(), ignored);
  }

  void Keep() { _made.clear(); }

 private:
  ParentFolders() = default;

  void Make(fs::path folder) {
    std::error_code error;
    const fs::path above = folder.parent_path();
    if (!Checked(folder, "cannot be made", error, fs::create_directory(folder, error))) return;  // somebody else has
    _made.push_back(std::move(folder));
    FlushFolder(above);
  }

  std::vector<fs::path> _made;  // the lowest last
};

constexpr int kWorkFolderDepth = 2;  // it has folders with files

/// As far as it goes: what somebody has open keeps its place on some systems.
void RemoveTree(const fs::path& folder, int depth) {
  std::error_code ignored;
  for (const KxWString& name : NamesIn(folder).value_or(std::vector<KxWString>())) {
    const fs::path entry = folder / name;
    const bool isFolder = fs::symlink_status(entry, ignored).type() == fs::file_type::directory;
    if (isFolder && depth > 1) RemoveTree(entry, depth - 1);
    if (!isFolder) fs::remove(entry, ignored);
  }
  fs::remove(folder, ignored);
}

/// A new folder of its own beside the image's place, on the same volume so that renaming is enough. Goes with what is
/// in it; that of a process that was killed is told by its lock, which nobody holds.
class WorkFolder {
 public:
  explicit WorkFolder(const fs::path& beside) : WorkFolder() {
    std::error_code error;
    for (int attempt = 0; attempt < 1000; ++attempt) {
      Name(beside.parent_path() / (kWorkFolderBegin + KxText_FromUtf8(std::to_string(attempt)).value()));
      _isThere = fs::create_directory(Path(), error);
      if (_isThere && _lock.Acquire(KxImageFile_Text(Lock()))) return;
      Remove();  // somebody has just taken it for one that was left behind
      if (error && error != std::errc::file_exists) break;
    }
    throw SkxImageFailure(beside.parent_path(), "has no place for a folder to work in: " + KxError_Words(error));
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;
  ~WorkFolder() { Remove(); }

  /// The folders in it, of which none is there yet.
  const fs::path& New() const { return _new; }
  const fs::path& Old() const { return _old; }

  void Keep() { _isThere = false; }

  /// Those in `parent` that were left behind. Who has no memory for that leaves them to the next writer.
  static void RemoveLeftBehind(const fs::path& parent) noexcept {
    try {
      for (const KxWString& name : NamesIn(parent).value_or(std::vector<KxWString>())) {
        if (name.starts_with(kWorkFolderBegin)) RemoveIfLeftBehind(parent / name);
      }
    } catch (const std::exception&) {
    }
  }

 private:
  WorkFolder() = default;

  static fs::path LockIn(const fs::path& folder) { return folder / "lock"; }
  const fs::path& Lock() const { return _parts[_parts.size() - 2]; }
  const fs::path& Path() const { return _parts.back(); }

  /// All that it may have, while there is memory.
  void Name(const fs::path& path) {
    _new = path / "new";
    _old = path / "old";
    _parts.clear();
    for (const fs::path& folder : {_new, _old}) {
      for (const WCHAR* const file : kKxImageFiles) _parts.push_back(folder / file);
      _parts.push_back(folder / kKxNamesFile);
      _parts.push_back(folder / kKxSignatureFile);
      _parts.push_back(folder);
    }
    _parts.push_back(LockIn(path));
    _parts.push_back(path);
  }

  void Remove() noexcept {
    if (!std::exchange(_isThere, false)) return;
    std::error_code ignored;
    for (const fs::path& part : _parts) fs::remove(part, ignored);
    _lock.Release();
    for (const fs::path* const part : {&Lock(), &Path()}) fs::remove(*part, ignored);  // which it may have kept
  }

  static void RemoveIfLeftBehind(const fs::path& folder) {
    std::error_code ignored;
    if (fs::symlink_status(folder, ignored).type() != fs::file_type::directory) return;
    CkxFileLock lock;
    if (!lock.Acquire(KxImageFile_Text(LockIn(folder)))) return;
    RemoveTree(folder, kWorkFolderDepth);
    lock.Release();
    RemoveTree(folder, kWorkFolderDepth);  // with the lock, where that was kept by being held
  }

  fs::path _new;
  fs::path _old;
  std::vector<fs::path> _parts;  // each before the folder that it is in; at the end the lock and the folder itself
  bool _isThere = false;
  CkxFileLock _lock;
};

/// Where the system does not let go of a folder as long as somebody reads a file in it, the reader is waited for.
void Rename(const fs::path& from, const fs::path& to) {
  constexpr int kMaxAttempts = 100;
  bool isDone = false;
  for (int attempt = 0; attempt < kMaxAttempts && !isDone; ++attempt) {
    isDone = KxFolder_Rename(KxImageFile_Text(from), KxImageFile_Text(to));
    const uint32_t error = KxLastError_Get();
    if (isDone || (error != kKxErrorAccessDenied && error != kKxErrorSharingViolation)) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  Require(isDone, to, "cannot be put in place");
}

/// What was there comes back to `place`, and the work folder stays where that fails.
void PutBack(const fs::path& place, WorkFolder& work) {
  std::error_code error;
  fs::rename(work.Old(), place, error);
  if (!error) return;
  work.Keep();
  throw SkxImageFailure(place,
                        "cannot be put in place; what was there is now " + KxText_ToUtf8(KxImageFile_Text(work.Old())));
}

/// In two steps: what was there goes to the work folder first, and comes back when the second one fails.
void SwapInSteps(const fs::path& place, WorkFolder& work) {
  Rename(place, work.Old());
  try {
    Rename(work.New(), place);
  } catch (...) {
    PutBack(place, work);
    throw;
  }
}

/// Puts the new folder where `place` is: in one step where the system has one, so that there is always one of the two
/// images.
void Swap(const fs::path& place, bool placeExists, WorkFolder& work) {
  if (!placeExists) return Rename(work.New(), place);
  if (!KxFolder_Exchange(KxImageFile_Text(work.New()), KxImageFile_Text(place))) SwapInSteps(place, work);
}

void SwapBack(const fs::path& place, bool placeExisted, WorkFolder& work) {
  const bool isInSteps = placeExisted && Exists(work.Old());
  if (placeExisted && !isInSteps) return Swap(place, true, work);
  Rename(place, work.New());
  if (isInSteps) PutBack(place, work);
}

/// What the disk does not take is not put in place: nobody knows what a power failure would leave of it.
void SwapForGood(const fs::path& place, bool placeExists, WorkFolder& work) {
  const fs::path parent = place.parent_path();
  CkxHeldFolder held;
  Require(held.Open(KxImageFile_Text(parent)), parent, "cannot be opened");
  Swap(place, placeExists, work);
  if (held.Flush()) return;
  const uint32_t error = KxLastError_Get();
  SwapBack(place, placeExists, work);
  KxLastError_Set(error);
  Require(false, parent, "cannot be flushed to the disk");
}

void Write(const fs::path& folder, const SkxPolicyImage& image) {
  std::error_code error;
  // Renaming wants a plain last component, and the folder itself, not a link to it.
  const std::optional<KxWString> resolved = KxFolder_Place(KxImageFile_Text(folder));
  Require(resolved.has_value(), folder, "is no usable place");
  const fs::path place(*resolved);
  if (!place.has_filename()) throw SkxImageFailure(folder, "is no place for an image");
  const bool exists = CheckReplaceable(place);

  const fs::path parent = place.parent_path();
  ParentFolders parents(parent);
  WorkFolder work(place);
  const fs::path& made = work.New();
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
  FlushFolder(made);
  SwapForGood(place, exists, work);
  parents.Keep();
  WorkFolder::RemoveLeftBehind(parent);  // only now: what lies there may have been all that was left
}

}  // namespace

bool KxPolicyImage_Write(CkxTextView folder, const SkxPolicyImage& image, std::string& error) {
  return KxImage_Reported(error, [&] { Write(fs::path(folder.ToString()), image); });
}

#include "Agent/engine/kx_publish/policy_image.h"

#include <filesystem>

#include "Agent/engine/kx_publish/applicable_rules.h"
#include "Agent/engine/kx_publish/json_reader.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

namespace fs = std::filesystem;

constexpr uint64_t kMaxFileBytes = uint64_t{1} << 30;

constexpr const WCHAR* kPolicies = KXW("policies.sec");
constexpr const WCHAR* kAppGroups = KXW("appgroups.sec");
constexpr const WCHAR* kAlerts = KXW("alerts.sec");
constexpr const WCHAR* kApplicable = KXW("applicable.json");

bool IsImageFile(const fs::path& name) {
  for (const WCHAR* const known : {kPolicies, kAppGroups, kAlerts, kApplicable}) {
    if (name == fs::path(known)) return true;
  }
  return false;
}

KxWString TextOf(const fs::path& path) { return path.string<WCHAR>(); }

/// The one line that a failure is reported by, thrown as far as the two public functions.
struct Failure {
  Failure(const fs::path& path, const std::string& what) : line(KxText_ToUtf8(TextOf(path)) + ": " + what) {}
  std::string line;
};

template <class Result>
Result Checked(const fs::path& path, const char* what, const std::error_code& error, Result result) {
  if (error) throw Failure(path, std::string(what) + ": " + error.message());
  return result;
}

bool Exists(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found) return false;
  return Checked(path, "cannot be looked at", error, true);
}

template <class Bytes>
void LoadFile(const fs::path& path, std::optional<Bytes>& bytes) {
  bytes.reset();
  if (!Exists(path)) return;
  const auto read = KxFile_ReadAll(TextOf(path), kMaxFileBytes);
  if (!read.has_value()) throw Failure(path, "cannot be read");
  bytes.emplace(read->begin(), read->end());
}

template <class Bytes>
void WriteFile(const fs::path& path, const std::optional<Bytes>& bytes) {
  if (!bytes.has_value()) return;
  const std::span content(reinterpret_cast<const unsigned char*>(bytes->data()), bytes->size());
  if (!KxFile_ReplaceAll(TextOf(path), content)) {
    throw Failure(path, "cannot be written, error " + std::to_string(KxLastError_Get()));
  }
}

/// False when `folder` does not exist; a fault when replacing it would lose anything but an image.
bool CheckReplaceable(const fs::path& folder) {
  if (!Exists(folder)) return false;
  std::error_code error;
  if (!fs::is_directory(folder, error)) throw Failure(folder, "is not a folder");
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (!IsImageFile(entry->path().filename()))
      throw Failure(entry->path(), "is not part of an image; the folder is left as it is");
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
    throw Failure(folder, "cannot be made: " + error.message());
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

/// A new folder of its own beside the image's place, on the same volume so that renaming is enough. Goes with what is
/// in it.
class WorkFolder {
 public:
  explicit WorkFolder(const fs::path& beside) {
    std::error_code error;
    for (int attempt = 0; attempt < 1000; ++attempt) {
      _path = beside.parent_path() / (".kx-image-" + std::to_string(attempt));
      if (fs::create_directory(_path, error)) return;
      if (error && error != std::errc::file_exists) break;
    }
    throw Failure(_path, "cannot be made: " + error.message());
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;
  ~WorkFolder() {
    std::error_code ignored;
    if (!_path.empty()) fs::remove_all(_path, ignored);
  }

  fs::path Of(const char* name) const { return _path / name; }
  void Keep() { _path.clear(); }

 private:
  fs::path _path;
};

void Rename(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::rename(from, to, error);
  Checked(to, "cannot be put in place", error, true);
}

/// Puts `made` where `place` is. What was there goes to the work folder first, and comes back when the second step
/// fails.
void Swap(const fs::path& made, const fs::path& place, bool placeExists, WorkFolder& work) {
  const fs::path old = work.Of("old");
  if (placeExists) Rename(place, old);
  try {
    Rename(made, place);
  } catch (Failure& failure) {
    std::error_code error;
    if (placeExists) fs::rename(old, place, error);
    if (error) {
      work.Keep();
      failure.line += "; what was there is now " + KxText_ToUtf8(TextOf(old));
    }
    throw;
  }
}

void Load(const fs::path& folder, SkxPolicyImage& image) {
  std::error_code error;
  if (!fs::is_directory(folder, error)) throw Failure(folder, error ? error.message() : "is not a folder");
  LoadFile(folder / kPolicies, image.policies);
  LoadFile(folder / kAppGroups, image.appGroups);
  LoadFile(folder / kAlerts, image.alerts);
  LoadFile(folder / kApplicable, image.applicable);
  try {
    if (image.applicable.has_value()) KxApplicable_Parse(*image.applicable);
  } catch (const CkxDocumentFault& fault) {
    throw Failure(folder / kApplicable, fault.Line());
  }
}

void Write(const fs::path& folder, const SkxPolicyImage& image) {
  std::error_code error;
  // Renaming wants a plain last component: no trailing separator, no "..", and the folder itself, not a link to it.
  const fs::path place = Checked(folder, "is no usable place", error,
                                 fs::weakly_canonical(fs::absolute(folder / "").parent_path(), error));
  if (!place.has_filename()) throw Failure(folder, "is no place for an image");
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
  WriteFile(made / kPolicies, image.policies);
  WriteFile(made / kAppGroups, image.appGroups);
  WriteFile(made / kAlerts, image.alerts);
  WriteFile(made / kApplicable, image.applicable);
  Swap(made, place, exists, work);
  parents.Keep();
}

/// The standard library's own exceptions stay inside too: a path that has no form on this system, no memory.
template <class Action>
bool Reported(std::string& error, Action action) {
  try {
    action();
    return true;
  } catch (const Failure& failure) {
    error = failure.line;
  } catch (const std::exception& failure) {
    error = failure.what();
  }
  return false;
}

}  // namespace

const std::optional<SkxPolicyImage::Bytes>& SkxPolicyImage::Section(EkxPolicySection which) const {
  switch (which) {
    case EkxPolicySection::Policies:
      return policies;
    case EkxPolicySection::AppGroups:
      return appGroups;
    case EkxPolicySection::Alerts:
      break;
  }
  return alerts;
}

bool KxPolicyImage_Load(CkxTextView folder, SkxPolicyImage& image, std::string& error) {
  return Reported(error, [&] { Load(fs::path(folder.ToString()), image); });
}

bool KxPolicyImage_Write(CkxTextView folder, const SkxPolicyImage& image, std::string& error) {
  return Reported(error, [&] { Write(fs::path(folder.ToString()), image); });
}

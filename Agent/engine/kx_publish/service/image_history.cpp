#include "Agent/engine/kx_publish/service/image_history.h"

#include <algorithm>
#include <utility>

#include "Agent/engine/kx_publish/image/image_manifest.h"
#include "Agent/engine/kx_publish/image/policy_image_files.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/text.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kCurrent = "current";
constexpr const char* kPrevious = "previous";
constexpr const char* kWithdrawn = "withdrawn";
constexpr size_t kDigestUnits = 64;
constexpr size_t kLongestDigest = 4096;  // bytes, of a file that may hold anything

KxWString TextOf(const fs::path& path) { return path.string<WCHAR>(); }

std::string LineOf(const fs::path& path, const std::string& what) { return KxText_ToUtf8(TextOf(path)) + ": " + what; }

SkxKeptImagePtr Kept(SkxPolicyImage image) {
  std::string digest = KxImageManifest_Digest(image);
  return std::make_shared<const SkxKeptImage>(SkxKeptImage{std::move(image), std::move(digest)});
}

SkxKeptImagePtr Load(const fs::path& folder) {
  SkxPolicyImage image;
  std::string ignored;
  return KxPolicyImage_Load(TextOf(folder), image, ignored) ? Kept(std::move(image)) : nullptr;
}

/// Nothing for a text that is no digest: it would withdraw no image. False where the system does not tell what is
/// there.
bool LoadDigest(const fs::path& file, std::optional<std::string>& digest) {
  digest.reset();
  std::error_code fault;
  const fs::file_status status = fs::status(file, fault);
  if (status.type() == fs::file_type::not_found) return true;
  if (fault) return false;
  const std::optional<std::vector<unsigned char>> bytes = KxFile_ReadAll(TextOf(file), kLongestDigest);
  if (!bytes) return false;
  const auto isHex = [](unsigned char unit) { return (unit >= '0' && unit <= '9') || (unit >= 'a' && unit <= 'f'); };
  if (bytes->size() == kDigestUnits && std::all_of(bytes->begin(), bytes->end(), isHex)) {
    digest.emplace(bytes->begin(), bytes->end());
  }
  return true;
}

/// With what a writer that was killed has left behind.
bool IsOfHistory(const fs::path& name) {
  return name == kCurrent || name == kPrevious || name == kWithdrawn || TextOf(name).starts_with(KXW(".kx-"));
}

bool IsOfImage(const fs::path& name) { return KxImageFile_IsKnown(TextOf(name)); }

/// What somebody else has in `folder`; empty when there is nothing of the kind, or no folder.
fs::path OthersIn(const fs::path& folder, bool (*isOurs)(const fs::path& name), std::error_code& error) {
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (!isOurs(entry->path().filename())) return entry->path();
  }
  if (error == std::errc::no_such_file_or_directory) error.clear();
  return {};
}

/// The images' own folders too: they are replaced, and removed, with all that is in them.
fs::path OthersInHistory(const fs::path& folder, std::error_code& error) {
  fs::path others = OthersIn(folder, IsOfHistory, error);
  for (const char* const image : {kCurrent, kPrevious}) {
    if (!error && others.empty()) others = OthersIn(folder / image, IsOfImage, error);
  }
  return others;
}

}  // namespace

bool CkxImageHistory::Open(CkxTextView folder, std::string& error) {
  const fs::path path(folder.ToString());
  std::error_code fault;
  fs::create_directories(path, fault);
  const fs::path others = fault ? fs::path() : OthersInHistory(path, fault);
  if (fault) error = LineOf(path, "images cannot be kept there: " + KxError_Words(fault));
  if (!others.empty()) error = LineOf(others, "is no part of kept images; another folder is needed for those");
  if (fault || !others.empty()) return false;
  _folder = path;
  _state = {Load(path / kCurrent), Load(path / kPrevious), std::nullopt};
  if (!LoadDigest(path / kWithdrawn, _state.withdrawn)) {
    error = LineOf(path / kWithdrawn, "cannot be read");
    return false;  // what was taken out of force might come back
  }
  _keptCurrent = _state.current;
  _keptPrevious = _state.previous;
  if (_state.current && _state.previous && _state.current->digest == _state.previous->digest) _state.previous.reset();
  return true;
}

/// The same image may have been signed anew, and counts for as long as that signature does.
SkxImageHistoryState CkxImageHistory::AfterPuttingInForce(SkxPolicyImage image) const {
  SkxKeptImagePtr next = Kept(std::move(image));
  const SkxKeptImagePtr& current = _state.current;
  const bool isSame = current && current->digest == next->digest;
  if (isSame && current->image.signature == next->image.signature) next = current;
  SkxKeptImagePtr before = current && !isSame ? current : _state.previous;
  if (before && before->digest == next->digest) before.reset();
  return {std::move(next), std::move(before), std::nullopt};
}

SkxImageHistoryState CkxImageHistory::AfterRollback() const {
  return {_state.previous, nullptr, _state.current ? _state.current->digest : ""};
}

/// While a withdrawal is there, an image with that digest is not put in force at a start. So an old one goes before the
/// images are written, and a new one comes behind the image that takes the place: alone it would keep the wrong one in
/// force.
bool CkxImageHistory::Keep(std::string& error) {
  if (_folder.empty()) return true;
  const auto current = [&] { return KeepImage(kCurrent, _state.current, _keptCurrent, error); };
  const auto previous = [&] { return KeepImage(kPrevious, _state.previous, _keptPrevious, error); };
  if (_state.withdrawn) return current() && KeepWithdrawn(error) && previous();
  return KeepWithdrawn(error) && previous() && current();
}

bool CkxImageHistory::KeepImage(const char* name, const SkxKeptImagePtr& image, SkxKeptImagePtr& kept,
                                std::string& error) const {
  if (image && image == kept) return true;
  kept.reset();
  const fs::path place = _folder / name;
  if (image) {
    if (!KxPolicyImage_Write(TextOf(place), image->image, error)) return false;
    kept = image;
    return true;
  }
  std::error_code fault;
  fs::remove_all(place, fault);
  if (fault) error = LineOf(place, "cannot be removed: " + KxError_Words(fault));
  return !fault;
}

bool CkxImageHistory::KeepWithdrawn(std::string& error) const {
  const fs::path file = _folder / kWithdrawn;
  std::error_code fault;
  if (!_state.withdrawn) {
    fs::remove(file, fault);
    if (fault) error = LineOf(file, "cannot be removed: " + KxError_Words(fault));
    return !fault;
  }
  const std::string& digest = *_state.withdrawn;
  const std::span bytes(reinterpret_cast<const unsigned char*>(digest.data()), digest.size());
  if (KxFile_ReplaceAll(TextOf(file), bytes)) return true;
  error = LineOf(file, "cannot be written: " + KxError_Words());
  return false;
}

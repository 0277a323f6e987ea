#include "Agent/engine/kx_publish/image/policy_image.h"

#include <chrono>
#include <thread>

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/image/policy_image_files.h"
#include "Common_CPP/file/held_folder.h"
#include "Common_CPP/util/error_words.h"

namespace {

namespace fs = std::filesystem;

constexpr uint64_t kMaxFileBytes = uint64_t{1} << 30;

/// How often a folder is read again that was replaced meanwhile, and the longest wait before that.
constexpr int kMaxAttempts = 100;
constexpr int kMaxWaitMilliseconds = 20;

std::string WithError(const std::string& what) { return what + ": " + KxError_Words(); }

/// What an image's folder has.
struct SkxImageFileNames {
  std::vector<KxWString> parts;  ///< that make it an image
  bool hasNames = false;
  bool hasSignature = false;
};

/// The files that the folder has. One of another kind in it, or none of ours, is some other folder, given by mistake:
/// taken for an image it would mean that there are no policies.
SkxImageFileNames ImageFiles(const CkxHeldFolder& held, const fs::path& folder) {
  std::optional<std::vector<KxWString>> names = held.Names();
  if (!names) throw SkxImageFailure(folder, WithError("cannot be listed"));
  for (const KxWString& name : *names) {
    if (!KxImageFile_IsKnown(name)) throw SkxImageFailure(folder / name, "is not part of an image");
  }
  SkxImageFileNames files;
  files.hasNames = std::erase(*names, kKxNamesFile) != 0;
  files.hasSignature = std::erase(*names, kKxSignatureFile) != 0;
  files.parts = *std::move(names);
  if (files.parts.empty()) {
    throw SkxImageFailure(folder, "is no image: has none of policies.sec, appgroups.sec, alerts.sec, applicable.json");
  }
  return files;
}

template <class Bytes>
void LoadFile(const CkxHeldFolder& held, const fs::path& path, std::optional<Bytes>& bytes) {
  CkxFileReader file;
  std::optional<std::vector<unsigned char>> read;
  if (held.OpenFile(KxImageFile_Text(path.filename()), file)) read = KxFile_ReadAll(file, kMaxFileBytes);
  if (!read) throw SkxImageFailure(path, WithError("cannot be read"));
  bytes.emplace(read->begin(), read->end());
}

/// What is no part of what is decided: an image without it, for whatever reason, is the same image.
template <class Bytes>
void LoadBeside(const CkxHeldFolder& held, const fs::path& path, std::optional<Bytes>& bytes) {
  try {
    LoadFile(held, path, bytes);
  } catch (const SkxImageFailure&) {
    bytes.emplace();
  }
}

SkxPolicyImage LoadFrom(const CkxHeldFolder& held, const fs::path& folder) {
  SkxPolicyImage image;
  const SkxImageFileNames files = ImageFiles(held, folder);
  for (const KxWString& name : files.parts) {
    if (name == kKxPoliciesFile) LoadFile(held, folder / name, image.policies);
    if (name == kKxAppGroupsFile) LoadFile(held, folder / name, image.appGroups);
    if (name == kKxAlertsFile) LoadFile(held, folder / name, image.alerts);
    if (name == kKxApplicableFile) LoadFile(held, folder / name, image.applicable);
  }
  if (files.hasNames) LoadBeside(held, folder / kKxNamesFile, image.names);
  if (files.hasSignature) LoadBeside(held, folder / kKxSignatureFile, image.signature);
  try {
    if (image.applicable.has_value()) KxApplicable_Parse(*image.applicable);
  } catch (const CkxDocumentFault& fault) {
    throw SkxImageFailure(folder / kKxApplicableFile, fault.Line());
  }
  return image;
}

/// Nothing when another folder has taken the place meanwhile: what was read, or what failed, says nothing of it.
std::optional<SkxPolicyImage> LoadOnce(const fs::path& folder) {
  std::error_code error;
  if (!fs::is_directory(folder, error)) throw SkxImageFailure(folder, error ? KxError_Words(error) : "is not a folder");
  const KxWString path = KxImageFile_Text(folder);
  CkxHeldFolder held;
  if (!held.Open(path)) throw SkxImageFailure(folder, WithError("cannot be opened"));
  std::optional<SkxPolicyImage> image;
  try {
    image = LoadFrom(held, folder);
  } catch (const SkxImageFailure&) {
    if (held.IsAt(path)) throw;
  }
  return held.IsAt(path) ? std::move(image) : std::nullopt;
}

SkxPolicyImage Load(const fs::path& folder) {
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    if (std::optional<SkxPolicyImage> image = LoadOnce(folder)) return *std::move(image);
    std::this_thread::sleep_for(std::chrono::milliseconds(std::min(attempt, kMaxWaitMilliseconds)));
  }
  throw SkxImageFailure(folder, "is replaced faster than it can be read");
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
  return KxImage_Reported(error, [&] { image = Load(fs::path(folder.ToString())); });
}

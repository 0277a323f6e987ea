#include <kx_util/match_location.h>
#include <kx_util/target_info_file.h>

#include "Agent/engine/kx_util/buffer/wipe.h"
#include "Agent/engine/kx_util/command/wildcard.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr const WCHAR* kUnknown = KxDriveType_Word(EkxDriveType::Unknown);
constexpr const WCHAR* kRemote = KxDriveType_Word(EkxDriveType::Remote);
constexpr const WCHAR* kFixed = KxDriveType_Word(EkxDriveType::Fixed);
constexpr const WCHAR* kAny = KXW("ANY");
constexpr const WCHAR* kOpticalDrive = KXW("CDROM:");  // how a location pattern names whatever optical drive there is

/// A path as it is judged: `C:\Tools\..\x.exe` and `\\?\C:\x.exe` are `C:\x.exe`, so that no spelling leads into a
/// folder where the file is not. Usually a view of the path itself.
class CkxJudgedPath {
 public:
  explicit CkxJudgedPath(CkxTextView path) : _normalized(KxPath_Normalized(path)), _path(path) {}
  CkxTextView View() const { return _normalized ? CkxTextView(*_normalized) : _path; }

 private:
  const std::optional<KxWString> _normalized;
  const CkxTextView _path;
};

bool IsAny(CkxTextView type) { return KxText_Equals(type, kAny, false); }

void TraceInvalidArguments(std::string_view scope, CkxTextView path, CkxTextView pattern) {
  KxTrace(EkxTraceLevel::Error, scope, "ERROR: Invalid arguments [", path, "], [", pattern, "]");
}

// Drives are a user's own: both questions are asked as the user of `token`, and nothing else is done as that user.

EkxDriveType DriveTypeOf(void* token, CkxTextView path) {
  const WCHAR letter = KxPath_DriveLetter(path);
  if (letter == 0) return EkxDriveType::Unknown;
  const CkxImpersonationScope asUser(token);
  return KxMachine_Facts().DriveType(letter);
}

/// "\\server\share\dir\name" for a path on a mapped drive; nothing for any other.
std::optional<KxWString> UncForm(void* token, CkxTextView path) {
  const WCHAR letter = KxPath_DriveLetter(path);
  if (letter == 0 || path.Size() < 3 || !KxPath_IsSeparator(path[2])) return std::nullopt;
  const CkxImpersonationScope asUser(token);
  std::optional<KxWString> form = KxMachine_Facts().MappedShare(letter);
  if (form) *form += path.Part(2).ToString();
  return form;
}

/// A pattern that begins with "CDROM:" with the target's drive in its place; nothing unless that drive is optical.
std::optional<KxWipedVector<WCHAR>> OnOpticalDrive(void* token, CkxTextView path, CkxTextView pattern) {
  if (!KxText_StartsWith(pattern, kOpticalDrive, false)) return std::nullopt;
  if (DriveTypeOf(token, path) != EkxDriveType::Cdrom) return std::nullopt;
  const CkxTextView behindColon = pattern.Part(CkxTextView(kOpticalDrive).Size());
  KxWipedVector<WCHAR> onDrive(2 + behindColon.Size());
  onDrive[0] = KxPath_DriveLetter(path);
  onDrive[1] = KXW(':');
  std::memcpy(onDrive.data() + 2, behindColon.Bytes(), behindColon.Size() * sizeof(WCHAR));
  return onDrive;
}

bool MatchesWildcards(CkxTextView path, CkxTextView pattern) {
  constexpr std::string_view scope = "KxUtil_MatchFileLocation";
  constexpr std::string_view ofPath = "File path without file name: [";
  constexpr std::string_view ofPattern = "],  location pattern from policy: [";
  if (KxPath_FileName(path).IsEmpty()) {
    KxTrace(EkxTraceLevel::Info, scope, "INFO: Failed to remove file name from path. ", ofPath, path, ofPattern,
            pattern, "]");
    return false;
  }
  const CkxTextView folder = KxPath_Folder(path);
  if (folder.IsNull()) {
    KxTrace(EkxTraceLevel::Info, scope, "INFO: Failed to restore backslash to file path. ", ofPath, folder, ofPattern,
            pattern, "]");
    return false;
  }
  KxTrace(EkxTraceLevel::Debug, scope, "DEBUG: About to regex match wildcard pattern. ", ofPath, folder, ofPattern,
          pattern, "]");
  return KxWildcard_MatchesPath(pattern, folder);
}

}  // namespace

const WCHAR* KxUtil_GetFileLocationType(void* token, CkxTextView path) {
  return KxEntry<const WCHAR*>(kUnknown, [&]() -> const WCHAR* {
    if (path.IsEmpty() || KxText_Equals(path, CkxTargetInfoFile::kSystemPseudoFile, true)) return kUnknown;
    const CkxJudgedPath judged(path);
    const EkxDriveType drive = DriveTypeOf(token, judged.View());
    const WCHAR* const word = KxDriveType_Word(drive);
    if (word != nullptr && drive != EkxDriveType::Unknown) return word;
    if (word == nullptr && drive != EkxDriveType::NoRoot) {
      KxTrace(EkxTraceLevel::Error, "KxUtil_GetFileLocationType", "ERROR: GetDriveType returned unexpected value ",
              static_cast<unsigned>(drive));
    }
    return KxPath_IsUnc(judged.View()) ? kRemote : kUnknown;
  });
}

const WCHAR* KxUtil_GetFileLocationType(const IkxPathProvider& provider) {
  return KxUtil_GetFileLocationType(provider.GetAccessToken(), provider.GetPath());
}

bool KxUtil_IsFileLocationTypeFixed(CkxTextView path) {
  return KxUtil_IsEqualLocationType(KxUtil_GetFileLocationType(nullptr, path), kFixed);
}

bool KxUtil_IsEqualLocationType(CkxTextView a, CkxTextView b) {
  return a.IsNull() == b.IsNull() && KxText_Equals(a, b, false);
}

bool KxUtil_MatchFileLocationType(const IkxPathProvider& provider, CkxTextView type) {
  return KxEntry(false, [&] {
    const CkxTextView path = provider.GetPath();
    if (path.IsEmpty() || type.IsEmpty()) {
      TraceInvalidArguments("KxUtil_MatchFileLocationType", path, type);
      return false;
    }
    return IsAny(type) || KxUtil_IsEqualLocationType(KxUtil_GetFileLocationType(provider), type);
  });
}

bool KxUtil_MatchFileLocationTypes(const IkxPathProvider& provider, CkxTextView typeList) {
  return KxEntry(false, [&] {
    if (CkxTextView(provider.GetPath()).IsEmpty()) {
      KxTrace(EkxTraceLevel::Error, "KxUtil_MatchFileLocationTypes", "ERROR: Non-valid file path");
      return false;
    }
    if (typeList.IsEmpty() || IsAny(typeList)) return true;
    const WCHAR* actual = nullptr;  // asked for once, however long the list is
    return KxText_AnyField(typeList, KXW(','), [&](CkxTextView type) {
      if (IsAny(type)) return true;
      if (actual == nullptr) actual = KxUtil_GetFileLocationType(provider);
      return KxUtil_IsEqualLocationType(actual, type);
    });
  });
}

bool KxUtil_MatchFileLocation(const IkxPathProvider& provider, CkxTextView typeList, CkxTextView locationPattern,
                              bool withSubfolders) {
  return KxEntry(false, [&] {
    const CkxTextView spelled = provider.GetPath();
    if (spelled.IsEmpty() || locationPattern.IsEmpty()) {
      TraceInvalidArguments("KxUtil_MatchFileLocation", spelled, locationPattern);
      return false;
    }
    if (!KxWork_Spend(spelled.Size() + locationPattern.Size())) return false;
    if (!KxUtil_MatchFileLocationTypes(provider, typeList)) return false;

    void* const token = provider.GetAccessToken();
    const CkxJudgedPath judged(spelled);
    const CkxTextView path = judged.View();
    const bool hasWildcards = KxWildcard_IsPattern(locationPattern);
    const std::optional<KxWipedVector<WCHAR>> onOpticalDrive = OnOpticalDrive(token, path, locationPattern);
    const CkxTextView pattern =
        onOpticalDrive ? CkxTextView(onOpticalDrive->data(), onOpticalDrive->size()) : locationPattern;
    const auto matches = [&](CkxTextView file) {
      return hasWildcards ? MatchesWildcards(file, pattern)
                          : KxPath_IsFolderInside(KxPath_Folder(file), pattern, withSubfolders);
    };
    if (matches(path)) return true;
    if (KxPath_DriveLetter(pattern) != 0) return false;  // a pattern that names a drive is about that drive
    const std::optional<KxWString> unc = UncForm(token, path);
    return unc && matches(*unc);
  });
}

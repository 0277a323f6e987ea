#include <kx_util/match_location.h>
#include <kx_util/target_info_file.h>

#include "Agent/engine/kx_util/buffer/wipe.h"
#include "Agent/engine/kx_util/command/wildcard.h"
#include "Agent/engine/kx_util/match/judged_location.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr const WCHAR* kUnknown = KxDriveType_Word(EkxDriveType::Unknown);
constexpr const WCHAR* kRemote = KxDriveType_Word(EkxDriveType::Remote);
constexpr const WCHAR* kFixed = KxDriveType_Word(EkxDriveType::Fixed);
constexpr const WCHAR* kAny = KXW("ANY");
constexpr const WCHAR* kOpticalDrive = KXW("CDROM:");  // how a location pattern names whatever optical drive there is

bool IsAny(CkxTextView type) { return KxText_Equals(type, kAny, false); }

void TraceInvalidArguments(std::string_view scope, CkxTextView path, CkxTextView pattern) {
  KxTrace(EkxTraceLevel::Error, scope, "ERROR: Invalid arguments [", path, "], [", pattern, "]");
}

/// A pattern that begins with "CDROM:" with the drive in its place.
KxWipedVector<WCHAR> OnDrive(WCHAR letter, CkxTextView pattern) {
  const CkxTextView behindColon = pattern.Part(CkxTextView(kOpticalDrive).Size());
  KxWipedVector<WCHAR> onDrive(2 + behindColon.Size());
  onDrive[0] = letter;
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

// `C:\Tools\..\x.exe` and `\\?\C:\x.exe` are judged as `C:\x.exe`, so that no spelling leads into a folder where the
// file is not.
CkxJudgedLocation::CkxJudgedLocation(CkxTextView path, void* token)
    : _spelled(path), _token(token), _normalized(KxPath_Normalized(path)) {}

// Drives are a user's own: both questions are asked as the user of the token, and nothing else is done as that user.

EkxDriveType CkxJudgedLocation::DriveType() {
  if (_drive) return *_drive;
  const WCHAR letter = KxPath_DriveLetter(Path());
  if (letter == 0) return *(_drive = EkxDriveType::Unknown);
  const CkxImpersonationScope asUser(_token);
  return *(_drive = KxMachine_Facts().DriveType(letter));
}

/// "\\server\share\dir\name" for a path on a mapped drive; nothing for any other.
const std::optional<KxWString>& CkxJudgedLocation::UncForm() {
  if (_uncForm) return *_uncForm;
  const CkxTextView path = Path();
  const WCHAR letter = KxPath_DriveLetter(path);
  if (letter == 0 || path.Size() < 3 || !KxPath_IsSeparator(path[2])) return _uncForm.emplace();
  const CkxImpersonationScope asUser(_token);
  std::optional<KxWString> form = KxMachine_Facts().MappedShare(letter);
  if (form) *form += path.Part(2).ToString();
  return _uncForm.emplace(std::move(form));
}

const WCHAR* CkxJudgedLocation::Type() {
  if (_type != nullptr) return _type;
  if (_spelled.IsEmpty() || KxText_Equals(_spelled, CkxTargetInfoFile::kSystemPseudoFile, true))
    return _type = kUnknown;
  const EkxDriveType drive = DriveType();
  const WCHAR* const word = KxDriveType_Word(drive);
  if (word != nullptr && drive != EkxDriveType::Unknown) return _type = word;
  if (word == nullptr && drive != EkxDriveType::NoRoot) {
    KxTrace(EkxTraceLevel::Error, "KxUtil_GetFileLocationType", "ERROR: GetDriveType returned unexpected value ",
            static_cast<unsigned>(drive));
  }
  return _type = KxPath_IsUnc(Path()) ? kRemote : kUnknown;
}

bool CkxJudgedLocation::MatchesTypes(CkxTextView typeList) {
  if (_spelled.IsEmpty()) {
    KxTrace(EkxTraceLevel::Error, "KxUtil_MatchFileLocationTypes", "ERROR: Non-valid file path");
    return false;
  }
  return typeList.IsEmpty() || IsAny(typeList) || KxText_AnyField(typeList, KXW(','), [&](CkxTextView type) {
           return IsAny(type) || KxUtil_IsEqualLocationType(Type(), type);
         });
}

bool CkxJudgedLocation::Matches(CkxTextView typeList, CkxTextView locationPattern, bool withSubfolders) {
  if (_spelled.IsEmpty() || locationPattern.IsEmpty()) {
    TraceInvalidArguments("KxUtil_MatchFileLocation", _spelled, locationPattern);
    return false;
  }
  if (!KxWork_Spend(_spelled.Size() + locationPattern.Size())) return false;
  if (!MatchesTypes(typeList)) return false;

  std::optional<KxWipedVector<WCHAR>> onOpticalDrive;
  if (KxText_StartsWith(locationPattern, kOpticalDrive, false) && DriveType() == EkxDriveType::Cdrom) {
    onOpticalDrive = OnDrive(KxPath_DriveLetter(Path()), locationPattern);
  }
  const bool hasWildcards = KxWildcard_IsPattern(locationPattern);
  const CkxTextView pattern =
      onOpticalDrive ? CkxTextView(onOpticalDrive->data(), onOpticalDrive->size()) : locationPattern;
  const auto matches = [&](CkxTextView file) {
    return hasWildcards ? MatchesWildcards(file, pattern)
                        : KxPath_IsFolderInside(KxPath_Folder(file), pattern, withSubfolders);
  };
  if (matches(Path())) return true;
  if (KxPath_DriveLetter(pattern) != 0) return false;  // a pattern that names a drive is about that drive
  const std::optional<KxWString>& unc = UncForm();
  return unc && matches(*unc);
}

const WCHAR* KxUtil_GetFileLocationType(void* token, CkxTextView path) {
  return KxEntry<const WCHAR*>(kUnknown, [&] { return CkxJudgedLocation(path, token).Type(); });
}

const WCHAR* KxUtil_GetFileLocationType(const IkxPathProvider& provider) {
  return KxEntry<const WCHAR*>(kUnknown, [&] { return CkxJudgedLocation(provider).Type(); });
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
  return KxEntry(false, [&] { return CkxJudgedLocation(provider).MatchesTypes(typeList); });
}

bool KxUtil_MatchFileLocation(const IkxPathProvider& provider, CkxTextView typeList, CkxTextView locationPattern,
                              bool withSubfolders) {
  return KxEntry(false, [&] { return CkxJudgedLocation(provider).Matches(typeList, locationPattern, withSubfolders); });
}

// What an image is on disk, for the files that read and write it.
#pragma once

#include <array>
#include <filesystem>
#include <new>

#include "Common_CPP/util/text.h"

inline constexpr const WCHAR* kKxPoliciesFile = KXW("policies.sec");
inline constexpr const WCHAR* kKxAppGroupsFile = KXW("appgroups.sec");
inline constexpr const WCHAR* kKxAlertsFile = KXW("alerts.sec");
inline constexpr const WCHAR* kKxApplicableFile = KXW("applicable.json");

/// What makes a folder an image: one of these at least.
inline constexpr std::array<const WCHAR*, 4> kKxImageFiles = {kKxPoliciesFile, kKxAppGroupsFile, kKxAlertsFile,
                                                              kKxApplicableFile};

/// What the author called things. It may lie beside them, and is no image alone.
inline constexpr const WCHAR* kKxNamesFile = KXW("names.json");

/// Who vouches for the others. Likewise.
inline constexpr const WCHAR* kKxSignatureFile = KXW("image.p7s");

/// Whether an image may have a file of that name: what has another one is somebody else's.
inline bool KxImageFile_IsKnown(KxWStringView name) {
  for (const WCHAR* const known : kKxImageFiles) {
    if (name == known) return true;
  }
  return name == kKxNamesFile || name == kKxSignatureFile;
}

inline KxWString KxImageFile_Text(const std::filesystem::path& path) { return path.string<WCHAR>(); }

/// The one line that a failure is reported by, thrown as far as the public functions.
struct SkxImageFailure {
  SkxImageFailure(const std::filesystem::path& path, const std::string& what)
      : line(KxText_ToUtf8(KxImageFile_Text(path)) + ": " + what) {}
  std::string line;
};

/// Runs `action`; false with the line of what it threw. Exceptions of the standard library stay inside too (a path that
/// has no form on this system); a lack of memory is no fault of the image and goes on.
template <class Action>
bool KxImage_Reported(std::string& error, Action action) {
  try {
    action();
    return true;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const SkxImageFailure& failure) {
    error = failure.line;
  } catch (const std::exception& failure) {
    error = failure.what();
  }
  return false;
}

// Where a file lies, taken apart once for many patterns: its path as it is judged, and what the machine says of its
// drive, which is asked when the first pattern wants to know it.
//
//   CkxJudgedLocation location(file);
//   location.Matches(types, pattern, withSubfolders);
//
// For the length of a walk: the machine facts in force must stay, and the text of the path.
#pragma once

#include <kx_util/target_providers.h>

#include <optional>

#include "Common_CPP/file/machine_facts.h"

class CkxJudgedLocation {
 public:
  explicit CkxJudgedLocation(const IkxPathProvider& file) : CkxJudgedLocation(file.GetPath(), file.GetAccessToken()) {}
  CkxJudgedLocation(CkxTextView path, void* token);
  CkxJudgedLocation(const CkxJudgedLocation&) = delete;
  CkxJudgedLocation& operator=(const CkxJudgedLocation&) = delete;

  /// Empty where the path is not known.
  CkxTextView Path() const { return _normalized ? CkxTextView(*_normalized) : _spelled; }

  /// "FIXED", "REMOTE" ... : the kind of drive that it lies on; "UNKNOWN" else.
  const WCHAR* Type();

  /// Whether its kind of drive is in the list; every kind is in an empty one.
  bool MatchesTypes(CkxTextView typeList);

  /// `KxUtil_MatchFileLocation`, inside an entry.
  bool Matches(CkxTextView typeList, CkxTextView pattern, bool withSubfolders);

 private:
  EkxDriveType DriveType();
  const std::optional<KxWString>& UncForm();

  const CkxTextView _spelled;
  void* const _token;
  const std::optional<KxWString> _normalized;
  std::optional<EkxDriveType> _drive;                // none before it is asked for
  const WCHAR* _type = nullptr;                      // the same
  std::optional<std::optional<KxWString>> _uncForm;  // the same
};

// The checks of targets about one file, as far as they can be told from the record of the target and from what is known
// of the file without asking for anything.
#pragma once

#include <kx_util/target_info_file.h>

#include <bit>
#include <optional>

#include "Agent/engine/kx_util/match/judged_location.h"
#include "Agent/engine/kx_util/match/stored_pattern.h"
#include "Agent/engine/kx_util/policy/target_scan.h"

class CkxFileFirstLook {
 public:
  CkxFileFirstLook() = default;
  CkxFileFirstLook(const CkxFileFirstLook&) = delete;
  CkxFileFirstLook& operator=(const CkxFileFirstLook&) = delete;

  /// The path of `file` must be at hand, and it must outlive this.
  void Take(const CkxTargetInfoFile& file);
  const CkxTargetInfoFile* File() const { return _file; }

  /// Whether the target may match: false when one of its checks fails, and each before that one has passed.
  bool MayMatch(const SkxScannedTarget& target) {
    const bool isNameFirst = std::countr_zero(target.set) == static_cast<int>(EkxTargetField::FileName);
    if (isNameFirst && CheckName(target) == EkxFirstLook::Fails) return false;  // nearly always the end of it
    return MayPassAll(target);
  }

 private:
  static constexpr size_t kMaxName = 128;

  EkxFirstLook Check(EkxTargetField field, const SkxScannedTarget& target);
  bool MayPassAll(const SkxScannedTarget& target);

  /// A hash is beyond a first look; a target that excludes never has one that matches.
  EkxFirstLook CheckName(const SkxScannedTarget& target) const {
    const EkxFirstLook name = _isFolded ? target.name.MatchFolded(_name, _folded) : target.name.Match(_name);
    if (name != EkxFirstLook::Passes || target.nameHash.View().IsEmpty()) return name;
    return target.type == EkxPolicyTarget::Exclude ? EkxFirstLook::Fails : EkxFirstLook::Unsure;
  }
  EkxFirstLook CheckLocation(CkxRecordScan fields);
  EkxFirstLook CheckPublishers(CkxRecordScan fields) const;

  const CkxTargetInfoFile* _file = nullptr;
  CkxTextView _name;  // without space around it
  bool _isFolded = false;
  WCHAR _folded[kMaxName];  // the name, when it is no longer than that
  std::optional<CkxJudgedLocation> _location;
};

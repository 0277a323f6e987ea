// The checks of targets about one file, as far as they can be told from the record of the target and from what is known
// of the file without asking for anything.
#pragma once

#include <kx_util/target_info_process.h>

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

  /// Both must outlive this. The path of `file` must be at hand. `process`: whose command line counts; null for none.
  void Take(const CkxTargetInfoFile& file, const CkxTargetInfoProcess* process);
  const CkxTargetInfoFile* File() const { return _file; }

  /// Whether the target may match: false when one of its checks fails, and each before that one has passed.
  [[gnu::always_inline]] bool MayMatch(const SkxScannedTarget& target) {
    constexpr uint32_t kName = KxTargetField_Bit(EkxTargetField::FileName);
    if ((target.set & kName) != 0 && CheckName(target) == EkxFirstLook::Fails && IsNothingBeforeName(target)) {
      return false;  // nearly always the end of it
    }
    return MayPassAll(target);
  }

 private:
  static constexpr size_t kMaxName = 128;

  /// Only arguments are checked before the name, and those may be worth a line.
  static bool IsNothingBeforeName(const SkxScannedTarget& target) {
    if ((target.set & KxTargetField_Bit(EkxTargetField::Arguments)) == 0) return true;
    SkxStoredPattern arguments;
    CkxRecordScan fields = target.FieldsOf(EkxTargetField::Arguments);
    return arguments.Read(fields) && arguments.IsPlain();
  }

  bool MayPassAll(const SkxScannedTarget& target);
  EkxFirstLook Check(EkxTargetField field, const SkxScannedTarget& target);

  [[gnu::always_inline]] EkxFirstLook CheckName(const SkxScannedTarget& target) const {
    const EkxFirstLook name = _isFolded ? target.name.MatchFolded(_name, _folded) : target.name.Match(_name);
    return name != EkxFirstLook::Passes || target.hash.count == 0 ? name : CheckHash(target);
  }

  EkxFirstLook CheckHash(const SkxScannedTarget& target) const;
  EkxFirstLook CheckArguments(CkxRecordScan fields);
  EkxFirstLook CheckLocation(CkxRecordScan fields);
  EkxFirstLook CheckPublishers(CkxRecordScan fields) const;

  const CkxTargetInfoFile* _file = nullptr;
  CkxTextView _name;  // without space around it
  bool _isFolded = false;
  WCHAR _folded[kMaxName];  // the name, when it is no longer than that
  const CkxTargetInfoProcess* _process = nullptr;
  std::optional<CkxTextView> _arguments;  // of the process; none before they are asked for
  std::optional<CkxJudgedLocation> _location;
};

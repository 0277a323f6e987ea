#include "Agent/engine/kx_publish/lint/lint_fields.h"

#include <kx_util/match_str.h>
#include <kx_util/shared_policy_target.h>
#include <kx_util/version.h>

#include "Agent/engine/kx_publish/lint/lint_names.h"
#include "Agent/engine/kx_publish/lint/lint_patterns.h"
#include "Agent/engine/kx_util/command/wildcard.h"
#include "Agent/engine/kx_util/regexp/regexp.h"
#include "Common_CPP/security/sid.h"
#include "Common_CPP/util/byte_cursor.h"

namespace {

uint32_t CountOf(const SkxWalkedField& field) { return KxBytes_Load<uint32_t>(field.bytes.data()); }

bool IsModeOf(const SkxWalkedField& field, EkxStrCompareAs first, EkxStrCompareAs last) {
  return field.Number() >= static_cast<uint64_t>(first) && field.Number() <= static_cast<uint64_t>(last);
}

class FieldLint : public IkxRecordVisitor {
 public:
  FieldLint(const SkxLintRecord& record, const CkxLintRecords& records, CkxFindings& findings)
      : _record(record), _records(records), _findings(findings) {}

  void OnField(const SkxWalkedField& field) override {
    switch (field.field.kind) {
      case EkxField::Text:
      case EkxField::ObfuscatedText:
      case EkxField::NonEmptyText:
        return OnText(field);
      case EkxField::Flag:
        if (Is(field, "caseSensitive")) _caseSensitive = field.Number() != 0;
        if (Is(field, "withSubfolders") && field.Number() != 0) WarnOfSubfolders(field);
        return;
      case EkxField::CompareAs:
        return OnCompareAs(field);
      case EkxField::GroupId:
        return OnGroupId(field);
      case EkxField::AlertType:
        return OnAlertType(field);
      case EkxField::AlertId:
        return OnAlertId(field);
      case EkxField::Sid:
        return OnSid(field);
      case EkxField::Version:
        return OnVersion(field);
      default:
        return;
    }
  }

  void OnWhole(const SkxWalkedField& field) override {
    if (field.field.kind != EkxField::Target) return;
    const auto size = KxBytes_Load<uint32_t>(field.bytes.data() + offsetof(SkxTargetBufHeader, size));
    if (size == field.bytes.size()) return;
    _findings.Warn(
        _record, "target-size", field.offset + offsetof(SkxTargetBufHeader, size), std::string(field.path) + "/size",
        "is " + std::to_string(size) + ", but the target takes " + std::to_string(field.bytes.size()) + " bytes");
  }

 private:
  static bool Is(const SkxWalkedField& field, std::string_view name) { return field.field.name == name; }

  void Warn(const SkxWalkedField& field, const char* rule, std::string message) {
    _findings.Warn(_record, rule, field.offset, std::string(field.path), std::move(message));
  }

  void OnText(const SkxWalkedField& field) {
    if (Is(field, "pattern")) {
      _pattern = {field.offset, std::string(field.path), field.text.ToString()};
      _caseSensitive = false;
      if (field.path.ends_with("location/pattern")) WarnOfPattern(KxLint_LocationPattern(field.text));
    }
    if (field.path == "name") WarnOfName(field);
    if (WarnOfEnd(field)) return;
    const uint32_t count = CountOf(field);
    if (count != 0 && field.text.Size() >= count / sizeof(WCHAR)) {
      Warn(field, "terminator", "the text has no terminating NUL");
    }
  }

  void WarnOfName(const SkxWalkedField& field) {
    if (std::optional<std::string> fault = KxLint_NameFault(field.text)) Warn(field, "name", *std::move(fault));
  }

  /// A count that runs past the record's end, as far as readers put up with it.
  bool WarnOfEnd(const SkxWalkedField& field) {
    const size_t present = field.bytes.size() - sizeof(uint32_t);
    if (CountOf(field) <= present) return false;
    Warn(field, "text-end",
         "counts " + std::to_string(CountOf(field)) + " bytes, but the record ends after " + std::to_string(present));
    return true;
  }

  void OnCompareAs(const SkxWalkedField& field) {
    if (!IsModeOf(field, EkxStrCompareAs::StrEquals, EkxStrCompareAs::StrRegExp)) {
      Warn(field, "compare-mode", "compare mode " + std::to_string(field.Number()) + " is none, so nothing matches");
      return;
    }
    const auto mode = static_cast<EkxStrCompareAs>(field.Number());
    if (mode == EkxStrCompareAs::StrRegExp) CheckRegExp();
    const bool isOfName = field.path.ends_with("fileName/compareAs");
    WarnOfPattern(isOfName ? KxLint_NamePattern(_pattern.text, mode) : KxLint_TextPattern(_pattern.text, mode));
  }

  /// The flag stands behind its pattern.
  void WarnOfSubfolders(const SkxWalkedField& field) {
    if (!KxWildcard_IsPattern(_pattern.text) || _pattern.text.back() == KXW('*')) return;
    Warn(field, "subfolders",
         "says nothing beside wildcards: what lies deeper does not match, unless the pattern ends in *");
  }

  /// About the pattern that the walk was at last.
  void WarnOfPattern(std::vector<SkxPatternFault> faults) {
    for (SkxPatternFault& fault : faults) {
      _findings.Warn(_record, fault.rule, _pattern.offset, _pattern.path, std::move(fault.message));
    }
  }

  void CheckRegExp() {
    const SkxRegExpError error = CkxRegExp().Parse(_pattern.text, _caseSensitive);
    if (error.IsOk()) return;
    _findings.Warn(_record, "regexp", _pattern.offset, _pattern.path,
                   std::string("the regular expression does not compile: ") + KxRegExp_ErrorText(error.code) +
                       ", at character " + std::to_string(error.position + 1));
  }

  void OnGroupId(const SkxWalkedField& field) {
    const auto id = KxBytes_Load<GUID>(field.bytes.data());
    const bool mayBeNone = !Is(field, "group");
    if ((mayBeNone && KxGuid_IsNull(id)) || _records.Group(id) != nullptr) return;
    Warn(field, "missing-group", "there is no application group " + KxGuid_ToUtf8(id));
  }

  /// Of a link: an alert record of another type is no record.
  void OnAlertType(const SkxWalkedField& field) {
    if (_record.section != EkxPolicySection::Policies) return;
    _alertType = static_cast<uint16_t>(field.Number());
    if (kKxAlertLayout.Body(_alertType) == nullptr) {
      Warn(field, "alert-type", "there is no alert type " + std::to_string(_alertType));
    }
  }

  void OnAlertId(const SkxWalkedField& field) {
    const auto id = KxBytes_Load<GUID>(field.bytes.data());
    if (_records.Alert(id, _alertType) != nullptr) return;
    const SkxLintRecord* const other = _records.Alert(id);
    if (other == nullptr) return Warn(field, "missing-alert", "there is no alert " + KxGuid_ToUtf8(id));
    Warn(field, "alert-type",
         "the alert " + KxGuid_ToUtf8(id) + " is of type " + std::to_string(KxLint_AlertType(*other)) + ", not " +
             std::to_string(_alertType));
  }

  void OnSid(const SkxWalkedField& field) {
    const Bytes sid = field.bytes.subspan(sizeof(uint32_t));
    if (WarnOfEnd(field) || sid.empty() || CkxSid::FromBytes(sid.data(), sid.size()).IsValid()) return;
    Warn(field, "sid", "the bytes are no SID, so nobody is met");
  }

  void OnVersion(const SkxWalkedField& field) {
    SkxVersion version;
    const unsigned char* cursor = field.bytes.data();
    auto remaining = static_cast<unsigned long>(field.bytes.size());
    version.FromBuffer(cursor, remaining);
    if (Is(field, "min")) {
      _min = version;
    } else if (!_min.IsEmpty() && version.IsLessThan(_min)) {
      Warn(field, "version-range", "is below the lowest version, so no version is in the range");
    }
  }

  using Bytes = std::span<const unsigned char>;
  struct Pattern {
    size_t offset = 0;
    std::string path;
    KxWString text;
  };

  const SkxLintRecord& _record;
  const CkxLintRecords& _records;
  CkxFindings& _findings;

  // What the walk was at last: fields that go together follow each other.
  Pattern _pattern;
  bool _caseSensitive = false;
  uint16_t _alertType = 0;
  SkxVersion _min;
};

}  // namespace

void KxLint_Fields(const SkxLintRecord& record, const CkxLintRecords& records, CkxFindings& findings) {
  FieldLint lint(record, records, findings);
  SkxRecordFault fault;
  const std::optional<size_t> taken = KxRecord_Walk(KxLint_Layout(record.section), record.bytes, &lint, fault);
  if (!taken.has_value()) {
    return findings.Add(EkxSeverity::Error, record, "record", fault.offset, fault.path, fault.message);
  }
  const bool isBalloon =
      record.section == EkxPolicySection::Alerts && *taken == kKxAlertLayout.headerBytes;  // says nothing of the rest
  if (*taken == record.bytes.size() || isBalloon) return;
  findings.Warn(record, "trailing-bytes", *taken, "",
                std::to_string(record.bytes.size() - *taken) + " bytes after the last field");
}

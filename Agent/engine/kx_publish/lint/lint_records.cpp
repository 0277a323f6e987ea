#include "Agent/engine/kx_publish/lint/lint_records.h"

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy.h>

#include <algorithm>

#include "Agent/engine/kx_util/store/section_records.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

using Bytes = std::span<const unsigned char>;

GUID IdOf(const SkxLintRecord& record) {
  const bool isGroup = record.section == EkxPolicySection::AppGroups;
  const size_t offset = isGroup ? offsetof(SkxAppGroupBufHeader, id) : offsetof(SkxAlertBufHeader, id);
  return KxBytes_Load<GUID>(record.bytes.data() + offset);
}

/// The name, whatever the action: the common fields come first.
std::optional<std::string> NameOf(Bytes policy) {
  struct NameVisitor : IkxRecordVisitor {
    void OnField(const SkxWalkedField& field) override {
      if (field.path == "name") name = KxText_ToUtf8(field.text);
    }
    std::optional<std::string> name;
  } visitor;
  SkxRecordFault unused;
  KxRecord_WalkFields(kKxPolicyCommonLayout, policy.subspan(sizeof(SkxPolicyBufHeader)), &visitor, unused);
  return visitor.name;
}

SkxLintRecord Recorded(EkxPolicySection section, size_t index, size_t offset, Bytes bytes) {
  SkxRecordFault unused;
  SkxLintRecord record = {section, index, offset, bytes, false, std::nullopt, std::nullopt};
  record.isReadable = KxRecord_Walk(KxLint_Layout(section), bytes, nullptr, unused).has_value();
  if (section == EkxPolicySection::Policies) {
    record.policyId = KxBytes_Load<uint32_t>(bytes.data() + offsetof(SkxPolicyBufHeader, id));
    record.policyName = NameOf(bytes);
  }
  return record;
}

std::vector<SkxLintRecord> Gather(const SkxPolicyImage& image, EkxPolicySection section, const SkxRecordKind& kind,
                                  CkxFindings& findings) {
  std::vector<SkxLintRecord> gathered;
  const std::optional<SkxPolicyImage::Bytes>& bytes = image.Section(section);
  if (!bytes.has_value()) return gathered;
  const auto fail = [&](size_t offset, const std::string& message) {
    findings.AddToSection(EkxSeverity::Error, section, "framing", gathered.size(), offset, message);
  };

  CkxSectionRecords records(kind, *bytes);
  if (!records.HasCount()) {
    fail(0, "is too short for the count of its records");
    return gathered;
  }
  size_t offset = sizeof(uint32_t);
  for (uint32_t i = 0; i < records.Count(); ++i) {
    const unsigned char* const record = records.Next();
    if (record == nullptr) {
      fail(offset, std::string(records.Fault()));
      return gathered;
    }
    const auto size = KxBytes_Load<uint32_t>(record + sizeof(uint32_t));
    gathered.push_back(Recorded(section, i, offset, {record, size}));
    offset += size;
  }
  if (offset != bytes->size()) {
    findings.AddToSection(EkxSeverity::Warning, section, "trailing-bytes", gathered.size(), offset,
                          std::to_string(bytes->size() - offset) + " bytes after the last record");
  }
  return gathered;
}

/// Tells each record that has the id of one before it. `text` says which id that is.
template <class Indices, class Key, class Text>
Indices ByIdOf(const std::vector<SkxLintRecord>& records, CkxFindings& findings, Key key, Text text) {
  Indices indices;
  for (const SkxLintRecord& record : records) {
    const auto first = indices.lower_bound(key(record));
    const bool isTaken = first != indices.end() && !indices.key_comp()(key(record), first->first);
    indices.emplace(key(record), record.index);
    if (!isTaken) continue;
    const size_t other = records[first->second].offset;
    findings.Warn(record, "duplicate-id",
                  "has the id " + text(record) + " of the record at byte " + std::to_string(other));
  }
  return indices;
}

const SkxLintRecord* Readable(const SkxLintRecord& record) { return record.isReadable ? &record : nullptr; }

}  // namespace

void CkxFindings::Add(EkxSeverity severity, const SkxLintRecord& record, const char* rule, size_t offsetInRecord,
                      std::string path, std::string message) {
  _findings.push_back({severity, rule, record.section, record.index, record.offset + offsetInRecord, std::move(path),
                       std::move(message), record.policyId, record.policyName});
}

void CkxFindings::AddToSection(EkxSeverity severity, EkxPolicySection section, const char* rule, size_t index,
                               size_t offset, std::string message) {
  _findings.push_back({severity, rule, section, index, offset, "", std::move(message), std::nullopt, std::nullopt});
}

std::vector<SkxFinding> CkxFindings::Take() && {
  std::stable_sort(_findings.begin(), _findings.end(), [](const SkxFinding& a, const SkxFinding& b) {
    return a.section != b.section ? a.section < b.section : a.offset < b.offset;
  });
  return std::move(_findings);
}

CkxLintRecords::CkxLintRecords(const SkxPolicyImage& image, CkxFindings& findings)
    : _policies(Gather(image, EkxPolicySection::Policies, kKxPolicyRecord, findings)),
      _groups(Gather(image, EkxPolicySection::AppGroups, kKxAppGroupRecord, findings)),
      _alerts(Gather(image, EkxPolicySection::Alerts, kKxAlertRecord, findings)) {
  const auto policyId = [](const SkxLintRecord& record) { return record.policyId.value_or(0); };
  ByIdOf<std::multimap<uint32_t, size_t>>(
      _policies, findings, policyId, [&](const SkxLintRecord& record) { return std::to_string(policyId(record)); });
  const auto idText = [](const SkxLintRecord& record) { return KxGuid_ToUtf8(IdOf(record)); };
  _groupsById = ByIdOf<Indices>(_groups, findings, IdOf, idText);
  _alertsById = ByIdOf<Indices>(_alerts, findings, IdOf, idText);
}

const SkxLintRecord* CkxLintRecords::Group(const GUID& id) const {
  const auto [first, end] = _groupsById.equal_range(id);
  return first != end ? Readable(_groups[first->second]) : nullptr;
}

const SkxLintRecord* CkxLintRecords::Alert(const GUID& id, uint16_t type) const {
  const auto [first, end] = _alertsById.equal_range(id);
  for (auto alert = first; alert != end; ++alert) {
    if (KxLint_AlertType(_alerts[alert->second]) == type) return Readable(_alerts[alert->second]);
  }
  return nullptr;
}

const SkxLintRecord* CkxLintRecords::Alert(const GUID& id) const {
  const auto [first, end] = _alertsById.equal_range(id);
  return first != end ? Readable(_alerts[first->second]) : nullptr;
}

uint16_t KxLint_AlertType(const SkxLintRecord& alert) {
  return KxBytes_Load<uint16_t>(alert.bytes.data() + offsetof(SkxAlertBufHeader, type));
}

const SkxRecordLayout& KxLint_Layout(EkxPolicySection section) {
  switch (section) {
    case EkxPolicySection::Policies:
      return kKxPolicyLayout;
    case EkxPolicySection::AppGroups:
      return kKxAppGroupLayout;
    case EkxPolicySection::Alerts:
      break;
  }
  return kKxAlertLayout;
}

std::string KxLint_PolicyText(const SkxLintRecord& policy) {
  return "policy " + std::to_string(policy.policyId.value_or(0)) +
         (policy.policyName ? " " + KxText_PrintableQuoted(*policy.policyName) : "");
}

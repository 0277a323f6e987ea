// The records of an image as checks see them. For the files of lint.h.
#pragma once

#include "Agent/engine/kx_publish/document/document_names.h"
#include "Agent/engine/kx_publish/lint/lint.h"
#include "Agent/engine/kx_publish/record/record_walk.h"

/// A record that is framed well. It looks into the image.
struct SkxLintRecord {
  EkxPolicySection section;
  size_t index;
  size_t offset;  ///< in the section
  std::span<const unsigned char> bytes;
  bool isReadable;
  std::optional<uint32_t> policyId;
  std::optional<std::string> policyName;
};

/// Findings in the making.
class CkxFindings {
 public:
  void Warn(const SkxLintRecord& record, const char* rule, size_t offsetInRecord, std::string path,
            std::string message) {
    Add(EkxSeverity::Warning, record, rule, offsetInRecord, std::move(path), std::move(message));
  }
  void Warn(const SkxLintRecord& record, const char* rule, std::string message) {
    Warn(record, rule, 0, "", std::move(message));
  }
  void Add(EkxSeverity severity, const SkxLintRecord& record, const char* rule, size_t offsetInRecord, std::string path,
           std::string message);
  /// About a section, from the record of `index` on.
  void AddToSection(EkxSeverity severity, EkxPolicySection section, const char* rule, size_t index, size_t offset,
                    std::string message);

  std::vector<SkxFinding> Take() &&;

 private:
  std::vector<SkxFinding> _findings;
};

/// All records of an image. Faults of the framing, and records that have an id that another has, are told while they
/// are gathered.
class CkxLintRecords {
 public:
  CkxLintRecords(const SkxPolicyImage& image, CkxFindings& findings);
  CkxLintRecords(const CkxLintRecords&) = delete;
  CkxLintRecords& operator=(const CkxLintRecords&) = delete;

  const std::vector<SkxLintRecord>& Policies() const { return _policies; }
  const std::vector<SkxLintRecord>& Groups() const { return _groups; }
  const std::vector<SkxLintRecord>& Alerts() const { return _alerts; }

  /// What a look-up finds: the first record of the id; null when there is none, or when it cannot be read.
  const SkxLintRecord* Group(const GUID& id) const;

  /// The same of an alert of that type. Without a type: any record of the id.
  const SkxLintRecord* Alert(const GUID& id, uint16_t type) const;
  const SkxLintRecord* Alert(const GUID& id) const;

 private:
  using Indices = std::multimap<GUID, size_t, SkxGuidLess>;  // those of one id in the order of the records

  std::vector<SkxLintRecord> _policies;
  std::vector<SkxLintRecord> _groups;
  std::vector<SkxLintRecord> _alerts;
  Indices _groupsById;
  Indices _alertsById;
};

const SkxRecordLayout& KxLint_Layout(EkxPolicySection section);
uint16_t KxLint_AlertType(const SkxLintRecord& alert);

/// "policy 7 "Block tools"", on one line whatever the name is.
std::string KxLint_PolicyText(const SkxLintRecord& policy);

// Policies from memory: sections put together from records, in force for the length of the scope that a test opens on
// it.
#pragma once

#include <kx_util/policy_source.h>

#include <optional>

#include "tests/support/record_bytes.h"

class CkxSectionSource : public IkxPolicySource {
 public:
  /// The section's count, then the records back to back.
  void Publish(EkxPolicySection which, const std::vector<KxBytes>& records) {
    CkxRecordBytes section;
    section.U32(static_cast<uint32_t>(records.size()));
    for (const KxBytes& record : records) section.Append(record);
    PublishBytes(which, section.Bytes());
  }

  /// Any bytes at all.
  void PublishBytes(EkxPolicySection which, KxBytes bytes) { _sections[static_cast<size_t>(which)] = std::move(bytes); }

  /// Every policy unless said otherwise; none: it cannot be told.
  std::optional<CkxApplicablePolicies> applicable = CkxApplicablePolicies::All();

  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    const KxBytes& bytes = _sections[static_cast<size_t>(which)];
    section.bytes = bytes;
    return bytes.empty() ? EkxSectionState::NotPublished : EkxSectionState::Open;
  }

  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* /*token*/) const override {
    return applicable ? std::make_shared<const CkxApplicablePolicies>(*applicable) : nullptr;
  }

 private:
  std::array<KxBytes, 3> _sections;
};

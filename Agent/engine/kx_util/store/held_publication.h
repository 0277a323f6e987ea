// One publication, copied: it stays as it is, and readable, whatever becomes of the source that it was taken from.
#pragma once

#include <kx_util/policy_source.h>

#include <array>

class CkxHeldPublication final : public IkxPolicySource {
 public:
  /// The publication that is in force at `source` now, with all of its sections, also those that cannot be had.
  explicit CkxHeldPublication(const IkxPolicySource& source);

  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override;

  /// Who the policies are for is said by whoever asks about them.
  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* /*token*/) const override { return nullptr; }

 private:
  struct SkxHeldSection {
    EkxSectionState state = EkxSectionState::NotPublished;
    std::vector<unsigned char> bytes;
  };

  std::array<SkxHeldSection, 3> _sections;  // by EkxPolicySection
};

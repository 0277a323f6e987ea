// Policies from an image instead of the live sections.
//
//   CkxImageSource source(std::move(image));
//   CkxPolicySourceScope scope(source);
//   CkxSharedPoliciesData::GetTargetPolicyAction(target, info);
#pragma once

#include "Agent/engine/kx_publish/image/applicable_rules.h"
#include "Agent/engine/kx_publish/image/policy_image.h"

class CkxImageSource : public IkxPolicySource {
 public:
  /// Rules that are malformed, which loading an image would have refused, make no policy applicable to anybody.
  explicit CkxImageSource(SkxPolicyImage image);

  /// The bytes live as long as the source.
  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override;
  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* token) const override;

  const SkxPolicyImage& Image() const { return _image; }

  /// Whether it matters who asks; else everybody has the same policies.
  bool AsksForUsers() const { return _rules.AsksForUsers(); }

  /// That of no other source of this process, nor of a publication in force. Answers that depend on the user are not to
  /// be remembered: here users with one SID may have different groups.
  KxWString ContentName() const override { return _name; }

 private:
  const SkxPolicyImage _image;
  const CkxApplicableRules _rules;
  const KxWString _name;
};

#include "Agent/engine/kx_publish/image/image_source.h"

EkxSectionState CkxImageSource::OpenSection(EkxPolicySection which, SkxSectionBytes& section) const {
  const std::optional<SkxPolicyImage::Bytes>& bytes = _image.Section(which);
  if (!bytes.has_value()) return EkxSectionState::NotPublished;
  section.bytes = *bytes;
  section.holder = nullptr;
  return EkxSectionState::Open;
}

std::shared_ptr<const CkxApplicablePolicies> CkxImageSource::ApplicablePolicies(void* token) const {
  return _rules.For(token);
}

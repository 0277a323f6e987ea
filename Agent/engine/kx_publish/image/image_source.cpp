#include "Agent/engine/kx_publish/image/image_source.h"

#include <atomic>

#include "Common_CPP/util/text.h"

namespace {

KxWString NewName() {
  static std::atomic<uint64_t> made{0};
  return *KxText_FromUtf8("image " + std::to_string(++made));
}

}  // namespace

CkxImageSource::CkxImageSource(SkxPolicyImage image)
    : _image(std::move(image)), _rules(_image.applicable), _name(NewName()) {}

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

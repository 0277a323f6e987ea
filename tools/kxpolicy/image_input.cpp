#include "tools/kxpolicy/image_input.h"

#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/tool.h"

namespace {

std::optional<SkxPolicyImage::Bytes> LiveSection(EkxPolicySection which) {
  SkxSectionBytes section;
  const EkxSectionState state = KxPolicySource_Current().OpenSection(which, section);
  if (state == EkxSectionState::Refused) {
    throw CkxToolFault(EkxExit::SystemRefused, "the published policies cannot be read");
  }
  if (state == EkxSectionState::NotPublished) return std::nullopt;
  return SkxPolicyImage::Bytes(section.bytes.begin(), section.bytes.end());
}

}  // namespace

SkxPolicyImage KxImage_LoadLive() {
  SkxPolicyImage image;
  image.policies = LiveSection(EkxPolicySection::Policies);
  image.appGroups = LiveSection(EkxPolicySection::AppGroups);
  image.alerts = LiveSection(EkxPolicySection::Alerts);
  const bool any = image.policies || image.appGroups || image.alerts;
  if (!any) throw CkxToolFault(EkxExit::SystemRefused, "no policies are published on this machine");
  return image;
}

SkxPolicyImage KxImage_Load(const std::string& path) {
  SkxPolicyImage image;
  std::string error = path + ": is not UTF-8";
  const std::optional<KxWString> folder = KxText_FromUtf8(path);
  if (!folder || !KxPolicyImage_Load(*folder, image, error)) throw CkxToolFault(EkxExit::UnusableInput, error);
  return image;
}

SkxPublishableImage KxImage_ToPublish(SkxPolicyImage image, const std::string& path, const CkxSignatureDemand& demand,
                                      bool mayBeEmpty) {
  std::optional<std::string> signer = demand.Require(image, path);
  SkxImageSummary summary = KxImage_Summary(image);
  if (summary.policies.empty() && !mayBeEmpty) {
    throw CkxToolFault(EkxExit::UnusableInput,
                       path + ": has no policies; --empty publishes it all the same, and nothing applies any more");
  }
  std::string line = "published " + KxText_Printable(path) + ": " + summary.text;
  if (signer) line += ", signed by " + KxText_PrintableQuoted(*signer);
  return {std::move(image), std::move(summary.policies), std::move(line), std::move(signer)};
}

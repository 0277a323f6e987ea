// Input: a byte that says which, then a document of settings or of messages, in UTF-8. Every setting that is listed can
// be looked up, unless it is shadowed; a document gives the same when it is remembered; a text holds what was inserted
// and no mark that was not the document's.
#include <kx_util/shared_configuration.h>

#include <cstdlib>

#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "Agent/engine/kx_util/store/configuration_documents.h"
#include "Common_CPP/util/callback.h"
#include "Common_CPP/util/text.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

/// A publication that may be remembered by its name.
class FuzzedConfiguration : public CkxImageSource {
 public:
  FuzzedConfiguration(SkxPolicyImage image, KxWString name)
      : CkxImageSource(std::move(image)), _name(std::move(name)) {}
  KxWString ContentName() const override { return _name; }

 private:
  const KxWString _name;
};

SkxPolicyImage ImageOf(SkxConfigurationParams documents) {
  SkxPolicyModel policy;
  policy.action = EkxPolicyAction::Configuration;
  policy.id = 1;
  policy.params = std::move(documents);
  SkxPublication publication;
  publication.policies.push_back(std::move(policy));
  return KxEncode_Image(publication);
}

/// Each listed setting, looked up twice: once it is read, then it is remembered.
void LookUpAll() {
  auto lookUp = [](const SkxConfigSetting& listed) {
    for (int time = 0; time < 2; ++time) {
      SkxConfigSetting found;
      const bool isFound = CkxSharedConfig::GetSetting(listed.key.c_str(), found, nullptr);
      Require(isFound || listed.isShadowed);
      if (listed.isShadowed) continue;
      Require(found.value == listed.value && found.attributes.size() == listed.attributes.size());
      int64_t number = 0;
      Require(CkxSharedConfig::GetConfigValue(listed.key.c_str(), number, nullptr));
    }
    return true;
  };
  CkxSharedConfig::EnumSettings(KxCallback<const SkxConfigSetting&>(lookUp), &lookUp, nullptr);
}

void AskForMessage(const char* id) {
  const CkxMessageScope reader(KXW("de-CH"), KXW("PC"));
  CkxUtilStr kept;
  CkxUtilStr raw;
  CkxUtilStr text;
  const bool isFound = CkxSharedConfig::GetMessageW(id, KXW("%2"), text);
  Require(CkxSharedConfig::GetMessageById(id, raw) == isFound);
  if (!isFound) return;
  Require(CkxSharedConfig::GetMessageW(id, KXW("%2"), kept));
  Require(KxText_Find(raw.View(), KXW("<$HOSTNAME>"), true) == CkxTextView::npos);
  Require(text.Length() >= kept.Length());  // the mark is longer than the name
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  const std::optional<KxWString> document = KxText_FromUtf8({reinterpret_cast<const char*>(data) + 1, size - 1});
  if (!document) return 0;
  const bool isMessages = (data[0] & 1) != 0;
  static uint32_t number = 0;
  const std::string name = std::to_string(++number);
  const FuzzedConfiguration source(
      ImageOf(isMessages ? SkxConfigurationParams{{}, *document} : SkxConfigurationParams{*document, {}}),
      *KxText_FromUtf8(name));
  const CkxPolicySourceScope scope(source);
  if (isMessages) {
    AskForMessage("M");
  } else {
    LookUpAll();
  }
  return 0;
}

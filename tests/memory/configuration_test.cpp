// Settings and messages, without memory.
#include <gtest/gtest.h>
#include <kx_util/kx_util.h>
#include <kx_util/shared_configuration.h>

#include "Common_CPP/util/text.h"
#include "tests/memory/sweep.h"

namespace {

using namespace kx_no_memory;

/// A publication that may be remembered by its name.
class RememberedConfiguration : public CkxImageSource {
 public:
  explicit RememberedConfiguration(SkxPolicyImage image) : CkxImageSource(std::move(image)) {}
  KxWString ContentName() const override { return name; }

  KxWString name;
};

TEST(NoMemory, SettingsAndMessages) {
  using Config = CkxSharedConfig;
  SkxPolicyModel policy;
  policy.action = EkxPolicyAction::Configuration;
  policy.id = 1;
  policy.params = SkxConfigurationParams{
      KXW("<Configuration><A x='an attribute of some length'>a value of some length</A><N>7</N></Configuration>"),
      KXW("<Messages><Message id='A message of some length' lang='en'>%1 &lt;$HOSTNAME&gt;</Message></Messages>")};
  SkxPublication publication;
  publication.policies.push_back(std::move(policy));
  RememberedConfiguration source(KxEncode_Image(publication));
  const CkxPolicySourceScope scope(source);
  CkxUtilStr text;
  const auto textOrNothing = [&](bool isFound) { return isFound ? Answer(KxText_ToUtf8(text.View())) : std::nullopt; };
  const std::pair<const char*, Entry> entries[] = {
      {"a text and its attribute",
       [](Trial& trial) {
         KxBstr value = nullptr;
         KxBstr attribute = nullptr;
         const bool isFound = trial.During(
             [&] { return Config::GetConfigValueAndAttribute(KXW("A"), value, KXW("x"), attribute, nullptr); });
         EXPECT_EQ(isFound, attribute != nullptr) << "half an answer";
         KxBstr_Free(value);
         KxBstr_Free(attribute);
         return YesOrNothing(isFound);
       }},
      {"a number",
       [](Trial& trial) {
         int value = 0;
         return YesOrNothing(trial.During([&] { return Config::GetConfigValue(KXW("N"), value, nullptr); }));
       }},
      {"a whole setting",
       [](Trial& trial) {
         SkxConfigSetting setting;
         return YesOrNothing(trial.During([&] { return Config::GetSetting(KXW("A"), setting, nullptr); }));
       }},
      {"all settings",
       [](Trial& trial) {
         return YesOrNothing(trial.During([&] {
           return Config::EnumSettings([](const SkxConfigSetting&, void*) { return true; }, nullptr, nullptr);
         }));
       }},
      {"a message",
       [&](Trial& trial) {
         const CkxMessageScope reader(KXW("en"), KXW("PC"));
         return textOrNothing(trial.During(
             [&] { return Config::GetMessageW("A message of some length", KXW("inserted, of some length"), text); }));
       }},
      {"the document of messages",
       [&](Trial& trial) { return textOrNothing(trial.During([&] { return Config::LoadMessages(text, nullptr); })); }},
  };
  for (const WCHAR* const name : {KXW(""), KXW("a publication that is remembered")}) {
    source.name = name;
    for (const auto& [what, entry] : entries) Sweep(what, entry, 1);
  }
}

}  // namespace

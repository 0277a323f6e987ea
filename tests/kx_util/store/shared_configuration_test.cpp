#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/evaluation_fault.h>
#include <kx_util/shared_configuration.h>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/image/image_source.h"
#include "Agent/engine/kx_util/store/configuration_search.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/policy_documents.h"
#include "tests/support/section_source.h"
#include "tests/support/target_records.h"
#include "tests/support/trace_capture.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;
using Config = CkxSharedConfig;

/// "{x}*3" is "xxx".
std::string Unfolded(const std::string& text) {
  std::string whole;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text[at] == '{' ? text.find("}*", at) : std::string::npos;
    if (end == std::string::npos) {
      whole += text[at++];
      continue;
    }
    size_t digits = 0;
    const size_t count = std::stoul(text.substr(end + 2), &digits);
    for (size_t i = 0; i < count; ++i) whole += text.substr(at + 1, end - at - 1);
    at = end + 2 + digits;
  }
  return whole;
}

/// Active configuration policies 1, 2, ... with these documents.
SkxPolicyImage Configured(const std::vector<std::string>& settings, const std::vector<std::string>& messages = {}) {
  json policies = json::array();
  for (size_t i = 0; i < std::max(settings.size(), messages.size()); ++i) {
    policies.push_back({{"id", i + 1}, {"name", "p"}, {"action", "configuration"}});
    if (i < settings.size()) policies.back()["configurationXml"] = Unfolded(settings[i]);
    if (i < messages.size()) policies.back()["messagesXml"] = messages[i];
  }
  return KxTest_Compile(json({{"policies", policies}}).dump());
}

/// A publication with a name, whose walks are counted; it may be replaced by another.
class PublishedConfiguration : public IkxPolicySource {
 public:
  PublishedConfiguration(SkxPolicyImage image, const WCHAR* name) { Replace(std::move(image), name); }
  void Replace(SkxPolicyImage image, const WCHAR* name) {
    _image = std::make_unique<CkxImageSource>(std::move(image));
    _name = name;
  }

  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    ++walks;
    return _image->OpenSection(which, section);
  }
  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* /*token*/) const override { return nullptr; }
  KxWString PublicationName() const override { return _name; }

  mutable int walks = 0;

 private:
  std::unique_ptr<CkxImageSource> _image;
  KxWString _name;
};

std::string TakenText(KxBstr text) {
  const std::string utf8 = KxText_ToUtf8(CkxTextView(text));
  KxBstr_Free(text);
  return utf8;
}

template <class Number>
std::optional<std::string> NumberOf(const WCHAR* key) {
  Number value = 77;
  if (Config::GetConfigValue(key, value, nullptr)) return std::to_string(value);
  EXPECT_EQ(value, Number{77}) << "an out value is the answer's own";
  return std::nullopt;
}

/// The setting as text, read as `type`.
std::optional<std::string> SettingAs(const KxWString& key, const std::string& type) {
  constexpr std::string_view kAttribute = "attribute ";
  if (type == "int") return NumberOf<int>(key.c_str());
  if (type == "uint32") return NumberOf<KxULong>(key.c_str());
  if (type == "uint64") return NumberOf<uint64_t>(key.c_str());
  if (type == "int64") return NumberOf<int64_t>(key.c_str());
  if (type == "bool") {
    bool value = false;
    if (!Config::GetConfigValue(key.c_str(), value, nullptr)) return std::nullopt;
    return value ? "true" : "false";
  }
  KxBstr text = nullptr;
  if (type == "text") {
    return Config::GetConfigValue(key.c_str(), text, nullptr) ? std::optional(TakenText(text)) : std::nullopt;
  }
  KxBstr attribute = nullptr;
  const KxWString name = *KxText_FromUtf8(type.substr(kAttribute.size()));
  EXPECT_TRUE(Config::GetConfigValueAndAttribute(key.c_str(), text, name.c_str(), attribute, nullptr));
  TakenText(text);
  return attribute != nullptr ? std::optional(TakenText(attribute)) : std::nullopt;
}

TEST(SharedConfig, AnswersTheSameWhetherDocumentsAreRememberedOrNot) {
  int number = 0;
  KxTest_ForRows<std::vector<std::string>, KxWString, std::string, std::optional<std::string>>(
      "configuration/settings.txt", [&](auto& documents, auto& key, auto& type, auto& expected) {
        if (expected) expected = Unfolded(*expected);
        const SkxPolicyImage image = Configured(documents);
        const PublishedConfiguration unnamed(image, KXW(""));
        const CkxImageSource ofImage(image);
        const PublishedConfiguration named(image, KxWString(1, static_cast<WCHAR>(0x4E00 + number++)).c_str());
        const CkxTraceCapture quiet;
        {
          const CkxPolicySourceScope scope(unnamed);
          EXPECT_EQ(SettingAs(key, type), expected);
          const CkxPolicySourceScope imageScope(ofImage);
          for (int time = 0; time < 3; ++time) EXPECT_EQ(SettingAs(key, type), expected);
        }
        const CkxPolicySourceScope scope(named);
        for (int time = 0; time < 3; ++time) EXPECT_EQ(SettingAs(key, type), expected);
        EXPECT_LE(named.walks, 1);
        EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::None);
      });
}

TEST(SharedConfig, WalksOnceAPublicationAndOnlyAsFarAsItIsAsked) {
  const std::vector<std::string> first = {"<Configuration><A>1</A></Configuration>",
                                          "<Configuration><B>2</B></Configuration>"};
  PublishedConfiguration source(Configured(first), KXW("once-1"));
  const CkxPolicySourceScope scope(source);
  const auto expectWalks = [&](const WCHAR* key, const std::optional<std::string>& value, int walks) {
    EXPECT_EQ(NumberOf<int>(key), value);
    EXPECT_EQ(source.walks, walks);
  };
  expectWalks(KXW("A"), "1", 1);
  expectWalks(KXW("B"), "2", 2);  // behind what is known
  expectWalks(KXW("C"), std::nullopt, 3);
  expectWalks(KXW("C"), std::nullopt, 3);
  expectWalks(KXW("B"), "2", 3);
  source.Replace(Configured({"<Configuration><C>3</C></Configuration>"}), KXW("once-2"));
  expectWalks(KXW("C"), "3", 4);
  expectWalks(KXW("A"), std::nullopt, 5);
  CkxConfigurationCache<CkxSettingsDocument>::Instance().Drop();
  expectWalks(KXW("C"), "3", 6);
}

TEST(SharedConfig, WhatWasReadOfAnImageIsKeptForItAlone) {
  class WalkedImage : public CkxImageSource {
   public:
    using CkxImageSource::CkxImageSource;
    EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
      ++walks;
      return CkxImageSource::OpenSection(which, section);
    }
    mutable int walks = 0;
  };
  std::optional<WalkedImage> image;
  for (const std::string value : {"1", "2", "3"}) {
    image.emplace(
        Configured({"<Configuration><A>" + value + "</A></Configuration>"},
                   {"<Messages><Message id='M'>" + value + "</Message></Messages>"}));  // where one was before
    const CkxPolicySourceScope scope(*image);
    for (int time = 0; time < 3; ++time) {
      EXPECT_EQ(SettingAs(KXW("A"), "text"), value);
      CkxUtilStr text;
      EXPECT_TRUE(Config::GetMessageById("M", text));
      EXPECT_EQ(KxText_ToUtf8(text.View()), value);
    }
    EXPECT_EQ(image->walks, 2) << "one for settings, one for messages";
  }
  const CkxImageSource other(Configured({"<Configuration><A>4</A></Configuration>"}));
  for (int time = 0; time < 2; ++time) {  // by turns
    for (const CkxImageSource* const source : {static_cast<const CkxImageSource*>(&*image), &other}) {
      const CkxPolicySourceScope scope(*source);
      EXPECT_EQ(SettingAs(KXW("A"), "text"), source == &other ? "4" : "3");
    }
  }
}

TEST(SharedConfig, NobodyAnsweredIsNotNotFound) {
  using kx_test_records::NamedPolicy;
  const auto policy = [](std::u16string_view settings) {
    return NamedPolicy(10).U32(0).Obfuscated(settings).Obfuscated(u"").Bytes();
  };
  CkxSectionSource source;
  source.Publish(EkxPolicySection::Policies, {policy(u"<Configuration><A>1</A></Configuration>"), {1, 2, 3, 4}});
  const CkxPolicySourceScope scope(source);
  CkxTraceCapture trace;
  EXPECT_EQ(NumberOf<int>(KXW("A")), "1");  // before the damage
  EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::None);
  EXPECT_THAT(trace.Texts(), IsEmpty());
  EXPECT_EQ(NumberOf<int>(KXW("B")), std::nullopt);
  EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::Malformed);
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR CkxSharedPoliciesData: ERROR: Policy header is out of buffer",
                                         "KXT_ERROR CkxSharedConfig: ERROR: EnumPolicies failed"));

  class Refused : public CkxSectionSource {
    EkxSectionState OpenSection(EkxPolicySection, SkxSectionBytes&) const override { return EkxSectionState::Refused; }
  };
  const Refused refused;
  const CkxPolicySourceScope refusing(refused);
  EXPECT_EQ(NumberOf<int>(KXW("A")), std::nullopt);
  EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::SectionRefused);
  CkxUtilStr text;
  EXPECT_FALSE(Config::GetMessageW("A", text));
  EXPECT_FALSE(Config::LoadMessages(text, nullptr));
  EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::SectionRefused);
}

TEST(SharedConfig, ADocumentThatIsNoTextIsSilent) {
  using kx_test_records::NamedPolicy;
  const std::u16string begin = u"<Configuration><A>";
  const std::u16string end = u"</A></Configuration>";
  const auto valueOf = [&](const std::u16string& text) {
    CkxSectionSource source;
    source.Publish(EkxPolicySection::Policies,
                   {NamedPolicy(10).U32(0).Obfuscated(begin + text + end).Obfuscated(u"").Bytes()});
    const CkxPolicySourceScope scope(source);
    const auto found = SettingAs(KXW("A"), "text");
    EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::None);
    return found;
  };
  EXPECT_EQ(valueOf(u"\xD83D\xDE00"), "\xF0\x9F\x98\x80");
  EXPECT_EQ(valueOf(std::u16string(1, 0xD83D)), std::nullopt);
  EXPECT_EQ(valueOf(u"\xFFFD"), "\xEF\xBF\xBD");  // is a character, and stands for none that was lost
  constexpr size_t kMost = size_t{4} << 20;
  const size_t around = begin.size() + end.size();
  EXPECT_EQ(valueOf(std::u16string(kMost - around, u'x')).value_or("").size(), kMost - around);
  EXPECT_EQ(valueOf(std::u16string(kMost - around + 1, u'x')), std::nullopt);
  EXPECT_EQ(valueOf(std::u16string((kMost - around) / 2 + 1, 0xE9)), std::nullopt);  // two bytes each
}

TEST(SharedConfig, AListedSettingIsShadowedUnlessALookUpGivesIt) {
  const CkxImageSource source(
      Configured({"<Configuration>0<A>1<B>2</B></A><A x='y'>3<B>4</B><C>5</C></A></Configuration>", "no document",
                  "<Configuration><A/><A><C>6</C></A><D><E/></D></Configuration>",
                  "<Configuration><D>7<E>8</E></D></Configuration>"}));
  const CkxPolicySourceScope scope(source);
  std::vector<std::string> listed;
  auto list = [&](const SkxConfigSetting& setting) {
    listed.push_back(std::to_string(setting.policyId) + " " + KxText_ToUtf8(setting.key) + "=" +
                     KxText_ToUtf8(setting.value) + (setting.isShadowed ? " shadowed" : ""));
    SkxConfigSetting found;
    const bool isFound = Config::GetSetting(setting.key.c_str(), found, nullptr);
    EXPECT_EQ(!isFound || found.policyId != setting.policyId || found.value != setting.value, setting.isShadowed);
    return true;
  };
  EXPECT_TRUE(Config::EnumSettings(KxCallback<const SkxConfigSetting&>(list), &list, nullptr));
  EXPECT_THAT(listed, ElementsAre("1 A=1", "1 A/B=2", "1 A=3 shadowed", "1 A/B=4 shadowed", "1 A/C=5 shadowed",
                                  "3 A/C=6 shadowed", "4 D=7 shadowed", "4 D/E=8 shadowed"));
  EXPECT_FALSE(Config::EnumSettings(nullptr, nullptr, nullptr));
}

TEST(SharedMessages, TheFirstTextOfAProcessKeepsTheHostMarkUnlessTheSystemDoesNotTell) {
  const CkxImageSource source(
      Configured({}, {"", "<Messages><Message id='M' lang='en'>[&lt;$HOSTNAME>%1%%]</Message></Messages>", "later"}));
  const CkxPolicySourceScope scope(source);
  const auto textsOn = [](const WCHAR* host) {
    const CkxMessageScope reader(KXW("en"), host);
    std::vector<std::string> texts;
    for (int time = 0; time < 2; ++time) {
      CkxUtilStr text;
      EXPECT_TRUE(Config::GetMessageW("M", KXW("%2"), text));
      texts.push_back(KxText_ToUtf8(text.View()));
      Config::ResetMessageFormat();
    }
    CkxUtilStr text;
    EXPECT_TRUE(Config::GetMessageById("M", text));
    texts.push_back(KxText_ToUtf8(text.View()));
    return texts;
  };
  EXPECT_THAT(textsOn(KXW("PC%1")), ElementsAre("[<$HOSTNAME>%2%]", "[PC%1%2%]", "[PC%1%1%%]"));
  const KxWString tooLong(256, KXW('x'));  // than the place that the name is asked into
  EXPECT_THAT(textsOn(tooLong.c_str()), ElementsAre("[%2%]", "[%2%]", "[%1%%]"));
  const KxWString longest(255, KXW('x'));
  EXPECT_EQ(textsOn(longest.c_str())[1], "[" + std::string(255, 'x') + "%2%]");

  CkxUtilStr text = KXW("before");
  for (const char* const id : {"m", "", "\xFF"}) EXPECT_FALSE(Config::GetMessageW(id, text)) << id;
  EXPECT_FALSE(Config::GetMessageW(nullptr, text));
  EXPECT_EQ(text, CkxUtilStr(KXW("before")));
  EXPECT_TRUE(Config::LoadMessages(text, nullptr));
  EXPECT_EQ(KxText_ToUtf8(text.View()).substr(0, 12), "<Messages><M");
}

}  // namespace

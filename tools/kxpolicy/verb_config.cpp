// config get, config list: the settings of the agent, as policies carry them.
#include <kx_util/shared_configuration.h>

#include <array>
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/nearest.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/answer.h"
#include "tools/kxpolicy/configuration_input.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/json_stream.h"

namespace {

using nlohmann::ordered_json;

/// One setting that is asked for.
struct SettingQuestion {
  KxWString key;
  std::optional<KxWString> attribute = {};
  std::string type = "text";
};

/// False when the text is none of that type; the library has said why.
using SettingReader = bool (*)(const WCHAR* key, ordered_json& value, void* token);

template <class Value>
bool ReadSetting(const WCHAR* key, ordered_json& value, void* token) {
  Value read = {};
  const bool isRead = CkxSharedConfig::GetConfigValue(key, read, token);
  if (isRead) value = read;
  return isRead;
}

struct SettingType {
  const char* name;
  SettingReader read;  ///< null for the text as it stands
};

constexpr std::array<SettingType, 6> kSettingTypes = {{
    {"text", nullptr},
    {"int", ReadSetting<int>},
    {"uint32", ReadSetting<KxULong>},
    {"uint64", ReadSetting<uint64_t>},
    {"int64", ReadSetting<int64_t>},
    {"bool", ReadSetting<bool>},
}};

/// Null for another name.
const SettingType* SettingTypeNamed(const std::string& name) {
  const auto type = std::find_if(kSettingTypes.begin(), kSettingTypes.end(),
                                 [&](const SettingType& candidate) { return candidate.name == name; });
  return type != kSettingTypes.end() ? &*type : nullptr;
}

ordered_json AttributeOf(const SkxConfigSetting& setting, const std::optional<KxWString>& name) {
  for (const SkxConfigSetting::Attribute& attribute : setting.attributes) {
    if (attribute.name == name) return KxText_ToUtf8(attribute.value);
  }
  return nullptr;
}

/// "key" and what is known of it.
ordered_json AnswerSetting(const SettingQuestion& question, CkxConfigurationInput& input) {
  const CkxRefusal refusal;
  ordered_json answer = {{"key", KxText_ToUtf8(question.key)}};
  SkxConfigSetting setting;
  if (!CkxSharedConfig::GetSetting(question.key.c_str(), setting, input.Token())) {
    answer.update(KxConfiguration_NotFound(input.Fault(refusal)));
    return answer;
  }
  const SettingReader read = SettingTypeNamed(question.type)->read;
  ordered_json value = KxText_ToUtf8(setting.value);
  if (read != nullptr && !read(question.key.c_str(), value, input.Token())) {
    const std::string fault = input.Fault(refusal);
    answer.update(KxConfiguration_NotFound(fault.empty() ? refusal.Text() : fault));
    return answer;
  }
  answer["found"] = true;
  answer["value"] = std::move(value);
  answer["attribute"] = AttributeOf(setting, question.attribute);
  answer["policyId"] = setting.policyId;
  return answer;
}

SettingQuestion QuestionOf(CkxJsonObject& in) {
  SettingQuestion question;
  question.key = in.Required<KxWString>("key");
  in.Optional("attribute", question.attribute);
  if (in.Optional("type", question.type) && SettingTypeNamed(question.type) == nullptr) {
    throw CkxDocumentFault(in.PointerTo("type"),
                           "\"" + question.type + "\" is no type of a setting" +
                               KxNearest_QuestionOf(question.type, kSettingTypes, &SettingType::name));
  }
  return question;
}

struct ConfigGetOptions {
  SkxConfigurationOptions configuration;
  std::string key;
  std::string attribute;
  std::string type = "text";
  std::string format = "json";
  std::string requests;
};

KxWString WideOfOption(const std::string& text) {
  std::optional<KxWString> wide = KxText_FromUtf8(text);
  if (!wide) throw CkxToolFault(EkxExit::UnusableArguments, "\"" + text + "\" is not UTF-8");
  return *std::move(wide);
}

EkxExit GetOne(const ConfigGetOptions& options, bool hasAttribute, SkxStreams& streams) {
  SettingQuestion question = {.key = WideOfOption(options.key), .type = options.type};
  if (hasAttribute) question.attribute = WideOfOption(options.attribute);
  CkxConfigurationInput input(options.configuration);
  const ordered_json answer = AnswerSetting(question, input);
  const bool isFound = answer.at("found");
  if (options.format == "json") {
    streams.out << answer.dump() << '\n';
  } else if (isFound) {
    const ordered_json& value = answer.at("value");
    streams.out << (value.is_string() ? KxText_Printable(value.get<std::string>()) : value.dump()) << '\n';
  } else {
    const std::string reason = answer.value("error", "there is no such setting");
    streams.err << "kxpolicy: " + KxText_Printable(options.key + ": " + reason) + "\n";
  }
  return input.Code(isFound ? EkxExit::Done : EkxExit::Failure);
}

EkxExit GetStream(const ConfigGetOptions& options, SkxStreams& streams) {
  CkxInput requests(options.requests, streams.in);
  CkxConfigurationInput input(options.configuration);
  const EkxExit code = KxJsonStream_Run(requests.Stream(), streams, [&](CkxJsonObject& in) {
    return KxAnswer_Members(AnswerSetting(QuestionOf(in), input));
  });
  return input.Code(code);
}

ordered_json ListedSetting(const SkxConfigSetting& setting) {
  ordered_json attributes = ordered_json::object();
  for (const SkxConfigSetting::Attribute& attribute : setting.attributes) {
    attributes[KxText_ToUtf8(attribute.name)] = KxText_ToUtf8(attribute.value);
  }
  ordered_json answer = {{"key", KxText_ToUtf8(setting.key)},
                         {"value", KxText_ToUtf8(setting.value)},
                         {"attributes", std::move(attributes)},
                         {"policyId", setting.policyId}};
  if (setting.isShadowed) answer["shadowed"] = true;
  return answer;
}

/// The library calls back into it, and must see no exception.
struct SettingsWriter {
  std::ostream& out;
  bool isShortOfMemory = false;

  static bool Write(const SkxConfigSetting& setting, void* context) noexcept {
    auto& writer = *static_cast<SettingsWriter*>(context);
    try {
      writer.out << ListedSetting(setting).dump() << '\n';
    } catch (const std::bad_alloc&) {
      writer.isShortOfMemory = true;
    }
    return !writer.isShortOfMemory && writer.out.good();
  }
};

EkxExit ListSettings(const SkxConfigurationOptions& options, SkxStreams& streams) {
  CkxConfigurationInput input(options);
  const CkxRefusal refusal;
  SettingsWriter writer = {.out = streams.out};
  const bool isWhole = CkxSharedConfig::EnumSettings(SettingsWriter::Write, &writer, input.Token());
  if (writer.isShortOfMemory) throw std::bad_alloc();
  if (isWhole) return EkxExit::Done;
  streams.out << KxConfiguration_NotFound(input.Fault(refusal)).dump() << '\n';
  return input.Code(EkxExit::Failure);
}

}  // namespace

KxVerbAction KxVerb_ConfigGet(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<ConfigGetOptions>();
  const CkxVerbOptions what = verb.AddChoice("setting", "What is asked for");
  what.Add("key", options->key, "Names of elements below the root, with / between them");
  const CkxOption requests =
      what.Add("--requests", options->requests, "Requests, one a line; - for standard input").File();
  const CkxOption attribute = verb.Add("--attribute", options->attribute, "An attribute of the setting, by its name");
  verb.Add("--type", options->type, "What the text is read as: text (the default), int, uint32, uint64, int64 or bool")
      .OneOf({"text", "int", "uint32", "uint64", "int64", "bool"});
  verb.Add("--format", options->format, "json (one object, the default) or text (the value alone)")
      .OneOf({"text", "json"});
  options->configuration.AddTo(verb);
  verb.Footer("Example: kxpolicy config get Server/Port --type int --image build/image");
  return [options, requests, attribute](SkxStreams& streams) {
    return requests.IsGiven() ? GetStream(*options, streams) : GetOne(*options, attribute.IsGiven(), streams);
  };
}

KxVerbAction KxVerb_ConfigList(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<SkxConfigurationOptions>();
  options->AddTo(verb);
  return [options](SkxStreams& streams) { return ListSettings(*options, streams); };
}

#include <kx_util/shared_configuration.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "Agent/engine/kx_util/store/configuration_search.h"
#include "Common_CPP/util/text.h"

namespace {

/// `read(policyId, element)` of the element that counts; false when there is none.
template <class Read>
bool FindSetting(const WCHAR* key, void* token, Read read) {
  const CkxTextView path(key);
  if (path.IsEmpty()) return false;
  return KxConfiguration_Search<CkxSettingsDocument>(token, [&](uint32_t id, const CkxSettingsDocument& document) {
    const SkxXmlNode* const element = document.Find(path);
    if (element != nullptr) read(id, *element);
    return element != nullptr;
  });
}

/// What `convert` makes of the text of a setting goes to `value`, unless it makes nothing of it.
template <class Value, class Convert>
bool GetValueAs(const WCHAR* key, Value& value, void* token, Convert convert) {
  return KxEntry(false, [&] {
    std::optional<Value> converted;
    const bool found =
        FindSetting(key, token, [&](uint32_t, const SkxXmlNode& element) { converted = convert(element.text); });
    if (!found || !converted || KxFault_Current() != EkxEvaluationFault::None) return false;
    value = *converted;
    return true;
  });
}

bool IsBlank(WCHAR unit) { return unit == KXW(' ') || (unit >= KXW('\t') && unit <= KXW('\r')); }

/// The number that the text begins with; see the header.
template <class Number>
Number SettingNumber(const KxWString& text) {
  using Limits = std::numeric_limits<Number>;
  size_t at = 0;
  while (at < text.size() && IsBlank(text[at])) ++at;
  const bool isNegative = at < text.size() && text[at] == KXW('-');
  if (isNegative || (at < text.size() && text[at] == KXW('+'))) ++at;

  const uint64_t most = isNegative && Limits::is_signed ? uint64_t{Limits::max()} + 1 : uint64_t{Limits::max()};
  uint64_t magnitude = 0;
  for (; at < text.size() && text[at] >= KXW('0') && text[at] <= KXW('9'); ++at) {
    const auto digit = static_cast<uint64_t>(text[at] - KXW('0'));
    magnitude = magnitude > (most - digit) / 10 ? most : magnitude * 10 + digit;
  }
  if (!isNegative) return static_cast<Number>(magnitude);
  return Limits::is_signed ? static_cast<Number>(uint64_t{0} - magnitude) : Number{0};
}

template <class Number>
bool GetNumber(const WCHAR* key, Number& value, void* token) {
  return GetValueAs(key, value, token,
                    [](const KxWString& text) { return std::optional(SettingNumber<Number>(text)); });
}

std::optional<bool> SettingFlag(CkxTextView key, const KxWString& text) {
  for (const bool value : {true, false}) {
    if (KxText_Equals(text, value ? KXW("true") : KXW("false"), false)) return value;
    if (KxText_Equals(text, value ? KXW("1") : KXW("0"), true)) return value;
  }
  KxTrace(EkxTraceLevel::Error, kKxConfigurationScope, "Value type mismatch (expected boolean). Parameter: \"", key,
          "\" value: \"", CkxTextView(text), "\"");
  return std::nullopt;
}

/// A text until somebody takes it over.
class OwnedBstr {
 public:
  explicit OwnedBstr(CkxTextView text) : _text(KxBstr_Alloc(text)) {
    if (_text == nullptr) throw std::bad_alloc();
  }
  ~OwnedBstr() { KxBstr_Free(_text); }
  OwnedBstr(const OwnedBstr&) = delete;
  OwnedBstr& operator=(const OwnedBstr&) = delete;

  KxBstr Release() { return std::exchange(_text, nullptr); }

 private:
  KxBstr _text;
};

SkxConfigSetting SettingOf(KxWString key, uint32_t policyId, const SkxXmlNode& element) {
  SkxConfigSetting setting;
  setting.key = std::move(key);
  setting.value = element.text;
  setting.policyId = policyId;
  for (const SkxXmlAttribute& attribute : element.attributes) {
    setting.attributes.push_back({attribute.name, attribute.value});
  }
  return setting;
}

/// Hands out the settings of one document after the other.
class SettingsLister {
 public:
  SettingsLister(KxConfigSettingCallback callback, void* context) : _callback(callback), _context(context) {}

  /// False once the callback has had enough, or nothing more can be said.
  bool List(uint32_t policyId, CkxSettingsDocument document) {
    const bool goOn = ListBelow(policyId, document.Root(), KxWString(), true);
    _before.push_back(std::move(document));
    return goOn;
  }

 private:
  /// `isFound`: a look-up in this document gives `parent`.
  bool ListBelow(uint32_t policyId, const SkxXmlNode& parent, const KxWString& path, bool isFound) {
    for (const SkxXmlNode& element : parent.children) {
      const KxWString key = path.empty() ? element.name : path + KXW("/") + element.name;
      if (!KxWork_Spend(key.size())) return false;
      const bool isFirst = isFound && KxSettings_Child(parent, element.name) == &element;
      if (!element.text.empty()) {
        SkxConfigSetting setting = SettingOf(key, policyId, element);
        setting.isShadowed = !isFirst || IsInOneBefore(key);
        if (KxFault_Current() != EkxEvaluationFault::None || !_callback(setting, _context)) return false;
      }
      if (!ListBelow(policyId, element, key, isFirst)) return false;
    }
    return true;
  }

  bool IsInOneBefore(const KxWString& key) const {
    return std::any_of(_before.begin(), _before.end(),
                       [&](const CkxSettingsDocument& document) { return document.Find(key) != nullptr; });
  }

  const KxConfigSettingCallback _callback;
  void* const _context;
  std::vector<CkxSettingsDocument> _before;
};

}  // namespace

bool CkxSharedConfig::GetConfigValue(const WCHAR* key, KxBstr& value, void* token) {
  return KxEntry(false, [&] {
    std::optional<OwnedBstr> text;
    if (!FindSetting(key, token, [&](uint32_t, const SkxXmlNode& element) { text.emplace(element.text); }))
      return false;
    value = text->Release();
    return true;
  });
}

bool CkxSharedConfig::GetConfigValue(const WCHAR* key, int& value, void* token) { return GetNumber(key, value, token); }
bool CkxSharedConfig::GetConfigValue(const WCHAR* key, KxULong& value, void* token) {
  return GetNumber(key, value, token);
}
bool CkxSharedConfig::GetConfigValue(const WCHAR* key, uint64_t& value, void* token) {
  return GetNumber(key, value, token);
}
bool CkxSharedConfig::GetConfigValue(const WCHAR* key, int64_t& value, void* token) {
  return GetNumber(key, value, token);
}
bool CkxSharedConfig::GetConfigValue(const WCHAR* key, bool& value, void* token) {
  return GetValueAs(key, value, token, [key](const KxWString& text) { return SettingFlag(key, text); });
}

bool CkxSharedConfig::GetConfigValueAndAttribute(const WCHAR* key, KxBstr& value, const WCHAR* attribute,
                                                 KxBstr& attributeValue, void* token) {
  return KxEntry(false, [&] {
    std::optional<OwnedBstr> text;
    std::optional<OwnedBstr> ofAttribute;
    const auto read = [&](uint32_t, const SkxXmlNode& element) {
      text.emplace(element.text);
      if (const KxWString* const found = element.Attribute(attribute)) ofAttribute.emplace(*found);
    };
    if (!FindSetting(key, token, read)) return false;
    value = text->Release();
    attributeValue = ofAttribute ? ofAttribute->Release() : nullptr;
    return true;
  });
}

bool CkxSharedConfig::GetSetting(const WCHAR* key, SkxConfigSetting& setting, void* token) {
  return KxEntry(false, [&] {
    SkxConfigSetting found;
    const auto read = [&](uint32_t id, const SkxXmlNode& element) { found = SettingOf(key, id, element); };
    if (!FindSetting(key, token, read)) return false;
    setting = std::move(found);
    return true;
  });
}

bool CkxSharedConfig::EnumSettings(KxConfigSettingCallback callback, void* context, void* token) {
  if (callback == nullptr) return false;
  return KxEntry(false, [&] {
    SettingsLister lister(callback, context);
    return KxConfiguration_Walk(token, [&](const CkxShBufPolicyConfiguration& policy) {
      auto document = CkxSettingsDocument::Parse(CkxSettingsDocument::TextOf(policy));
      return !document || lister.List(policy.Id(), *std::move(document));
    });
  });
}

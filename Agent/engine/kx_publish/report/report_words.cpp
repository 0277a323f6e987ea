#include "Agent/engine/kx_publish/report/report_words.h"

#include <algorithm>

#include "Agent/engine/kx_util/match/compare_modes.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

using Json = nlohmann::ordered_json;

/// What makes a list with several elements true.
struct ListRule {
  const char* key;
  const char* words;
};
constexpr ListRule kListRules[] = {
    {"owners", "any of "},        {"publishers", "any of "},          {"users", "any of "},       {"media", "any of "},
    {"versionFields", "all of "}, {"installerProperties", "all of "}, {"capabilities", "all of "}};

constexpr const char* kNameKeys[] = {"name", "field", "property"};

std::string RuleOf(const std::string& key) {
  const auto rule = std::find_if(std::begin(kListRules), std::end(kListRules),
                                 [&](const ListRule& known) { return key == known.key; });
  return rule != std::end(kListRules) ? rule->words : "";
}

std::string LowerLabel(const std::string& key) {
  std::string label;
  for (const char unit : key) {
    const bool isUpper = unit >= 'A' && unit <= 'Z';
    if (isUpper) label += ' ';
    label += isUpper ? static_cast<char>(unit - 'A' + 'a') : unit;
  }
  return label;
}

std::string TextOf(const Json& value, const std::string& key);

/// "contains ", where the way of comparing is not the one that the pattern stands for by itself.
std::string ComparisonOf(const Json& test) {
  const auto mode = test.find("compareAs");
  if (mode == test.end()) return {};
  for (const SkxCompareMode& known : kKxCompareModes) {
    if (*mode == known.key) return KxText_ToUtf8(known.words) + " ";
  }
  return "compared by " + mode->dump() + " with ";
}

/// "from 1.0.0.0 to 2.0.0.0"; nothing unless the value is a range.
std::string RangeOf(const Json& value) {
  const bool hasMin = value.contains("min"), hasMax = value.contains("max");
  if (value.empty() || value.size() != size_t{hasMin} + size_t{hasMax}) return {};
  const std::string min = hasMin ? TextOf(value["min"], "") : "", max = hasMax ? TextOf(value["max"], "") : "";
  if (!hasMax) return min + " or later";
  if (!hasMin) return "up to " + max;
  return min == max ? min : "from " + min + " to " + max;
}

void Join(std::string& text, const std::string& part, const char* between) {
  text += (text.empty() ? "" : between) + part;
}

/// What a true or a false flag adds.
std::string FlagOf(const std::string& key, bool value) {
  if (key == "caseSensitive" && value) return "case counts";
  if (key == "withSubfolders" && value) return "and below";
  return LowerLabel(key) + (value ? "" : ": no");
}

/// The name and the pattern first, then whatever else the object says.
std::string ObjectText(const Json& object) {
  if (object.empty()) return "anything";
  if (std::string range = RangeOf(object); !range.empty()) return range;
  if (object.size() == 2 && object.contains("algorithm") && object.contains("hex")) {
    return TextOf(object["algorithm"], "") + " " + TextOf(object["hex"], "");
  }
  std::string text;
  std::vector<std::string> said = {"compareAs"};
  for (const char* const key : kNameKeys) {
    if (!object.contains(key)) continue;
    Join(text, TextOf(object[key], key), ", ");
    said.emplace_back(key);
  }
  if (object.contains("pattern")) {
    Join(text, ComparisonOf(object) + TextOf(object["pattern"], "pattern"), ": ");
    said.emplace_back("pattern");
  }
  for (const auto& [key, value] : object.items()) {
    if (std::find(said.begin(), said.end(), key) != said.end()) continue;
    Join(text, value.is_boolean() ? FlagOf(key, value.get<bool>()) : LowerLabel(key) + " " + TextOf(value, key), ", ");
  }
  return text;
}

std::string ListText(const Json& list, const std::string& key) {
  if (list.empty()) return "anything";
  std::string text;
  for (const Json& element : list) Join(text, TextOf(element, ""), "; ");
  return list.size() == 1 ? text : RuleOf(key) + text;
}

std::string TextOf(const Json& value, const std::string& key) {
  if (value.is_null()) return "anything";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_array()) return ListText(value, key);
  if (value.is_object()) return ObjectText(value);
  if (!value.is_string()) return value.dump();
  const auto& text = value.get_ref<const std::string&>();
  return text.empty() ? "(empty)" : KxText_Printable(text);
}

/// Whether its keys have lines of their own: it is no test of one value.
bool IsCompound(const std::string& key, const Json& value) {
  return value.is_object() && (key == "origin" || key == "parentProcess" || key == "package");
}

void AddLine(const std::string& label, const std::string& key, const Json& value, std::vector<SkxReportLine>& lines) {
  if (!IsCompound(key, value) || value.empty()) return lines.push_back({label, TextOf(value, key)});
  for (const auto& [part, inner] : value.items()) AddLine(label + ", " + LowerLabel(part), part, inner, lines);
}

}  // namespace

std::string KxReport_Label(const std::string& key) {
  std::string label = LowerLabel(key);
  if (!label.empty() && label[0] >= 'a' && label[0] <= 'z') label[0] = static_cast<char>(label[0] - 'a' + 'A');
  return label;
}

std::vector<SkxReportLine> KxReport_Lines(const Json& object, std::initializer_list<const char*> shownElsewhere) {
  std::vector<SkxReportLine> lines;
  for (const auto& [key, value] : object.items()) {
    if (std::find(shownElsewhere.begin(), shownElsewhere.end(), key) != shownElsewhere.end()) continue;
    AddLine(KxReport_Label(key), key, value, lines);
  }
  return lines;
}

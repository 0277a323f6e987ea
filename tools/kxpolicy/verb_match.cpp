// match: the match primitives on a stream of JSON Lines, or one pattern tried out by a person.
#include <kx_util/file_src_type.h>
#include <kx_util/kx_util.h>

#include <array>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/nearest.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/json_stream.h"
#include "tools/kxpolicy/match_by_hand.h"
#include "tools/kxpolicy/tool.h"

namespace {

using nlohmann::json;

/// A text that may be null or missing, which a matcher tells from the empty text.
class NullableText {
 public:
  NullableText(CkxJsonObject& object, const char* key) {
    const json* const value = object.Find(key);
    if (value != nullptr && !value->is_null()) _text = KxJson_As<KxWString>(*value, object.PointerTo(key));
  }
  CkxTextView View() const { return _text ? CkxTextView(*_text) : CkxTextView(); }
  const WCHAR* String() const { return _text ? _text->c_str() : nullptr; }

 private:
  std::optional<KxWString> _text;
};

bool Flag(CkxJsonObject& object, const char* key) {
  bool flag = false;
  object.Optional(key, flag);
  return flag;
}

EkxStrCompareAs StrMode(CkxJsonObject& object) {
  return static_cast<EkxStrCompareAs>(object.Required<uint16_t>("mode"));
}

std::string Answer(const char* key, bool value) { return std::string("\"") + key + (value ? "\":true" : "\":false"); }

std::string Str(CkxJsonObject& in) {
  const NullableText pattern(in, "pattern");
  const NullableText subject(in, "subject");
  return Answer("match", KxUtil_MatchStr(pattern.View(), subject.View(), Flag(in, "caseSensitive"), StrMode(in)));
}

std::string RegExp(CkxJsonObject& in) {
  const NullableText pattern(in, "pattern");
  return Answer("valid", KxUtil_IsValidRegExp(pattern.View(), Flag(in, "caseSensitive")));
}

std::string CmdLine(CkxJsonObject& in) {
  const NullableText pattern(in, "pattern");
  const NullableText commandLine(in, "commandLine");
  const NullableText programPath(in, "programPath");
  return Answer("match", KxUtil_MatchCmdLineArguments(pattern.View(), commandLine.View(), programPath.View(),
                                                      Flag(in, "caseSensitive"), StrMode(in)));
}

std::string Bitmask(CkxJsonObject& in) {
  const auto mode = static_cast<EkxBitmaskCompareAs>(in.Required<uint16_t>("mode"));
  return Answer("match", KxUtil_MatchBitmask(in.Required<uint32_t>("mask"), in.Required<uint32_t>("value"), mode));
}

std::string Version(CkxJsonObject& in) {
  const NullableText text(in, "text");
  const SkxVersion version = SkxVersion::Parse(text.View());
  return "\"ms\":" + std::to_string(version.MostSignificant()) +
         ",\"ls\":" + std::to_string(version.LeastSignificant()) + "," + Answer("empty", version.IsEmpty());
}

std::string Range(CkxJsonObject& in) {
  const NullableText min(in, "min");
  const NullableText max(in, "max");
  const NullableText version(in, "version");
  CkxVersionRange range;
  range.FromString(min.String(), max.String());
  return Answer("contains", range.Contains(version.String()));
}

std::string Location(CkxJsonObject& in) {
  const auto machine = KxTargetDocument_Machine(in);
  const CkxMachineFactsScope scope(*machine);
  const NullableText path(in, "path");
  const WCHAR* const type = KxUtil_GetFileLocationType(nullptr, path.View());
  return "\"type\":\"" + KxText_ToUtf8(type) + "\"";
}

std::string InLocation(CkxJsonObject& in) {
  const auto machine = KxTargetDocument_Machine(in);
  const CkxMachineFactsScope scope(*machine);
  const NullableText path(in, "path");
  const NullableText types(in, "types");
  const NullableText pattern(in, "pattern");
  const CkxSimplePathProvider file(path.String());
  return Answer("match", KxUtil_MatchFileLocation(file, types.View(), pattern.View(), Flag(in, "flag")));
}

std::string Service(CkxJsonObject& in) {
  const NullableText list(in, "list");
  const NullableText name(in, "name");
  return Answer("match", KxUtil_MatchServiceName(list.View(), name.View()));
}

// --- source types ---

using SourceType = CkxFileSrcType::EkxType;

std::string Quoted(const char* name) { return name != nullptr ? "\"" + std::string(name) + "\"" : "null"; }

/// Exactly one of `keys` must be there; which.
std::string_view OneOf(CkxJsonObject& in, std::initializer_list<const char*> keys) {
  std::string_view given;
  for (const char* const key : keys) {
    if (in.Find(key) == nullptr) continue;
    if (!given.empty()) throw CkxDocumentFault(in.PointerTo(key), "stands beside \"" + std::string(given) + "\"");
    given = key;
  }
  if (!given.empty()) return given;
  std::string all;
  for (const char* const key : keys) all.append(all.empty() ? "" : " or ").append(key);
  throw CkxDocumentFault("", all + " is missing");
}

SourceType SourceTypeOf(CkxJsonObject& in) {
  const std::string_view given = OneOf(in, {"name", "location", "code"});
  if (given == "code") return static_cast<SourceType>(in.Required<uint32_t>("code"));
  const NullableText text(in, given.data());
  return given == "name" ? CkxFileSrcType::FromStr(text.String()) : CkxFileSrcType::FromLocationType(text.String());
}

std::string SrcType(CkxJsonObject& in) {
  const SourceType type = SourceTypeOf(in);
  const WCHAR* const location = CkxFileSrcType::ToLocationType(type);
  return "\"code\":" + std::to_string(type) + ",\"name\":" + Quoted(CkxFileSrcType::ToStr(type)) +
         ",\"location\":" + Quoted(location != nullptr ? KxText_ToUtf8(location).c_str() : nullptr) + "," +
         Answer("locationBased", CkxFileSrcType::IsLocationBased(type)) + "," +
         Answer("valid", CkxFileSrcType(type).IsValid());
}

std::string SrcOrder(CkxJsonObject& in) {
  const CkxFileSrcType left = static_cast<SourceType>(in.Required<uint32_t>("left"));
  const CkxFileSrcType right = static_cast<SourceType>(in.Required<uint32_t>("right"));
  return "\"order\":" + std::to_string(left.ComparePriority(right));
}

std::string CodesOf(const CkxFileSrcTypeArray& types) {
  std::string codes;
  for (int i = 0; i < types.GetCount(); ++i) {
    codes.append(codes.empty() ? "" : ",").append(std::to_string(static_cast<SourceType>(types.GetAt(i))));
  }
  return "[" + codes + "]";
}

std::string SrcTypes(CkxJsonObject& in) {
  CkxFileSrcTypeArray types;
  if (OneOf(in, {"text", "codes"}) == "text") {
    types.FromStr(NullableText(in, "text").String());
  } else {
    const json& codes = *in.Find("codes");
    if (!codes.is_array()) throw CkxDocumentFault(in.PointerTo("codes"), "must be an array");
    for (size_t i = 0; i < codes.size(); ++i) {
      types.Add(static_cast<SourceType>(KxJson_As<uint32_t>(codes[i], KxJson_Pointer(in.PointerTo("codes"), i))));
    }
  }
  const std::string added = CodesOf(types);
  CkxUtilStr sorted;
  types.ToStr(sorted);
  const SourceType main = types.IsEmpty() ? CkxFileSrcType::None : SourceType{types.GetAt(0)};
  return "\"codes\":" + added + ",\"sorted\":\"" + KxText_ToUtf8(sorted.View()) + "\",\"after\":" + CodesOf(types) +
         ",\"main\":" + std::to_string(main);
}

struct Operation {
  std::string_view name;
  std::string (*answer)(CkxJsonObject& in);  ///< the members of the answer after "id"
};

constexpr std::array<Operation, 12> kOperations = {{
    {"str", Str},
    {"regexp", RegExp},
    {"cmdline", CmdLine},
    {"bitmask", Bitmask},
    {"version", Version},
    {"range", Range},
    {"location", Location},
    {"inlocation", InLocation},
    {"service", Service},
    {"srctype", SrcType},
    {"srcorder", SrcOrder},
    {"srctypes", SrcTypes},
}};

std::string AnswerOf(CkxJsonObject& in) {
  const auto name = in.Required<std::string>("op");
  for (const Operation& operation : kOperations) {
    if (operation.name == name) return operation.answer(in);
  }
  throw CkxDocumentFault(in.PointerTo("op"), "\"" + name + "\" is no operation" +
                                                 KxNearest_QuestionOf(name, kOperations, &Operation::name));
}

EkxExit AnswerRequests(const std::vector<std::string>& files, SkxStreams& streams) {
  if (files.size() > 1)
    throw CkxToolFault(EkxExit::UnusableArguments, "texts need a --pattern, and requests are one file");
  CkxInput requests(files.empty() ? "-" : files.front(), streams.in);
  return KxJsonStream_Run(requests.Stream(), streams, AnswerOf);
}

}  // namespace

KxVerbAction KxVerb_Match(const CkxVerbOptions& verb) {
  const auto byHand = std::make_shared<SkxMatchByHand>();
  const CkxOption pattern = verb.Add("--pattern", byHand->pattern, "A pattern to try out on the texts");
  verb.Add("--mode", byHand->mode, "equals, startsWith, contains, wildcard or regExp, or their numbers 1 to 5")
      .Needs(pattern);
  verb.AddFlag("--case-sensitive", byHand->caseSensitive, "Tell capitals from small letters").Needs(pattern);
  verb.Add(
      "texts", byHand->texts,
      "The texts; without any, the lines of standard input that match are written. Without --pattern: requests, one "
      "a line; - for standard input, the default");
  verb.Footer("Example: kxpolicy match --pattern '*.exe' --mode wildcard setup.exe setup.msi");
  return [byHand, pattern](SkxStreams& streams) {
    return pattern.IsGiven() ? KxMatch_ByHand(*byHand, streams) : AnswerRequests(byHand->texts, streams);
  };
}

// origin convert: source records from JSON to XML and back, on a stream; or one XML document for people to read.
#include <kx_util/drv_xml_data.h>
#include <kx_util/src_email_data.h>

#include <array>
#include <ostream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/nearest.h"
#include "Agent/engine/kx_publish/document/origin_document.h"
#include "Agent/engine/kx_util/origin/source_xml.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/answer.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/json_stream.h"
#include "tools/kxpolicy/memory.h"
#include "tools/kxpolicy/record_json.h"
#include "tools/kxpolicy/source_answer.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

struct ConvertOptions {
  bool withSourceTypes = false;
  bool withFile = true;
  std::string form = "own";
};

ordered_json RefusedFor(const std::string& why) { return {{"refused", true}, {"error", why}}; }

// --- each class: why its XML is refused, the empty text when it is read ---

template <class Record>
std::string ReadXml(const std::string& text, const char* element, const ConvertOptions& /*options*/, Record& record) {
  const char* const fault = KxSourceXml_FromText(text, element, record);
  return fault != nullptr ? fault : "";
}

/// A number that is no type of package is no package.
std::string ReadXml(const std::string& text, const char* element, const ConvertOptions& /*options*/,
                    CkxFileSrcPackage& package) {
  const char* const fault = KxSourceXml_FromText(text, element, package);
  if (package.Type() > EkxFileSrcPackageType::Email) package = CkxFileSrcPackage();
  return fault != nullptr ? fault : "";
}

/// Who signed a driver's document is another question: origin verify.
bool ReadOrigin(const std::string& text, const std::string& form, CkxFileOrigin& origin) {
  if (form == "event") return origin.FromEventXml(text);
  if (form == "own") return origin.FromOwnXml(text);
  CkxDrvXmlData driver;
  return driver.FromXml(text, uint64_t{0}, EkxSignatureCheck::None) && origin.FromDrvData(driver);
}

std::string ReadXml(const std::string& text, const char* /*element*/, const ConvertOptions& options,
                    CkxFileOrigin& origin) {
  const CkxRefusal refusal;
  return ReadOrigin(text, options.form, origin) ? "" : refusal.Text();
}

template <class Record>
concept HasSource = requires(ordered_json& answer, const Record& record) {
  KxSourceAnswer_Add(answer, record);
};

template <class Record>
ordered_json Convert(const json* given, const std::string& pointer, const std::string& xml, const char* element,
                     const ConvertOptions& options) {
  Record record;
  ordered_json answer = ordered_json::object();
  if (given != nullptr) {
    KxOriginDocument_Read(*given, pointer, record);
    const std::optional<std::string> text =
        KxSourceXml_Text(element, record, {options.withFile, options.withSourceTypes});
    if (!text) return RefusedFor(kKxXmlUnwritable);
    answer["xml"] = *text;
  } else {
    const std::string fault = ReadXml(xml, element, options, record);
    if (!fault.empty()) return RefusedFor(fault);
    answer["json"] = KxOriginDocument_Write(record, {options.withFile, options.withSourceTypes});
  }
  if constexpr (HasSource<Record>) KxSourceAnswer_Add(answer, record);
  return answer;
}

// --- e-mail ---

ordered_json ConvertEmail(const json* given, const std::string& pointer, const std::string& xml,
                          const char* /*element*/, const ConvertOptions& /*options*/) {
  const CkxRefusal refusal;
  CkxSrcEmailData email;
  if (given == nullptr) {
    return email.FromXml(xml) ? ordered_json{{"json", KxRecordJson_OfEmail(email)}} : KxAnswer_Refused(refusal);
  }
  email = KxRecordJson_ReadEmail(*given, pointer);
  std::string text;
  return email.ToXml(text) ? ordered_json{{"xml", text}} : KxAnswer_Refused(refusal);
}

// --- requests ---

struct RecordClass {
  std::string_view name;
  const char* element;
  ordered_json (*convert)(const json* given, const std::string& pointer, const std::string& xml, const char* element,
                          const ConvertOptions& options);
};

constexpr std::array<RecordClass, 9> kRecordClasses = {{
    {"FileOrigin", "FileOrigin", Convert<CkxFileOrigin>},
    {"File", "File", Convert<SkxFileSrcFile>},
    {"CopyData", "CopyData", Convert<SkxFileSrcCopySource>},
    {"Process", "Process", Convert<CkxFileSrcProcess>},
    {"Installer", "Installer", Convert<CkxFileSrcInstaller>},
    {"ParentInstaller", "ParentInstaller", Convert<CkxFileSrcParentInstaller>},
    {"User", "User", Convert<CkxFileSrcUser>},
    {"Package", "Package", Convert<CkxFileSrcPackage>},
    {"KxSrcEmail", "KxSrcEmail", ConvertEmail},
}};

const RecordClass& RecordClassOf(CkxJsonObject& in) {
  std::string name = "FileOrigin";
  in.Optional("record", name);
  for (const RecordClass& known : kRecordClasses) {
    if (known.name == name) return known;
  }
  throw CkxDocumentFault(in.PointerTo("record"), "\"" + name + "\" is no class of records" +
                                                     KxNearest_QuestionOf(name, kRecordClasses, &RecordClass::name));
}

ConvertOptions OptionsOf(CkxJsonObject& in, const RecordClass& record) {
  ConvertOptions options;
  in.Optional("srcTypes", options.withSourceTypes);
  in.Optional("filePart", options.withFile);
  if (!in.Optional("form", options.form)) return options;
  if (options.form != "own" && options.form != "event" && options.form != "driver") {
    throw CkxDocumentFault(in.PointerTo("form"), "must be \"own\", \"event\" or \"driver\"");
  }
  if (record.name != "FileOrigin" || in.Find("xml") == nullptr) {
    throw CkxDocumentFault(in.PointerTo("form"), "is for reading a FileOrigin from XML");
  }
  return options;
}

std::string AnswerConvert(CkxJsonObject& in) {
  const RecordClass& record = RecordClassOf(in);
  const ConvertOptions options = OptionsOf(in, record);
  const json* const given = in.Find("json");
  std::string xml;
  const bool hasXml = in.Optional("xml", xml);
  if ((given != nullptr) == hasXml) throw CkxDocumentFault("", "needs one of \"json\" and \"xml\"");
  return KxAnswer_Members(record.convert(given, in.PointerTo("json"), xml, record.element, options));
}

/// The document with a line for each element; refused as the library would refuse it.
EkxExit PrintForPeople(CkxInput& input, SkxStreams& streams) {
  const std::optional<CkxTiXmlDocument> document = CkxTiXmlDocument::Parse(input.ReadAll());
  const std::optional<std::string> text = document ? document->Print(true) : std::nullopt;
  KxTool_RequireMemory();
  if (!text) throw CkxToolFault(EkxExit::UnusableInput, input.Name() + ": is no record in XML");
  for (size_t begin = 0; begin < text->size();) {
    const size_t end = std::min(text->find('\n', begin), text->size());
    streams.out << KxText_Printable(std::string_view(*text).substr(begin, end - begin)) << '\n';
    begin = end + 1;
  }
  return EkxExit::Done;
}

struct VerbOptions {
  std::string input = "-";
  bool text = false;
};

}  // namespace

KxVerbAction KxVerb_OriginConvert(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<VerbOptions>();
  verb.Add("requests", options->input, "Requests, one a line; - for standard input, the default").File();
  verb.AddFlag("--text", options->text, "Read one XML document instead, and print it with a line for each element");
  return [options](SkxStreams& streams) {
    CkxInput input(options->input, streams.in);
    return options->text ? PrintForPeople(input, streams) : KxJsonStream_Run(input.Stream(), streams, AnswerConvert);
  };
}

#include "Agent/engine/kx_publish/document/target_schema.h"

#include <kx_util/target_facts.h>

#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Agent/engine/kx_publish/document/schema_text.h"
#include "Agent/engine/kx_publish/document/target_document_fields.h"
#include "Agent/engine/kx_util/target/execution_level.h"
#include "Agent/engine/kx_util/target/publisher_status.h"
#include "Common_CPP/crypto/file_digest.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/util/text.h"

namespace {

using Json = nlohmann::ordered_json;

struct SkxMeaning {
  std::string_view key;
  const char* words;
};

/// What the members mean, by their names, which mean the same wherever they stand.
constexpr SkxMeaning kMeanings[] = {
    {"path", "The full path; of a process that of its image."},
    {"targetType", "The kind of target, a number. Default: by the extension of the path; of a process 3."},
    {"size", "In bytes."},
    {"modified", "When the content was last written: 100 ns since 1601, UTC."},
    {"hashes", "Of the content, or with AUTHENTICODE- of what a signature covers, in hexadecimal."},
    {"signers", "Who signed the file: the first signature, then the second."},
    {"owner", "Of the file."},
    {"ownerName", "Of the file, as DOMAIN\\name."},
    {"fileVersion", "Of the fixed block of the version resource."},
    {"versionInfo", "The texts of the version resource, by the names of their fields; case does not count."},
    {"msi", "Properties of an installer package, by their names; case counts."},
    {"origin", "The record of where the file came from: the element FileOrigin as text, or the record as JSON."},
    {"urlZone", "The security zone of the address that the file was downloaded from: 3 is the internet."},
    {"isTemp", "Whether the file lies in a folder that nobody keeps. Left out: by its path."},
    {"multiFileCreator", "Whether the process created many files."},
    {"devApp", "Whether its program was built on that machine."},
    {"softDistrName", "The distribution tool that started it."},
    {"copySrc", "Where its program was copied from."},
    {"deleted", "Whether its program is gone."},
    {"fileId", "The number that the file of the program had."},
    {"locationType", "The kind of place: REMOTE, LOCALSHARE, REMOVABLE, CDROM, INTERNET and so on."},
    {"localShareName", "The share of that machine that the path lies on."},
    {"appPackage", "The application package that the program belongs to."},
    {"executionLevel", "Of an .exe, what its manifest asks to be started with."},
    {"program", "What a program file says of how it runs."},
    {"machine", "The number of the processor that it is for."},
    {"subsystem", "1 native, 2 with windows, 3 in a console, and so on."},
    {"managed", "Whether it is .NET."},
    {"runtimeVersion", "Of .NET, as its metadata asks for it."},
    {"media", "The removable medium that the file lies on."},
    {"type", "The kind of medium: of this machine's own USB or CDROM."},
    {"vendor", "Who made the medium or its drive, as it says itself."},
    {"product", "What its maker calls it."},
    {"serialNumber", "Of this very piece."},
    {"name", "Of a signer the common name of the certificate, else its organization; of a package its name."},
    {"status", "What is known of the signature: a name, or its number."},
    {"version", "Of the package."},
    {"publisher", "As the package says itself; who signed it is another question."},
    {"capabilities", "What the package declares. Left out: it may declare any."},
    {"pid", "The number of the process."},
    {"commandLine", "The whole command line, the program first."},
    {"services", "The names of the services that the process runs, separated by /."},
    {"classId", "The class of a control or of an elevated component."},
    {"sourceAddress", "The page or package that a control comes from."},
    {"sid", "The user's."},
    {"groups", "That the user is in."},
    {"denyOnlyGroups", "That the user is in only where they are refused something."},
    {"admin", "Whether the user is an administrator."},
};

const char* MeaningOf(std::string_view key) {
  for (const SkxMeaning& meaning : kMeanings) {
    if (meaning.key == key) return meaning.words;
  }
  throw std::logic_error("a member without a meaning: " + std::string(key));
}

Json Reference(const char* name) { return {{"$ref", std::string("#/$defs/") + name}}; }
Json ListOf(Json items) { return {{"type", "array"}, {"items", std::move(items)}}; }
Json TextsOf(const char* values) { return {{"type", "object"}, {"additionalProperties", Reference(values)}}; }

/// Writes down what the lists walk through.
class SchemaOf {
 public:
  Json Take() { return std::move(_properties); }

  template <class Value_>
  void Value(const char* key, const Value_& /*value*/) {
    if constexpr (requires { typename Value_::value_type; } && !std::is_same_v<Value_, KxWString>) {
      Value(key, typename Value_::value_type());
    } else {
      Add(key, TypeOf(Value_()));
    }
  }
  void Amount(const char* key, const std::optional<int64_t>& /*number*/) {
    Add(key, {{"type", "integer"}, {"minimum", 0}, {"maximum", std::numeric_limits<int64_t>::max()}});
  }
  template <class Text>
  void Version(const char* key, const Text& /*version*/) {
    Add(key, Reference("version"));
  }
  template <class Map>
  void Texts(const char* key, const Map& /*texts*/) {
    Add(key, TextsOf("text"));
  }
  template <class SidValue>
  void Sid(const char* key, const SidValue& /*sid*/) {
    Add(key, Reference("sid"));
  }
  template <class List>
  void Sids(const char* key, const List& /*sids*/) {
    Add(key, ListOf(Reference("sid")));
  }
  template <class List>
  void Names(const char* key, const List& /*names*/, bool /*isGiven*/) {
    Add(key, ListOf(Reference("text")));
  }
  template <class Map>
  void Hashes(const char* key, const Map& /*hashes*/) {
    Json properties = Json::object();
    for (const SkxFileDigestName& known : kKxFileDigestNames) {
      properties[KxText_ToUtf8(known.name)] = Reference("hexadecimal");
    }
    Add(key, {{"type", "object"}, {"properties", std::move(properties)}, {"additionalProperties", false}});
  }
  template <class List>
  void Signers(const char* key, const List& /*signers*/) {
    SkxSigner facts;
    Json list = ListOf(ObjectOf([&](SchemaOf& in) { KxTargetFields_Signer(in, facts); }));
    list["maxItems"] = 2;
    Add(key, list);
  }
  template <class Code>
  void Status(const char* key, const Code& /*status*/) {
    Json names = Json::array();
    Json numbers = Json::array();
    for (const SkxPublisherStatusRow& row : kKxPublisherStatuses) {
      names.push_back(row.key);
      numbers.push_back(static_cast<unsigned>(row.status));
    }
    Add(key, {{"anyOf", Json::array({Json({{"enum", std::move(names)}}), Json({{"enum", std::move(numbers)}})})}});
  }
  void Package(const char* key, const std::optional<SkxAppPackageFacts>& /*package*/) {
    SkxAppPackageFacts facts;
    Add(key, ObjectOf([&](SchemaOf& in) { KxTargetFields_Package(in, facts); }));
  }
  template <class Text>
  void Level(const char* key, const Text& /*level*/) {
    Json names = Json::array();
    for (const std::string_view known : kKxExecutionLevels) names.push_back(std::string(known));
    Add(key, {{"enum", std::move(names)}});
  }
  void Program(const char* key, const std::optional<SkxProgramFacts>& /*program*/) {
    SkxProgramFacts facts;
    Add(key, ObjectOf([&](SchemaOf& in) { KxTargetFields_Program(in, facts); }));
  }
  template <class Record>
  void Origin(const char* key, const Record& /*origin*/) {
    Add(key, {{"type", Json::array({"string", "object"})}});
  }
  void CopySource(const char* key, const SkxFileSrcCopySource& source) {
    Add(key, ObjectOf([&](SchemaOf& in) {
          in.Value("path", source.path);
          in.Value("locationType", source.locationType);
          in.Value("localShareName", source.localShareName);
        }));
  }
  template <class Number>
  void Deleted(const char* key, const char* fileIdKey, const Number& /*fileId*/) {
    Add(key, TypeOf(bool()));
    Add(fileIdKey, TypeOf(uint64_t()));
  }
  void Media(const char* key, const std::optional<SkxMediaFacts>& /*media*/) {
    SkxMediaFacts facts;
    Add(key, ObjectOf([&](SchemaOf& in) { KxTargetFields_Media(in, facts); }));
  }

  /// An object with the members that `fields` lists.
  template <class Fields>
  static Json ObjectOf(Fields fields) {
    SchemaOf in;
    fields(in);
    return Object(in.Take());
  }

  static Json Object(Json properties) {
    return {{"type", "object"}, {"properties", std::move(properties)}, {"additionalProperties", false}};
  }

 private:
  static Json TypeOf(const KxWString&) { return Reference("text"); }
  static Json TypeOf(bool) { return {{"type", "boolean"}}; }
  static Json TypeOf(int64_t) { return Integer<int64_t>(); }
  static Json TypeOf(uint16_t) { return Integer<uint16_t>(); }
  static Json TypeOf(uint64_t) { return Integer<uint64_t>(); }
  static Json TypeOf(uint32_t) { return Integer<uint32_t>(); }

  template <class Code>
  static Json Integer() {
    return {{"type", "integer"},
            {"minimum", std::numeric_limits<Code>::min()},
            {"maximum", std::numeric_limits<Code>::max()}};
  }

  void Add(const char* key, const Json& type) {
    Json member = {{"description", MeaningOf(key)}};
    member.update(type);
    _properties[key] = std::move(member);
  }

  Json _properties = Json::object();
};

template <class Facts, class Fields>
void AddFields(Json& properties, Fields fields) {
  SchemaOf schema;
  Facts facts;
  fields(schema, facts);
  properties.update(schema.Take());
}

Json UserSchema() {
  Json properties = Json::object();
  AddFields<SkxTargetUser>(properties, [](auto& io, auto& user) { KxTargetFields_User(io, user); });
  Json user = {{"description", "Whom the thing runs for. Left out: it is in no user's scope."}};
  user.update(SchemaOf::Object(std::move(properties)));
  user["required"] = Json::array({"sid"});
  return user;
}

Json RequestSchema() {
  Json properties = {
      {"kind", {{"description", "The kind of the request; 2 is an address."}, {"type", "integer"}, {"minimum", 0}}},
      {"url", {{"description", "What is asked for."}, {"type", "string"}}}};
  Json request = {{"description", "Of an elevator."}};
  request.update(SchemaOf::Object(std::move(properties)));
  return request;
}

/// What a thing says of itself, at the top or below another.
Json ThingProperties() {
  Json properties = {{kKxTargetId, {{"description", "Echoed in the answer."}}},
                     {kKxTargetKind,
                      {{"description", "What it is."},
                       {"enum", Json::array({kKxKindFile, kKxKindProcess, "activex", "elevator", "uaccom"})}}}};
  AddFields<SkxFileFacts>(properties, [](auto& io, auto& facts) { KxTargetFields_File(io, facts); });
  AddFields<SkxProcessFacts>(properties, [](auto& io, auto& facts) { KxTargetFields_Process(io, facts); });
  AddFields<SkxServerFacts>(properties, [](auto& io, auto& facts) { KxTargetFields_Server(io, facts); });
  properties["request"] = RequestSchema();
  properties[kKxTargetParent] = {{"description", "The process that started it."}, {"$ref", "#/$defs/thing"}};
  properties[kKxTargetLinked] = {{"description", "What the process was started for, such as a package or a script."},
                                 {"type", "array"},
                                 {"items", Reference("thing")}};
  properties[kKxTargetUser] = UserSchema();
  return properties;
}

Json DriveTypes() {
  Json words = Json::array();
  for (const SkxDriveTypeWord& row : kKxDriveTypeWords) words.push_back(KxText_ToUtf8(row.word));
  return words;
}

Json ByLetter(const char* description, Json values) {
  return {{"description", description},
          {"type", "object"},
          {"propertyNames", {{"pattern", "^[A-Za-z]$"}}},
          {"additionalProperties", std::move(values)}};
}

Json ThingSchema(Json properties) {
  Json thing = SchemaOf::Object(std::move(properties));
  thing["required"] = Json::array({kKxTargetKind});
  return thing;
}

}  // namespace

std::string KxTargetDocument_Schema() {
  Json schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                 {"title", "Target document"},
                 {"description",
                  "One description of a thing that is about to run, be installed or be elevated, with what "
                  "of its machine the decision depends on. What is not given does not exist."}};
  Json properties = ThingProperties();
  const Json thing = ThingSchema(properties);
  properties[kKxTargetDrives] =
      ByLetter("The types of drives. One that is not named is UNKNOWN.", {{"enum", DriveTypes()}});
  properties[kKxTargetMappedDrives] = ByLetter("The shares that drives stand for.",
                                               {{"type", "string"}, {"pattern", "^\\\\\\\\[^\\\\/]+\\\\[^\\\\/]+"}});
  properties[kKxTargetWindowsFolder] = {{"description", "Where the system lives; without it, on any drive."},
                                        {"type", "string"},
                                        {"pattern", "^[A-Za-z]:"}};
  schema.update(ThingSchema(std::move(properties)));
  schema["$defs"] = {
      {"thing", thing},
      {"text", {{"type", "string"}}},
      {"hexadecimal", {{"type", "string"}, {"pattern", "^[0-9A-Fa-f]+$"}}},
      {"version",
       {{"description", "Up to four numbers up to 65535."},
        {"type", "string"},
        {"pattern", "^([0-9]{1,5}(\\.[0-9]{1,5}){0,3}( .*)?)?$"}}},
      {"sid",
       {{"description", "A security identifier."},
        {"type", "string"},
        {"pattern", "^[Ss]-1-([0-9]+|0[xX][0-9A-Fa-f]+)(-[0-9]+)+$"}}},
  };
  return KxSchema_Text(schema);
}

#include "Agent/engine/kx_publish/document/document_schema.h"

#include <limits>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/policy_fields.h"
#include "Agent/engine/kx_publish/document/schema_text.h"
#include "Common_CPP/crypto/file_digest.h"
#include "Common_CPP/util/text.h"

namespace {

using Json = nlohmann::ordered_json;

/// What stands around the lists, and the texts whose form they leave to reading.
constexpr const char* kFrame = R"({
  "$schema": "https://json-schema.org/draft/2020-12/schema",
  "title": "Policy document",
  "description": "Policies, application groups, alerts and the users they are for, as people write them. Comments are allowed. Several documents may make up one publication.",
  "type": "object",
  "properties": {
    "$schema": {"description": "This schema, for editors.", "type": "string"},
    "policies": {
      "description": "In order of precedence: the first policy that applies decides.",
      "type": "array", "items": {"$ref": "#/$defs/policy"}, "default": []
    },
    "applicationGroups": {
      "description": "Sets of targets that several policies share.",
      "type": "array", "items": {"$ref": "#/$defs/applicationGroup"}, "default": []
    },
    "alerts": {
      "description": "Messages that policies show.",
      "type": "array", "items": {"$ref": "#/$defs/alert"}, "default": []
    },
    "userGroups": {
      "description": "Names for users, which policies use: SIDs of users or of groups, per name.",
      "type": "object",
      "propertyNames": {"$ref": "#/$defs/name"},
      "additionalProperties": {"type": "array", "items": {"$ref": "#/$defs/sid"}}
    },
    "applicable": {
      "description": "Ids of the policies that apply, per SID of a user or a group: a user has those of all its rows together, and \"*\" serves who has none. Without any row every policy applies to everybody. A user whom no row serves, or whose rows are empty, gets no decision. Not together with policies that name their users.",
      "type": "object",
      "propertyNames": {"anyOf": [{"const": "*"}, {"$ref": "#/$defs/sid"}]},
      "additionalProperties": {
        "type": "array",
        "items": {"description": "Id of a policy.", "type": "integer", "minimum": 1, "maximum": 4294967295}
      }
    }
  },
  "additionalProperties": false,
  "$defs": {
    "guid": {
      "description": "A GUID, with or without braces.",
      "type": "string",
      "pattern": "^(\\{[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}\\}|[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12})$"
    },
    "sid": {
      "description": "A security identifier.",
      "type": "string",
      "pattern": "^[Ss]-1-([0-9]+|0[xX][0-9A-Fa-f]+)(-[0-9]+)+$"
    },
    "version": {
      "description": "One to four numbers up to 65535. Parts that are missing are 0: \"2\" is 2.0.0.0. A last part \"*\" stands for the least of what may follow in a minimum, for the most in a maximum.",
      "type": "string",
      "pattern": "^[0-9]{1,5}((\\.[0-9]{1,5}){0,3}|(\\.[0-9]{1,5}){0,2}\\.\\*)$"
    },
    "hash": {
      "description": "The hash of a file's whole content, or with AUTHENTICODE- of what a signature in it covers. Without a fileName the file may have any name.",
      "type": "object",
      "properties": {
        "algorithm": {"description": "How it was computed.", "enum": []},
        "hex": {"description": "In hexadecimal, either case.", "type": "string"}
      },
      "required": ["algorithm", "hex"],
      "additionalProperties": false,
      "oneOf": []
    },
    "fileSize": {
      "description": "The size in bytes, looked at before anything is hashed. Only together with a hash. Default: any.",
      "type": "integer", "minimum": 0, "maximum": 9223372036854775807
    },
    "accessMask": {
      "anyOf": [
        {"type": "string", "pattern": "^0x[0-9A-Fa-f]{1,8}$"},
        {"type": "integer", "minimum": 0, "maximum": 4294967295}
      ]
    },
    "task": {
      "anyOf": [{"type": "string", "minLength": 1}, {"type": "integer", "minimum": 1, "maximum": 4294967295}]
    },
    "name": {"type": "string", "minLength": 1}
  }
})";

/// Each algorithm has its number of digits.
void AddHashAlgorithms(Json& hash) {
  for (const SkxFileDigestName& known : kKxFileDigestNames) {
    const std::string name = KxText_ToUtf8(known.name);
    const std::string digits = "^[0-9A-Fa-f]{" + std::to_string(known.bytes * 2) + "}$";
    hash["properties"]["algorithm"]["enum"].push_back(name);
    hash["oneOf"].push_back({{"properties", {{"algorithm", {{"const", name}}}, {"hex", {{"pattern", digits}}}}}});
  }
}

Json Reference(const std::string& name) { return {{"$ref", "#/$defs/" + name}}; }

/// A meaning as a sentence: "of the file" is "Of the file."
std::string Sentence(std::string text) {
  if (!text.empty() && text.front() >= 'a' && text.front() <= 'z')
    text.front() = static_cast<char>(text.front() - 0x20);
  return text.ends_with('.') ? text : text + '.';
}

/// What a type is called under "$defs": "Text test" is textTest.
std::string NameOf(std::string_view title) {
  std::string name;
  bool wordBegins = false;
  for (const char c : title) {
    if (c != ' ') {
      const bool isUpper = c >= 'A' && c <= 'Z';
      const bool isLower = c >= 'a' && c <= 'z';
      if (name.empty() && isUpper) {
        name += static_cast<char>(c + 0x20);
      } else {
        name += wordBegins && isLower ? static_cast<char>(c - 0x20) : c;
      }
    }
    wordBegins = c == ' ';
  }
  return name;
}

template <class Value>
constexpr const char* kNullElement = "Is never met.";
template <>
constexpr const char* kNullElement<CkxSid> = "Lets everything pass.";
template <>
constexpr const char* kNullElement<SkxCapabilityTest> = kNullElement<CkxSid>;
template <>
constexpr const char* kNullElement<SkxMediaTest> = kNullElement<CkxSid>;

template <class Code>
Json Integer() {
  return {{"type", "integer"},
          {"minimum", std::numeric_limits<Code>::min()},
          {"maximum", std::numeric_limits<Code>::max()}};
}

// What `KxFaultOf` and the rest of reading refuse in an object, as far as a schema can.
template <class Value>
void Restrict(const Value& /*value*/, Json& /*object*/) {}
void Restrict(const SkxLocationTest& /*test*/, Json& object) { object["properties"]["pattern"]["minLength"] = 1; }
void Restrict(const SkxPolicyModel& /*policy*/, Json& object) { object["properties"]["id"]["minimum"] = 1; }
void Restrict(const SkxGroupLink& /*link*/, Json& object) { object["required"].push_back("group"); }
void Restrict(const SkxParentTest& /*test*/, Json& object) {
  object["anyOf"] = {{{"required", {"includedGroup"}}}, {{"required", {"excludedGroup"}}}};
}
void Restrict(const SkxExcludeTarget& /*target*/, Json& object) {
  object["properties"].erase("hash");
  object["properties"].erase("fileSize");
}
void Restrict(const SkxPublisherTest& /*test*/, Json& object) {
  object.erase("required");
  object["anyOf"] = {{{"required", {"pattern"}}},
                     {{"properties", {{"unsignedOnly", {{"const", true}}}}}, {"required", {"unsignedOnly"}}}};
}
void Restrict(const SkxTargetModel& target, Json& object) {
  std::visit([&object](const auto& body) { Restrict(body, object); }, target.body);
}

/// One object of the schema: an `io` that walks the lists of policy_fields.h over a struct that was just made, for its
/// kind and its defaults.
class ObjectSchema {
 public:
  /// Describes `value`; the types of its properties go to `defs`, each once.
  template <class Value>
  static Json Of(const Value& value, Json& defs) {
    ObjectSchema io(defs);
    KxDocument_Walk(io, value);
    Json object = {{"type", "object"}, {"properties", std::move(io._properties)}, {"additionalProperties", false}};
    object["required"] = std::move(io._required);
    Restrict(value, object);
    if (object.contains("required") && object["required"].empty()) object.erase("required");
    return object;
  }

  template <class Value>
  void Required(const SkxKeyText& key, const Value& /*value*/) {
    AddRequired(key, TypeOf<Value>());
  }
  void NotEmpty(const SkxKeyText& key, const KxWString& /*text*/) { AddRequired(key, Reference("name")); }

  template <class Value>
  void Optional(const SkxKeyText& key, const Value& /*value*/, const Value& byDefault) {
    Json schema = TypeOf<Value>();
    schema["default"] = Default(byDefault);
    Add(key, schema);
  }
  template <class Value>
  void Optional(const SkxKeyText& key, const std::optional<Value>& /*value*/, const std::optional<Value>& /*none*/) {
    Add(key, TypeOf<Value>());
  }
  void Optional(const SkxKeyText& key, const std::optional<KxWString>& /*text*/, const std::optional<KxWString>&) {
    Add(key, Reference("name"));
  }
  template <class Value>
  void Always(const SkxKeyText& key, const Value& /*value*/) {
    Add(key, TypeOf<Value>());
  }

  template <class Code>
  void Coded(const SkxKeyText& key, const Code& /*code*/, KxCodeNames names, bool isOptional = false) {
    isOptional ? Add(key, CodeOf<Code>(names)) : AddRequired(key, CodeOf<Code>(names));
  }
  void CompareAs(const SkxKeyText& key, uint16_t /*code*/, const KxWString& /*pattern*/) {
    if (!_defs.contains("compareAs")) {
      _defs["compareAs"] = Described(key, CodeOf<uint16_t>(kKxCompareAs));
    }
    _properties[key.name] = Reference("compareAs");
  }
  void LocationTypes(const SkxKeyText& key, const KxWString& /*types*/) {
    Add(key, {{"type", "array"}, {"items", {{"enum", KxLocationTypes()}}}});
  }
  void Version(const SkxKeyText& key, uint64_t /*version*/, uint16_t /*wildcardPart*/) {
    Add(key, Reference("version"));
  }
  void FileNameAndHash(const SkxKeyText& key, const std::optional<SkxFileNameTest>& /*test*/) {
    Add(key, TypeOf<SkxFileNameTest>());
    _properties["hash"] = Reference("hash");
    _properties["fileSize"] = Reference("fileSize");
  }
  void ClassId(const SkxKeyText& key, const std::optional<SkxTextTest>& /*test*/) {
    Json test = TypeOf<SkxTextTest>();
    test["type"] = "object";
    Add(key, {{"anyOf", {Reference("guid"), std::move(test)}}});
  }
  void AccessMask(const SkxKeyText& key, uint32_t /*mask*/) { AddRequired(key, Reference("accessMask")); }
  void AdminTask(const SkxKeyText& key, uint32_t /*task*/) { AddRequired(key, Reference("task")); }
  void Group(const SkxKeyText& key, const GUID& /*id*/) { Add(key, Reference("name")); }
  void Alert(const SkxKeyText& type, const SkxKeyText& id, const SkxAlertLinkModel& /*link*/) {
    Add(type, CodeOf<uint16_t>(kKxAlertTypes));
    AddRequired(id, Reference("name"));
  }
  void DerivedId(const SkxKeyText& key, const GUID& /*id*/, const std::string& /*place*/) {
    Add(key, Reference("guid"));
  }
  void Kind(const SkxKeyText& key, const SkxPolicyModel& policy) {
    AddKind(key, KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.action)->key);
  }
  void Kind(const SkxKeyText& key, const SkxTargetModel& target) { AddKind(key, KxTargetKind_Of(target.body).key); }
  void Kind(const SkxKeyText& key, const SkxAlertModel& alert) { AddKind(key, KxAlertKind_Of(alert.body).key); }
  void Targets(const SkxKeyText& key, const std::vector<SkxTargetModel>& /*targets*/, const std::string& /*owner*/) {
    Add(key, {{"type", "array"}, {"items", Reference("target")}, {"default", Json::array()}});
  }

 private:
  explicit ObjectSchema(Json& defs) : _defs(defs) {}

  static Json Described(const SkxKeyText& key, const Json& schema) {
    Json described = {{"description", Sentence(key.meaning)}};
    described.update(schema);
    return described;
  }
  void Add(const SkxKeyText& key, const Json& schema) { _properties[key.name] = Described(key, schema); }
  void AddRequired(const SkxKeyText& key, const Json& schema) {
    Add(key, schema);
    _required.push_back(key.name);
  }
  void AddKind(const SkxKeyText& key, const char* kind) {
    _properties[key.name] = {{"const", kind}};
    _required.push_back(key.name);
  }

  template <class Code>
  static Json CodeOf(KxCodeNames codes) {
    Json names = Json::array();
    for (const SkxCodeName& code : codes) names.push_back(code.name);
    return {{"anyOf", {{{"enum", std::move(names)}}, Integer<Code>()}}};
  }

  template <class Value>
  static Json Default(const Value& value) {
    return value;
  }
  static Json Default(const KxWString& text) { return KxText_ToUtf8(text); }
  template <class Value>
  static Json Default(const std::vector<Value>& /*list*/) {
    return Json::array();
  }

  template <class Value>
  Json TypeOf() {
    if constexpr (std::is_same_v<Value, bool>) {
      return {{"type", "boolean"}};
    } else if constexpr (std::is_integral_v<Value>) {
      return Integer<Value>();
    } else if constexpr (std::is_same_v<Value, KxWString>) {
      return {{"type", "string"}};
    } else if constexpr (std::is_same_v<Value, GUID>) {
      return Reference("guid");
    } else if constexpr (std::is_same_v<Value, CkxSid>) {
      return Reference("sid");
    } else if constexpr (kKxIsVector<Value>) {
      return ListOf(std::type_identity<typename Value::value_type>());
    } else {
      return StructOf<Value>();
    }
  }

  template <class Value>
  Json ListOf(std::type_identity<Value> /*element*/) {
    return {{"type", "array"}, {"items", TypeOf<Value>()}};
  }
  template <class Value>
  Json ListOf(std::type_identity<std::optional<Value>> /*element*/) {
    const Json null = {{"description", kNullElement<Value>}, {"type", "null"}};
    Json list = {{"type", "array"}, {"items", {{"anyOf", {TypeOf<Value>(), null}}}}};
    if constexpr (std::derived_from<Value, SkxNamedTextTest>) {
      const Json byName = {{"description", "Name to test."},
                           {"type", "object"},
                           {"propertyNames", Reference("name")},
                           {"additionalProperties", TypeOf<SkxTextTest>()}};
      return {{"anyOf", {byName, std::move(list)}}};
    }
    return list;
  }

  template <class Value>
  Json StructOf() {
    const std::string name = NameOf(kKxRecord<Value>.name);
    if (!_defs.contains(name)) {
      _defs[name] = nullptr;  // its place, before those of its own properties
      Json object = Of(Value(), _defs);
      _defs[name] = WithShorthand<Value>(std::move(object));
    }
    return Reference(name);
  }

  /// Either the object, or a text that its key could have.
  template <class Value>
  static Json WithShorthand(Json object) {
    Json schema;
    if constexpr (kKxDescription<Value> != nullptr) schema["description"] = Sentence(kKxDescription<Value>);
    if constexpr (!kKxShorthand<Value>.empty()) {
      Json text = object["properties"][kKxShorthand<Value>.front()];
      text.erase("description");
      text.erase("default");
      schema["anyOf"] = {std::move(text), std::move(object)};
    } else {
      schema.update(object);
    }
    return schema;
  }

  Json& _defs;
  Json _properties = Json::object();
  Json _required = Json::array();
};

/// `models`: one of each kind, with its name under "$defs". An object is one of them.
template <class Model>
Json OneOf(const std::vector<std::pair<std::string, Model>>& models, const char* description, Json& defs) {
  Json schema = {{"description", description}, {"type", "object"}, {"required", {"type"}}, {"oneOf", Json::array()}};
  for (const auto& [name, model] : models) {
    Json kind = std::visit(
        []<class Body>(const Body& /*body*/) {
          return Json{{"description", Sentence(kKxDescription<Body>)}};
        },
        model.body);
    kind.update(ObjectSchema::Of(model, defs));
    defs[name] = std::move(kind);
    schema["oneOf"].push_back(Reference(name));
  }
  return schema;
}

/// What all policies have, and by their action what each kind has besides.
Json PolicySchema(Json& defs) {
  SkxPolicyModel plain;
  plain.action = EkxPolicyAction::LogOff;  // which has nothing of its own
  Json schema = {{"description", "One policy."}};
  schema.update(ObjectSchema::Of(plain, defs));
  schema.erase("additionalProperties");
  Json& common = schema["properties"];
  Json actions = Json::array();
  schema["allOf"] = Json::array();
  for (const SkxPolicyKind& kind : kKxPolicyKinds) {
    SkxPolicyModel policy;
    policy.action = kind.action;
    policy.params = kind.params();
    Json own = ObjectSchema::Of(policy, defs);
    for (auto& [key, property] : own["properties"].items()) {
      if (common.contains(key) && key != "action") property = true;
    }
    Json then = {{"description", Sentence(kind.meaning)}};
    then.update(own);
    const Json condition = {{"properties", {{"action", {{"const", kind.key}}}}}, {"required", {"action"}}};
    schema["allOf"].push_back({{"if", condition}, {"then", std::move(then)}});
    actions.push_back(kind.key);
  }
  common["action"] = {{"description", "What the policy does."}, {"enum", std::move(actions)}};
  return schema;
}

template <class Model, class Row, size_t count>
std::vector<std::pair<std::string, Model>> OneOfEach(const Row (&kinds)[count]) {
  std::vector<std::pair<std::string, Model>> models;
  for (const Row& kind : kinds) {
    Model model;
    model.body = kind.body();
    const char* const title = std::visit([]<class Body>(const Body&) { return kKxRecord<Body>.name; }, model.body);
    models.emplace_back(NameOf(title), std::move(model));
  }
  return models;
}

}  // namespace

std::string KxPolicyDocument_Schema() {
  Json schema = Json::parse(kFrame);
  Json& defs = schema["$defs"];
  AddHashAlgorithms(defs["hash"]);
  const Json target = OneOf(OneOfEach<SkxTargetModel>(kKxTargetKinds),
                            "A thing that a policy is about. All properties that are given must match.", defs);
  defs["target"] = target;
  Json group = {{"description", Sentence(kKxDescription<SkxAppGroupModel>)}};
  group.update(ObjectSchema::Of(SkxAppGroupModel(), defs));
  defs["applicationGroup"] = std::move(group);
  const Json alert = OneOf(OneOfEach<SkxAlertModel>(kKxAlertKinds), "A message that policies show.", defs);
  defs["alert"] = alert;
  const Json policy = PolicySchema(defs);
  defs["policy"] = policy;
  return KxSchema_Text(schema);
}

#include "Agent/engine/kx_publish/witness/candidates.h"

#include <algorithm>

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"

namespace {

/// Groups inside groups, and parents of parents, are followed so deep.
constexpr unsigned kMaxGroupLevel = 8;
constexpr unsigned kMaxParents = 3;

/// Of targets that all ask much: each has as many tries as this, and no policy has more targets tried.
constexpr size_t kMaxOfTarget = 256;
constexpr size_t kMaxTriedTargets = 64;
constexpr size_t kMaxParentWays = 8;
constexpr size_t kMaxWays = 64;

/// What a target of a file asks for goes by these names, whatever the kind.
constexpr const char* kFileNameCondition = "fileName";
constexpr const char* kLocationCondition = "location";

/// What stands for a kind where its targets ask nothing: the name of a file, and the program that starts such files.
struct Usual {
  EkxPolicyTarget type;
  const char* name;
  const char* carrier;
};
constexpr Usual kUsual[] = {
    {EkxPolicyTarget::Executable, "witness.exe", nullptr},
    {EkxPolicyTarget::Script, "witness.ps1", "C:\\Windows\\System32\\wscript.exe"},
    {EkxPolicyTarget::Msi, "witness.msi", "C:\\Windows\\System32\\msiexec.exe"},
    {EkxPolicyTarget::Msu, "witness.msu", "C:\\Windows\\System32\\wusa.exe"},
    {EkxPolicyTarget::Dll, "witness.dll", nullptr},
    {EkxPolicyTarget::AppPackage, "witness.msix", nullptr},
    {EkxPolicyTarget::ActiveX, "witness.ocx", nullptr},
    {EkxPolicyTarget::Com, "witness.dll", nullptr},
};

const Usual* UsualOf(EkxPolicyTarget type) {
  for (const Usual& usual : kUsual) {
    if (usual.type == type) return &usual;
  }
  return nullptr;
}

KxWays WaysOfNames(const char* usual) {
  const std::string extension = std::string(usual).substr(std::string(usual).find('.'));
  return {{{"~name", usual}}, {{"~name", "w2 " + extension}}, {{"~name", "w3.bin"}}};
}

KxWays Folders() {
  return {{{"~folder", "C:\\Witness"}},
          {{"~folder", "D:\\Other\\Place"}, {"drives", {{"D", "REMOVABLE"}}}},
          {{"~folder", "\\\\server\\share"}}};
}

/// What policies that come before may ask, and this one does not.
void AddUnasked(std::vector<std::pair<std::string, KxWays>>& free) {
  const KxFacts signer = {{"name", "Witness"}, {"status", "valid"}};
  free.push_back({"publishers", {KxFacts::object(), {{"signers", KxFacts::array({signer})}}}});
  free.push_back({"fileVersion", {KxFacts::object(), {{"fileVersion", "1.0.0.0"}}, {{"fileVersion", "65535.0.0.0"}}}});
  free.push_back({"owners", {KxFacts::object(), {{"owner", "S-1-5-18"}}}});
}

}  // namespace

CkxCandidates::CkxCandidates(const SkxImageModels& models, const SkxApplicableRows& applicable)
    : _applicable(applicable) {
  for (const auto& group : models.groups) {
    const GUID id = KxImage_GroupId(group.bytes);
    _groups.try_emplace(id, group.model ? &*group.model : nullptr);
  }
}

void CkxCandidates::Expand(const std::vector<SkxTargetModel>& targets, const std::string& of, unsigned level,
                           Expansion& expansion) const {
  std::vector<Found>& found = expansion.found;
  for (size_t i = 0; i < targets.size() && found.size() < kMaxTriedTargets; ++i) {
    const auto* const link = std::get_if<SkxGroupLink>(&targets[i].body);
    if (link == nullptr) {
      found.push_back({"target " + std::to_string(i + 1) + of, &targets[i]});
      continue;
    }
    const auto group = _groups.find(link->group);
    if (group == _groups.end() || group->second == nullptr || level == kMaxGroupLevel) continue;
    if (!expansion.met.emplace(level, group->second).second) continue;
    Expand(group->second->targets, " of the group " + KxGuid_ToUtf8(link->group), level + 1, expansion);
  }
}

KxWays CkxCandidates::UsersOf(uint32_t policy) const {
  KxWays users;
  if (_applicable.empty()) return {KxFacts::object(), {{"user", {{"sid", "S-1-5-21-1-2-3-1001"}}}}};
  for (const auto& [key, ids] : _applicable) {
    if (std::find(ids.begin(), ids.end(), policy) == ids.end() || ids.front() == 0) continue;
    if (key == kKxEverybodyKey) {
      users.insert(users.begin(), KxFacts::object());
    } else {
      users.push_back({{"user", {{"sid", key}}}});
    }
  }
  return users;
}

/// Parents of the group that is asked for; and where none is, or none may be of another, some parent.
KxWays CkxCandidates::Parents(const SkxParentTest& test, unsigned level) const {
  KxWays ways;
  const auto add = [&](KxFacts parent) {
    if (ways.size() < kMaxParentWays) ways.push_back({{"parent", std::move(parent)}});
  };
  if (KxGuid_IsNull(test.includedGroup)) {
    add({{"kind", "process"}, {"path", "C:\\Windows\\explorer.exe"}});
    add({{"kind", "process"}, {"path", "D:\\Other\\parent.exe"}});
    return ways;
  }
  const auto group = _groups.find(test.includedGroup);
  if (group == _groups.end() || group->second == nullptr || level == kMaxParents) return ways;
  Expansion members;
  Expand(group->second->targets, "", 0, members);
  for (const Found& member : members.found) {
    const Choices choices = ChoicesOf(*member.target, level + 1);
    const bool isPossible = std::none_of(choices.begin(), choices.end(), [](const auto& c) { return c.ways.empty(); });
    for (size_t way = 0; isPossible && way < 2; ++way) {
      KxFacts facts;
      for (const Choice& choice : choices) KxFacts_Add(facts, choice.ways[std::min(way, choice.ways.size() - 1)]);
      facts = KxFacts_Document(std::move(facts));
      facts.erase("drives");  // stand with the target alone
      add(std::move(facts));
    }
  }
  return ways;
}

namespace {

bool IsProcessAsked(const std::optional<SkxTextTest>& arguments, const std::optional<SkxParentTest>& parent) {
  return arguments.has_value() || parent.has_value();
}

}  // namespace

/// The conditions that a body has, whichever these are.
template <class Body>
void CkxCandidates::AddConditions(const Body& body, const KxWString& usualName, Choices& choices,
                                  unsigned level) const {
  const auto add = [&](const char* condition, KxWays ways) {
    if (ways.size() > kMaxWays) ways.resize(kMaxWays);
    choices.push_back({condition, std::move(ways)});
  };
  if constexpr (requires { body.fileName; }) {
    if (body.fileName) add(kFileNameCondition, KxFacts_FileName(*body.fileName, usualName));
  }
  if constexpr (requires { body.location; }) {
    if (body.location) add(kLocationCondition, KxFacts_Location(*body.location));
  }
  if constexpr (requires { body.fileVersion; }) {
    if (body.fileVersion) add("fileVersion", KxFacts_Version(*body.fileVersion, "fileVersion"));
  }
  if constexpr (requires { body.productVersion; }) {
    const char* const object = std::is_same_v<Body, SkxMsiTarget> ? "msi" : "versionInfo";
    if (body.productVersion)
      add("productVersion", KxFacts_NamedVersion(*body.productVersion, object, "ProductVersion"));
  }
  if constexpr (requires { body.versionFields; }) {
    for (const auto& field : body.versionFields.value_or(KxElements<SkxVersionFieldTest>())) {
      add("versionFields", field ? KxFacts_NamedText(*field, "versionInfo") : KxWays());
    }
  }
  if constexpr (requires { body.installerProperties; }) {
    for (const auto& property : body.installerProperties.value_or(KxElements<SkxInstallerPropertyTest>())) {
      add("installerProperties", property ? KxFacts_NamedText(*property, "msi") : KxWays());
    }
  }
  if constexpr (requires { body.owners; }) {
    if (body.owners) add("owners", KxFacts_Owners(*body.owners));
  }
  if constexpr (requires { body.publishers; }) {
    if (body.publishers) add("publishers", KxFacts_Publishers(*body.publishers));
  }
  if constexpr (requires { body.arguments; }) {
    if (body.arguments) add("arguments", KxFacts_Text(*body.arguments, "~arguments"));
  }
  if constexpr (requires { body.serviceName; }) {
    if (body.serviceName) add("serviceName", KxWays{KxFacts{{"services", KxText_ToUtf8(*body.serviceName)}}});
  }
  if constexpr (requires { body.parentProcess; }) {
    if (body.parentProcess) add("parentProcess", Parents(*body.parentProcess, level));
  }
  if constexpr (requires { body.origin; }) {
    if (body.origin) add("origin", KxFacts_Origin(*body.origin));
  }
  if constexpr (requires { body.classId; }) {
    if (body.classId) add("classId", KxFacts_Text(*body.classId, "classId"));
  }
  if constexpr (requires { body.sourceAddress; }) {
    if (body.sourceAddress) add("sourceAddress", KxFacts_Text(*body.sourceAddress, "sourceAddress"));
  }
}

CkxCandidates::Choices CkxCandidates::ChoicesOf(const SkxTargetModel& target, unsigned level) const {
  const EkxPolicyTarget type = KxTargetKind_Of(target.body).type;
  const KxFacts typed = {{"targetType", static_cast<uint32_t>(type)}};
  const Usual* const usual = UsualOf(type);
  const KxWays fileOrProcess = {{{"kind", "file"}}, {{"kind", "process"}}};
  Choices choices;
  std::visit(
      [&](const auto& body) {
        using Body = std::decay_t<decltype(body)>;
        AddConditions(body, KxText_FromUtf8(usual != nullptr ? usual->name : "witness.exe").value(), choices, level);
        const auto kind = [&](KxWays ways) { choices.insert(choices.begin(), {"kind", std::move(ways)}); };
        if constexpr (std::is_same_v<Body, SkxExeTarget>) {
          const bool isProcess = IsProcessAsked(body.arguments, body.parentProcess) || body.serviceName.has_value();
          kind(isProcess ? KxWays{{{"kind", "process"}}} : fileOrProcess);
        } else if constexpr (requires { body.parentProcess; }) {
          bool isCarried = body.parentProcess.has_value();
          if constexpr (requires { body.arguments; }) isCarried = IsProcessAsked(body.arguments, body.parentProcess);
          const KxFacts carried = {{"kind", "process"}, {"~carrier", usual->carrier}};
          kind(isCarried ? KxWays{carried} : KxWays{{{"kind", "file"}}, carried});
        } else if constexpr (std::is_same_v<Body, SkxUrlTarget>) {
          const SkxTextTest any = {KXW("https://example.com/"), false, 1};
          KxWays requests;
          for (KxFacts& facts : KxFacts_Text(body.url && !body.url->pattern.empty() ? *body.url : any, "url")) {
            facts["kind"] = 2;
            requests.push_back({{"kind", "elevator"}, {"request", std::move(facts)}});
          }
          choices.push_back({"url", std::move(requests)});
        } else if constexpr (std::is_same_v<Body, SkxAdminTaskTarget>) {
          choices.push_back({"task", KxFacts_AdminTask(body.task)});
        } else if constexpr (std::is_same_v<Body, SkxActiveXTarget>) {
          kind({{{"kind", "activex"}}});
        } else if constexpr (std::is_same_v<Body, SkxComTarget>) {
          kind({{{"kind", "uaccom"}}});
        } else if constexpr (std::is_same_v<Body, SkxAppPackageTarget>) {
          kind({{{"kind", "file"}}});
          choices.push_back({"appPackage", KxFacts_Package(body)});
        } else if constexpr (std::is_same_v<Body, SkxExcludeTarget>) {
          kind(fileOrProcess);
          const bool isScoped = !body.users.empty() && body.users != KXW("KxNoUsers");
          if (isScoped) choices.push_back({"users", KxFacts_UserScope(body.users)});
        } else if constexpr (std::is_same_v<Body, SkxDllTarget>) {
          kind({{{"kind", "file"}}});
        } else {
          choices.push_back({"kind", {}});  // such targets are about access; no launch is one
        }
      },
      target.body);

  const auto isAsked = [&](const std::string& condition) {
    return std::any_of(choices.begin(), choices.end(),
                       [&](const Choice& choice) { return choice.condition == condition; });
  };
  const bool isRequest = type == EkxPolicyTarget::Url || type == EkxPolicyTarget::AdminTask;
  if (isRequest) return choices;
  std::vector<std::pair<std::string, KxWays>> free = {
      {kFileNameCondition, WaysOfNames(usual != nullptr ? usual->name : "witness.exe")},
      {kLocationCondition, Folders()}};
  AddUnasked(free);
  if (usual != nullptr) free.push_back({"targetType", {typed}});
  for (auto& [condition, ways] : free) {
    if (!isAsked(condition)) choices.push_back({condition, std::move(ways)});
  }
  return choices;
}

std::vector<std::string> CkxCandidates::ForEach(const SkxPolicyModel& policy, size_t most, const Visit& visit) const {
  std::vector<std::string> unbuilt;
  const KxWays users = UsersOf(policy.id);
  size_t visited = 0;
  bool goesOn = true;

  const auto tryAll = [&](const Choices& choices) {
    size_t ofTarget = 0;
    const auto hand = [&](const std::vector<size_t>& picks) {
      if (visited == most || ofTarget == kMaxOfTarget || !goesOn) return;
      KxFacts facts;
      for (size_t i = 0; i < choices.size(); ++i) KxFacts_Add(facts, choices[i].ways[picks[i]]);
      ++visited;
      ++ofTarget;
      goesOn = visit(KxFacts_Document(std::move(facts)));
    };
    std::vector<size_t> picks(choices.size(), 0);
    hand(picks);
    for (size_t i = 0; i < choices.size(); ++i) {
      for (picks[i] = 1; picks[i] < choices[i].ways.size(); ++picks[i]) hand(picks);
      picks[i] = 0;
    }
    for (size_t i = 0; i < choices.size(); ++i) {
      for (size_t j = i + 1; j < choices.size(); ++j) {
        for (picks[i] = 1; picks[i] < choices[i].ways.size(); ++picks[i]) {
          for (picks[j] = 1; picks[j] < choices[j].ways.size(); ++picks[j]) hand(picks);
          picks[j] = 0;
        }
        picks[i] = 0;
      }
    }
  };

  if (policy.targets.empty()) {
    tryAll({{"kind", {{{"kind", "file"}}, {{"kind", "process"}}, {{"kind", "elevator"}}, {{"kind", "uaccom"}}}},
            {kFileNameCondition, WaysOfNames("witness.exe")},
            {kLocationCondition, Folders()},
            {"user", users}});
    return unbuilt;
  }
  Expansion targets;
  Expand(policy.targets, "", 0, targets);
  for (const Found& found : targets.found) {
    Choices choices = ChoicesOf(*found.target, 0);
    const bool isScoped =
        std::any_of(choices.begin(), choices.end(), [](const auto& c) { return c.condition == "users"; });
    const bool isForAll = std::find(users.begin(), users.end(), KxFacts::object()) != users.end();
    if (!isScoped || !isForAll) choices.push_back({"user", users});
    const auto empty = std::find_if(choices.begin(), choices.end(), [](const Choice& c) { return c.ways.empty(); });
    if (empty != choices.end()) {
      unbuilt.push_back(found.place + ": nothing that its " + empty->condition + " accepts was found");
    } else {
      tryAll(choices);
    }
  }
  return unbuilt;
}

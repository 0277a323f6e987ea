// Policies that are told to be out of reach are; which ones are told.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include <algorithm>
#include <random>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/lint/lint.h"
#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/section_source.h"

namespace {

/// "2 unreachable", "3 no-users" ...
std::vector<std::string> FindingsOf(const SkxPolicyImage& image) {
  std::vector<std::string> lines;
  for (const SkxFinding& finding : KxLint_Image(image)) {
    lines.push_back(std::to_string(finding.policyId.value_or(0)) + " " + finding.rule);
  }
  return lines;
}

/// Policies that block, with ids from 1, unless they say otherwise.
std::string Document(std::vector<std::string> policies, const std::string& rest = "") {
  std::string text = R"({"policies": [)";
  for (size_t i = 0; i < policies.size(); ++i) {
    const bool saysAction = policies[i].find("\"action\"") != std::string::npos;
    text += (i == 0 ? "" : ", ") + std::string(R"({"name": "P", "id": )") + std::to_string(i + 1) +
            (saysAction ? "" : R"(, "action": "block")") + ", " + policies[i] + "}";
  }
  return text + "]" + rest + "}";
}

const std::string kA = R"({"type": "executable", "fileName": "a.exe"})";
const std::string kB = R"({"type": "executable", "fileName": "b.exe"})";
const std::string kAInX = R"({"type": "executable", "fileName": "a.exe", "location": "C:\\x"})";
const std::string kAInY = R"({"type": "executable", "fileName": "a.exe", "location": "C:\\y"})";
const std::string kUrl = R"({"type": "url", "url": "https://*"})";
const std::string kTask = R"({"type": "administrativeTask", "task": 1})";
const std::string kKey = R"({"type": "registryKey", "root": "HKLM", "keyPath": "x", "accessMask": 1})";
const std::string kByShell = R"({"type": "executable", "fileName": "a.exe", "parentProcess": {"includedGroup": "G"}})";

std::string Targets(const std::string& targets) { return R"("targets": [)" + targets + "]"; }
std::string Acting(const std::string& action, const std::string& targets) {
  return R"("action": ")" + action + "\", " + Targets(targets);
}
std::string Link(const std::string& group) { return R"({"type": "applicationGroup", "group": ")" + group + "\"}"; }
std::string Groups(const std::vector<std::pair<std::string, std::string>>& groups) {
  std::string text;
  for (const auto& [name, targets] : groups) {
    text += (text.empty() ? "" : ", ") + std::string(R"({"name": ")") + name + "\", " + Targets(targets) + "}";
  }
  return R"(, "applicationGroups": [)" + text + "]";
}
/// Groups 1 to `count`, each linking to the next; the last has the target a.exe.
std::string Chain(int count) {
  std::vector<std::pair<std::string, std::string>> groups;
  for (int i = 1; i <= count; ++i)
    groups.emplace_back(std::to_string(i), i == count ? kA : Link(std::to_string(i + 1)));
  return Groups(groups);
}
std::string ExclusionFor(const std::string& users) {
  return R"({"type": "exclude", "fileName": "a", "users": ")" + users + "\"}";
}
std::string Users(const std::string& rows) { return R"(, "applicable": {)" + rows + "}"; }

struct ReachCase {
  const char* name;
  std::string document;
  std::vector<std::string> findings;
};

std::vector<ReachCase> ReachCases() {
  const std::string a = Targets(kA);
  const std::string b = Targets(kB);
  const std::string u = Targets(kUrl);
  const std::string none = Targets("");
  const std::vector<std::string> second = {"2 unreachable"};
  return {
      {"the same target", Document({a, a}), second},
      {"one that asks for more", Document({a, Targets(kAInX)}), second},
      {"one that asks for less", Document({Targets(kAInX), a}), {}},
      {"one that asks for something else", Document({Targets(kAInX), Targets(kAInY)}), {}},
      {"one that asks for nothing", Document({Targets(R"({"type": "executable"})"), a, u}), second},
      {"another type", Document({a, Targets(R"({"type": "dll", "fileName": "a.exe"})")}), {}},
      {"what comes of a match does not count", Document({Targets(R"({"type": "executable", "inheritable": true})"), a}),
       second},
      {"one of two", Document({a, Targets(kA + "," + kB)}), {}},
      {"both, by two policies", Document({b, a, Targets(kA + "," + kB)}), {"3 unreachable"}},
      {"what nobody before it is taken for", Document({a, a, a}), {"2 unreachable", "3 unreachable"}},

      {"a group",
       Document({Targets(Link("G")), a, b}, Groups({{"G", kA + "," + kB}})),
       {"2 unreachable", "3 unreachable"}},
      {"a part of a group", Document({a, Targets(Link("G"))}, Groups({{"G", kA + "," + kB}})), {}},
      {"the whole of a group", Document({a, b, Targets(Link("G"))}, Groups({{"G", kA + "," + kB}})), {"3 unreachable"}},
      {"as deep as groups nest", Document({Targets(Link("1")), a}, Chain(8)), second},
      {"deeper", Document({Targets(Link("1")), a}, Chain(9)), {"1 group-nesting", "1 no-targets"}},
      {"a parent, as deep", Document({Targets(kByShell), Targets(kByShell)}, Groups({{"G", kB}})), second},
      {"a parent, asked for from inside a group",
       Document({Targets(Link("H")), Targets(kByShell)}, Groups({{"G", kB}, {"H", kByShell}})),
       {}},
      {"a parent's depth, where the first does not ask",
       Document({Targets(Link("H")), Targets(kByShell)}, Groups({{"G", kB}, {"H", kA}})), second},

      {"not active", Document({R"("active": false, )" + a, a}), {}},
      {"not active itself", Document({a, R"("active": false, )" + a}), {}},
      {"actions that decide nothing",
       Document({Acting("softwareDistributor", kA), Acting("developerApplication", kA), a,
                 Acting("softwareDistributor", kA)}),
       {}},
      {"security, which matches no launch", Document({Targets(kKey)}), {"1 no-targets"}},
      {"no targets", Document({none}), {"1 no-targets"}},

      {"an exclusion", Document({Acting("exclude", kA), a}), second},
      {"an exclusion from something else", Document({R"("excludeType": 1, )" + Acting("exclude", kA), a}), {}},
      {"an exclusion of requests, which have no path", Document({Acting("exclude", kUrl), u}), {"1 no-targets"}},
      {"an exclusion of a task",
       Document({Acting("exclude", kTask), Targets(kTask), Targets(kTask)}),
       {"3 unreachable"}},
      {"an exclusion for some users",
       Document({Targets(ExclusionFor("D:(A;;RC;;;BA)")), Targets(ExclusionFor("")),
                 Targets(ExclusionFor("D:(A;;RC;;;SY)"))}),
       {"3 unreachable"}},

      {"trust in everything", Document({Acting("elevateOnDemand", ""), a, u, Targets(kTask)}), second},
      {"trust is not for requests", Document({Acting("elevateOnDemand", kUrl), u}), {"1 no-targets"}},
      {"trust in some", Document({Acting("elevateOnDemand", kA), a, b}), second},
      {"events of everything",
       Document({Acting("runAndCollectEvents", ""), a, u, Targets(kTask), Acting("elevateOnDemand", "")}),
       {"2 unreachable", "3 unreachable", "4 unreachable", "5 unreachable"}},
      {"trust, then events", Document({Acting("elevateOnDemand", ""), Acting("runAndCollectEvents", "")}), {}},
      {"requests and the rest by two",
       Document({Acting("elevateOnDemand", ""), Acting("runAndCollectEvents", ""), Targets(kTask)}),
       {"3 unreachable"}},
      {"a link to nothing is a target",
       Document({Acting("elevateOnDemand", Link("G")), a}, Groups({{"G", ""}})),
       {"1 no-targets"}},

      {"fewer users before", Document({a, a}, Users(R"("*": [1, 2], "S-1-5-18": [2])")), {}},
      {"more users before", Document({a, a}, Users(R"("*": [1, 2], "S-1-5-18": [1])")), second},
      {"other users before", Document({a, a}, Users(R"("*": [1], "S-1-5-18": [2])")), {}},
      {"nobody", Document({a, a}, Users(R"("*": [2])")), {"1 no-users"}},
      {"some users by one, the others by another, which is not looked into",
       Document({Targets(kAInX), a, Targets(kAInX)}, Users(R"("*": [1, 3], "S-1-5-18": [2, 3])")),
       {}},
  };
}

TEST(LintReach, TellsWhatIsOutOfReach) {
  for (const ReachCase& test : ReachCases()) {
    SCOPED_TRACE(test.name);
    SkxPublication publication;
    SkxDocumentError error;
    const SkxDocumentText document = {"d", test.document};
    ASSERT_TRUE(KxPolicyDocument_Read({&document, 1}, publication, error)) << error.Text() << "\n" << test.document;
    EXPECT_EQ(FindingsOf(KxEncode_Image(publication)), test.findings) << test.document;
  }
}

// ---- whatever is told: a policy that is out of reach never decides

/// Publications of few things, so that targets often take what others take.
class SmallPublication {
 public:
  explicit SmallPublication(uint32_t seed) : _random(seed) {}

  SkxPublication Make() {
    SkxPublication publication;
    for (unsigned char i = 1; i <= 3; ++i) publication.groups.push_back({{KXW('g')}, KxTest_Id(i), Targets(2)});
    for (uint32_t id = 1; id <= 6; ++id) publication.policies.push_back(Policy(id));
    if (Below(2) == 0) return publication;
    for (const char* const user : {"*", "S-1-5-18"}) {
      std::vector<uint32_t>& row = publication.applicable[user];
      for (uint32_t id = 1; id <= 6; ++id) {
        if (Below(4) != 0) row.push_back(id);
      }
    }
    return publication;
  }

 private:
  uint32_t Below(uint32_t bound) { return static_cast<uint32_t>(_random() % bound); }

  SkxPolicyModel Policy(uint32_t id) {
    static constexpr EkxPolicyAction kActions[] = {EkxPolicyAction::Run,        EkxPolicyAction::Block,
                                                   EkxPolicyAction::Trust,      EkxPolicyAction::RunAndCollectEvents,
                                                   EkxPolicyAction::Exclude,    EkxPolicyAction::Elevate,
                                                   EkxPolicyAction::SetSecurity};
    SkxPolicyModel policy;
    policy.action = kActions[Below(std::size(kActions))];
    policy.id = id;
    policy.active = Below(8) != 0;
    policy.params = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.action)->params();
    if (auto* const exclude = std::get_if<SkxExcludeParams>(&policy.params)) exclude->excludeType = Below(4) == 0;
    policy.targets = Targets(3);
    return policy;
  }

  std::vector<SkxTargetModel> Targets(uint32_t most) {
    std::vector<SkxTargetModel> targets;
    for (uint32_t count = Below(most + 1); count != 0; --count) targets.push_back({KxTest_Id(9), Body()});
    return targets;
  }

  SkxTargetBody Body() {
    switch (Below(6)) {
      case 0:
        return SkxGroupLink{Group()};
      case 1:
        return SkxUrlTarget{Below(2) == 0 ? std::nullopt : std::optional<SkxTextTest>({KXW("https://*"), false, 4})};
      case 2:
        return SkxExcludeTarget{Location(), FileName(), {}};
      case 3:
        return SkxAdminTaskTarget{1};
      default:
        break;
    }
    SkxExeTarget exe;
    exe.location = Location();
    exe.fileName = FileName();
    if (Below(4) == 0) exe.parentProcess = SkxParentTest{Group(), true, {}, false};
    if (Below(8) == 0) exe.parentProcess = SkxParentTest{{}, false, Group(), true};
    return exe;
  }

  GUID Group() { return KxTest_Id(static_cast<unsigned char>(1 + Below(4))); }  // of which one is not there
  std::optional<SkxFileNameTest> FileName() {
    static constexpr KxWStringView kNames[] = {KXW("a.exe"), KXW("b.exe")};
    if (Below(3) == 0) return std::nullopt;
    return SkxFileNameTest{KxWString(kNames[Below(2)]), 1, {}, {}, -1};
  }
  std::optional<SkxLocationTest> Location() {
    if (Below(3) != 0) return std::nullopt;
    return SkxLocationTest{KXW("C:\\x"), false, {}};
  }

  std::mt19937 _random;
};

/// Files, processes of other processes, a request: all that the targets above tell apart.
std::vector<CkxTargetInfoPtr> AllThings() {
  std::vector<CkxTargetInfoPtr> things;
  things.emplace_back(new CkxTargetInfoElevator(CkxTargetInfoElevator::kUrlRequest, KXW("https://x"), nullptr));
  const KxWStringView paths[] = {KXW("C:\\x\\a.exe"), KXW("C:\\x\\b.exe"), KXW("C:\\y\\a.exe"), KXW("C:\\y\\b.exe")};
  for (const KxWStringView path : paths) {
    const SkxFileFacts file = KxTest_FileAt(path);
    things.emplace_back(new CkxTargetInfoFile(file, nullptr));
    for (const KxWStringView parent : paths) {
      auto* const process = new CkxTargetInfoProcess(file, {}, nullptr);
      things.emplace_back(process);
      process->SetParent(CkxTargetInfoPtr(new CkxTargetInfoProcess(KxTest_FileAt(parent), {}, nullptr)));
    }
  }
  return things;
}

TEST(LintReach, NeverTellsOfOneThatDecides) {
  const std::vector<CkxTargetInfoPtr> things = AllThings();
  size_t told = 0;
  size_t decided = 0;
  for (uint32_t seed = 0; seed < 400; ++seed) {
    const SkxPublication publication = SmallPublication(seed).Make();
    const SkxPolicyImage image = KxEncode_Image(publication);
    std::vector<std::string> findings = FindingsOf(image);
    std::erase_if(findings, [](const std::string& line) { return line.ends_with(" missing-group"); });
    told += static_cast<size_t>(std::count_if(findings.begin(), findings.end(),
                                              [](const std::string& line) { return line.ends_with("unreachable"); }));

    CkxSectionSource source;
    source.PublishBytes(EkxPolicySection::Policies, *image.policies);
    source.PublishBytes(EkxPolicySection::AppGroups, *image.appGroups);
    const CkxPolicySourceScope scope(source);
    for (const char* const user : {"*", "S-1-5-18"}) {
      const auto row = publication.applicable.find(user);
      if (row != publication.applicable.end()) source.applicable = CkxApplicablePolicies(row->second);
      for (const CkxTargetInfoPtr& thing : things) {
        SkxTriggerPolicyShortInfo info;
        if (!CkxSharedPoliciesData::GetTargetPolicyAction(*thing, info)) continue;
        ++decided;
        for (const char* const rule : {" unreachable", " no-targets", " no-users"}) {
          const std::string line = std::to_string(info.PolicyId) + rule;
          ASSERT_EQ(std::count(findings.begin(), findings.end(), line), 0) << line << ", seed " << seed;
        }
      }
    }
  }
  EXPECT_GT(told, 200u);
  EXPECT_GT(decided, 1000u);
}

}  // namespace

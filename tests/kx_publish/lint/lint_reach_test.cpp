// Policies that are told to be out of reach are; which ones are told.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <random>

#include "Agent/engine/kx_publish/lint/lint.h"
#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Agent/engine/kx_publish/witness/witness.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/policy_documents.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/section_source.h"

namespace {

using nlohmann::json;

/// "2 unreachable", "3 no-users" ...
std::vector<std::string> FindingsOf(const SkxPolicyImage& image) {
  std::vector<std::string> lines;
  for (const SkxFinding& finding : KxLint_Image(image)) {
    lines.push_back(std::to_string(finding.policyId.value_or(0)) + " " + finding.rule);
  }
  return lines;
}

TEST(LintReach, TellsWhatIsOutOfReach) {
  using Lines = std::vector<std::string>;
  KxTest_ForRows<std::string, json, json, Lines>("documents/reach.txt",
                                                 [](auto& name, auto& policies, auto& document, auto& findings) {
                                                   SCOPED_TRACE(name);
                                                   for (size_t i = 0; i < policies.size(); ++i) {
                                                     json policy = {{"id", i + 1}, {"name", "P"}, {"action", "block"}};
                                                     policy.update(policies[i]);
                                                     document["policies"].push_back(policy);
                                                   }
                                                   EXPECT_EQ(FindingsOf(KxTest_Compile(document.dump())), findings);
                                                 });
}

// ---- whatever is told: a policy that is out of reach never decides

/// Publications of few things, so that targets often take what others take.
class SmallPublication {
 public:
  explicit SmallPublication(uint32_t seed) : _random(seed), _about(seed % 8) {}

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
    SkxExeTarget program;
    switch (_about) {
      case 0:
        program.fileName = FileName();
        return program;
      case 1:
        program.location = Location();
        return program;
      case 2:
        program.fileVersion = SkxVersionBounds{Version(), Version()};
        return program;
      case 3:
        program.publishers = {Publisher(), Publisher()};
        return program;
      default:
        return MixedBody();
    }
  }

  SkxTargetBody MixedBody() {
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
    if (Below(2) == 0) exe.location = Location();
    if (Below(3) != 0) exe.fileName = FileName();
    if (Below(8) == 0) exe.parentProcess = SkxParentTest{Group(), true, {}, false};
    if (Below(8) == 0) exe.parentProcess = SkxParentTest{{}, false, Group(), true};
    return exe;
  }

  GUID Group() { return KxTest_Id(static_cast<unsigned char>(1 + Below(4))); }  // of which one is not there
  SkxFileNameTest FileName() {
    static constexpr std::pair<KxWStringView, uint16_t> kNames[] = {
        {KXW("a.exe"), 1}, {KXW("B.EXE"), 1},  {KXW("a"), 2}, {KXW(".e"), 3},      {KXW("*.exe"), 4},
        {KXW("?.e*?"), 4}, {KXW("*?b*.*"), 4}, {KXW(""), 3},  {KXW("\\w+.exe"), 5}};
    const auto& [pattern, compareAs] = kNames[Below(std::size(kNames))];
    return SkxFileNameTest{KxWString(pattern), compareAs, {}, {}, -1};
  }
  SkxLocationTest Location() {
    static constexpr KxWStringView kFolders[] = {KXW("C:\\x"),    KXW("c:/X/"), KXW("C:\\x\\y"), KXW("C:\\x*"),
                                                 KXW("?:\\x\\*"), KXW("C:\\"),  KXW("*y?"),      KXW("C:\\*\\y\\")};
    return SkxLocationTest{KxWString(kFolders[Below(std::size(kFolders))]), Below(2) == 0, {}};
  }
  uint64_t Version() { return Below(3) == 0 ? SkxVersionBounds::kOpen : uint64_t{Below(4)} << 48; }
  std::optional<SkxPublisherTest> Publisher() {
    if (Below(2) == 0) return std::nullopt;
    static constexpr KxWStringView kPatterns[] = {KXW("One"), KXW("one"), KXW("o*")};
    const uint32_t which = Below(std::size(kPatterns));
    return SkxPublisherTest{{KxWString(kPatterns[which]), Below(2) == 0, uint16_t(which == 2 ? 4 : 1)}, Below(6) == 0};
  }

  std::mt19937 _random;
  const uint32_t _about;  // of some publications all targets ask for one property, so that many take what others do
};

/// Files, processes of other processes, a request: all that the targets above tell apart.
std::vector<CkxTargetInfoPtr> AllThings() {
  std::vector<CkxTargetInfoPtr> things;
  things.emplace_back(new CkxTargetInfoElevator(CkxTargetInfoElevator::kUrlRequest, KXW("https://x"), nullptr));
  const KxWStringView paths[] = {KXW("C:\\x\\a.exe"),    KXW("C:\\X\\b.exe"),       KXW("C:\\y\\A.exe"),
                                 KXW("C:\\x\\y\\b.EXE"), KXW("D:/x/a.exe"),         KXW("C:\\x\\Y\\.exe"),
                                 KXW("C:\\ab.exe"),      KXW("C:\\x\\y\\z\\a.exe"), KXW("C:\\xy\\ab.e.exe")};
  const KxWStringView signers[] = {KXW(""), KXW("One"), KXW("ONE"), KXW("ox")};
  for (const KxWStringView path : paths) {
    for (const KxWStringView signer : signers) {
      for (const char* const version : {"", "0.0", "1.5", "3.0"}) {
        SkxFileFacts file = KxTest_FileAt(path);
        file.targetType = static_cast<uint32_t>(EkxPolicyTarget::Executable);
        if (!signer.empty()) file.signers = {{KxWString(signer), EkxPublisherStatus::Valid}};
        if (*version != 0) file.fileVersion = KxText_FromUtf8(version);
        things.emplace_back(new CkxTargetInfoFile(file, nullptr));
      }
    }
    for (const KxWStringView parent : paths) {
      auto* const process = new CkxTargetInfoProcess(KxTest_FileAt(path), {}, nullptr);
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
  for (uint32_t seed = 0; seed < 600; ++seed) {
    const SkxPublication publication = SmallPublication(seed).Make();
    const SkxPolicyImage image = KxEncode_Image(publication);
    std::vector<std::string> findings = FindingsOf(image);
    std::erase_if(findings, [](const std::string& line) { return line.ends_with(" missing-group"); });
    told += static_cast<size_t>(std::count_if(findings.begin(), findings.end(),
                                              [](const std::string& line) { return line.ends_with("unreachable"); }));

    const CkxWitnesses witnesses(image, publication.applicable);
    for (size_t i = 0; seed < 60 && i < witnesses.Policies().size(); ++i) {
      const SkxWitness witness = witnesses.Of(i);
      const std::string line = std::to_string(witness.policyId) + " unreachable";
      ASSERT_FALSE(witness.found == EkxWitness::Found && std::count(findings.begin(), findings.end(), line) != 0)
          << line << ", seed " << seed << ": " << witness.document;
    }

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

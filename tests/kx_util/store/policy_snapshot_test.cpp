// A snapshot answers what the evaluation of its publication answers: the outcome, all bytes of the answer, and the
// fault, over publications, descriptions, damage and lists of applicable policies made at random.
#include <gtest/gtest.h>
#include <kx_util/policy_snapshot.h>

#include "tests/support/random_policies.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"
#include "tests/support/temp_folder.h"

namespace {

SkxTracedAnswer LookedUp(const CkxPolicySnapshot& snapshot, const CkxApplicablePolicies& applicable,
                         const CkxTargetInfo& target) {
  return KxTest_Traced([&](SkxTriggerPolicyShortInfo& info, EkxEvaluationOutcome& outcome) {
    snapshot.Evaluate(target, applicable, info, outcome);
  });
}

/// Apart from the trace: a snapshot tells of records that cannot be read when it is prepared.
bool IsSameAnswer(const SkxTracedAnswer& a, const SkxTracedAnswer& b) {
  return a.outcome == b.outcome && a.fault == b.fault && std::memcmp(&a.info, &b.info, sizeof(a.info)) == 0;
}

TEST(PolicySnapshot, AnswersAsTheEvaluationDoes) {
  CkxRecordedMachine machine({{KXW('C'), EkxDriveType::Fixed}, {KXW('D'), EkxDriveType::Cdrom}});
  machine.shares = {{KXW('Z'), KXW("\\\\srv\\share")}};
  const CkxMachineFactsScope drives(machine);
  size_t applied = 0;
  size_t faulted = 0;
  size_t evaluations = 0;
  for (uint32_t seed = 1; seed <= 4000; ++seed) {
    SCOPED_TRACE(seed);
    CkxRandomThings things(seed, seed % 2 == 0 ? EkxRandomDemands::Few : EkxRandomDemands::Some);
    SkxPolicyImage image = KxEncode_Image(things.Publication());
    if (seed % 3 == 0) things.Damage(*image.policies);
    if (seed % 4 == 0) things.Damage(*image.appGroups);
    CkxSectionSource source;
    source.PublishBytes(EkxPolicySection::Policies, *std::move(image.policies));
    source.PublishBytes(EkxPolicySection::AppGroups, *std::move(image.appGroups));
    source.applicable = things.Applicable();
    EkxEvaluationFault fault = EkxEvaluationFault::OutOfMemory;
    const auto snapshot = CkxPolicySnapshot::Prepare(source, fault);
    ASSERT_NE(snapshot, nullptr);
    ASSERT_EQ(fault, EkxEvaluationFault::None);
    const CkxPolicySourceScope scope(source);
    for (int i = 0; i < 4; ++i, ++evaluations) {
      const CkxTargetInfoPtr target = things.Description();
      const SkxTracedAnswer lookedUp = LookedUp(*snapshot, *source.applicable, *target);
      const SkxTracedAnswer walked = KxTest_Walked(*target);
      ASSERT_EQ(lookedUp.outcome, walked.outcome);
      ASSERT_EQ(uint32_t{lookedUp.info.PolicyId}, uint32_t{walked.info.PolicyId});
      ASSERT_TRUE(IsSameAnswer(lookedUp, walked));
      applied += walked.outcome == EkxEvaluationOutcome::PolicyApplies;
      faulted += walked.fault != EkxEvaluationFault::None;
    }
  }
  EXPECT_GT(applied, evaluations / 20);  // else the things would be too random to mean much
  EXPECT_GT(faulted, evaluations / 100);
}

SkxTextTest DemandedText(EkxStrCompareAs compareAs, const WCHAR* pattern) {
  SkxTextTest test;
  test.pattern = pattern;
  test.compareAs = static_cast<uint16_t>(compareAs);
  return test;
}

SkxFileNameTest DemandedName(EkxStrCompareAs compareAs, const WCHAR* pattern, const WCHAR* hash = KXW("")) {
  SkxFileNameTest test;
  test.pattern = pattern;
  test.compareAs = static_cast<uint16_t>(compareAs);
  test.hash = hash;
  test.hashAlgorithm = test.hash.empty() ? KXW("") : KXW("sha1");
  return test;
}

SkxPublisherTest DemandedPublisher(const WCHAR* pattern) {
  SkxPublisherTest test;
  test.pattern = pattern;
  return test;
}

SkxVersionFieldTest DemandedField(const WCHAR* name, const WCHAR* pattern) {
  SkxVersionFieldTest test;
  test.name = name;
  test.pattern = pattern;
  return test;
}

struct DemandCase {
  const char* name;
  void (*demand)(SkxExeTarget& exe);
  bool isMet;
};

/// Each demands one thing, met or missed by little, of the process of `AProcess`.
constexpr DemandCase kDemandCases[] = {
    {"name", [](SkxExeTarget& exe) { exe.fileName = DemandedName(EkxStrCompareAs::StrEquals, KXW("TÖOL-64.exe")); },
     true},
    {"other name",
     [](SkxExeTarget& exe) { exe.fileName = DemandedName(EkxStrCompareAs::StrEquals, KXW("töol-64.ex")); }, false},
    {"wildcard name",
     [](SkxExeTarget& exe) { exe.fileName = DemandedName(EkxStrCompareAs::StrWildcard, KXW("t?OL-*.EXE")); }, true},
    {"short pieces",
     [](SkxExeTarget& exe) { exe.fileName = DemandedName(EkxStrCompareAs::StrWildcard, KXW("*ol-?4.*")); }, true},
    {"begin of name",
     [](SkxExeTarget& exe) { exe.fileName = DemandedName(EkxStrCompareAs::StrStartsWith, KXW("töol")); }, true},
    {"part of name", [](SkxExeTarget& exe) { exe.fileName = DemandedName(EkxStrCompareAs::StrContains, KXW("-64.E")); },
     true},
    {"expression",
     [](SkxExeTarget& exe) { exe.fileName = DemandedName(EkxStrCompareAs::StrRegExp, KXW("t.ol-[0-9]+\\.exe")); },
     true},
    {"hash",
     [](SkxExeTarget& exe) { exe.fileName = DemandedName(EkxStrCompareAs::StrWildcard, KXW("*"), KXW("SHA1##aB01")); },
     true},
    {"other hash",
     [](SkxExeTarget& exe) { exe.fileName = DemandedName(EkxStrCompareAs::StrWildcard, KXW("*"), KXW("SHA1##AB02")); },
     false},
    {"folder",
     [](SkxExeTarget& exe) {
       exe.location = SkxLocationTest{KXW("c:/Apps//Tools/"), false, {}};
     },
     true},
    {"folder above",
     [](SkxExeTarget& exe) {
       exe.location = SkxLocationTest{KXW("C:\\aPPs\\x\\.."), true, {}};
     },
     true},
    {"folder above alone",
     [](SkxExeTarget& exe) {
       exe.location = SkxLocationTest{KXW("C:\\Apps"), false, {}};
     },
     false},
    {"drive",
     [](SkxExeTarget& exe) {
       exe.location = SkxLocationTest{KXW("c:"), true, {}};
     },
     true},
    {"folder wildcard",
     [](SkxExeTarget& exe) {
       exe.location = SkxLocationTest{KXW("C:\\*\\Tools\\"), false, {}};
     },
     true},
    {"part of arguments",
     [](SkxExeTarget& exe) { exe.arguments = DemandedText(EkxStrCompareAs::StrContains, KXW("/SILENT")); }, true},
    {"wildcard arguments",
     [](SkxExeTarget& exe) { exe.arguments = DemandedText(EkxStrCompareAs::StrWildcard, KXW("*silent* b")); }, true},
    {"equal arguments",
     [](SkxExeTarget& exe) { exe.arguments = DemandedText(EkxStrCompareAs::StrEquals, KXW("\"/silent\"  b")); }, true},
    {"program's own part of the command line",
     [](SkxExeTarget& exe) { exe.arguments = DemandedText(EkxStrCompareAs::StrContains, KXW("Tools")); }, false},
    {"publisher",
     [](SkxExeTarget& exe) {
       exe.publishers =
           KxElements<SkxPublisherTest>{DemandedPublisher(KXW("Nobody Ltd.")), DemandedPublisher(KXW("vendor inc."))};
     },
     true},
    {"other publisher",
     [](SkxExeTarget& exe) { exe.publishers = KxElements<SkxPublisherTest>{DemandedPublisher(KXW("Vendor Inc"))}; },
     false},
    {"version field",
     [](SkxExeTarget& exe) {
       exe.versionFields = KxElements<SkxVersionFieldTest>{DemandedField(KXW("productname"), KXW("The Tool"))};
     },
     true},
    {"version field that is not there",
     [](SkxExeTarget& exe) {
       exe.versionFields = KxElements<SkxVersionFieldTest>{DemandedField(KXW("CompanyName"), KXW("The Tool"))};
     },
     false},
};

CkxTargetInfoProcess AProcess(const WCHAR* path = KXW("\\\\?\\C:\\Apps\\Other\\..\\Tools\\ töol-64.exe ")) {
  SkxFileFacts file;
  file.path = path;
  file.hashes = {{KXW("SHA1"), KXW("ab01")}};
  file.signers = {{KXW(" Vendor Inc."), EkxPublisherStatus::Valid}};
  file.versionInfo = {{KXW("ProductName"), KXW("the tool ")}};
  SkxProcessFacts process;
  process.commandLine = KXW("\"\\\\?\\C:\\Apps\\Other\\..\\Tools\\ töol-64.exe \" /Silent b");
  return CkxTargetInfoProcess(std::move(file), std::move(process), nullptr);
}

/// Among many policies that demand something of the same sort, as the target of each and by way of a group.
TEST(PolicySnapshot, FindsAPolicyByWhateverItDemands) {
  CkxRecordedMachine machine({{KXW('C'), EkxDriveType::Fixed}});
  const CkxMachineFactsScope drives(machine);
  for (const DemandCase& row : kDemandCases) {
    for (const bool byGroup : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (byGroup ? ", by a group" : ""));
      SkxPublication publication;
      const auto add = [&](uint32_t id, SkxTargetBody body) {
        SkxPolicyModel policy;
        policy.id = id;
        policy.action = EkxPolicyAction::Block;
        policy.targets.emplace_back().body = std::move(body);
        publication.policies.push_back(std::move(policy));
      };
      for (uint32_t id = 1; id <= 20; ++id) {
        const KxWString number = KXW("none-") + *KxText_FromUtf8(std::to_string(id));
        SkxExeTarget named;
        named.fileName = DemandedName(EkxStrCompareAs::StrEquals, number.c_str());
        add(id, std::move(named));
        SkxExeTarget published;
        published.publishers = KxElements<SkxPublisherTest>{DemandedPublisher(number.c_str())};
        add(id, std::move(published));
      }
      SkxExeTarget wanted;
      row.demand(wanted);
      const GUID group = {7, 7, 7, {}};
      if (byGroup) {
        publication.groups.push_back({{}, group, std::vector<SkxTargetModel>(1)});
        publication.groups[0].targets[0].body = wanted;
        add(30, SkxGroupLink{group});
      } else {
        add(30, wanted);
      }
      SkxPolicyImage image = KxEncode_Image(publication);
      CkxSectionSource source;
      source.PublishBytes(EkxPolicySection::Policies, *std::move(image.policies));
      if (byGroup) source.PublishBytes(EkxPolicySection::AppGroups, *std::move(image.appGroups));
      EkxEvaluationFault fault = EkxEvaluationFault::None;
      const auto snapshot = CkxPolicySnapshot::Prepare(source, fault);
      ASSERT_NE(snapshot, nullptr);
      const CkxPolicySourceScope scope(source);
      const CkxTargetInfoProcess process = AProcess();
      const SkxTracedAnswer lookedUp = LookedUp(*snapshot, CkxApplicablePolicies::All(), process);
      EXPECT_TRUE(IsSameAnswer(lookedUp, KxTest_Walked(process)));
      EXPECT_EQ(uint32_t{lookedUp.info.PolicyId}, row.isMet ? 30u : 0u);
      const CkxTargetInfoProcess ofUnknownPath = AProcess(KXW(""));
      EXPECT_TRUE(
          IsSameAnswer(LookedUp(*snapshot, CkxApplicablePolicies::All(), ofUnknownPath), KxTest_Walked(ofUnknownPath)));
    }
  }
}

/// Of two policies that take any program, by way of a group, and of which the first one is for somebody else.
std::unique_ptr<CkxSectionSource> TwoPolicies() {
  SkxPublication publication;
  publication.groups.push_back({{}, {1, 1, 1, {}}, std::vector<SkxTargetModel>(1)});
  publication.groups[0].targets[0].body = SkxExeTarget();
  for (uint32_t id = 1; id <= 2; ++id) {
    SkxPolicyModel& policy = publication.policies.emplace_back();
    policy.id = id;
    policy.action = EkxPolicyAction::Block;
    policy.targets.emplace_back().body = SkxGroupLink{publication.groups[0].id};
  }
  SkxPolicyImage image = KxEncode_Image(publication);
  auto source = std::make_unique<CkxSectionSource>();
  source->PublishBytes(EkxPolicySection::Policies, *std::move(image.policies));
  source->PublishBytes(EkxPolicySection::AppGroups, *std::move(image.appGroups));
  return source;
}

TEST(PolicySnapshot, OutlivesItsSource) {
  std::unique_ptr<CkxSectionSource> source = TwoPolicies();
  EkxEvaluationFault fault = EkxEvaluationFault::OutOfMemory;
  const auto snapshot = CkxPolicySnapshot::Prepare(*source, fault);
  ASSERT_NE(snapshot, nullptr);
  EXPECT_EQ(snapshot->PolicyCount(), 2u);
  source.reset();
  const SkxTracedAnswer answer = LookedUp(*snapshot, CkxApplicablePolicies({2}), AProcess());
  EXPECT_EQ(uint32_t{answer.info.PolicyId}, 2u);
}

TEST(PolicySnapshot, TellsWhoeverWatchesWhatTheEvaluationTells) {
  const std::unique_ptr<CkxSectionSource> source = TwoPolicies();
  source->applicable = CkxApplicablePolicies({2});
  EkxEvaluationFault fault = EkxEvaluationFault::None;
  const auto snapshot = CkxPolicySnapshot::Prepare(*source, fault);
  ASSERT_NE(snapshot, nullptr);
  const CkxPolicySourceScope scope(*source);
  const CkxTargetInfoProcess process = AProcess();
  for (const bool steps : {true, false}) {
    CkxRecordingObserver walk;
    CkxRecordingObserver lookUp;
    walk.wantsSteps = lookUp.wantsSteps = steps;
    {
      const CkxEvaluationObserverScope watching(walk);
      KxTest_Walked(process);
    }
    const CkxEvaluationObserverScope watching(lookUp);
    LookedUp(*snapshot, *source->applicable, process);
    EXPECT_EQ(lookUp.lines, walk.lines);
    EXPECT_FALSE(lookUp.lines.empty());
  }
}

class OneStateSource : public IkxPolicySource {
 public:
  explicit OneStateSource(EkxSectionState state) : _state(state) {}
  EkxSectionState OpenSection(EkxPolicySection, SkxSectionBytes&) const override { return _state; }
  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void*) const override { return nullptr; }

 private:
  const EkxSectionState _state;
};

TEST(PolicySnapshot, IsNoneOfWhatIsRefused) {
  EkxEvaluationFault fault = EkxEvaluationFault::None;
  EXPECT_EQ(CkxPolicySnapshot::Prepare(OneStateSource(EkxSectionState::Refused), fault), nullptr);
  EXPECT_EQ(fault, EkxEvaluationFault::SectionRefused);
  const auto nothing = CkxPolicySnapshot::Prepare(OneStateSource(EkxSectionState::NotPublished), fault);
  ASSERT_NE(nothing, nullptr);
  EXPECT_EQ(fault, EkxEvaluationFault::None);
  EXPECT_EQ(LookedUp(*nothing, CkxApplicablePolicies::All(), AProcess()).outcome,
            EkxEvaluationOutcome::NothingPublished);
}

/// What of a live file is asked for is asked for by both or by neither: the file changes once its path is known, so
/// that each other fact is a fault.
TEST(PolicySnapshot, AsksNoFactOfALiveFileThatTheEvaluationDoesNot) {
  const CkxTempFolder folder;
  const auto describe = [&] {
    const KxWString path = folder.Write("app.exe", "as it was");
    auto file = std::make_unique<CkxTargetInfoFile>(path.c_str(), nullptr);
    EXPECT_NE(file->GetPath(), nullptr);
    folder.Write("app.exe", "as it is, and no longer as it was");
    return file;
  };
  size_t applied = 0;
  size_t faulted = 0;
  constexpr uint32_t kSeeds = 400;
  for (uint32_t seed = 1; seed <= kSeeds; ++seed) {
    SCOPED_TRACE(seed);
    CkxRandomThings things(seed, EkxRandomDemands::Few);
    SkxPublication publication = things.Publication();
    for (SkxPolicyModel& policy : publication.policies) {
      if (policy.targets.empty()) policy.active = false;  // they would apply before anything is asked
    }
    SkxPolicyImage image = KxEncode_Image(publication);
    CkxSectionSource source;
    source.PublishBytes(EkxPolicySection::Policies, *std::move(image.policies));
    source.PublishBytes(EkxPolicySection::AppGroups, *std::move(image.appGroups));
    source.applicable = things.Applicable();
    EkxEvaluationFault fault = EkxEvaluationFault::OutOfMemory;
    const auto snapshot = CkxPolicySnapshot::Prepare(source, fault);
    ASSERT_NE(snapshot, nullptr);
    const CkxPolicySourceScope scope(source);
    const SkxTracedAnswer walked = KxTest_Walked(*describe());
    const SkxTracedAnswer lookedUp = LookedUp(*snapshot, *source.applicable, *describe());
    ASSERT_EQ(lookedUp.fault, walked.fault);
    ASSERT_TRUE(IsSameAnswer(lookedUp, walked));
    applied += walked.outcome == EkxEvaluationOutcome::PolicyApplies;
    faulted += walked.fault == EkxEvaluationFault::TargetChanged;
  }
  EXPECT_GT(applied, kSeeds / 20);
  EXPECT_GT(faulted, kSeeds / 20);
  EXPECT_LT(applied + faulted, kSeeds);
}

}  // namespace

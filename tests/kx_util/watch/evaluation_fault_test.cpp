// What could not be asked is never taken for "nothing applies": hosts are told which it was, and no answer is made of
// two publications.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_process.h>

#include <functional>

#include "tests/support/recorded_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"
#include "tests/support/target_records.h"

namespace {

using namespace kx_test_records;
using Ids = std::vector<uint32_t>;

constexpr uint32_t kBlock = 2;
constexpr uint32_t kElevate = 3;

CkxRecordBytes App(std::u16string_view name = u"app.exe") { return Exe(1, {{kFileName, FileName(name)}}); }

KxBytes Policy(uint32_t id, uint32_t action, const CkxRecordBytes& target = App()) {
  return NamedPolicy(action, id, true).U32(0).U8(1).Append(List({target})).Bytes();
}

CkxRecordBytes LinkToGroup9() { return CkxRecordBytes().U32(0x22232427).SizeHere().Id(3).U32(2).Id(9); }

/// A source that is asked while a publisher and an agent go on with their work.
class LiveSource : public IkxPolicySource {
 public:
  struct Publication {
    CkxSectionSource sections;
    std::optional<Ids> ids = Ids{1, 2, 11};  // none: the agent does not answer
  };

  /// In force first, and after each `changes`-th answer of the agent the other.
  Publication publications[2];
  int changes = 0;
  EkxSectionState policies = EkxSectionState::Open;
  EkxSectionState groups = EkxSectionState::Open;

  const Publication& Current() const { return publications[_current]; }
  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    return Open(Current(), which, section);
  }
  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void*) const override {
    if (_changed < changes) {
      ++_changed;
      _current = 1 - _current;
    }
    return Current().ids ? std::make_shared<const CkxApplicablePolicies>(*Current().ids) : nullptr;
  }
  EkxSectionState Pin(std::unique_ptr<const IkxPolicySource>& pinned) const override {
    if (policies == EkxSectionState::Open) pinned = std::make_unique<Pinned>(*this);
    return policies;
  }
  int Changed() const { return _changed; }

 private:
  class Pinned : public IkxPolicySource {
   public:
    explicit Pinned(const LiveSource& live) : _live(live), _publication(live.Current()) {}
    EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
      return _live.Open(_publication, which, section);
    }
    std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* token) const override {
      return _live.ApplicablePolicies(token);
    }
    bool IsCurrent() const override { return &_live.Current() == &_publication; }

   private:
    const LiveSource& _live;
    const Publication& _publication;
  };

  EkxSectionState Open(const Publication& publication, EkxPolicySection which, SkxSectionBytes& section) const {
    if (which == EkxPolicySection::AppGroups && groups != EkxSectionState::Open) return groups;
    return publication.sections.OpenSection(which, section);
  }

  mutable int _current = 0;
  mutable int _changed = 0;
};

struct Told {
  uint32_t id = 0;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::PolicyApplies;
  EkxEvaluationFault fault = EkxEvaluationFault::None;
  std::vector<std::string> lines;
};

Told Evaluate(const IkxPolicySource& source) {
  const CkxPolicySourceScope scope(source);
  CkxRecordingObserver observer;
  observer.wantsSteps = false;
  const CkxEvaluationObserverScope watching(observer);
  const CkxTargetInfoProcess target(KxTest_FileAt(KXW("C:\\Tools\\app.exe")), SkxProcessFacts(), nullptr);
  SkxTriggerPolicyShortInfo info;
  Told told;
  CkxSharedPoliciesData::GetTargetPolicyAction(target, info, told.outcome);
  told.fault = KxUtil_LastFault();
  told.id = info.PolicyId;
  for (const std::string& line : observer.lines) {
    if (line.starts_with("fault ")) told.lines.push_back(line.substr(6));
  }
  return told;
}

bool Enumerate(const IkxPolicySource& source) {
  const CkxPolicySourceScope scope(source);
  return CkxSharedPoliciesData::EnumPolicies([](const CkxShBufPolicy&, void*) { return true; }, nullptr, true, nullptr);
}

TEST(EvaluationFault, HostsCanTellWhatCouldNotBeAsked) {
  using Outcome = EkxEvaluationOutcome;
  using Fault = EkxEvaluationFault;
  const struct {
    const char* name;
    std::function<void(LiveSource& source)> prepare;
    Outcome outcome;
    Fault fault;
    const char* line;  // "": nothing is told
    bool enumerated;
  } cases[] = {
      {"a policy applies", [](LiveSource&) {}, Outcome::PolicyApplies, Fault::None, "", true},
      {"none applies",
       [](LiveSource& source) {
         source.publications[0].sections.Publish(EkxPolicySection::Policies, {Policy(1, kBlock, App(u"other.exe"))});
       },
       Outcome::NoPolicyApplies, Fault::None, "", true},
      {"nothing published", [](LiveSource& source) { source.policies = EkxSectionState::NotPublished; },
       Outcome::NothingPublished, Fault::None, "", true},
      {"a section is refused", [](LiveSource& source) { source.policies = EkxSectionState::Refused; },
       Outcome::NotAnswered, Fault::SectionRefused, "ERROR: Failed to open shared memory", true},
      {"the agent is silent", [](LiveSource& source) { source.publications[0].ids.reset(); }, Outcome::NotAnswered,
       Fault::UserUnknown, "Failed to get applicable policies for the user", false},
      {"the agent is silent, and nothing published",
       [](LiveSource& source) {
         source.publications[0].ids.reset();
         source.policies = EkxSectionState::NotPublished;
       },
       Outcome::NotAnswered, Fault::UserUnknown, "Failed to get applicable policies for the user", false},
      {"the user has no policies", [](LiveSource& source) { source.publications[0].ids = Ids(); },
       Outcome::NoPolicyApplies, Fault::None, "Failed to get applicable policies for the user", false},
      {"a damaged frame",
       [](LiveSource& source) {
         KxBytes damaged = Policy(1, kBlock);
         damaged[0] ^= 1;
         source.publications[0].sections.Publish(EkxPolicySection::Policies, {damaged, Policy(11, kElevate)});
       },
       Outcome::NotAnswered, Fault::Malformed, "ERROR: Error in policy header signature.", false},
      {"publications without rest", [](LiveSource& source) { source.changes = 1000; }, Outcome::NotAnswered,
       Fault::PublicationUnstable, "ERROR: The publication changes faster than it can be read", false},
      {"the groups of a block are refused, and an elevation follows",
       [](LiveSource& source) {
         source.publications[0].sections.Publish(EkxPolicySection::Policies,
                                                 {Policy(1, kBlock, LinkToGroup9()), Policy(11, kElevate)});
         source.groups = EkxSectionState::Refused;
       },
       Outcome::NotAnswered, Fault::SectionRefused, "ERROR: Failed to open shared memory", true},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    LiveSource source;
    for (auto& publication : source.publications) {
      publication.sections.Publish(EkxPolicySection::Policies, {Policy(1, kBlock)});
    }
    row.prepare(source);
    const Told told = Evaluate(source);
    EXPECT_EQ(told.outcome, row.outcome);
    EXPECT_EQ(told.fault, row.fault);
    const std::string line = row.line;
    EXPECT_EQ(told.lines, line.empty() ? std::vector<std::string>() : std::vector<std::string>{line});
    EXPECT_EQ(told.id != 0, row.outcome == Outcome::PolicyApplies);
    EXPECT_EQ(source.Changed() == 0 && Enumerate(source), row.enumerated);
  }
}

/// Both publications block, and elevate everything else: only ids of one with sections of the other elevate.
TEST(EvaluationFault, IdsAndSectionsAreOfOnePublication) {
  for (int changes = 0; changes < 20; ++changes) {
    LiveSource source;
    for (const uint32_t id : {1U, 2U}) {
      LiveSource::Publication& publication = source.publications[id - 1];
      publication.sections.Publish(EkxPolicySection::Policies, {Policy(id, kBlock), Policy(11, kElevate)});
      publication.ids = Ids{id, 11};
    }
    source.changes = changes;
    const Told told = Evaluate(source);
    EXPECT_EQ(told.outcome, EkxEvaluationOutcome::PolicyApplies);
    EXPECT_EQ(told.id, changes % 2 == 0 ? 1U : 2U) << changes;
    EXPECT_EQ(source.Changed(), changes);
  }
}

TEST(EvaluationFault, WorkHasALimitWhoseEndIsNoAnswer) {
  LiveSource source;
  std::vector<KxBytes> policies;
  for (int i = 0; i < 100; ++i) policies.push_back(Policy(1, kBlock, App(u"other.exe")));
  policies.push_back(Policy(11, kElevate));
  source.publications[0].sections.Publish(EkxPolicySection::Policies, policies);

  const uint64_t limit = KxUtil_WorkLimit();
  KxUtil_SetWorkLimit(1000);
  const Told given = Evaluate(source);
  KxUtil_SetWorkLimit(limit);
  EXPECT_EQ(given.outcome, EkxEvaluationOutcome::NotAnswered);
  EXPECT_EQ(given.fault, EkxEvaluationFault::WorkLimit);
  EXPECT_EQ(Evaluate(source).id, 11U);
}

}  // namespace

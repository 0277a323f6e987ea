// What could not be asked is never taken for "nothing applies": hosts are told which it was, and no answer is made of
// two publications.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_process.h>

#include <map>
#include <nlohmann/json.hpp>

#include "tests/support/data_rows.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"
#include "tests/support/target_records.h"

namespace {

using namespace kx_test_records;
using Ids = std::vector<uint32_t>;

constexpr uint32_t kBlocking = 2;
constexpr uint32_t kElevate = 3;

CkxRecordBytes AppRecord(std::u16string_view name = u"app.exe") { return Exe(1, {{kFileName, FileName(name)}}); }

KxBytes PolicyOf(uint32_t id, uint32_t action, const CkxRecordBytes& target = AppRecord()) {
  return NamedPolicy(action, id, true).U32(0).U8(1).Append(List({target})).Bytes();
}

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
  KxBytes damaged = PolicyOf(1, kBlocking);
  damaged[0] ^= 1;
  const std::map<std::string, KxBytes> records = {{"block", PolicyOf(1, kBlocking)},
                                                  {"block another", PolicyOf(1, kBlocking, AppRecord(u"other.exe"))},
                                                  {"block a group", PolicyOf(1, kBlocking, Link(3, 9))},
                                                  {"damaged", damaged},
                                                  {"elevate", PolicyOf(11, kElevate)}};
  const std::map<std::string, EkxSectionState> states = {{"open", EkxSectionState::Open},
                                                         {"not published", EkxSectionState::NotPublished},
                                                         {"refused", EkxSectionState::Refused}};
  for (const CkxDataRow& row : KxTest_Rows("faults.txt")) {
    SCOPED_TRACE(row.At());
    row.RequireCount(10);
    const nlohmann::json& fields = row.Fields();
    LiveSource source;
    source.policies = states.at(fields[1]);
    source.groups = states.at(fields[2]);
    source.changes = fields[5];
    std::vector<KxBytes> published;
    published.reserve(fields[3].size());
    for (const std::string name : fields[3]) published.push_back(records.at(name));
    for (auto& publication : source.publications) {
      publication.sections.Publish(EkxPolicySection::Policies, published);
      publication.ids = fields[4].is_null() ? std::nullopt : std::optional<Ids>(fields[4].get<Ids>());
    }
    const Told told = Evaluate(source);
    EXPECT_EQ(static_cast<unsigned>(told.outcome), fields[6]);
    EXPECT_EQ(static_cast<unsigned>(told.fault), fields[7]);
    EXPECT_EQ(told.lines, fields[8].get<std::vector<std::string>>());
    EXPECT_EQ(told.id != 0, told.outcome == EkxEvaluationOutcome::PolicyApplies);
    EXPECT_EQ(source.Changed() == 0 && Enumerate(source), fields[9]);
  }
}

/// Both publications block, and elevate everything else: only ids of one with sections of the other elevate.
TEST(EvaluationFault, IdsAndSectionsAreOfOnePublication) {
  for (int changes = 0; changes < 20; ++changes) {
    LiveSource source;
    for (const uint32_t id : {1U, 2U}) {
      LiveSource::Publication& publication = source.publications[id - 1];
      publication.sections.Publish(EkxPolicySection::Policies, {PolicyOf(id, kBlocking), PolicyOf(11, kElevate)});
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
  for (int i = 0; i < 100; ++i) policies.push_back(PolicyOf(1, kBlocking, AppRecord(u"other.exe")));
  policies.push_back(PolicyOf(11, kElevate));
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

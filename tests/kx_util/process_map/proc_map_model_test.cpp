// The map against a plain list that does what the header says, over calls made up at random.
#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <random>

#include "tests/support/recorded_proc_map_system.h"
#include "tests/support/trace_capture.h"

namespace {

constexpr int kModelSteps = 1'000'000;

/// Two lists and nothing to find things by.
class ProcMapModel {
 public:
  using Records = std::list<CkxProcessData>;

  void Start(CkxProcessData data, int64_t now) {
    End(data.Pid, now);
    const auto parent = std::ranges::find(running, data.ParentPid, &CkxProcessData::Pid);
    if (parent != running.end() && parent->CreationTime <= data.CreationTime) {
      data.ParentCreationTime = parent->CreationTime;
      ++parent->ChildCount;
    }
    running.push_back(std::move(data));
  }

  bool End(uint32_t pid, int64_t now) {
    const auto record = std::ranges::find(running, pid, &CkxProcessData::Pid);
    if (record == running.end()) return false;
    CkxProcessData data = std::move(*record);
    running.erase(record);
    LowerParent(data);
    if (data.ChildCount == 0) return true;
    data.ExitTime = now;
    exited.push_back(std::move(data));
    return true;
  }

  /// Null when there is none.
  CkxProcessData* Find(uint32_t pid) {
    const auto record = std::ranges::find(running, pid, &CkxProcessData::Pid);
    return record != running.end() ? &*record : nullptr;
  }
  CkxProcessData* FindParent(uint32_t pid, int64_t creationTime) {
    if (pid == 0) return nullptr;
    if (creationTime == 0) return Find(pid);
    for (Records* const records : {&running, &exited}) {
      for (CkxProcessData& data : *records) {
        if (data.Pid == pid && data.CreationTime == creationTime) return &data;
      }
    }
    return nullptr;
  }

  Records running, exited;
  size_t complaints = 0;

 private:
  void LowerParent(const CkxProcessData& child) {
    if (child.ParentCreationTime == 0) return;
    bool isLowered = false;
    bool isInDoubt = false;
    for (Records* const records : {&running, &exited}) {
      for (auto record = records->begin(); record != records->end() && !isLowered; ++record) {
        if (record->Pid != child.ParentPid || record->CreationTime != child.ParentCreationTime) continue;
        if (record->ChildCount == 0) {
          isInDoubt = true;
          continue;
        }
        isLowered = true;
        if (--record->ChildCount == 0 && records == &exited) {
          exited.erase(record);
          break;
        }
      }
    }
    complaints += isInDoubt || !isLowered ? 1U : 0U;
  }
};

bool IsSame(const CkxProcessData& a, const CkxProcessData& b) {
  return a.Pid == b.Pid && a.ParentPid == b.ParentPid && a.CreationTime == b.CreationTime && a.ExitTime == b.ExitTime &&
         a.ParentCreationTime == b.ParentCreationTime && a.ChildCount == b.ChildCount && a.Path == b.Path &&
         a.ZeroTouchState == b.ZeroTouchState && a.RestrEventFlags == b.RestrEventFlags &&
         a.CachedProps == b.CachedProps && a.PolicyData.ShortInfo.PolicyId == b.PolicyData.ShortInfo.PolicyId;
}

/// The same calls to both, and the same answers from both.
class ProcMapTwins {
 public:
  void Step(std::mt19937& random) {
    const auto below = [&](uint32_t count) { return static_cast<uint32_t>(random() % count); };
    const uint32_t pid = below(16) + 1;
    now += below(8) == 0 ? 1 : 0;
    system.now = now;
    CkxProcessData* const known = model.Find(pid);
    switch (below(10)) {
      case 0:
      case 1: {
        CkxProcessData data;
        data.Pid = pid;
        data.ParentPid = below(18);                                // none, one of them, or one that never is
        data.CreationTime = std::max<int64_t>(1, now - below(8));  // events come late, and out of order
        data.Path = CkxUtilStr(KxWString(1 + below(30), KXW('p')));
        system.creationTime = data.CreationTime;
        EXPECT_TRUE(KxUtilProcMap_OnProcessStart(pid, data.ParentPid, 0, data.Path.View(), {}, {}, 0));
        model.Start(data, now);
        break;
      }
      case 2:
        EXPECT_EQ(KxUtilProcMap_OnProcessEnd(pid), model.End(pid, now));
        break;
      case 3:
        if (const uint32_t bits = 1U << below(32); KxUtilProcMap_AddZeroTouchState(pid, bits)) {
          ASSERT_NE(known, nullptr);
          known->ZeroTouchState |= bits;
        }
        break;
      case 4: {
        const uint32_t type = below(7);
        bool flag = true;
        const bool isFound =
            KxUtilProcMap_GetAndSetRestrEventFlag(pid, static_cast<EkxRestrictedAccessTargetType>(type), flag);
        ASSERT_EQ(isFound, known != nullptr && type < kKxRestrictedAccessTargetTypes);
        ASSERT_EQ(flag, isFound && known->RestrEventFlags[type] != 0);
        if (isFound) known->RestrEventFlags[type] = 1;
        break;
      }
      case 5:
        ChangeProp(pid, known, below(4), KxWString(1, static_cast<WCHAR>(KXW('a') + below(3))));
        break;
      case 6: {
        SkxProcessPolicyData policy;
        policy.ShortInfo.PolicyId = below(3);
        EXPECT_EQ(KxUtilProcMap_SetPolicyData(pid, policy), known != nullptr);
        if (known != nullptr) known->PolicyData = policy;
        break;
      }
      case 7: {
        SkxProcessFacts facts;
        facts.parentPid = below(17);
        facts.parentCreationTime = below(4) == 0 ? 0 : std::max<int64_t>(1, now - below(40));
        const CkxProcessData* const parent = model.FindParent(facts.parentPid, facts.parentCreationTime);
        CkxProcessData found;
        const CkxTargetInfoProcess target(SkxFileFacts(), std::move(facts), nullptr);
        ASSERT_EQ(KxUtilProcMap_FindParentProcessData(target, found), parent != nullptr);
        ASSERT_TRUE(parent == nullptr || IsSame(found, *parent));
        break;
      }
      default: {
        CkxProcessData found;
        ASSERT_EQ(KxUtilProcMap_FindProcessData(pid, found), known != nullptr);
        ASSERT_TRUE(known == nullptr || IsSame(found, *known));
      }
    }
  }

  /// Records that are kept, and their children.
  void CheckCounts() const {
    size_t counted = 0;
    size_t children = 0;
    for (const ProcMapModel::Records* const records : {&model.running, &model.exited}) {
      for (const CkxProcessData& data : *records) counted += data.ChildCount;
    }
    for (const CkxProcessData& data : model.running) children += data.ParentCreationTime != 0 ? 1U : 0U;
    ASSERT_EQ(counted, children) << "an ended process is kept for nobody, or one is lost that is needed";
    CkxUtilStr text;
    ASSERT_TRUE(KxUtilProcMap_GetDump(text));
    const std::string exited = " ** " + std::to_string(model.exited.size()) + " exited processes. **";
    ASSERT_NE(KxText_ToUtf8(text.View()).find(exited), std::string::npos) << exited;
  }

  CkxTestProcMapSystem system;
  ProcMapModel model;
  int64_t now = 1;

 private:
  static void ChangeProp(uint32_t pid, CkxProcessData* known, uint32_t how, const KxWString& name) {
    SkxProcessFacts facts;
    facts.pid = pid;
    const CkxTargetInfoProcess target(SkxFileFacts(), std::move(facts), nullptr);
    if (how == 0) {
      EXPECT_EQ(KxUtilProcMap_SetCachedProp(target, name, KXW("value")), known != nullptr);
      if (known != nullptr) known->CachedProps[name] = CkxUtilStr(KXW("value"));
    } else if (how == 1) {
      EXPECT_EQ(KxUtilProcMap_SetEmptyCachedProp(target, name), known != nullptr);
      if (known != nullptr) known->CachedProps[name] = std::nullopt;
    } else if (how == 2) {
      EXPECT_EQ(KxUtilProcMap_RemoveCachedProp(target, name), known != nullptr);
      if (known != nullptr) known->CachedProps.erase(name);
    } else {
      CkxUtilStr value;
      const EkxGetCachedPropRes result = KxUtilProcMap_GetCachedProp(target, name, value);
      if (known == nullptr) {
        ASSERT_EQ(result, EkxGetCachedPropRes::NoProcess);
      } else if (const auto prop = known->CachedProps.find(name); prop == known->CachedProps.end()) {
        ASSERT_EQ(result, EkxGetCachedPropRes::NotStored);
      } else {
        ASSERT_EQ(result, prop->second ? EkxGetCachedPropRes::Found : EkxGetCachedPropRes::FoundEmpty);
        ASSERT_EQ(value.IsEmpty(), !prop->second);
      }
    }
  }
};

TEST(ProcMapModel, AnswersAsTwoListsDo) {
  std::mt19937 random(20240611);
  ProcMapTwins twins;
  const CkxRecordedProcMap map(twins.system);
  const CkxProcMapScope scope(map);
  const CkxTraceCapture trace;
  for (int step = 0; step < kModelSteps && !HasFatalFailure() && !HasNonfatalFailure(); ++step) {
    twins.Step(random);
    if (step % 1000 == 999) twins.CheckCounts();
  }
  EXPECT_EQ(trace.Lines().size(), twins.model.complaints);
  EXPECT_GT(twins.model.complaints, 0u) << "none was told of twice";
}

}  // namespace

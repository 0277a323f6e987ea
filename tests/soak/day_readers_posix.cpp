#include "tests/soak/day_readers.h"

#include <kx_util/policy_snapshot.h>
#include <kx_util/shared_policies_data.h>

#include "Common_CPP/access_token/access_token.h"
#include "tests/soak/day_publications.h"
#include "tests/support/recorded_facts.h"

namespace {

CkxAccessToken Somebody() { return CkxAccessToken(*CkxSid::FromUtf8("S-1-5-21-1-2-3-4"), {}, false); }

std::string FaultText() { return std::string(KxUtil_FaultText(KxUtil_LastFault())); }

/// By the live sections and the agent; `isUnstable` where publications came too quickly, which is no answer.
std::string WalkOnce(const CkxTargetInfoFile& target, bool& isUnstable) {
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  if (CkxSharedPoliciesData::GetTargetPolicyAction(target, info, outcome)) return KxDay_FaultOf(info);
  isUnstable = KxUtil_LastFault() == EkxEvaluationFault::PublicationUnstable;
  return isUnstable ? "" : "a walk has no answer: " + FaultText();
}

}  // namespace

void CkxDayReaders::Start(size_t walkers, size_t preparers) {
  for (size_t i = 0; i < walkers; ++i) _threads.emplace_back([this] { Walk(); });
  for (size_t i = 0; i < preparers; ++i) _threads.emplace_back([this] { Prepare(); });
}

void CkxDayReaders::Stop() {
  _isOver = true;
  for (std::thread& thread : _threads) thread.join();
  _threads.clear();
}

void CkxDayReaders::Fail(const std::string& fault) {
  if (_isClaimed.exchange(true)) return;
  _fault = fault;
  _isWrong = true;
}

void CkxDayReaders::Walk() {
  CkxAccessToken user = Somebody();
  for (uint64_t i = 0; !_isOver && !_isWrong; ++i) {
    const bool isLive = i % 8 == 0;
    bool isUnstable = false;
    const std::string fault =
        isLive ? WalkOnce(CkxTargetInfoFile(_tool.c_str(), user.Handle()), isUnstable)
               : WalkOnce(CkxTargetInfoFile(KxTest_FileAt(KXW("C:\\tool.exe")), user.Handle()), isUnstable);
    if (!fault.empty()) return Fail(fault);
    if (isUnstable) ++_count.unstable;
    ++_count.walks;
    ++_count.evaluations;
  }
}

void CkxDayReaders::Prepare() {
  CkxAccessToken user = Somebody();
  while (!_isOver && !_isWrong) {
    const std::string fault = DecideByOnePublication(user.Handle());
    if (!fault.empty()) return Fail(fault);
  }
}

/// Until another one is in force. The ids that the agent tells are of this one if it still is behind the answer.
std::string CkxDayReaders::DecideByOnePublication(void* token) {
  constexpr int kDecisionsAtOnce = 64;
  std::unique_ptr<const IkxPolicySource> pinned;
  if (KxPolicySource_Current().Pin(pinned) != EkxSectionState::Open) return "what is in force cannot be opened";
  EkxEvaluationFault fault = EkxEvaluationFault::None;
  const auto snapshot = CkxPolicySnapshot::Prepare(*pinned, fault);
  if (snapshot == nullptr) return pinned->IsCurrent() ? "cannot be prepared: " + FaultText() : "";
  ++_count.prepared;
  const auto applicable = pinned->ApplicablePolicies(token);
  if (!pinned->IsCurrent()) return "";
  if (applicable == nullptr) return "the agent does not answer";

  uint32_t publication = 0;
  while (!_isOver && !_isWrong && pinned->IsCurrent()) {
    while (!_isOver && _count.evaluations >= _count.allowed) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    for (int i = 0; i < kDecisionsAtOnce; ++i, ++_count.evaluations) {
      const CkxTargetInfoFile target(KxTest_FileAt(KXW("C:\\tool.exe")), token);
      SkxTriggerPolicyShortInfo info;
      EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
      if (!snapshot->Evaluate(target, *applicable, info, outcome)) return "a snapshot has no answer: " + FaultText();
      std::string wrong = KxDay_FaultOf(info, publication);
      if (!wrong.empty()) return wrong;
      publication = info.PolicyTargetId.Data1;
    }
  }
  return "";
}

std::string KxDay_AskOnce(const KxWString& tool) {
  CkxAccessToken user = Somebody();
  bool isUnstable = false;
  return WalkOnce(CkxTargetInfoFile(tool.c_str(), user.Handle()), isUnstable);
}

// A whole image of hostile bytes: walked, looked up, and evaluated for a fixed target of each kind in every way, and
// with every step explained for the target of a document, which may have a user, parents and what it was started for.
//
//   offset 0: u16 bytes of the application-groups section, u16 bytes of the alerts section, u16 bytes of the document
//          6: the groups section, the alerts section, the document, the policies section
#include <kx_util/policy_snapshot.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/decision/decision.h"
#include "Agent/engine/kx_publish/decision/decision_json.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/byte_cursor.h"
#include "tests/support/recording_observer.h"
#include "tests/support/section_source.h"
#include "tools/kxpolicy/decision_text.h"

namespace {

SkxFileFacts File(const WCHAR* path) {
  SkxFileFacts file;
  file.path = path;
  file.size = 1000;
  file.hashes = {{KXW("SHA1"), KXW("00112233445566778899AABBCCDDEEFF00112233")}};
  file.signers = {{KXW("Vendor Inc."), EkxPublisherStatus::Valid}};
  file.fileVersion = KXW("1.2.3.4");
  file.versionInfo = {{KXW("ProductName"), KXW("App")}};
  file.msiProperties = {{KXW("ProductVersion"), KXW("1.2.3")}};
  file.appPackage = {KXW("Vendor.App"), KXW("1.2.3.4"), KXW("CN=Vendor"), {KXW("internetClient")}};
  return file;
}

struct SkxEvaluated {
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  EkxEvaluationFault fault = EkxEvaluationFault::None;

  bool operator==(const SkxEvaluated& other) const {
    return outcome == other.outcome && fault == other.fault && std::memcmp(&info, &other.info, sizeof(info)) == 0;
  }
};

template <class Judge>
SkxEvaluated Evaluated(Judge judge) {
  SkxEvaluated evaluated;
  judge(evaluated.info, evaluated.outcome);
  evaluated.fault = KxUtil_LastFault();
  return evaluated;
}

/// Watched or not, read anew or prepared: the first look at policies, which stands aside where somebody watches, and
/// the index of a snapshot change no answer. A snapshot may reach further before it costs too much.
void Evaluate(const CkxTargetInfo& target, const CkxPolicySnapshot* snapshot) {
  const auto walk = [&](SkxTriggerPolicyShortInfo& info, EkxEvaluationOutcome& outcome) {
    CkxSharedPoliciesData::GetTargetPolicyAction(target, info, outcome);
  };
  const SkxEvaluated walked = Evaluated(walk);
  const bool isTooMuch = walked.fault == EkxEvaluationFault::WorkLimit;
  if (snapshot != nullptr && !isTooMuch) {
    const auto lookUp = [&](SkxTriggerPolicyShortInfo& info, EkxEvaluationOutcome& outcome) {
      snapshot->Evaluate(target, CkxApplicablePolicies::All(), info, outcome);
    };
    if (!(Evaluated(lookUp) == walked)) std::abort();
  }
  CkxRecordingObserver observer;
  const CkxEvaluationObserverScope watching(observer);
  if (!(Evaluated(walk) == walked)) std::abort();
}

void EvaluateEachKind(const CkxPolicySnapshot* snapshot) {
  SkxProcessFacts process;
  process.commandLine = KXW("powershell.exe -File C:\\Tools\\run.ps1 /quiet");
  process.services = KXW("Spooler/Netlogon");
  const SkxServerFacts server = {KXW("{00000001-0000-0000-0000-000000000001}"), KXW("https://example.com/a.cab")};
  const WCHAR* const shell = KXW("C:\\Windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe");
  Evaluate(CkxTargetInfoProcess(File(shell), process, nullptr), snapshot);
  Evaluate(CkxTargetInfoFile(File(KXW("C:\\Program Files\\Vendor\\app.exe")), nullptr), snapshot);
  for (const auto type :
       {EkxPolicyTarget::Msi, EkxPolicyTarget::Msu, EkxPolicyTarget::Dll, EkxPolicyTarget::AppPackage}) {
    SkxFileFacts file = File(KXW("C:\\Temp\\setup.bin"));
    file.targetType = static_cast<uint32_t>(type);
    Evaluate(CkxTargetInfoFile(std::move(file), nullptr), snapshot);
  }
  Evaluate(CkxTargetInfoActiveX(File(KXW("C:\\Temp\\a.ocx")), server, nullptr), snapshot);
  Evaluate(CkxTargetInfoUacCOM(File(KXW("C:\\Temp\\a.dll")), server, nullptr), snapshot);
  Evaluate(CkxTargetInfoElevator(CkxTargetInfoElevator::kUrlRequest, KXW("https://example.com/x"), nullptr), snapshot);
}

/// Watching changes no answer, and the explanation of one that applies ends with it.
void Explain(std::string_view text) {
  try {
    const CkxTargetDocument document = CkxTargetDocument::Parse(text);
    const CkxImageJudge judge(KxPolicySource_Current(), EkxPrepare::Never);
    const SkxDecision plain = KxDecision_OfDocument(document, {}, judge);
    const SkxDecision explained = KxDecision_OfDocument(document, {EkxExplain::All}, judge);
    if (plain.matched != explained.matched || plain.error != explained.error) std::abort();
    const nlohmann::json answer = nlohmann::json::parse(KxDecision_ToJson(explained));
    if (explained.matched && answer["explain"].back()["outcome"] != "applies") std::abort();
    for (const char unit : KxDecision_ExplanationText(explained) + KxDecision_ToRow(explained, "target")) {
      if (static_cast<unsigned char>(unit) < ' ' && unit != '\n') std::abort();
    }
  } catch (const CkxDocumentFault&) {  // no document: the sections are looked at all the same
  }
}

/// Everything that a policy says of itself.
bool Show(const CkxShBufPolicy& policy, void*) {
  CkxUtilStr text;
  policy._AppendDebugMsg(text);
  for (uint32_t i = 0; i < policy.Alerts().Count(); ++i) {
    CkxShBufCustGuiBase* alert = nullptr;
    const SkxPolicyAlertLink link = policy.Alerts().GetAt(i);
    if (policy.GetAlert(link.trigger, link.type, alert)) alert->Release();
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  constexpr size_t kHeader = 3 * sizeof(uint16_t);
  if (size < kHeader) return 0;
  const unsigned char* part = data + kHeader;
  const auto take = [&](size_t which) {
    const auto wanted = KxBytes_Load<uint16_t>(data + which * sizeof(uint16_t));
    const unsigned char* const begin = part;
    part += std::min<size_t>(wanted, static_cast<size_t>(data + size - part));
    return KxBytes(begin, part);
  };
  CkxSectionSource source;
  source.PublishBytes(EkxPolicySection::AppGroups, take(0));
  source.PublishBytes(EkxPolicySection::Alerts, take(1));
  const KxBytes document = take(2);
  source.PublishBytes(EkxPolicySection::Policies, KxBytes(part, data + size));

  const CkxPolicySourceScope scope(source);
  CkxSharedPoliciesData::EnumPolicies(Show, nullptr, false, nullptr);
  EkxEvaluationFault fault = EkxEvaluationFault::None;
  const std::shared_ptr<const CkxPolicySnapshot> snapshot = CkxPolicySnapshot::Prepare(source, fault);
  EvaluateEachKind(snapshot.get());
  Explain({reinterpret_cast<const char*>(document.data()), document.size()});
  CkxShBufPolicy* policy = nullptr;
  if (CkxSharedPoliciesData::GetPolicyById(1, policy)) policy->Release();
  CkxShBufCustGuiDialog* dialog = nullptr;
  if (CkxSharedPoliciesData::GetCommonDialog(EkxAlertTrigger::ReplaceUacOfStandardUser, dialog, nullptr)) {
    dialog->Release();
  }
  return 0;
}

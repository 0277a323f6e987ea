#include "tools/kxpolicy/recorded_proc_map.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/nearest.h"
#include "Common_CPP/util/hex.h"
#include "tools/kxpolicy/refusal.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

// --- members of requests ---

uint32_t PidIn(CkxJsonObject& in) { return in.Required<uint32_t>("pid"); }

/// An absent text is as good as null.
KxWString TextIn(CkxJsonObject& in, const char* key) {
  const json* const value = in.Find(key);
  return value == nullptr || value->is_null() ? KxWString() : KxJson_As<KxWString>(*value, in.PointerTo(key));
}

template <class Number>
Number NumberIn(CkxJsonObject& in, const char* key) {
  Number number = 0;
  in.Optional(key, number);
  return number;
}

template <class Number>
std::optional<Number> NumberOrNull(CkxJsonObject& in, const char* key) {
  const json* const value = in.Find(key);
  if (value == nullptr || value->is_null()) return std::nullopt;
  return KxJson_As<Number>(*value, in.PointerTo(key));
}

SkxProcessPolicyData DataIn(CkxJsonObject& in) {
  SkxProcessPolicyData data;
  const std::optional<std::vector<unsigned char>> bytes = KxHex_ToBytes(in.Required<std::string>("data"));
  if (!bytes) throw CkxDocumentFault(in.PointerTo("data"), "is not hexadecimal");
  if (bytes->size() != sizeof(data)) throw CkxDocumentFault(in.PointerTo("data"), "must have 321 bytes");
  std::memcpy(static_cast<void*>(&data), bytes->data(), sizeof(data));
  return data;
}

EkxRestrictedAccessTargetType TypeIn(CkxJsonObject& in) {
  return static_cast<EkxRestrictedAccessTargetType>(in.Required<uint32_t>("type"));
}

EkxPublisherStatus StatusIn(CkxJsonObject& in) {
  const auto status = NumberIn<uint32_t>(in, "status");
  if (status > static_cast<uint32_t>(EkxPublisherStatus::Revoked)) {
    throw CkxDocumentFault(in.PointerTo("status"), "must be 0 to 8");
  }
  return static_cast<EkxPublisherStatus>(status);
}

CkxTargetInfoProcess TargetIn(CkxJsonObject& in) {
  SkxProcessFacts facts;
  facts.pid = PidIn(in);
  return CkxTargetInfoProcess(SkxFileFacts(), std::move(facts), nullptr);
}

// --- members of answers ---

ordered_json TextOut(const CkxUtilStr& text) {
  return text.IsEmpty() ? ordered_json() : ordered_json(KxText_ToUtf8(text.View()));
}

ordered_json DataOut(const SkxProcessPolicyData& data) {
  unsigned char bytes[sizeof(data)];
  std::memcpy(bytes, &data, sizeof(data));
  return KxHex_FromBytes(bytes);
}

ordered_json Done(bool isDone) { return {{"ok", isDone}}; }

bool IsKnown(EkxGetCachedPropRes result) {
  return result == EkxGetCachedPropRes::Found || result == EkxGetCachedPropRes::FoundEmpty;
}

/// With `facts` where something is known.
ordered_json Result(EkxGetCachedPropRes result, const ordered_json& facts) {
  ordered_json answer = {{"result", static_cast<uint32_t>(result)}};
  if (IsKnown(result)) answer.update(facts);
  return answer;
}

/// With `facts` where it was found.
ordered_json Found(bool isFound, const ordered_json& facts) {
  ordered_json answer = {{"found", isFound}};
  if (isFound) answer.update(facts);
  return answer;
}

ordered_json RecordOut(const CkxProcessData& data) {
  return {{"pid", data.Pid},
          {"sessionId", data.SessionId},
          {"parentPid", data.ParentPid},
          {"parentTid", data.ParentTid},
          {"parentPidReal", data.ParentPidReal},
          {"drvFlags", data.DrvFlags},
          {"path", TextOut(data.Path)},
          {"runPath", TextOut(data.RunPath)},
          {"cmdLine", TextOut(data.CmdLine)},
          {"parentSvcName", TextOut(data.ParentSvcName)},
          {"protectedFileName", TextOut(data.ProtectedFileName)},
          {"creationTime", data.CreationTime},
          {"exitTime", data.ExitTime},
          {"parentCreationTime", data.ParentCreationTime},
          {"childCount", data.ChildCount},
          {"zeroTouchState", data.ZeroTouchState},
          {"cachedPropCount", data.CachedPropCount()},
          {"emptyCachedPropCount", data.EmptyCachedPropCount()}};
}

// --- the operations ---

using System = CkxRecordedProcMapSystem;

ordered_json Start(CkxJsonObject& in, System& system) {
  const uint32_t pid = PidIn(in);
  System::Said said;
  said.creationTime = NumberOrNull<int64_t>(in, "creationTime");
  said.now = said.creationTime.value_or(0);
  system.Say(std::move(said));
  const auto parentPid = NumberIn<uint32_t>(in, "parentPid");
  const auto parentTid = NumberIn<uint32_t>(in, "parentTid");
  const KxWString path = TextIn(in, "path");
  const KxWString runPath = TextIn(in, "runPath");
  const KxWString cmdLine = TextIn(in, "cmdLine");
  const auto sessionId = NumberIn<uint32_t>(in, "sessionId");
  in.Finish();
  return Done(KxUtilProcMap_OnProcessStart(pid, parentPid, parentTid, path, runPath, cmdLine, sessionId));
}

ordered_json End(CkxJsonObject& in, System& system) {
  const uint32_t pid = PidIn(in);
  System::Said said;
  said.now = NumberIn<int64_t>(in, "time");
  system.Say(std::move(said));
  in.Finish();
  const CkxRefusal refusal;
  ordered_json answer = Done(KxUtilProcMap_OnProcessEnd(pid));
  if (!refusal.Text().empty()) answer["error"] = refusal.Text();
  return answer;
}

ordered_json UpdateParent(CkxJsonObject& in, System& system) {
  const uint32_t pid = PidIn(in);
  const auto parentPid = NumberIn<uint32_t>(in, "parentPid");
  const auto parentTid = NumberIn<uint32_t>(in, "parentTid");
  System::Said said;
  said.realParentPid = NumberOrNull<uint32_t>(in, "realParentPid");
  said.services = TextIn(in, "svcName");
  system.Say(std::move(said));
  in.Finish();
  return Done(KxUtilProcMap_UpdateParentInfo(pid, parentPid, parentTid));
}

ordered_json Find(CkxJsonObject& in, System&) {
  CkxProcessData data;
  const bool isFound = KxUtilProcMap_FindProcessData(PidIn(in), data);
  return Found(isFound, RecordOut(data));
}

ordered_json FindParent(CkxJsonObject& in, System&) {
  SkxProcessFacts facts;
  facts.parentPid = in.Required<uint32_t>("parentPid");
  facts.parentCreationTime = NumberOrNull<int64_t>(in, "parentCreationTime").value_or(0);
  const CkxTargetInfoProcess target(SkxFileFacts(), std::move(facts), nullptr);
  CkxProcessData data;
  const bool isFound = KxUtilProcMap_FindParentProcessData(target, data);
  return Found(isFound, RecordOut(data));
}

ordered_json SetPolicy(CkxJsonObject& in, System&) {
  const uint32_t pid = PidIn(in);
  const SkxProcessPolicyData data = DataIn(in);
  in.Finish();
  return Done(KxUtilProcMap_SetPolicyData(pid, data));
}

ordered_json GetPolicy(CkxJsonObject& in, System&) {
  SkxProcessPolicyData data;
  const EkxGetCachedPropRes result = KxUtilProcMap_GetPolicyData(PidIn(in), data);
  return Result(result, {{"data", DataOut(data)}});
}

ordered_json AddState(CkxJsonObject& in, System&) {
  const uint32_t pid = PidIn(in);
  const auto bits = in.Required<uint32_t>("bits");
  in.Finish();
  return Done(KxUtilProcMap_AddZeroTouchState(pid, bits));
}

ordered_json GetState(CkxJsonObject& in, System&) {
  uint32_t state = 0;
  const bool isFound = KxUtilProcMap_GetZeroTouchState(PidIn(in), state);
  return Found(isFound, {{"state", state}});
}

ordered_json GetPath(CkxJsonObject& in, System&) {
  CkxUtilStr path;
  const EkxGetCachedPropRes result = KxUtilProcMap_GetImagePath(PidIn(in), path);
  return Result(result, {{"path", TextOut(path)}});
}

ordered_json GetPathAndCmdLine(CkxJsonObject& in, System&) {
  CkxUtilStr path;
  CkxUtilStr cmdLine;
  const EkxGetCachedPropRes result = KxUtilProcMap_GetImagePathAndCmdLine(PidIn(in), path, cmdLine);
  return Result(result, {{"path", TextOut(path)}, {"cmdLine", TextOut(cmdLine)}});
}

ordered_json GetService(CkxJsonObject& in, System&) {
  CkxUtilStr service;
  const bool isFound = KxUtilProcMap_GetParentSvcName(PidIn(in), service);
  return Found(isFound, {{"svcName", TextOut(service)}});
}

template <auto Set>
ordered_json SetFlagOf(CkxJsonObject& in, System&) {
  const uint32_t pid = PidIn(in);
  const EkxRestrictedAccessTargetType type = TypeIn(in);
  in.Finish();
  return Done(Set(pid, type));
}

/// Both those that look and those that set it too.
template <auto Get>
ordered_json FlagOf(CkxJsonObject& in, System&) {
  const uint32_t pid = PidIn(in);
  const EkxRestrictedAccessTargetType type = TypeIn(in);
  in.Finish();
  bool flag = false;
  const bool isFound = Get(pid, type, flag);
  return {{"found", isFound}, {"flag", flag}};
}

ordered_json MarkSetup(CkxJsonObject& in, System&) {
  const uint32_t pid = PidIn(in);
  in.Finish();
  return Done(KxUtilProcMap_MarkAsSetupExe(pid));
}

ordered_json GetSetup(CkxJsonObject& in, System&) {
  bool isSetup = false;
  const bool isFound = KxUtilProcMap_IsSetupExe(PidIn(in), isSetup);
  return {{"found", isFound}, {"setup", isSetup}};
}

/// Without a file there is nothing to keep, and what was kept is let go.
ordered_json Protect(CkxJsonObject& in, System&) {
  const uint32_t pid = PidIn(in);
  const KxWString fileName = TextIn(in, "fileName");
  in.Finish();
  return Done(KxUtilProcMap_SetProctionHandle(pid, fileName.empty() ? nullptr : System::Handle(), fileName));
}

ordered_json IsProtected(CkxJsonObject& in, System&) {
  const uint32_t pid = PidIn(in);
  const KxWString fileName = TextIn(in, "fileName");
  return {{"protected", KxUtilProcMap_FileIsProtected(pid, fileName)}};
}

ordered_json GetProp(CkxJsonObject& in, System&) {
  const CkxTargetInfoProcess target = TargetIn(in);
  CkxUtilStr value;
  const EkxGetCachedPropRes result = KxUtilProcMap_GetCachedProp(target, in.Required<KxWString>("name"), value);
  return Result(result, {{"value", TextOut(value)}});
}

ordered_json SetProp(CkxJsonObject& in, System&) {
  const CkxTargetInfoProcess target = TargetIn(in);
  const auto name = in.Required<KxWString>("name");
  const KxWString value = TextIn(in, "value");
  in.Finish();
  return Done(KxUtilProcMap_SetCachedProp(target, name, value));
}

/// Those that need the name alone.
template <auto Change>
ordered_json ChangeProp(CkxJsonObject& in, System&) {
  const CkxTargetInfoProcess target = TargetIn(in);
  const auto name = in.Required<KxWString>("name");
  in.Finish();
  return Done(Change(target, name));
}

ordered_json SetSigner(CkxJsonObject& in, System&) {
  const uint32_t pid = PidIn(in);
  const KxWString publisher = TextIn(in, "publisher");
  const EkxPublisherStatus status = StatusIn(in);
  in.Finish();
  return Done(KxUtilProcMap_SetPublisher(pid, publisher, status));
}

ordered_json GetSigner(CkxJsonObject& in, System&) {
  CkxUtilStr publisher;
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
  const EkxGetCachedPropRes result = KxUtilProcMap_GetPublisher(PidIn(in), publisher, status);
  return Result(result, {{"publisher", TextOut(publisher)}, {"status", static_cast<uint32_t>(status)}});
}

ordered_json GetParams(CkxJsonObject& in, System&) {
  SkxProcParamsForNetAccess params;
  const bool isFound = KxUtilProcMap_GetProcParamsForNetAccess(PidIn(in), params);
  return Found(isFound, {{"path", TextOut(params.Path)},
                         {"data", params.PolicyData ? DataOut(*params.PolicyData) : ordered_json()},
                         {"parentSvcName", TextOut(params.ParentSvcName)},
                         {"publisher", TextOut(params.Publisher)},
                         {"status", static_cast<uint32_t>(params.PublisherStatus)}});
}

ordered_json GetDump(CkxJsonObject&, System&) {
  CkxUtilStr text;
  if (!KxUtilProcMap_GetDump(text)) return Done(false);
  return {{"text", KxText_ToUtf8(text.View())}};
}

struct RecordedOperation {
  std::string_view name;
  ordered_json (*answer)(CkxJsonObject& in, System& system);
};

constexpr RecordedOperation kRecordedOperations[] = {
    {"OnProcessStart", Start},
    {"OnProcessEnd", End},
    {"UpdateParentInfo", UpdateParent},
    {"FindProcessData", Find},
    {"FindParentProcessData", FindParent},
    {"SetPolicyData", SetPolicy},
    {"GetPolicyData", GetPolicy},
    {"AddZeroTouchState", AddState},
    {"GetZeroTouchState", GetState},
    {"GetImagePath", GetPath},
    {"GetImagePathAndCmdLine", GetPathAndCmdLine},
    {"GetParentSvcName", GetService},
    {"SetRestrDlgFlag", SetFlagOf<KxUtilProcMap_SetRestrDlgFlag>},
    {"GetRestrDlgFlag", FlagOf<KxUtilProcMap_GetRestrDlgFlag>},
    {"GetAndSetRestrDlgFlag", FlagOf<KxUtilProcMap_GetAndSetRestrDlgFlag>},
    {"SetRestrEventFlag", SetFlagOf<KxUtilProcMap_SetRestrEventFlag>},
    {"GetRestrEventFlag", FlagOf<KxUtilProcMap_GetRestrEventFlag>},
    {"GetAndSetRestrEventFlag", FlagOf<KxUtilProcMap_GetAndSetRestrEventFlag>},
    {"SetRestrEvent", SetFlagOf<KxUtilProcMap_SetRestrEventFlag>},
    {"GetRestrEvent", FlagOf<KxUtilProcMap_GetRestrEventFlag>},
    {"GetAndSetRestrEvent", FlagOf<KxUtilProcMap_GetAndSetRestrEventFlag>},
    {"MarkAsSetupExe", MarkSetup},
    {"IsSetupExe", GetSetup},
    {"SetProctionHandle", Protect},
    {"FileIsProtected", IsProtected},
    {"GetCachedProp", GetProp},
    {"SetCachedProp", SetProp},
    {"SetEmptyCachedProp", ChangeProp<KxUtilProcMap_SetEmptyCachedProp>},
    {"RemoveCachedProp", ChangeProp<KxUtilProcMap_RemoveCachedProp>},
    {"GetPublisher", GetSigner},
    {"SetPublisher", SetSigner},
    {"GetProcParamsForNetAccess", GetParams},
    {"Dump", GetDump},
};

}  // namespace

ordered_json KxProcMap_Answer(CkxJsonObject& in, CkxRecordedProcMapSystem& system) {
  const auto name = in.Required<std::string>("op");
  const auto isNamed = [&](const RecordedOperation& operation) { return operation.name == name; };
  const auto* const operation = std::find_if(std::begin(kRecordedOperations), std::end(kRecordedOperations), isNamed);
  if (operation == std::end(kRecordedOperations))
    throw CkxDocumentFault(in.PointerTo("op"), "is no operation" + KxNearest_QuestionOf(name, kRecordedOperations,
                                                                                        &RecordedOperation::name));
  return operation->answer(in, system);
}

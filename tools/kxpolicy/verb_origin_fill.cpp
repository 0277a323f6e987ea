// origin fill: what the agent would record of a process, or of a file that processes or an installer made, on a stream.
#include <kx_util/target_info_process.h>

#include <array>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/origin_document.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "tools/kxpolicy/answer.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/json_stream.h"
#include "tools/kxpolicy/source_answer.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

/// A target document inside of a request, with the facts of its machine in force.
class RecordedProcess {
 public:
  RecordedProcess(CkxJsonObject& in, const char* key)
      : _document(Parsed(*in.Find(key), in.PointerTo(key))), _machine(_document.Machine()) {
    if (_document.Target().IsTargetInfoProcess()) return;
    throw CkxDocumentFault(in.PointerTo(key), "must be of the kind \"process\"");
  }

  const CkxTargetInfoProcess& Process() const { return static_cast<const CkxTargetInfoProcess&>(_document.Target()); }

 private:
  static CkxTargetDocument Parsed(const json& value, const std::string& pointer) {
    try {
      return CkxTargetDocument::FromJson(value);
    } catch (const CkxDocumentFault& fault) {
      throw CkxDocumentFault(pointer + fault.Pointer(), fault.what());
    }
  }

  const CkxTargetDocument _document;
  const CkxMachineFactsScope _machine;
};

ordered_json AnswerKeywords(CkxJsonObject& in) {
  const auto text = in.Required<KxWString>("keywords");
  return {{"isSetup", CkxFileSrcProcess::ContainsInstallerKeywords(text)}};
}

ordered_json AnswerProcess(CkxJsonObject& in) {
  const RecordedProcess recorded(in, "process");
  const CkxRefusal refusal;
  CkxFileSrcProcess process;
  if (!process.FillForOrigin(recorded.Process(), 0, nullptr)) return KxAnswer_Refused(refusal);
  ordered_json answer = {{"json", KxOriginDocument_Write(process)},
                         {"mainSourceType", static_cast<uint32_t>(process.GetMainSourceType())},
                         {"displayName", KxText_ToUtf8(process.GetDisplayName())}};
  const WCHAR* const known = CkxFileSrcProcess::HumanReadableNameFromWellKnown(process.Facts().wellKnown);
  if (known != nullptr) answer["humanName"] = KxText_ToUtf8(known);
  answer["isSetup"] = process.Facts().isSetup;
  answer["terminator"] = process._IsProcessStackTerminator(false);
  return answer;
}

/// One `{"process": record, "origin": record or null}`; a record without a place has that of the list.
CkxFileSrcProcess ChainedProcess(const json& value, const std::string& pointer, size_t place) {
  CkxJsonObject object(value, pointer);
  const json* const given = object.Find("process");
  if (given == nullptr) throw CkxDocumentFault(pointer, "\"process\" is missing");
  CkxFileSrcProcess process;
  KxOriginDocument_Read(*given, object.PointerTo("process"), process);
  if (!given->contains("order")) process.Facts().order = static_cast<int32_t>(place);
  const json* const origin = object.Find("origin");
  if (origin != nullptr && !origin->is_null()) {
    auto read = std::make_shared<CkxFileOrigin>();
    KxOriginDocument_Read(*origin, object.PointerTo("origin"), *read);
    process.SetImageOrigin(std::move(read));
  }
  object.Finish();
  return process;
}

std::vector<CkxFileSrcProcess> ChainOf(CkxJsonObject& in) {
  std::vector<CkxFileSrcProcess> chain;
  const json& processes = *in.Find("processes");
  if (!processes.is_array()) throw CkxDocumentFault(in.PointerTo("processes"), "must be an array");
  for (size_t i = 0; i < processes.size(); ++i) {
    chain.push_back(ChainedProcess(processes[i], KxJson_Pointer(in.PointerTo("processes"), i), i));
  }
  return chain;
}

std::optional<CkxFileSrcPackage> PackageOf(CkxJsonObject& in) {
  const json* const value = in.Find("msi");
  if (value == nullptr) return std::nullopt;
  CkxFileSrcPackage package;
  KxOriginDocument_Read(*value, in.PointerTo("msi"), package);
  if (package.Type() == EkxFileSrcPackageType::Msi) return package;
  throw CkxDocumentFault(KxJson_Pointer(in.PointerTo("msi"), "type"), "must be 3, an installer package");
}

bool FillFile(CkxJsonObject& in, CkxFileOrigin& origin) {
  const auto path = in.Required<KxWString>("path");
  uint64_t installTime = 0;
  in.Optional("installTime", installTime);
  std::optional<CkxFileSrcPackage> package = PackageOf(in);
  if (in.Find("writer") != nullptr) {
    if (in.Find("processes") != nullptr) {
      throw CkxDocumentFault(in.PointerTo("processes"), "stands beside \"writer\"");
    }
    const RecordedProcess writer(in, "writer");
    return package ? origin.FillFromMsi(path, std::move(*package), &writer.Process(), installTime)
                   : origin.FillFromProcess(path, writer.Process(), installTime);
  }
  CkxFileSrcInstaller installer;
  installer.InstallTime() = installTime;
  installer.Package() = std::move(package);
  if (in.Find("processes") != nullptr) installer.Processes() = ChainOf(in);
  return origin.FillFromInstaller(path, std::move(installer));
}

ordered_json AnswerFile(CkxJsonObject& in) {
  const bool isTold = in.Find("writer") != nullptr || in.Find("processes") != nullptr || in.Find("msi") != nullptr;
  if (!isTold) throw CkxDocumentFault("", "needs \"writer\", \"processes\" or \"msi\"");
  const CkxRefusal refusal;
  CkxFileOrigin origin;
  if (!FillFile(in, origin)) return KxAnswer_Refused(refusal);
  return {{"json", KxOriginDocument_Write(origin)},
          {"mainSourceType", static_cast<uint32_t>(origin.GetMainSourceType())}};
}

std::string AnswerFill(CkxJsonObject& in) {
  if (in.Find("keywords") != nullptr) return KxAnswer_Members(AnswerKeywords(in));
  return KxAnswer_Members(in.Find("process") != nullptr ? AnswerProcess(in) : AnswerFile(in));
}

}  // namespace

KxVerbAction KxVerb_OriginFill(const CkxVerbOptions& verb) {
  const auto input = std::make_shared<std::string>("-");
  verb.Add("requests", *input, "Requests, one a line; - for standard input, the default").File();
  return [input](SkxStreams& streams) {
    CkxInput requests(*input, streams.in);
    return KxJsonStream_Run(requests.Stream(), streams, AnswerFill);
  };
}

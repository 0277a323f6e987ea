// stamp: the policy decision on a token, made, read and moved about on a stream; or that of a process of this machine.
#include <kx_util/policy_result.h>

#include <array>
#include <charconv>
#include <cstring>
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/nearest.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/util/hex.h"
#include "tools/kxpolicy/answer.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/json_stream.h"
#include "tools/kxpolicy/live_target.h"
#include "tools/kxpolicy/memory.h"
#include "tools/kxpolicy/token_answer.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

template <class Record>
Record RecordIn(CkxJsonObject& in, const char* key) {
  const std::optional<std::vector<unsigned char>> bytes = KxHex_ToBytes(in.Required<std::string>(key));
  if (!bytes) throw CkxDocumentFault(in.PointerTo(key), "is not hexadecimal");
  if (bytes->size() != sizeof(Record)) {
    throw CkxDocumentFault(in.PointerTo(key), "must have " + std::to_string(sizeof(Record)) + " bytes, and has " +
                                                  std::to_string(bytes->size()));
  }
  Record record;
  std::memcpy(static_cast<void*>(&record), bytes->data(), sizeof(record));
  return record;
}

template <class Record>
std::string HexOfRecord(const Record& record) {
  return KxHex_FromBytes({reinterpret_cast<const unsigned char*>(&record), sizeof(Record)});
}

std::string HexOfStamp(const CkxTokenPolicyData& stamp) { return HexOfRecord<SkxTokenPolicyData>(stamp); }

CkxTokenPolicyData StampIn(CkxJsonObject& in) { return CkxTokenPolicyData(RecordIn<SkxTokenPolicyData>(in, "record")); }

/// The token that the stream works on.
class StreamToken {
 public:
  StreamToken()
      : _token(std::make_unique<CkxAccessToken>(*CkxSid::FromUtf8("S-1-5-18"), std::vector<CkxSid>{}, true)) {}

  void* Handle() { return _token->Handle(); }

  /// Goes on with a duplicate, where the request asks for that.
  void DuplicateFor(CkxJsonObject& in) {
    bool duplicate = false;
    in.Optional("duplicate", duplicate);
    in.Finish();  // a line that is no request changes nothing
    if (duplicate) _token = _token->Duplicate();
  }

 private:
  std::unique_ptr<CkxAccessToken> _token;
};

ordered_json MakeStamp(CkxJsonObject& in, StreamToken& /*token*/) {
  const auto info = RecordIn<SkxTriggerPolicyShortInfo>(in, "info");
  bool uac = false;
  uint32_t pid = 0;
  in.Optional("uac", uac);
  in.Optional("pid", pid);
  const CkxTokenPolicyData stamp(uac, pid, info);
  CkxUtilStr debug;
  stamp.GetDebugString(debug);
  return {{"record", HexOfStamp(stamp)}, {"debug", KxText_ToUtf8(debug.View())}};
}

ordered_json InfoOfStamp(CkxJsonObject& in, StreamToken& /*token*/) {
  return {{"info", HexOfRecord(SkxTriggerPolicyShortInfo(StampIn(in)))}};
}

ordered_json AttributeOfStamp(CkxJsonObject& in, StreamToken& /*token*/) {
  const CkxTokenPolicyData stamp = StampIn(in);
  bool inheritable = false;
  uint32_t osMajor = 10;
  in.Optional("inheritable", inheritable);
  in.Optional("osMajor", osMajor);
  const SkxTokenAttribute attribute = stamp.ToAttribute(inheritable, osMajor);
  ordered_json values = ordered_json::array();
  for (const SkxTokenAttribute::Value& value : attribute.values) values.push_back(value.number);
  return {{"name", KxText_ToUtf8(attribute.name)},
          {"type", attribute.type},
          {"flags", attribute.flags},
          {"values", std::move(values)}};
}

/// Numbers, or texts where the type has those.
SkxTokenAttribute::Value ValueIn(const json& value, const std::string& pointer) {
  SkxTokenAttribute::Value read;
  if (value.is_string()) {
    read.text = KxJson_As<KxWString>(value, pointer);
  } else if (value.is_number_integer() && !value.is_number_unsigned()) {
    read.number = static_cast<uint64_t>(KxJson_As<int64_t>(value, pointer));
  } else {
    read.number = KxJson_As<uint64_t>(value, pointer);
  }
  return read;
}

SkxTokenAttribute AttributeIn(const json& value, const std::string& pointer) {
  CkxJsonObject in(value, pointer);
  SkxTokenAttribute attribute;
  attribute.name = in.Required<KxWString>("name");
  const auto type = in.Required<uint32_t>("type");
  if (type > UINT16_MAX) throw CkxDocumentFault(in.PointerTo("type"), "is more than 65535");
  attribute.type = static_cast<uint16_t>(type);
  in.Optional("flags", attribute.flags);
  const json* const values = in.Find("values");
  if (values == nullptr || !values->is_array()) throw CkxDocumentFault(in.PointerTo("values"), "must be a list");
  for (size_t i = 0; i < values->size(); ++i) {
    attribute.values.push_back(ValueIn((*values)[i], KxJson_Pointer(in.PointerTo("values"), i)));
  }
  in.Finish();
  return attribute;
}

/// Whether there is one, and why not where it is refused.
ordered_json FoundStamp(bool isFound, const CkxTokenPolicyData& stamp, const CkxRefusal& refusal) {
  ordered_json answer = {{"found", isFound}};
  if (isFound) answer["record"] = HexOfStamp(stamp);
  if (!isFound && !refusal.Text().empty()) answer.update(KxAnswer_Refused(refusal));
  return answer;
}

ordered_json ReadStamp(CkxJsonObject& in, StreamToken& /*token*/) {
  const json* const list = in.Find("attributes");
  const std::string pointer = in.PointerTo("attributes");
  if (list == nullptr || !list->is_array()) throw CkxDocumentFault(pointer, "must be a list");
  std::vector<SkxTokenAttribute> attributes;
  for (size_t i = 0; i < list->size(); ++i) attributes.push_back(AttributeIn((*list)[i], KxJson_Pointer(pointer, i)));
  const CkxRefusal refusal;
  CkxTokenPolicyData stamp;
  const bool isFound = stamp.FromAttributes(attributes);
  return FoundStamp(isFound, stamp, refusal);
}

/// "done", and the stamp that the token has then.
ordered_json DoneOnToken(bool isDone, StreamToken& token, const CkxRefusal& refusal) {
  if (!isDone && !refusal.Text().empty()) return KxAnswer_Refused(refusal);
  ordered_json answer = {{"done", isDone}};
  CkxTokenPolicyData stamp;
  if (stamp.GetFromToken(token.Handle())) answer["record"] = HexOfStamp(stamp);
  return answer;
}

ordered_json SetStamp(CkxJsonObject& in, StreamToken& token) {
  const CkxTokenPolicyData stamp = StampIn(in);
  bool inheritable = false;
  in.Optional("inheritable", inheritable);
  token.DuplicateFor(in);
  const CkxRefusal refusal;
  return DoneOnToken(stamp.SetToToken(token.Handle(), inheritable), token, refusal);
}

ordered_json GetStamp(CkxJsonObject& in, StreamToken& token) {
  token.DuplicateFor(in);
  const CkxRefusal refusal;
  CkxTokenPolicyData stamp;
  return DoneOnToken(stamp.GetFromToken(token.Handle()), token, refusal);
}

ordered_json DeleteStamp(CkxJsonObject& in, StreamToken& token) {
  token.DuplicateFor(in);
  const CkxRefusal refusal;
  return DoneOnToken(CkxTokenPolicyData::DeleteFromToken(token.Handle()), token, refusal);
}

struct StampOperation {
  std::string_view name;
  ordered_json (*answer)(CkxJsonObject& in, StreamToken& token);
};

constexpr std::array<StampOperation, 7> kStampOperations = {{
    {"make", MakeStamp},
    {"info", InfoOfStamp},
    {"attribute", AttributeOfStamp},
    {"read", ReadStamp},
    {"set", SetStamp},
    {"get", GetStamp},
    {"delete", DeleteStamp},
}};

ordered_json AnswerStamp(CkxJsonObject& in, StreamToken& token) {
  const auto name = in.Required<std::string>("op");
  for (const StampOperation& operation : kStampOperations) {
    if (operation.name == name) return operation.answer(in, token);
  }
  throw CkxDocumentFault(in.PointerTo("op"), "\"" + name + "\" is no operation" +
                                                 KxNearest_QuestionOf(name, kStampOperations, &StampOperation::name));
}

EkxExit StreamStamps(const std::string& file, SkxStreams& streams) {
  CkxInput requests(file, streams.in);
  StreamToken token;
  return KxJsonStream_Run(requests.Stream(), streams,
                          [&](CkxJsonObject& in) { return KxAnswer_Members(AnswerStamp(in, token)); });
}

EkxExit ShowStamp(const std::string& process, SkxStreams& streams) {
  uint32_t pid = 0;
  const char* const end = process.data() + process.size();
  const auto parsed = std::from_chars(process.data(), end, pid);
  if (parsed.ec != std::errc() || parsed.ptr != end) {
    throw CkxToolFault(EkxExit::UnusableArguments, "stamp show: \"" + process + "\" is no number of a process");
  }
  const CkxTargetInfoPtr target = KxLive_Process(pid, nullptr);
  const CkxRefusal refusal;
  CkxTokenPolicyData stamp;
  if (stamp.GetFromToken(target->UserToken())) {
    streams.out << KxTokenAnswer_Of(stamp).dump() << '\n';
    return EkxExit::Done;
  }
  KxTool_RequireMemory();
  if (!refusal.Text().empty()) throw CkxToolFault(EkxExit::SystemRefused, "process " + process + ": " + refusal.Text());
  return EkxExit::Failure;
}

struct StampOptions {
  std::string requests = "-";
  std::string process;
};

}  // namespace

KxVerbAction KxVerb_Stamp(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<StampOptions>();
  verb.Add("requests", options->requests, "Requests, one a line; - for standard input, the default. Or the word show")
      .File();
  const CkxOption process = verb.Add("process", options->process, "With show: the number of a process of this machine");
  return [options, process](SkxStreams& streams) {
    const bool isShow = options->requests == "show";
    if (isShow != process.IsGiven()) {
      throw CkxToolFault(EkxExit::UnusableArguments, "stamp: show and the number of a process go together");
    }
    return isShow ? ShowStamp(options->process, streams) : StreamStamps(options->requests, streams);
  };
}

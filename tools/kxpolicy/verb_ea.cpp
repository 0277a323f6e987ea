// ea encode, ea decode: the records of extended attributes on a stream. No file is touched.
#include <kx_util/ext_file_attributes.h>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/util/hex.h"
#include "tools/kxpolicy/answer.h"
#include "tools/kxpolicy/ea_answer.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/json_stream.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

std::vector<unsigned char> EaBytes(CkxJsonObject& in, const char* key) {
  std::optional<std::vector<unsigned char>> bytes = KxHex_ToBytes(in.Required<std::string>(key));
  if (!bytes) throw CkxDocumentFault(in.PointerTo(key), "is not hexadecimal");
  return *std::move(bytes);
}

unsigned char EaFlags(CkxJsonObject& in) {
  uint32_t flags = 0;
  if (in.Optional("flags", flags) && flags != 0 && flags != CkxFileFullEaInfo::kNeedEa) {
    throw CkxDocumentFault(in.PointerTo("flags"), "must be 0 or 128");
  }
  return static_cast<unsigned char>(flags);
}

/// The way that the value is told, at most one; empty: it has none.
std::string_view ValueKey(CkxJsonObject& in) {
  std::string_view given;
  for (const char* const key : {"value", "text", "wide"}) {
    if (in.Find(key) == nullptr) continue;
    if (!given.empty()) throw CkxDocumentFault(in.PointerTo(key), "stands beside \"" + std::string(given) + "\"");
    given = key;
  }
  return given;
}

/// One attribute as the library makes it; false when it refuses.
bool MakeEa(CkxJsonObject& in, CkxFileFullEaInfo& info) {
  const auto name = in.Required<std::string>("name");
  const unsigned char flags = EaFlags(in);
  const std::string_view key = ValueKey(in);
  if (key == "text") return info.Set(name.c_str(), in.Required<std::string>("text").c_str(), flags);
  if (key == "wide") return info.Set(name.c_str(), in.Required<KxWString>("wide").c_str(), flags);
  const std::vector<unsigned char> value = key.empty() ? std::vector<unsigned char>() : EaBytes(in, "value");
  if (value.size() > kKxEaMaxValueBytes) throw CkxDocumentFault(in.PointerTo("value"), "has more than 65535 bytes");
  return info.Set(name.c_str(), value.data(), static_cast<unsigned short>(value.size()), flags);
}

/// `records`: a list of them as one buffer. False when one is refused.
bool MakeEaList(CkxJsonObject& in, const json& records, std::vector<unsigned char>& list) {
  const std::string pointer = in.PointerTo("records");
  if (!records.is_array() || records.empty()) throw CkxDocumentFault(pointer, "must be a list of one or more");
  bool isTaken = true;
  size_t last = 0;
  for (size_t i = 0; i < records.size(); ++i) {
    CkxJsonObject record(records[i], KxJson_Pointer(pointer, i));
    CkxFileFullEaInfo info;
    isTaken = isTaken && MakeEa(record, info);
    if (isTaken) last = KxEaList_Append(list, last, *KxEaRecord_Read({info.Record(), info.Size()}));
    if (isTaken) record.Finish();
  }
  return isTaken;
}

ordered_json EncodeEa(CkxJsonObject& in) {
  const CkxRefusal refusal;
  std::vector<unsigned char> record;
  if (const json* const records = in.Find("records")) {
    if (!MakeEaList(in, *records, record)) return KxAnswer_Refused(refusal);
  } else {
    CkxFileFullEaInfo info;
    if (!MakeEa(in, info)) return KxAnswer_Refused(refusal);
    record.assign(info.Record(), info.Record() + info.Size());
  }
  return {{"record", KxHex_FromBytes(record)}};
}

ordered_json DecodeEa(CkxJsonObject& in) {
  const std::vector<unsigned char> record = EaBytes(in, "record");
  const CkxRefusal refusal;
  CkxExtFileAttributes list;
  if (!list.LoadAllFromBuffer(record.data(), static_cast<unsigned long>(record.size())))
    return KxAnswer_Refused(refusal);
  ordered_json entries = ordered_json::array();
  CkxFileFullEaInfo info;
  for (auto at = list.GetHeadPosition(); at != nullptr && list.GetNext(at, info, false);) {
    entries.push_back(KxEaAnswer_Of(info, true));
  }
  return {{"entries", std::move(entries)}};
}

KxVerbAction DeclareEaStream(const CkxVerbOptions& verb, ordered_json (*answer)(CkxJsonObject& in)) {
  const auto requests = std::make_shared<std::string>("-");
  verb.Add("requests", *requests, "Requests, one a line; - for standard input, the default").File();
  return [requests, answer](SkxStreams& streams) {
    CkxInput input(*requests, streams.in);
    return KxJsonStream_Run(input.Stream(), streams,
                            [answer](CkxJsonObject& in) { return KxAnswer_Members(answer(in)); });
  };
}

}  // namespace

KxVerbAction KxVerb_EaEncode(const CkxVerbOptions& verb) { return DeclareEaStream(verb, EncodeEa); }
KxVerbAction KxVerb_EaDecode(const CkxVerbOptions& verb) { return DeclareEaStream(verb, DecodeEa); }

// origin sign, origin verify: the records that travel with a file, signed and judged on a stream. No file is touched.
#include <kx_util/drv_xml_data.h>
#include <kx_util/src_url_data.h>

#include <array>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/nearest.h"
#include "Agent/engine/kx_publish/document/origin_document.h"
#include "Agent/engine/kx_util/origin/sup_file_data_util.h"
#include "Common_CPP/util/hex.h"
#include "tools/kxpolicy/answer.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/json_stream.h"
#include "tools/kxpolicy/record_json.h"
#include "tools/kxpolicy/secret_input.h"

namespace {

using nlohmann::ordered_json;

EkxSignatureForm FormOf(CkxJsonObject& in) {
  std::string form = "new";
  in.Optional("form", form);
  if (form == "new") return EkxSignatureForm::Keyed;
  if (form == "old") return EkxSignatureForm::Older;
  throw CkxDocumentFault(in.PointerTo("form"), "must be \"new\" or \"old\"");
}

/// What this machine is configured to believe is not asked: the request says it.
EkxSignatureCheck CheckOf(CkxJsonObject& in) {
  bool check = true;
  bool isMigrated = false;
  in.Optional("check", check);
  in.Optional("migrated", isMigrated);
  if (!check) return EkxSignatureCheck::None;
  return isMigrated ? EkxSignatureCheck::KeyedAlone : EkxSignatureCheck::OlderToo;
}

std::vector<unsigned char> BytesOfRequest(CkxJsonObject& in, const char* key) {
  std::optional<std::vector<unsigned char>> bytes = KxHex_ToBytes(in.Required<std::string>(key));
  if (!bytes) throw CkxDocumentFault(in.PointerTo(key), "is not hexadecimal");
  return std::move(*bytes);
}

/// `facts` are what was read; `isRead` false leaves none.
ordered_json Verified(bool isRead, EkxSignatureCheck check, const ordered_json& facts) {
  ordered_json answer = ordered_json::object();
  if (check != EkxSignatureCheck::None) answer["valid"] = isRead;
  answer.update(facts);
  return answer;
}

/// Who only reads, and looks at no signature, need not know which file it is.
uint64_t FileIdOf(CkxJsonObject& in, EkxSignatureCheck check) {
  if (check != EkxSignatureCheck::None) return in.Required<uint64_t>("fileId");
  uint64_t fileId = 0;
  in.Optional("fileId", fileId);
  return fileId;
}

// --- agent ---

ordered_json SignAgent(CkxJsonObject& in) {
  CkxFileOrigin origin;
  if (const nlohmann::json* const given = in.Find("origin")) {
    KxOriginDocument_Read(*given, in.PointerTo("origin"), origin);
  } else {
    throw CkxDocumentFault("", "\"origin\" is missing");
  }
  const auto fileId = in.Required<uint64_t>("fileId");
  const EkxSignatureForm form = FormOf(in);
  const CkxRefusal refusal;
  std::string text;
  const bool isSigned = CkxSupFileDataUtil::OriginToStr(origin, fileId, text, form);
  return isSigned ? ordered_json{{"document", text}} : KxAnswer_Refused(refusal);
}

ordered_json VerifyAgent(CkxJsonObject& in) {
  const auto document = in.Required<std::string>("document");
  const EkxSignatureCheck check = CheckOf(in);
  const uint64_t fileId = FileIdOf(in, check);
  const CkxRefusal refusal;
  CkxFileOrigin origin;
  const bool isRead = CkxSupFileDataUtil::OriginFromStr(document, fileId, check, origin);
  if (!isRead) return Verified(false, check, KxAnswer_Refused(refusal));
  return Verified(true, check, {{"origin", KxOriginDocument_Write(origin, {false})}});
}

// --- uri ---

ordered_json SignUri(CkxJsonObject& in) {
  CkxSrcUrlData data(in.Required<KxWString>("uri"));
  const EkxSignatureForm form = FormOf(in);
  const CkxRefusal refusal;
  std::vector<unsigned char> record;
  if (!data.ToBytes(record, form)) return KxAnswer_Refused(refusal);
  return {{"bytes", KxHex_FromBytes(record)}};
}

ordered_json VerifyUri(CkxJsonObject& in) {
  const std::vector<unsigned char> record = BytesOfRequest(in, "bytes");
  const EkxSignatureCheck check = CheckOf(in);
  const CkxRefusal refusal;
  CkxSrcUrlData data;
  if (!data.FromBytes(record, check)) return Verified(false, check, KxAnswer_Refused(refusal));
  return Verified(true, check,
                  {{"uri", KxText_ToUtf8(data.Uri().View())}, {"signature", KxHex_FromBytes(data.Signature())}});
}

// --- driver ---

/// Without a word about the signature: the version alone.
ordered_json UpdateDriver(std::string document) {
  const bool isUpdated = CkxDrvXmlData::UpdateVersion(document);
  return {{"document", document}, {"updated", isUpdated}};
}

ordered_json SignDriver(CkxJsonObject& in) {
  auto document = in.Required<std::string>("document");
  bool isUpdate = false;
  if (in.Optional("update", isUpdate) && isUpdate) return UpdateDriver(std::move(document));
  const auto fileId = in.Required<uint64_t>("fileId");
  const EkxSignatureForm form = FormOf(in);
  const CkxRefusal refusal;
  if (!CkxDrvXmlData::Sign(document, fileId, form)) return KxAnswer_Refused(refusal);
  return {{"document", document}};
}

ordered_json VerifyDriver(CkxJsonObject& in) {
  const auto document = in.Required<std::string>("document");
  const EkxSignatureCheck check = CheckOf(in);
  const uint64_t fileId = FileIdOf(in, check);
  const CkxRefusal refusal;
  CkxDrvXmlData data;
  if (!data.FromXml(document, fileId, check)) return Verified(false, check, KxAnswer_Refused(refusal));
  return Verified(true, check, KxRecordJson_OfDriver(data));
}

struct SignedRecord {
  std::string_view name;
  ordered_json (*sign)(CkxJsonObject& in);
  ordered_json (*verify)(CkxJsonObject& in);
};

constexpr std::array<SignedRecord, 3> kRecords = {{
    {"agent", SignAgent, VerifyAgent},
    {"driver", SignDriver, VerifyDriver},
    {"uri", SignUri, VerifyUri},
}};

const SignedRecord& RecordOf(CkxJsonObject& in) {
  const auto name = in.Required<std::string>("record");
  for (const SignedRecord& record : kRecords) {
    if (record.name == name) return record;
  }
  throw CkxDocumentFault(in.PointerTo("record"), "\"" + name + "\" is no signed record" +
                                                     KxNearest_QuestionOf(name, kRecords, &SignedRecord::name));
}

struct SignOptions {
  std::string requests = "-";
  SkxSecretOptions secrets;
};

using RecordAnswer = ordered_json (*)(CkxJsonObject& in);

KxVerbAction DeclareStream(const CkxVerbOptions& verb, RecordAnswer SignedRecord::*answer) {
  const auto options = std::make_shared<SignOptions>();
  verb.Add("requests", options->requests, "Requests, one a line; - for standard input, the default").File();
  options->secrets.AddTo(verb);
  return [options, answer](SkxStreams& streams) {
    const CkxSecretInput secrets(options->secrets);
    CkxInput requests(options->requests, streams.in);
    return KxJsonStream_Run(requests.Stream(), streams,
                            [answer](CkxJsonObject& in) { return KxAnswer_Members((RecordOf(in).*answer)(in)); });
  };
}

}  // namespace

KxVerbAction KxVerb_OriginSign(const CkxVerbOptions& verb) { return DeclareStream(verb, &SignedRecord::sign); }
KxVerbAction KxVerb_OriginVerify(const CkxVerbOptions& verb) { return DeclareStream(verb, &SignedRecord::verify); }

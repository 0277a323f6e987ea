#include "tools/kxpolicy/record_json.h"

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/text.h"

using nlohmann::ordered_json;

namespace {

void AddText(ordered_json& json, const char* key, const CkxUtilStr& text) {
  if (!text.IsEmpty()) json[key] = KxText_ToUtf8(text.View());
}

ordered_json ProcessOfDriver(const SkxDrvProcessInfo& info) {
  ordered_json process = {{"order", info.order}, {"multiFileCreator", info.multiFileCreator}};
  AddText(process, "path", info.path);
  AddText(process, "volumeId", info.volumeId);
  AddText(process, "fileId", info.fileId);
  AddText(process, "share", info.share);
  if (info.port != 0) process["port"] = info.port;
  AddText(process, "address", info.address);
  return process;
}

}  // namespace

ordered_json KxRecordJson_OfDriver(const CkxDrvXmlData& data) {
  ordered_json facts = ordered_json::object();
  uint32_t version = 0;
  uint64_t time = 0;
  CkxUtilStr text;
  if (data.GetVersion(version)) facts["version"] = version;
  if (data.GetCreateTime(time)) facts["createTime"] = time;
  if (data.GetModifyTime(time)) facts["modifyTime"] = time;
  if (data.GetOriginalPath(text)) AddText(facts, "originalPath", text);
  if (data.GetUserSid(text)) AddText(facts, "userSid", text);
  facts["processes"] = ordered_json::array();
  for (const int32_t order : data.GetProcessOrders()) {
    SkxDrvProcessInfo info;
    if (data.GetProcessInfo(order, info)) facts["processes"].push_back(ProcessOfDriver(info));
  }
  return facts;
}

CkxSrcEmailData KxRecordJson_ReadEmail(const nlohmann::json& value, const std::string& pointer) {
  CkxJsonObject object(value, pointer);
  CkxSrcEmailData email;
  KxWString entryId, storeId, address, subject;
  object.Optional("receivedTime", email.receivedTime);
  object.Optional("entryId", entryId);
  object.Optional("storeId", storeId);
  object.Optional("smtpAddr", address);
  object.Optional("subject", subject);
  object.Finish();
  email.entryId = std::move(entryId);
  email.storeId = std::move(storeId);
  email.senderAddress = std::move(address);
  email.subject = std::move(subject);
  return email;
}

ordered_json KxRecordJson_OfEmail(const CkxSrcEmailData& email) {
  ordered_json object = {{"receivedTime", email.receivedTime}};
  const auto add = [&](const char* name, const CkxUtilStr& text) {
    if (!text.IsEmpty()) object[name] = KxText_ToUtf8(text.View());
  };
  add("entryId", email.entryId);
  add("storeId", email.storeId);
  add("smtpAddr", email.senderAddress);
  add("subject", email.subject);
  return object;
}

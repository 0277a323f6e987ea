// record: a result record, given as hexadecimal, as JSON. Older layouts are converted to the current one first.
#include <kx_util/policy_result.h>

#include <array>
#include <cstring>
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/document/nearest.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/hex.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/token_answer.h"
#include "tools/kxpolicy/tool.h"

namespace {

using nlohmann::ordered_json;
using Bytes = std::span<const unsigned char>;

struct RecordOptions {
  std::string type;
  std::string hex;
};

template <class Record>
Record Load(Bytes bytes) {
  Record record;
  std::memcpy(static_cast<void*>(&record), bytes.data(), sizeof(record));
  return record;
}

ordered_json ShortInfoJson(const SkxTriggerPolicyShortInfo& info) {
  const GUID targetId = info.PolicyTargetId;
  const GUID secondaryId = info.SecondaryId;
  return {{"policyId", uint32_t{info.PolicyId}},
          {"action", static_cast<int32_t>(info.PolicyAction)},
          {"originalAction", static_cast<int32_t>(info.OriginalPolicyAction)},
          {"gpId", KxText_ToUtf8(CkxTextView::FromBytes(info.GpId, sizeof(info.GpId)))},
          {"kxGpoId", KxText_ToUtf8(CkxTextView::FromBytes(info.KxGpoId, sizeof(info.KxGpoId)))},
          {"guiType", uint32_t{info.GuiType}},
          {"reportUsageState", uint32_t{info.ReportUsageState}},
          {"policyAutomation", info.PolicyAutomation != 0},
          {"targetType", static_cast<uint32_t>(info.TargetType)},
          {"targetId", KxGuid_ToUtf8(targetId)},
          {"secondaryId", KxGuid_ToUtf8(secondaryId)},
          {"reserved313", info.Reserved313},
          {"inheritable", info.Inheritable != 0},
          {"protectInstalledFiles", info.ProtectInstalledFiles != 0},
          {"restrictFileDlg", info.RestrictFileDlg != 0}};
}

template <class Record>
ordered_json TriggerInfo(Bytes bytes) {
  const SkxTriggerPolicyShortInfo info = Load<Record>(bytes);
  ordered_json json = ShortInfoJson(info);
  json["empty"] = info.IsEmpty();
  json["defaultPolicy"] = info.IsDefaultPolicy();
  return json;
}

template <class Record>
ordered_json ProcessData(Bytes bytes) {
  SkxProcessPolicyData data;
  data = Load<Record>(bytes);
  ordered_json json = ShortInfoJson(data.ShortInfo);
  json["extraFlags"] = uint16_t{data.ExtraFlags};
  json["extraState"] = uint16_t{data.ExtraState};
  json["empty"] = data.IsEmpty();
  json["defaultPolicy"] = data.ShortInfo.IsDefaultPolicy();
  return json;
}

ordered_json TokenData(Bytes bytes) { return KxTokenAnswer_Of(Load<SkxTokenPolicyData>(bytes)); }

struct Layout {
  const char* name;
  size_t bytes;
  ordered_json (*decode)(Bytes bytes);
};

constexpr std::array<Layout, 6> kLayouts = {{
    {"triggerinfo", sizeof(SkxTriggerPolicyShortInfo), TriggerInfo<SkxTriggerPolicyShortInfo>},
    {"triggerinfo-6.0.1.171", sizeof(SkxTriggerPolicyShortInfo_6_0_1_171),
     TriggerInfo<SkxTriggerPolicyShortInfo_6_0_1_171>},
    {"processdata", sizeof(SkxProcessPolicyData), ProcessData<SkxProcessPolicyData>},
    {"processdata-6.0.1.171", sizeof(SkxProcessPolicyData_6_0_1_171), ProcessData<SkxProcessPolicyData_6_0_1_171>},
    {"processdata-10.2", sizeof(SkxProcessPolicyData_10_2), ProcessData<SkxProcessPolicyData_10_2>},
    {"tokendata", sizeof(SkxTokenPolicyData), TokenData},
}};

const Layout& LayoutNamed(const std::string& name) {
  for (const Layout& layout : kLayouts) {
    if (name == layout.name) return layout;
  }
  std::string names;
  for (const Layout& layout : kLayouts) names += (names.empty() ? "" : ", ") + std::string(layout.name);
  throw CkxToolFault(EkxExit::UnusableArguments, "\"" + name + "\" is no record type; there are " + names +
                                                     KxNearest_QuestionOf(name, kLayouts, &Layout::name));
}

std::string WithoutBlanks(std::string text) {
  std::erase_if(text, [](char unit) { return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n'; });
  return text;
}

EkxExit Record(const RecordOptions& options, SkxStreams& streams) {
  const Layout& layout = LayoutNamed(options.type);
  const std::string text = options.hex == "-" ? CkxInput("-", streams.in).ReadAll() : options.hex;
  const std::optional<std::vector<unsigned char>> bytes = KxHex_ToBytes(WithoutBlanks(text));
  if (!bytes) throw CkxToolFault(EkxExit::UnusableInput, "record " + options.type + ": is not hexadecimal");
  if (bytes->size() != layout.bytes) {
    throw CkxToolFault(EkxExit::UnusableInput, "record " + options.type + ": has " + std::to_string(layout.bytes) +
                                                   " bytes, not " + std::to_string(bytes->size()));
  }
  streams.out << layout.decode(*bytes).dump() << '\n';
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Record(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<RecordOptions>();
  std::string types;
  for (const Layout& layout : kLayouts) types += (types.empty() ? "" : ", ") + std::string(layout.name);
  verb.Add("type", options->type, types).Required();
  verb.Add("hex", options->hex, "The record's bytes in hexadecimal, - for standard input").Required();
  return [options](SkxStreams& streams) { return Record(*options, streams); };
}

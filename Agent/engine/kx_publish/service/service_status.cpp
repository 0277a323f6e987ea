#include "Agent/engine/kx_publish/service/service_status.h"

#include <chrono>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/decision/json_text.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/file_time.h"

namespace {

/// An object, written member by member.
class ObjectText {
 public:
  ObjectText& Add(const char* key, const std::string& text) {
    Begin(key);
    KxJsonText_AddAnyText(_json, text);
    return *this;
  }
  ObjectText& Add(const char* key, const std::optional<std::string>& text) {
    return text ? Add(key, *text) : AddValue(key, "null");
  }
  ObjectText& Add(const char* key, uint64_t number) { return AddValue(key, std::to_string(number)); }
  ObjectText& AddValue(const char* key, std::string_view json) {
    Begin(key);
    _json += json;
    return *this;
  }
  std::string Text() const { return _json + '}'; }

 private:
  void Begin(const char* key) {
    _json += _json.size() == 1 ? "\"" : ",\"";
    _json += key;
    _json += "\":";
  }

  std::string _json = "{";
};

std::string ImageText(const SkxStatusImage& image) {
  return ObjectText().Add("digest", image.digest).Add("policies", image.policies).Add("signer", image.signer).Text();
}

std::string RequestText(const SkxRequestCounts& counts) {
  return ObjectText()
      .Add("request", counts.request)
      .Add("answered", counts.answered)
      .Add("refused", counts.refused)
      .Add("failed", counts.failed)
      .Text();
}

std::string PolicyText(const SkxStatusPolicy& policy) {
  return ObjectText().Add("policyId", policy.id).Add("name", policy.name).Add("decided", policy.decided).Text();
}

std::string FaultsText(const SkxStatusFaults& faults) {
  return ObjectText().Add("count", faults.count).Add("last", faults.last).Add("lastAt", faults.lastAt).Text();
}

template <class Value>
std::string ListText(const std::vector<Value>& values, std::string (*textOf)(const Value&)) {
  std::string list = "[";
  for (const Value& value : values) list += (list.size() == 1 ? "" : ",") + textOf(value);
  return list + ']';
}

std::optional<std::string> TextOrNull(CkxJsonObject& in, const char* key) {
  const nlohmann::json* const value = in.Find(key);
  if (value == nullptr || value->is_null()) return std::nullopt;
  return KxJson_As<std::string>(*value, in.PointerTo(key));
}

const nlohmann::json& Member(CkxJsonObject& in, const char* key) {
  const nlohmann::json* const value = in.Find(key);
  if (value == nullptr) throw CkxDocumentFault(in.Pointer(), std::string("\"") + key + "\" is missing");
  return *value;
}

SkxStatusImage ImageOf(const nlohmann::json& json, const std::string& pointer) {
  CkxJsonObject in(json, pointer);
  SkxStatusImage image;
  image.digest = in.Required<std::string>("digest");
  image.policies = in.Required<uint64_t>("policies");
  image.signer = TextOrNull(in, "signer");
  return image;
}

SkxRequestCounts RequestOf(CkxJsonObject& in) {
  SkxRequestCounts counts;
  counts.request = in.Required<std::string>("request");
  counts.answered = in.Required<uint64_t>("answered");
  counts.refused = in.Required<uint64_t>("refused");
  counts.failed = in.Required<uint64_t>("failed");
  return counts;
}

SkxStatusPolicy PolicyOf(CkxJsonObject& in) {
  SkxStatusPolicy policy;
  policy.id = in.Required<uint32_t>("policyId");
  policy.name = in.Required<std::string>("name");
  policy.decided = in.Required<uint64_t>("decided");
  return policy;
}

template <class Value>
std::vector<Value> ListOf(CkxJsonObject& in, const char* key, Value (*of)(CkxJsonObject&)) {
  const nlohmann::json& list = Member(in, key);
  if (!list.is_array()) throw CkxDocumentFault(in.PointerTo(key), "must be an array");
  std::vector<Value> values;
  for (size_t i = 0; i < list.size(); ++i) {
    CkxJsonObject element(list[i], KxJson_Pointer(in.PointerTo(key), i));
    values.push_back(of(element));
  }
  return values;
}

}  // namespace

std::string KxServiceStatus_Json(const SkxServiceStatus& status) {
  return ObjectText()
      .Add("folder", status.folder)
      .Add("publication", status.publication)
      .AddValue("inForce", ImageText(status.inForce))
      .Add("since", status.since)
      .AddValue("before", status.before ? ImageText(*status.before) : "null")
      .Add("withdrawn", status.withdrawn)
      .AddValue("signatureRequired", status.signatureRequired ? "true" : "false")
      .Add("processId", status.processId)
      .Add("startedAt", status.startedAt)
      .Add("uptimeSeconds", status.uptimeSeconds)
      .AddValue("requests", ListText(status.requests, RequestText))
      .AddValue("policies", ListText(status.policies, PolicyText))
      .AddValue("faults", FaultsText(status.faults))
      .Text();
}

/// What a newer service tells besides is passed over.
SkxServiceStatus KxServiceStatus_FromJson(const nlohmann::json& json) {
  CkxJsonObject in(json, "");
  SkxServiceStatus status;
  status.folder = in.Required<std::string>("folder");
  status.publication = in.Required<std::string>("publication");
  status.inForce = ImageOf(Member(in, "inForce"), in.PointerTo("inForce"));
  status.since = in.Required<std::string>("since");
  const nlohmann::json& before = Member(in, "before");
  if (!before.is_null()) status.before = ImageOf(before, in.PointerTo("before"));
  status.withdrawn = TextOrNull(in, "withdrawn");
  status.signatureRequired = in.Required<bool>("signatureRequired");
  status.processId = in.Required<uint32_t>("processId");
  status.startedAt = in.Required<std::string>("startedAt");
  status.uptimeSeconds = in.Required<uint64_t>("uptimeSeconds");
  status.requests = ListOf(in, "requests", RequestOf);
  status.policies = ListOf(in, "policies", PolicyOf);
  CkxJsonObject faults(Member(in, "faults"), in.PointerTo("faults"));
  status.faults = {faults.Required<uint64_t>("count"), faults.Required<std::string>("last"),
                   faults.Required<std::string>("lastAt")};
  return status;
}

std::string KxServiceStatus_Time(int64_t fileTime) {
  const std::chrono::sys_seconds time{std::chrono::seconds(KxFileTime_UnixSeconds(fileTime))};
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  const auto two = [](auto number) { return (number < 10 ? "0" : "") + std::to_string(number); };
  return std::to_string(static_cast<int>(date.year())) + "-" + two(static_cast<unsigned>(date.month())) + "-" +
         two(static_cast<unsigned>(date.day())) + "T" + two(clock.hours().count()) + ":" +
         two(clock.minutes().count()) + ":" + two(clock.seconds().count()) + "Z";
}

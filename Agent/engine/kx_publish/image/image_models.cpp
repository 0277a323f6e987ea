#include "Agent/engine/kx_publish/image/image_models.h"

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy.h>

#include "Agent/engine/kx_publish/record/decode.h"
#include "Agent/engine/kx_util/store/section_records.h"

namespace {

using Bytes = std::span<const unsigned char>;

bool ReadPolicy(Bytes record, SkxPolicyModel& model) {
  const auto* const header = reinterpret_cast<const SkxPolicyBufHeader*>(record.data());
  return CkxShBufPolicyPtr(CkxShBufPolicy::PolicyFromBuffer(header, false)) != nullptr &&
         KxDecode_Policy(record, model);
}

bool ReadGroup(Bytes record, SkxAppGroupModel& model) {
  const auto* const header = reinterpret_cast<const SkxAppGroupBufHeader*>(record.data());
  return CkxShBufAppGroupPtr(CkxShBufAppGroup::AppGroupFromBuffer(header, false)) != nullptr &&
         KxDecode_AppGroup(record, model);
}

bool ReadAlert(Bytes record, SkxAlertModel& model) {
  const auto* const header = reinterpret_cast<const SkxAlertBufHeader*>(record.data());
  return CkxShBufCustGuiPtr(CkxShBufCustGuiBase::CustGuiFromBuffer(header, false)) != nullptr &&
         KxDecode_Alert(record, model);
}

template <class Model>
std::vector<SkxImageRecord<Model>> ReadAll(const std::optional<SkxPolicyImage::Bytes>& section,
                                           const SkxRecordKind& kind, const char* file, bool (*read)(Bytes, Model&),
                                           std::vector<std::string>& faults) {
  std::vector<SkxImageRecord<Model>> all;
  if (!section) return all;
  const auto fail = [&](size_t offset, std::string_view what) {
    faults.push_back(std::string(file) + ": byte " + std::to_string(offset) + ": " + std::string(what));
  };
  CkxSectionRecords records(kind, *section);
  if (!records.HasCount()) {
    fail(0, "is too short for the count of its records");
    return all;
  }
  size_t offset = sizeof(uint32_t);
  for (uint32_t i = 0; i < records.Count(); ++i) {
    const unsigned char* const bytes = records.Next();
    if (bytes == nullptr) {
      fail(offset, records.Fault());
      return all;
    }
    const auto size = KxBytes_Load<uint32_t>(bytes + sizeof(uint32_t));
    SkxImageRecord<Model>& record = all.emplace_back();
    record.bytes = {bytes, size};
    record.offset = offset;
    if (!read(record.bytes, record.model.emplace())) {
      record.model.reset();
      fail(offset, "the record cannot be read");
    }
    offset += size;
  }
  return all;
}

}  // namespace

SkxImageModels KxImage_Models(const SkxPolicyImage& image) {
  SkxImageModels models;
  models.policies = ReadAll(image.policies, kKxPolicyRecord, "policies.sec", ReadPolicy, models.faults);
  models.groups = ReadAll(image.appGroups, kKxAppGroupRecord, "appgroups.sec", ReadGroup, models.faults);
  models.alerts = ReadAll(image.alerts, kKxAlertRecord, "alerts.sec", ReadAlert, models.faults);
  return models;
}

uint32_t KxImage_PolicyId(std::span<const unsigned char> record) {
  return KxBytes_Load<uint32_t>(record.data() + offsetof(SkxPolicyBufHeader, id));
}

GUID KxImage_GroupId(std::span<const unsigned char> record) {
  return KxBytes_Load<GUID>(record.data() + offsetof(SkxAppGroupBufHeader, id));
}

GUID KxImage_AlertId(std::span<const unsigned char> record) {
  return KxBytes_Load<GUID>(record.data() + offsetof(SkxAlertBufHeader, id));
}

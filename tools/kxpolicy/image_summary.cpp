#include "tools/kxpolicy/image_summary.h"

#include <kx_util/evaluation_fault.h>
#include <kx_util/shared_policy.h>

#include <algorithm>
#include <new>

#include "Agent/engine/kx_publish/image/image_records.h"
#include "Common_CPP/util/counted.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kMaxNamed = 10;

size_t CountRecords(const std::optional<SkxPolicyImage::Bytes>& section, const SkxRecordKind& kind,
                    std::vector<std::string>& faults) {
  size_t count = 0;
  KxImage_ForEachRecord(section, kind, faults, [&](const unsigned char*, size_t) { ++count; });
  return count;
}

/// "1 "No games", 2 "Setup" and 3 more"
std::string NamesText(const std::vector<SkxPolicyName>& policies) {
  std::string text;
  for (size_t i = 0; i < std::min(policies.size(), kMaxNamed); ++i) {
    text += (i == 0 ? "" : ", ") + std::to_string(policies[i].id) + " " + KxText_PrintableQuoted(policies[i].name);
  }
  return policies.size() > kMaxNamed ? text + " and " + std::to_string(policies.size() - kMaxNamed) + " more" : text;
}

}  // namespace

SkxImageSummary KxImage_Summary(const SkxPolicyImage& image) {
  std::vector<std::string> faults;
  SkxImageSummary summary;
  size_t unreadable = 0;
  KxImage_ForEachRecord(image.policies, kKxPolicyRecord, faults, [&](const unsigned char* record, size_t) {
    const auto* const header = reinterpret_cast<const SkxPolicyBufHeader*>(record);
    const CkxShBufPolicyPtr policy(CkxShBufPolicy::PolicyFromBuffer(header, false));
    if (policy == nullptr && KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
    policy != nullptr ? summary.policies.push_back({policy->Id(), KxText_ToUtf8(policy->NameView())})
                      : static_cast<void>(++unreadable);
  });
  summary.text = KxCounted(summary.policies.size(), "policy", "policies");
  if (!summary.policies.empty()) summary.text += " (" + NamesText(summary.policies) + ")";
  summary.text += ", " + KxCounted(CountRecords(image.appGroups, kKxAppGroupRecord, faults), "application group",
                                   "application groups");
  summary.text += ", " + KxCounted(CountRecords(image.alerts, kKxAlertRecord, faults), "alert", "alerts");
  if (unreadable != 0) summary.text += ", " + std::to_string(unreadable) + " policies that cannot be read";
  if (!faults.empty()) summary.text += ", and a section that cannot be read to its end";
  return summary;
}

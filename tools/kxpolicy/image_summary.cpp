#include "tools/kxpolicy/image_summary.h"

#include <kx_util/shared_policy.h>

#include "Agent/engine/kx_publish/image/image_records.h"
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
class Names {
 public:
  void Add(const CkxShBufPolicy& policy) {
    if (++_count > kMaxNamed) return;
    _text += (_text.empty() ? "" : ", ") + std::to_string(policy.Id()) + " " +
             KxText_PrintableQuoted(KxText_ToUtf8(policy.NameView()));
  }
  size_t Count() const { return _count; }
  std::string Text() const {
    return _count > kMaxNamed ? _text + " and " + std::to_string(_count - kMaxNamed) + " more" : _text;
  }

 private:
  size_t _count = 0;
  std::string _text;
};

}  // namespace

std::string KxCounted(size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

SkxImageSummary KxImage_Summary(const SkxPolicyImage& image) {
  std::vector<std::string> faults;
  Names names;
  size_t unreadable = 0;
  KxImage_ForEachRecord(image.policies, kKxPolicyRecord, faults, [&](const unsigned char* record, size_t) {
    const auto* const header = reinterpret_cast<const SkxPolicyBufHeader*>(record);
    const CkxShBufPolicyPtr policy(CkxShBufPolicy::PolicyFromBuffer(header, false));
    policy != nullptr ? names.Add(*policy) : static_cast<void>(++unreadable);
  });
  SkxImageSummary summary = {names.Count(), KxCounted(names.Count(), "policy", "policies")};
  if (names.Count() != 0) summary.text += " (" + names.Text() + ")";
  summary.text += ", " + KxCounted(CountRecords(image.appGroups, kKxAppGroupRecord, faults), "application group",
                                   "application groups");
  summary.text += ", " + KxCounted(CountRecords(image.alerts, kKxAlertRecord, faults), "alert", "alerts");
  if (unreadable != 0) summary.text += ", " + std::to_string(unreadable) + " policies that cannot be read";
  if (!faults.empty()) summary.text += ", and a section that cannot be read to its end";
  return summary;
}

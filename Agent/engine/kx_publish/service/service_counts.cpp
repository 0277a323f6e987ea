#include "Agent/engine/kx_publish/service/service_counts.h"

#include <kx_util/shared_policy.h>

#include <algorithm>

#include "Agent/engine/kx_util/store/section_records.h"

namespace {

/// As far as the section can be read: nothing behind that is ever asked.
std::vector<uint32_t> PolicyIdsOf(const SkxPolicyImage& image) {
  std::vector<uint32_t> ids;
  if (!image.policies) return ids;
  CkxSectionRecords records(kKxPolicyRecord, *image.policies);
  for (uint32_t i = 0; records.HasCount() && i < records.Count(); ++i) {
    const unsigned char* const record = records.Next();
    if (record == nullptr) break;
    ids.push_back(KxBytes_Load<uint32_t>(record + offsetof(SkxPolicyBufHeader, id)));
  }
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  return ids;
}

}  // namespace

CkxPolicyHitCounter::CkxPolicyHitCounter(const SkxPolicyImage& image, const CkxPolicyHitCounter* before) {
  for (const uint32_t id : PolicyIdsOf(image)) {
    const Counter* const known = before != nullptr ? before->Find(id) : nullptr;
    _counters.push_back({id, known != nullptr ? known->decided : std::make_shared<std::atomic<uint64_t>>(0)});
  }
}

void CkxPolicyHitCounter::Count(uint32_t policyId) const {
  if (const Counter* const counter = Find(policyId)) counter->decided->fetch_add(1, std::memory_order_relaxed);
}

std::vector<SkxPolicyHits> CkxPolicyHitCounter::Read() const {
  std::vector<SkxPolicyHits> hits;
  for (const Counter& counter : _counters) {
    hits.push_back({counter.policyId, counter.decided->load(std::memory_order_relaxed)});
  }
  return hits;
}

const CkxPolicyHitCounter::Counter* CkxPolicyHitCounter::Find(uint32_t policyId) const {
  const auto at = std::lower_bound(_counters.begin(), _counters.end(), policyId,
                                   [](const Counter& counter, uint32_t id) { return counter.policyId < id; });
  return at != _counters.end() && at->policyId == policyId ? &*at : nullptr;
}

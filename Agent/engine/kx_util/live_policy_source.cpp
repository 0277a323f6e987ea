#include "Agent/engine/kx_util/live_policy_source.h"

#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

const WCHAR* const kKxPoliciesIndexSection = KXW("Global\\KxPoliciesIndexSection");

namespace {

constexpr std::string_view kScope = "CkxSharedPoliciesData";

struct CkxMappedSection : IkxSectionHolder {
  CkxSharedMemoryView view;
};

/// A section that is not there is the normal state of a machine without policies: no line.
bool OpenOrTrace(CkxSharedMemoryView& view, CkxTextView name) {
  if (view.Open(name)) return true;
  const uint32_t error = KxLastError_Get();
  if (error != kKxErrorFileNotFound) {
    KxTrace(EkxTraceLevel::Error, kScope, "ERROR: Failed to open shared memory [", name, "]. LastError=", error);
  }
  return false;
}

/// The name in the slot of `which`; empty when nothing is published there.
KxWString SectionName(EkxPolicySection which) {
  CkxSharedMemoryView index;
  if (!OpenOrTrace(index, kKxPoliciesIndexSection)) return {};
  constexpr size_t kSlotBytes = kKxIndexSlotUnits * sizeof(WCHAR);
  const size_t slot = static_cast<size_t>(which) * kSlotBytes;
  if (index.Bytes().size() < slot + kSlotBytes) return {};
  return CkxTextView::FromBytes(index.Bytes().data() + slot, kSlotBytes).ToString();
}

class CkxLivePolicySource : public IkxPolicySource {
 public:
  bool OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    const KxWString name = SectionName(which);
    if (name.empty()) return false;
    auto mapped = std::make_unique<CkxMappedSection>();
    if (!OpenOrTrace(mapped->view, name)) return false;
    section.bytes = mapped->view.Bytes();
    section.holder = std::move(mapped);
    return true;
  }

  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* /*token*/) const override {
    KxTrace(EkxTraceLevel::Error, kScope,
            "Failed to initiate connection with agent to HANDLER_APPLICABLE_POLICIES. No agent answers.");
    return nullptr;
  }
};

}  // namespace

const IkxPolicySource& KxPolicySource_Live() {
  static const CkxLivePolicySource live;
  return live;
}

#include "Agent/engine/kx_util/live_policy_source.h"

#include <array>
#include <atomic>

#include "Agent/engine/kx_util/agent_requests.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

const WCHAR* const kKxPoliciesIndexSection = KXW("Global\\KxPoliciesIndexSection");
const WCHAR* const kKxPoliciesUpdatedEvent = KXW("Global\\ZOR_PoliciesUpdatedEvent");

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

/// How often the index is read again after a section that it named was gone. Each time takes a publication that ends
/// between two system calls of this thread.
constexpr int kMaxAttempts = 64;

class CkxLivePolicySource : public IkxPolicySource {
 public:
  explicit CkxLivePolicySource(KxWString index) : _index(std::move(index)) {}

  bool OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    auto mapped = std::make_unique<CkxMappedSection>();
    if (!OpenCurrent(which, mapped->view)) return false;
    section.bytes = mapped->view.Bytes();
    section.holder = std::move(mapped);
    return true;
  }

  KxWString PublicationName() const override { return KxPolicyIndex_SectionName(_index, EkxPolicySection::Policies); }

  /// As the agent says it, each time: it knows the user's groups, and what was published a moment ago.
  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* token) const override {
    const std::optional<CkxSid> user = KxToken_User(token);
    if (!user) {
      KxTrace(EkxTraceLevel::Error, kScope, "ERROR: Failed to get the user's SID. LastError=", KxLastError_Get());
      return nullptr;
    }
    std::optional<std::vector<uint32_t>> ids = KxAgent_ApplicablePolicies(user->ToText());
    return ids ? std::make_shared<const CkxApplicablePolicies>(*std::move(ids)) : nullptr;
  }

 private:
  /// A section that is gone may have been replaced since the index was read: then the index names another one.
  bool OpenCurrent(EkxPolicySection which, CkxSharedMemoryView& view) const {
    KxWString tried;
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
      KxWString name = KxPolicyIndex_SectionName(_index, which);
      if (name.empty() || name == tried) return false;
      if (OpenOrTrace(view, name)) return true;
      if (KxLastError_Get() != kKxErrorFileNotFound) return false;
      tried = std::move(name);
    }
    return false;
  }

  const KxWString _index;
};

}  // namespace

KxWString KxPolicyIndex_SectionName(CkxTextView index, EkxPolicySection which) {
  constexpr size_t kSlotBytes = kKxIndexSlotUnits * sizeof(WCHAR);
  CkxSharedMemoryView view;
  if (!OpenOrTrace(view, index)) return {};
  const size_t slot = static_cast<size_t>(which) * kSlotBytes;
  if (view.Bytes().size() < slot + kSlotBytes) return {};

  // Only read, although the standard library's type takes what can be written too.
  auto* const words = reinterpret_cast<uint64_t*>(const_cast<unsigned char*>(view.Bytes().data() + slot));
  std::array<uint64_t, kSlotBytes / sizeof(uint64_t)> copy;
  for (size_t i = 0; i < copy.size(); ++i) copy[i] = std::atomic_ref(words[i]).load(std::memory_order_acquire);
  return CkxTextView::FromBytes(copy.data(), kSlotBytes).ToString();
}

const IkxPolicySource& KxPolicySource_Live() {
  static const CkxLivePolicySource live(kKxPoliciesIndexSection);
  return live;
}

std::unique_ptr<IkxPolicySource> KxPolicySource_OfIndex(CkxTextView index) {
  return std::make_unique<CkxLivePolicySource>(index.ToString());
}

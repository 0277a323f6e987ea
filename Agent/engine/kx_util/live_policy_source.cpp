#include "Agent/engine/kx_util/live_policy_source.h"

#include <array>
#include <atomic>

#include "Agent/engine/kx_util/agent_requests.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
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

/// The index section, open. Where it is replaced and not rewritten, all of its names are of one publication.
class CkxPolicyIndex {
 public:
  bool Open(CkxTextView name) { return OpenOrTrace(_view, name); }

  KxWString NameOf(EkxPolicySection which) const {
    constexpr size_t kSlotBytes = kKxIndexSlotUnits * sizeof(WCHAR);
    const size_t slot = static_cast<size_t>(which) * kSlotBytes;
    if (_view.Bytes().size() < slot + kSlotBytes) return {};

    // Only read, although the standard library's type takes what can be written too.
    auto* const words = reinterpret_cast<uint64_t*>(const_cast<unsigned char*>(_view.Bytes().data() + slot));
    std::array<uint64_t, kSlotBytes / sizeof(uint64_t)> copy;
    for (size_t i = 0; i < copy.size(); ++i) copy[i] = std::atomic_ref(words[i]).load(std::memory_order_acquire);
    return CkxTextView::FromBytes(copy.data(), kSlotBytes).ToString();
  }

 private:
  CkxSharedMemoryView _view;
};

/// How often the index is read again after a section that it named was gone. Each time takes a publication that ends
/// between two system calls of this thread.
constexpr int kMaxAttempts = 64;

/// The sections of one publication have one name but for what follows the last hyphen. Names of another service than
/// ours tell nothing.
bool AreOfOnePublication(CkxTextView a, CkxTextView b) {
  const auto isOurs = [](CkxTextView name) { return KxText_Find(name, KXW("KxPub"), true) != CkxTextView::npos; };
  const auto stem = [](CkxTextView name) { return name.Part(0, KxText_FindLastUnit(name, KXW('-'))); };
  return !isOurs(a) || !isOurs(b) || KxText_Equals(stem(a), stem(b), true);
}

/// The policies and the groups of one publication, kept open.
class CkxPinnedPublication : public IkxPolicySource {
 public:
  explicit CkxPinnedPublication(const IkxPolicySource& live) : _live(live) {}

  /// A name that is empty stands for a section that is not published. False leaves the last error.
  bool Open(KxWString policies, const KxWString& groups) {
    _name = std::move(policies);
    return (_name.empty() || OpenOrTrace(_policies, _name)) && (groups.empty() || OpenOrTrace(_groups, groups));
  }

  bool OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    if (which == EkxPolicySection::Alerts) return _live.OpenSection(which, section);
    section.bytes = (which == EkxPolicySection::Policies ? _policies : _groups).Bytes();
    section.holder = nullptr;
    return !section.bytes.empty();
  }
  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* token) const override {
    return _live.ApplicablePolicies(token);
  }
  KxWString PublicationName() const override { return _name; }

 private:
  const IkxPolicySource& _live;
  KxWString _name;
  CkxSharedMemoryView _policies;
  CkxSharedMemoryView _groups;
};

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

  KxWString PublicationName() const override { return Name(EkxPolicySection::Policies); }

  /// Names of two publications are an index that is being rewritten: it is read again, as when a section is gone.
  std::unique_ptr<const IkxPolicySource> Pinned() const override {
    KxWString tried;
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
      CkxPolicyIndex index;
      if (!index.Open(_index)) return nullptr;
      KxWString policies = index.NameOf(EkxPolicySection::Policies);
      const KxWString groups = index.NameOf(EkxPolicySection::AppGroups);
      if (policies.empty() || policies == tried) return nullptr;  // nothing, or a section that is gone for good
      if (!groups.empty() && !AreOfOnePublication(policies, groups)) continue;
      auto pinned = std::make_unique<CkxPinnedPublication>(*this);
      if (pinned->Open(policies, groups)) return pinned;
      if (KxLastError_Get() != kKxErrorFileNotFound) return nullptr;
      tried = std::move(policies);
    }
    return nullptr;
  }

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
  KxWString Name(EkxPolicySection which) const { return KxPolicyIndex_SectionName(_index, which); }

  /// A section that is gone may have been replaced since the index was read: then the index names another one.
  bool OpenCurrent(EkxPolicySection which, CkxSharedMemoryView& view) const {
    KxWString tried;
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
      KxWString name = Name(which);
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
  CkxPolicyIndex opened;
  return opened.Open(index) ? opened.NameOf(which) : KxWString();
}

/// Never destroyed: at the end of a process its other threads may still ask.
const IkxPolicySource& KxPolicySource_Live() {
  static const auto* const live = std::make_unique<CkxLivePolicySource>(kKxPoliciesIndexSection).release();
  return *live;
}

std::unique_ptr<IkxPolicySource> KxPolicySource_OfIndex(CkxTextView index) {
  return std::make_unique<CkxLivePolicySource>(index.ToString());
}

#include "Agent/engine/kx_util/store/live_policy_source.h"

#include <array>
#include <atomic>
#include <optional>
#include <thread>

#include "Agent/engine/kx_util/store/agent_requests.h"
#include "Agent/engine/kx_util/store/store_scope.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

const WCHAR* const kKxPoliciesIndexSection = KXW("Global\\KxPoliciesIndexSection");
const WCHAR* const kKxPoliciesUpdatedEvent = KXW("Global\\ZOR_PoliciesUpdatedEvent");

namespace {

struct CkxMappedSection : IkxSectionHolder {
  CkxSharedMemoryView view;
};

/// A section that is not there is the normal state of a machine without policies: no line.
EkxSectionState OpenedOrTrace(bool isOpen, CkxTextView name) {
  if (isOpen) return EkxSectionState::Open;
  const uint32_t error = KxLastError_Get();
  if (error == kKxErrorFileNotFound) return EkxSectionState::NotPublished;
  KxTrace(EkxTraceLevel::Error, kKxStoreScope, "ERROR: Failed to open shared memory [", name, "]. LastError=", error);
  return EkxSectionState::Refused;
}

/// The index section, held. Where it is replaced and not rewritten, all of its names are of one publication.
class CkxPolicyIndex {
 public:
  EkxSectionState Open(CkxTextView name) { return OpenedOrTrace(_section.Open(name), name); }

  KxWString NameOf(EkxPolicySection which) const { return KxPolicyIndex_NameIn(_section.Bytes(), which); }

  EkxSectionState OpenNamed(CkxTextView name, CkxSharedMemoryView& view) const {
    return OpenedOrTrace(view.OpenBeside(_section, name), name);
  }

  /// Whether who opened it now would read what `NameOf` says.
  bool IsInForce() const { return _section.IsInForce(); }

 private:
  CkxHeldSection _section;
};

/// How often the index is read again while a publication is being replaced. Each time takes one that ends between two
/// system calls of this thread, or a publisher that was stopped in the middle of rewriting the index.
constexpr int kMaxAttempts = 64;

/// Names of the sections that one decision is made of; an empty one stands for a section that is not published.
struct SkxSectionNames {
  KxWString policies;
  KxWString groups;

  bool operator==(const SkxSectionNames&) const = default;
};

/// The sections of one publication have one name but for what follows the last hyphen. Names of another service than
/// ours tell nothing.
bool AreOfOnePublication(const SkxSectionNames& names) {
  const auto isOurs = [](CkxTextView name) { return KxText_Find(name, KXW("KxPub"), true) != CkxTextView::npos; };
  const auto stem = [](CkxTextView name) { return name.Part(0, KxText_FindLastUnit(name, KXW('-'))); };
  return names.groups.empty() || !isOurs(names.policies) || !isOurs(names.groups) ||
         KxText_Equals(stem(names.policies), stem(names.groups), true);
}

/// What the index names now. Names of two publications are an index that is being rewritten, and are no state.
std::optional<EkxSectionState> ReadNames(const CkxPolicyIndex& index, SkxSectionNames& names) {
  names = {index.NameOf(EkxPolicySection::Policies), index.NameOf(EkxPolicySection::AppGroups)};
  if (names.policies.empty()) return EkxSectionState::NotPublished;
  if (!AreOfOnePublication(names)) return std::nullopt;
  return EkxSectionState::Open;
}

/// The policies and the groups of one publication, kept open, and the index that names them.
class CkxPinnedPublication : public IkxPolicySource {
 public:
  CkxPinnedPublication(const IkxPolicySource& live, CkxPolicyIndex index, SkxSectionNames names)
      : _live(live), _index(std::move(index)), _names(std::move(names)) {}

  const SkxSectionNames& Names() const { return _names; }

  /// Not published: a section is gone.
  EkxSectionState Open() {
    const EkxSectionState state = _index.OpenNamed(_names.policies, _policies);
    return state == EkxSectionState::Open && !_names.groups.empty() ? _index.OpenNamed(_names.groups, _groups) : state;
  }

  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    if (which == EkxPolicySection::Alerts) return _live.OpenSection(which, section);
    section.bytes = (which == EkxPolicySection::Policies ? _policies : _groups).Bytes();
    section.holder = nullptr;
    return section.bytes.empty() ? EkxSectionState::NotPublished : EkxSectionState::Open;
  }
  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* token) const override {
    return _live.ApplicablePolicies(token);
  }
  bool IsCurrent() const override {
    SkxSectionNames names;
    return _index.IsInForce() && ReadNames(_index, names) == EkxSectionState::Open && names == _names;
  }
  KxWString PublicationName() const override { return _names.policies; }

 private:
  const IkxPolicySource& _live;
  const CkxPolicyIndex _index;
  const SkxSectionNames _names;
  CkxSharedMemoryView _policies;
  CkxSharedMemoryView _groups;
};

class CkxLivePolicySource : public IkxPolicySource {
 public:
  explicit CkxLivePolicySource(KxWString index) : _index(std::move(index)) {}

  /// A section that is gone may have been replaced since the index was read: then the index names another one.
  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    KxWString tried;
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
      CkxPolicyIndex index;
      if (const EkxSectionState state = index.Open(_index); state != EkxSectionState::Open) return state;
      KxWString name = index.NameOf(which);
      if (name.empty()) return EkxSectionState::NotPublished;
      if (name == tried) return EkxSectionState::Refused;  // gone, and yet named
      auto mapped = std::make_unique<CkxMappedSection>();
      const EkxSectionState state = index.OpenNamed(name, mapped->view);
      if (state == EkxSectionState::Refused) return state;
      if (state == EkxSectionState::Open) {
        section.bytes = mapped->view.Bytes();
        section.holder = std::move(mapped);
        return state;
      }
      tried = std::move(name);
    }
    return EkxSectionState::Refused;
  }

  KxWString PublicationName() const override { return KxPolicyIndex_SectionName(_index, EkxPolicySection::Policies); }

  EkxSectionState Pin(std::unique_ptr<const IkxPolicySource>& pinned) const override {
    SkxSectionNames tried;
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
      std::unique_ptr<CkxPinnedPublication> publication;
      if (const EkxSectionState found = Find(publication); found != EkxSectionState::Open) return found;
      if (publication->Names() == tried) return EkxSectionState::Refused;  // gone, and yet named
      tried = publication->Names();
      const EkxSectionState opened = publication->Open();
      if (opened == EkxSectionState::Open) pinned = std::move(publication);
      if (opened != EkxSectionState::NotPublished) return opened;
    }
    return NeverAtRest();
  }

  /// The sections are opened and read while the agent thinks.
  EkxSectionState PinFor(void* token, std::unique_ptr<const IkxPolicySource>& pinned,
                         std::shared_ptr<const CkxApplicablePolicies>& applicable) const override {
    std::unique_ptr<CkxPinnedPublication> publication;
    if (const EkxSectionState found = Find(publication); found != EkxSectionState::Open) {
      applicable = ApplicablePolicies(token);
      return found;
    }
    auto opened = EkxSectionState::Refused;
    applicable = Ask(token, [&] { opened = publication->Open(); });
    pinned = std::move(publication);
    // One that is gone is not current any more; or else it is named, and never was there.
    return opened == EkxSectionState::NotPublished ? EkxSectionState::Refused : opened;
  }

  /// As the agent says it, each time: it knows the user's groups, and what was published a moment ago.
  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* token) const override { return Ask(token, {}); }

 private:
  /// What the index names, of which nothing is open yet.
  EkxSectionState Find(std::unique_ptr<CkxPinnedPublication>& publication) const {
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
      CkxPolicyIndex index;
      if (const EkxSectionState opened = index.Open(_index); opened != EkxSectionState::Open) return opened;
      SkxSectionNames names;
      const std::optional<EkxSectionState> state = ReadNames(index, names);
      if (state == EkxSectionState::Open) {
        publication = std::make_unique<CkxPinnedPublication>(*this, std::move(index), std::move(names));
      }
      if (state) return *state;
      std::this_thread::yield();
    }
    return NeverAtRest();
  }

  EkxSectionState NeverAtRest() const {
    KxTrace(EkxTraceLevel::Error, kKxStoreScope, "ERROR: The index [", CkxTextView(_index), "] does not come to rest");
    return EkxSectionState::Refused;
  }

  std::shared_ptr<const CkxApplicablePolicies> Ask(void* token, const std::function<void()>& meanwhile) const {
    const std::optional<CkxSid> user = KxToken_User(token);
    if (!user) {
      KxTrace(EkxTraceLevel::Error, kKxStoreScope,
              "ERROR: Failed to get the user's SID. LastError=", KxLastError_Get());
      return nullptr;
    }
    std::optional<std::vector<uint32_t>> ids =
        KxAgent_ApplicablePolicies(user->ToText(), kKxApplicablePoliciesRequest, meanwhile);
    return ids ? std::make_shared<const CkxApplicablePolicies>(*std::move(ids)) : nullptr;
  }

  const KxWString _index;
};

}  // namespace

KxWString KxPolicyIndex_NameIn(std::span<const unsigned char> index, EkxPolicySection which) {
  constexpr size_t kSlotBytes = kKxIndexSlotUnits * sizeof(WCHAR);
  const size_t slot = static_cast<size_t>(which) * kSlotBytes;
  if (index.size() < slot + kSlotBytes) return {};

  // Only read, although the standard library's type takes what can be written too.
  auto* const words = reinterpret_cast<uint64_t*>(const_cast<unsigned char*>(index.data() + slot));
  std::array<uint64_t, kSlotBytes / sizeof(uint64_t)> copy;
  for (size_t i = 0; i < copy.size(); ++i) copy[i] = std::atomic_ref(words[i]).load(std::memory_order_acquire);
  return CkxTextView::FromBytes(copy.data(), kSlotBytes).ToString();
}

KxWString KxPolicyIndex_SectionName(CkxTextView index, EkxPolicySection which) {
  CkxPolicyIndex opened;
  return opened.Open(index) == EkxSectionState::Open ? opened.NameOf(which) : KxWString();
}

/// Never destroyed: at the end of a process its other threads may still ask.
const IkxPolicySource& KxPolicySource_Live() {
  static const auto* const live = std::make_unique<CkxLivePolicySource>(kKxPoliciesIndexSection).release();
  return *live;
}

std::unique_ptr<IkxPolicySource> KxPolicySource_OfIndex(CkxTextView index) {
  return std::make_unique<CkxLivePolicySource>(index.ToString());
}

// Looking through the documents of configuration policies, which are parsed once a publication.
//
//   KxConfiguration_Search<CkxSettingsDocument>(token, [&](uint32_t policyId, const CkxSettingsDocument& document) {
//     return document.Find(key) != nullptr;
//   });
//
// The answer is that of a walk over the policies, to the first one that is found and no further. What such a walk has
// parsed is kept under the name of its publication; the next look-up begins there, and walks only for what lies behind.
#pragma once

#include <kx_util/shared_policies_data.h>

#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <vector>

#include "Agent/engine/kx_util/store/configuration_documents.h"
#include "Agent/engine/kx_util/value/action_bits.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/thread/shared_lock.h"
#include "Common_CPP/util/callback.h"
#include "Common_CPP/util/trace.h"

inline constexpr std::string_view kKxConfigurationScope = "CkxSharedConfig";

/// Active policies of the one action that configures the agent.
inline constexpr SkxPolicyFilter kKxConfigurationPolicies = {SkxPolicyFilter::kActive | SkxPolicyFilter::kByAction,
                                                             KxActionBit_Of(EkxPolicyAction::Configuration)};
static_assert(kKxConfigurationPolicies.ActionMask == 0x200);

/// `goOn(policy)` of each until it is false, whoever the user is. False when the walk failed, with a line that says so.
template <class GoOn>
bool KxConfiguration_Walk(void* token, GoOn goOn) {
  auto visit = [&](const CkxShBufPolicy& policy) {
    if (!policy.Active() || !policy.IsAction(EkxPolicyAction::Configuration)) return false;
    return goOn(static_cast<const CkxShBufPolicyConfiguration&>(policy));
  };
  const bool walked = CkxSharedPoliciesData::EnumPolicies(
      kKxConfigurationPolicies, KxCallback<const CkxShBufPolicy&>(visit), &visit, false, token);
  if (!walked) KxTrace(EkxTraceLevel::Error, kKxConfigurationScope, "ERROR: EnumPolicies failed");
  return walked;
}

/// One kind of document of a publication's configuration policies, as far as somebody has looked.
template <class Document>
struct SkxKnownDocuments {
  struct Entry {
    uint32_t policyId;
    std::optional<Document> document;  ///< nothing for one that is empty or cannot be read
  };
  std::vector<std::shared_ptr<const Entry>> entries;  ///< in the order of the section
  bool areAll = false;                                ///< no policy comes behind them
};

/// Those of one publication. Look-ups of several threads do not wait for each other.
template <class Document>
class CkxConfigurationCache {
 public:
  using Known = SkxKnownDocuments<Document>;

  /// The process's cache. Never destroyed: at the end of a process its other threads may still ask.
  static CkxConfigurationCache& Instance() {
    static auto* const cache = std::make_unique<CkxConfigurationCache>().release();
    return *cache;
  }

  /// Null when nothing is known of the publication of that name.
  std::shared_ptr<const Known> Find(const KxWString& publication) const {
    const std::shared_lock lock(_lock);
    return _publication == publication ? _known : nullptr;
  }

  /// Another publication than before drops what was known.
  void Save(const KxWString& publication, std::shared_ptr<const Known> known) {
    const std::unique_lock lock(_lock);
    if (_publication != publication) _publication = publication;
    _known.swap(known);
  }

  void Drop() { Save(KxWString(), nullptr); }

 private:
  mutable CkxSharedLock _lock;
  KxWString _publication;
  std::shared_ptr<const Known> _known;
};

/// Whether `isFound(policyId, document)` is true of a document; it is asked in the order of the policies until then.
template <class Document, class IsFound>
bool KxConfiguration_Search(void* token, IsFound isFound) {
  using Known = SkxKnownDocuments<Document>;
  using Entry = typename Known::Entry;
  const auto isFoundIn = [&](const Entry& entry) { return entry.document && isFound(entry.policyId, *entry.document); };

  // The name and the policies must be of one publication; one that cannot be had is left to the walk, which says why.
  const IkxPolicySource& source = KxPolicySource_Current();
  std::unique_ptr<const IkxPolicySource> pinned;
  const bool isPinned = source.Pin(pinned) == EkxSectionState::Open;
  const IkxPolicySource& publication = pinned != nullptr ? *pinned : source;
  const CkxPolicySourceScope scope(publication);
  const KxWString name = isPinned ? publication.ContentName() : KxWString();  // empty: not to be remembered

  auto& cache = CkxConfigurationCache<Document>::Instance();
  const std::shared_ptr<const Known> known = name.empty() ? nullptr : cache.Find(name);
  if (known != nullptr) {
    for (const auto& entry : known->entries) {
      if (isFoundIn(*entry)) return true;
    }
    if (known->areAll) return false;
  }

  const auto more = known != nullptr ? std::make_shared<Known>(*known) : std::make_shared<Known>();
  size_t left = more->entries.size();  // that are known, to be passed over
  bool found = false;
  const bool walked = KxConfiguration_Walk(token, [&](const CkxShBufPolicyConfiguration& policy) {
    if (left > 0) {
      --left;
      return true;
    }
    more->entries.push_back(std::make_shared<Entry>(Entry{policy.Id(), Document::Parse(Document::TextOf(policy))}));
    found = isFoundIn(*more->entries.back());
    return !found;
  });
  if (!walked || KxFault_Current() != EkxEvaluationFault::None) return false;
  more->areAll = !found;
  if (!name.empty()) cache.Save(name, more);
  return found;
}

#include "Agent/engine/kx_util/store/tools_folder.h"

#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy_target_admin_task.h>

#include <algorithm>
#include <memory>
#include <mutex>

#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kToolsFolderScope = "IsToolsFolderEnabled";
constexpr uint32_t kElevating = KxActionBit_Of(EkxPolicyAction::Elevate) | KxActionBit_Of(EkxPolicyAction::Trust);

/// Whether some elevating policy of the user has a target that `wanted` accepts, links to groups looked through.
/// Nothing when the policies could not be walked.
template <class Wanted>
std::optional<bool> AnyTarget(std::string_view name, void* token, Wanted wanted) {
  bool found = false;
  auto isUnwanted = [&](const CkxShBufTarget& target) { return !(found = wanted(target)); };
  const bool walked = KxPolicyWalk_Each(name, kElevating, token, [&](const CkxShBufPolicyWithTargets& policy) {
    policy.EnumTargets(KxCallback<const CkxShBufTarget&>(isUnwanted), &isUnwanted);
    return !found;
  });
  return walked ? std::optional(found) : std::nullopt;
}

std::optional<bool> IsEnabledByPolicies(void* token) {
  return AnyTarget(kToolsFolderScope, token,
                   [](const CkxShBufTarget& target) { return target.RequiresKxToolsFolder(); });
}

bool StartsFrom(const CkxShBufTarget& target, uint32_t item) {
  if (!target.IsTargetType(EkxPolicyTarget::AdminTask)) return false;
  const auto items = static_cast<const CkxShBufTargetAdminTask&>(target).GetKxToolsFolderItemIds();
  return std::find(items.begin(), items.end(), item) != items.end();
}

}  // namespace

CkxToolsFolderCache& CkxToolsFolderCache::Instance() {
  static auto* const cache = std::make_unique<CkxToolsFolderCache>().release();
  return *cache;
}

std::optional<bool> CkxToolsFolderCache::Find(const KxWString& publication, const std::string& user) const {
  const std::shared_lock lock(_lock);
  const auto found = _publication == publication ? _enabled.find(user) : _enabled.end();
  return found != _enabled.end() ? std::optional(found->second) : std::nullopt;
}

void CkxToolsFolderCache::Save(const KxWString& publication, const std::string& user, bool enabled) {
  const std::unique_lock lock(_lock);
  if (_publication != publication || _enabled.size() >= kMaxUsers) _enabled.clear();
  _publication = publication;
  _enabled[user] = enabled;
}

void CkxToolsFolderCache::Drop() {
  const std::unique_lock lock(_lock);
  _enabled.clear();
}

namespace {

bool IsToolsFolderEnabled(void* token) {
  const KxWString publication = KxPolicySource_Current().PublicationName();
  const std::optional<CkxSid> user = KxToken_User(token);
  if (publication.empty() || !user) return IsEnabledByPolicies(token).value_or(false);

  CkxToolsFolderCache& cache = CkxToolsFolderCache::Instance();
  const std::string key = user->ToUtf8();
  if (const std::optional<bool> enabled = cache.Find(publication, key)) {
    KxTrace(EkxTraceLevel::Debug, kToolsFolderScope,
            *enabled ? "CkxSharedPoliciesData. ToolsFolder is enabled by cached result. "
                     : "CkxSharedPoliciesData. ToolsFolder is disabled by cached result. ");
    return *enabled;
  }
  const std::optional<bool> enabled = IsEnabledByPolicies(token);
  if (enabled) cache.Save(publication, key, *enabled);  // an agent that did not answer may answer the next time
  return enabled.value_or(false);
}

}  // namespace

bool CkxSharedPoliciesData::KxToolsFolderEnabled(void* token) {
  return KxEntry(false, [&] { return IsToolsFolderEnabled(token); });
}

bool CkxSharedPoliciesData::KxToolsFolderIsToolAllowed(uint32_t item, void* token) {
  return AnyTarget("KxToolsFolderIsToolAllowed", token,
                   [item](const CkxShBufTarget& target) { return StartsFrom(target, item); })
      .value_or(false);
}

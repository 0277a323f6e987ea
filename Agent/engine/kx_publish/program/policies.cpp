#include <kx_publish/policies.h>

#include "Agent/engine/kx_publish/image/policy_set.h"
#include "Common_CPP/util/text.h"

namespace {

std::optional<KxWString> ImageFolder(std::string_view utf8, SkxDocumentError& error) {
  std::optional<KxWString> folder = KxText_FromUtf8(utf8);
  if (!folder) error = {"", "", "the folder's path is not UTF-8"};
  return folder;
}

}  // namespace

CkxPolicies::CkxPolicies(CkxPolicySet&& set) : _set(std::make_shared<const CkxPolicySet>(std::move(set))) {}

std::optional<CkxPolicies> CkxPolicies::Open(std::string_view folder, SkxDocumentError& error) {
  const std::optional<KxWString> path = ImageFolder(folder, error);
  if (!path) return std::nullopt;
  error = {};
  std::optional<CkxPolicySet> set = CkxPolicySet::FromFolder(*path, error.message);
  return set ? std::optional(CkxPolicies(*std::move(set))) : std::nullopt;
}

std::optional<CkxPolicies> CkxPolicies::Compile(std::span<const SkxDocumentText> documents, SkxDocumentError& error) {
  std::optional<CkxPolicySet> set = CkxPolicySet::FromDocuments(documents, error);
  return set ? std::optional(CkxPolicies(*std::move(set))) : std::nullopt;
}

bool CkxPolicies::Write(std::string_view folder, SkxDocumentError& error) const {
  const std::optional<KxWString> path = ImageFolder(folder, error);
  if (!path) return false;
  error = {};
  return KxPolicyImage_Write(*path, _set->Image(), error.message);
}

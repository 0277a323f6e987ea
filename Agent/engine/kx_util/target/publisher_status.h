// What the states of a signature are called.
#pragma once

#include <kx_util/target_providers.h>

struct SkxPublisherStatusRow {
  EkxPublisherStatus status;
  const char* key;     ///< in documents
  const WCHAR* words;  ///< where people read it
};

/// By code.
inline constexpr SkxPublisherStatusRow kKxPublisherStatuses[] = {
    {EkxPublisherStatus::Unknown, "unknown", KXW("unknown")},
    {EkxPublisherStatus::SystemPseudoFile, "system", KXW("the system's")},
    {EkxPublisherStatus::ValidByWeakDigest, "weak", KXW("valid by a weak digest")},
    {EkxPublisherStatus::Invalid, "invalid", KXW("invalid")},
    {EkxPublisherStatus::Valid, "valid", KXW("valid")},
    {EkxPublisherStatus::Unsigned, "unsigned", KXW("unsigned")},
    {EkxPublisherStatus::UntrustedRoot, "untrustedRoot", KXW("untrusted root")},
    {EkxPublisherStatus::Expired, "expired", KXW("expired")},
    {EkxPublisherStatus::Revoked, "revoked", KXW("revoked")},
};

/// A code that is none is as good as unknown.
constexpr const SkxPublisherStatusRow& KxPublisherStatus_Row(EkxPublisherStatus status) {
  for (const SkxPublisherStatusRow& row : kKxPublisherStatuses) {
    if (row.status == status) return row;
  }
  return kKxPublisherStatuses[0];
}

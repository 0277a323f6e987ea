// Who signed a file, and what is known of the signature.
#pragma once

#include "Common_CPP/util/base.h"

/// In records and interfaces by these numbers.
enum class EkxPublisherStatus : unsigned {
  Unknown = 0,            ///< nobody has looked
  SystemPseudoFile = 1,   ///< the path "System", which stands for the kernel
  ValidByWeakDigest = 2,  ///< MD5 or SHA-1: a second signer must confirm
  Invalid = 3,
  Valid = 4,
  Unsigned = 5,
  UntrustedRoot = 6,  ///< a valid chain that ends at a root nobody trusts
  Expired = 7,        ///< without a timestamp from before
  Revoked = 8,
};

struct SkxSigner {
  KxWString name;  ///< the common name of the certificate's subject, else its organization; empty when there is none
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
};

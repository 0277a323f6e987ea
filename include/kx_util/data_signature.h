// How the records that travel with a file are signed, and which signatures are believed.
//
// The keyed form is HMAC-SHA-256 by the key of the installed provider (`kx_util/secret_provider.h`). Records of before
// have an older form: SHA-1 over the data and the pass phrase. Which form a signature is of, its length says; never is
// one believed for the other.
#pragma once

#include "Common_CPP/util/base.h"

/// By which secret: the key (HMAC-SHA-256), or the pass phrase of the older form.
enum class EkxSignatureForm : unsigned char { Keyed, Older };

/// Which forms are believed.
enum class EkxSignatureCheck : unsigned char {
  AsConfigured,  ///< older ones too, until the machine is configured not to
  KeyedAlone,
  OlderToo,
  None,  ///< reads what is there, for who wants to look at it and believes nothing
};

/// Whether this machine still believes the older form: its migration is not completed ("MigrationStatus" is not
/// "Completed") and pass phrases are allowed ("AllowPassPhrase" is not 0, or is not there). What cannot be read counts
/// as a no.
KX_UTIL_API bool KxUtil_OlderSignaturesAreBelieved() noexcept;

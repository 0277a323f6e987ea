// What a PKCS #7 message says of its signer, as the system reads it.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "Common_CPP/signature/trust_functions_win.h"
#include "Common_CPP/util/base.h"

/// Null when it is none. The caller closes it.
HCRYPTMSG KxSignedMessage_Open(std::span<const unsigned char> bytes);

/// One without a content of its own, together with `content`. Null also for one that has its own.
HCRYPTMSG KxSignedMessage_OpenDetached(std::span<const unsigned char> bytes, std::span<const unsigned char> content);

/// All that the message brings along; null when the system has none to give. The caller closes it, after it is done
/// with what it found there.
HCERTSTORE KxSignedMessage_Certificates(HCRYPTMSG message);

/// Of the signer; null unless there is exactly one, and its certificate is among `certificates`. The caller frees it.
PCCERT_CONTEXT KxSignedMessage_OnlyCertificate(HCRYPTMSG message, HCERTSTORE certificates);

/// Whether the signer signed the content as plain data, and not as something that it was not asked about.
bool KxSignedMessage_IsSignedAsData(HCRYPTMSG message);

/// Whether the digest that is signed is that of the message's content, which not every system looks at when it verifies
/// the signature.
bool KxSignedMessage_IsOfItsContent(HCRYPTMSG message);

/// Whether the signer's digest is MD5 or SHA-1. What cannot be read counts as one.
bool KxSignedMessage_IsSignerWeak(HCRYPTMSG message);

/// The common name of the certificate's subject, else its organization; empty when it has neither, or one with a NUL.
KxWString KxCertificate_Name(PCCERT_CONTEXT certificate);

KxWString KxSignedMessage_SignerName(HCRYPTMSG message);

/// Whether the file's digest or the signer's is one that can be forged: MD5 or SHA-1. What cannot be read counts as
/// one.
bool KxSignedMessage_IsWeak(HCRYPTMSG message);

/// The bytes of the second message; nothing when there is none.
std::optional<std::vector<unsigned char>> KxSignedMessage_Nested(HCRYPTMSG message);

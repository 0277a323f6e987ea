// Why a detached signature is not made: the same words on each system.
#pragma once

inline constexpr const char* kKxNoPrivateKey = "the key is no private key in PEM form, or is encrypted";
inline constexpr const char* kKxNoCertificate = "there is no certificate in PEM form";
inline constexpr const char* kKxKeyOfAnother = "the key is not that of the certificate";
inline constexpr const char* kKxKeyCannotSign = "a key of this kind cannot sign; RSA and elliptic curves of NIST can";

// The PKCS #7 message of one signer, put together. The system makes such messages too, but only by keys that it keeps
// itself.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "Common_CPP/signature/trust_functions_win.h"

/// What is signed by a signature of plain data: what it is, when it is signed, and the SHA-256 of the data. In DER, as
/// a set. Nothing when the system cannot say when.
std::optional<std::vector<unsigned char>> KxSignerMessage_Attributes(std::span<const unsigned char> digest,
                                                                     FILETIME when);

struct SkxSignerMessage {
  std::span<const std::vector<unsigned char>> certificates;  ///< in DER, the signer's first
  std::span<const unsigned char> attributes;                 ///< that are signed
  std::span<const unsigned char> signature;                  ///< as of `KxPrivateKey_Sign`
  bool isRsa;
};

/// In DER, without the data. Nothing when the first certificate is none.
std::optional<std::vector<unsigned char>> KxSignerMessage_Encode(const SkxSignerMessage& message);

// The blocks of a PEM text. Whatever stands between them says nothing.
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "Common_CPP/signature/trust_functions_win.h"

struct SkxPemBlock {
  std::string_view label;  ///< "CERTIFICATE"
  std::string_view body;   ///< in Base64
};

/// The next block of `text`, which goes on behind it; nothing when there is none. Both point into the text.
std::optional<SkxPemBlock> KxPem_Next(std::string_view& text);

std::string_view KxPem_Text(std::span<const unsigned char> bytes);

/// The bytes of a block, in a vector of any kind; empty when they are none.
template <class Bytes>
Bytes KxPem_Decoded(std::string_view body) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  DWORD size = 0;
  const auto decode = [&](BYTE* bytes) {
    return system.fromText(body.data(), static_cast<DWORD>(body.size()), CRYPT_STRING_BASE64, bytes, &size, nullptr,
                           nullptr);
  };
  if (body.empty() || !decode(nullptr)) return {};  // the system would measure an empty text itself
  Bytes bytes(size);
  if (!decode(bytes.data())) return {};
  bytes.resize(size);
  return bytes;
}

// Structures of ASN.1, taken apart by the system.
#pragma once

#include <span>
#include <vector>

#include "Common_CPP/signature/trust_functions_win.h"

constexpr DWORD kKxAsn1Encoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

inline std::span<const unsigned char> KxAsn1_Bytes(const CRYPT_DATA_BLOB& blob) { return {blob.pbData, blob.cbData}; }

/// What `bytes` mean as `type`, in memory of its own that points into itself and so is never copied; empty when they
/// are none. `Memory`: a vector of bytes of any kind.
template <class Memory = std::vector<unsigned char>>
Memory KxAsn1_Decoded(const char* type, std::span<const unsigned char> bytes) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  DWORD size = 0;
  const auto decode = [&](void* object) {
    return system.decode(kKxAsn1Encoding, type, bytes.data(), static_cast<DWORD>(bytes.size()), 0, nullptr, object,
                         &size);
  };
  if (!decode(nullptr)) return {};
  Memory object(size);
  if (!decode(object.data())) object.clear();
  return object;
}

/// Null when there is none.
template <class Object, class Memory>
const Object* KxAsn1_As(const Memory& bytes) {
  return bytes.size() < sizeof(Object) ? nullptr : reinterpret_cast<const Object*>(bytes.data());
}

/// The element of a sequence, as it is encoded; empty when there is none.
template <class Memory>
std::span<const unsigned char> KxAsn1_Element(const Memory& sequence, DWORD index) {
  const auto* const elements = KxAsn1_As<CRYPT_SEQUENCE_OF_ANY>(sequence);
  if (elements == nullptr || index >= elements->cValue) return {};
  return KxAsn1_Bytes(elements->rgValue[index]);
}

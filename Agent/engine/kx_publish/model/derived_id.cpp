#include "Agent/engine/kx_publish/model/derived_id.h"

#include <algorithm>
#include <stdexcept>

#include "Common_CPP/crypto/hash.h"

GUID KxDerivedId(const std::string& place) {
  const std::span bytes(reinterpret_cast<const unsigned char*>(place.data()), place.size());
  const std::optional<std::vector<unsigned char>> digest = KxHash_OfBytes(bytes, EkxHashAlgorithm::Sha256);
  if (!digest.has_value() || digest->size() < sizeof(GUID)) throw std::runtime_error("SHA-256 is not available");

  const auto pair = [&](size_t at) { return static_cast<uint16_t>((*digest)[at] << 8 | (*digest)[at + 1]); };
  GUID id{};
  id.Data1 = uint32_t{pair(0)} << 16 | pair(2);
  id.Data2 = pair(4);
  id.Data3 = static_cast<uint16_t>((pair(6) & 0x0FFF) | 0x8000);
  std::copy_n(digest->begin() + 8, sizeof(id.Data4), id.Data4);
  id.Data4[0] = static_cast<unsigned char>((id.Data4[0] & 0x3F) | 0x80);
  return id;
}

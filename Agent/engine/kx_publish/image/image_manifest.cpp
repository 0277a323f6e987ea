#include "Agent/engine/kx_publish/image/image_manifest.h"

#include <span>

#include "Agent/engine/kx_publish/image/policy_image_files.h"
#include "Common_CPP/crypto/hash.h"

namespace {

template <class Bytes>
std::optional<std::string> HexDigest(const Bytes& bytes) {
  constexpr std::string_view kHex = "0123456789abcdef";
  const std::span content(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  const std::optional<std::vector<unsigned char>> digest = KxHash_OfBytes(content, EkxHashAlgorithm::Sha256);
  if (!digest) return std::nullopt;
  std::string text;
  for (const unsigned char byte : *digest) text += {kHex[byte >> 4], kHex[byte & 15]};
  return text;
}

/// False when the file is there and cannot be hashed.
template <class Bytes>
bool AddLine(std::string& manifest, const WCHAR* name, const std::optional<Bytes>& bytes) {
  if (!bytes) return true;
  const std::optional<std::string> digest = HexDigest(*bytes);
  if (digest) manifest.append(*digest).append("  ").append(KxText_ToUtf8(name)).append("\n");
  return digest.has_value();
}

}  // namespace

std::optional<std::string> KxImageManifest_Of(const SkxPolicyImage& image) {
  std::string manifest;
  const bool isWhole =
      AddLine(manifest, kKxAlertsFile, image.alerts) && AddLine(manifest, kKxAppGroupsFile, image.appGroups) &&
      AddLine(manifest, kKxApplicableFile, image.applicable) && AddLine(manifest, kKxNamesFile, image.names) &&
      AddLine(manifest, kKxPoliciesFile, image.policies);
  return isWhole ? std::optional(manifest) : std::nullopt;
}

std::string KxImageManifest_Digest(const SkxPolicyImage& image) {
  const std::optional<std::string> manifest = KxImageManifest_Of(image);
  return manifest ? HexDigest(*manifest).value_or("") : "";
}

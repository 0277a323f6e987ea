#include "Agent/engine/kx_util/target/app_package.h"

#include <kx_util/version.h>

#include <array>

#include "Common_CPP/util/format.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/xml/xml_document.h"
#include "Common_CPP/zip/zip_archive.h"

namespace {

constexpr size_t kMaxAppManifestBytes = 1024 * 1024;
constexpr std::string_view kAppNamespaces = "http://schemas.microsoft.com/appx/";  // each version has one below it

/// False when one has no name: then it cannot be told what is declared.
bool TakeCapabilities(const CkxXmlElement& package, std::vector<KxWString>& names) {
  for (CkxXmlElement list = package.First(); list; list = list.Next()) {
    if (list.LocalName() != "Capabilities") continue;
    for (CkxXmlElement capability = list.First(); capability; capability = capability.Next()) {
      std::optional<KxWString> name = capability.Attribute("Name");
      if (!name) return false;
      names.push_back(*std::move(name));
    }
  }
  return true;
}

/// Four numbers of 16 bits, as the system demands them.
bool IsPackageVersion(CkxTextView text) {
  const SkxVersion version = SkxVersion::Parse(text);
  CkxUtilStr plain;
  KxText_AppendFormat(plain, KXW("%hu.%hu.%hu.%hu"), version.GetAt(0), version.GetAt(1), version.GetAt(2),
                      version.GetAt(3));
  return KxText_Equals(plain.View(), text, true);
}

}  // namespace

std::optional<SkxAppPackageFacts> KxAppManifest_Read(std::span<const unsigned char> manifest) {
  const std::optional<CkxXmlDocument> document = CkxXmlDocument::Parse(manifest);
  if (!document) return std::nullopt;
  const CkxXmlElement package = document->Root();
  if (package.LocalName() != "Package" || !package.Namespace().starts_with(kAppNamespaces)) return std::nullopt;
  const CkxXmlElement identity = package.Child("Identity");
  std::optional<KxWString> name = identity.Attribute("Name");
  std::optional<KxWString> version = identity.Attribute("Version");
  std::optional<KxWString> publisher = identity.Attribute("Publisher");
  if (!name || !version || !publisher || !IsPackageVersion(*version)) return std::nullopt;
  SkxAppPackageFacts facts;
  facts.name = *std::move(name);
  facts.version = *std::move(version);
  facts.publisher = *std::move(publisher);
  facts.capabilitiesKnown = TakeCapabilities(package, facts.capabilities);
  return facts;
}

std::optional<SkxAppPackageFacts> KxAppPackage_Read(const IkxByteSource& file, uint64_t size) {
  constexpr std::array<unsigned char, 4> kArchive = {'P', 'K', 3, 4};
  std::array<unsigned char, 4> begin;
  if (!file.ReadExactly(0, begin) || begin != kArchive) return std::nullopt;
  const std::optional<CkxZipArchive> archive = CkxZipArchive::Open(file, size);
  const auto manifest = archive ? archive->Read("AppxManifest.xml", kMaxAppManifestBytes) : std::nullopt;
  return manifest ? KxAppManifest_Read(*manifest) : std::nullopt;
}

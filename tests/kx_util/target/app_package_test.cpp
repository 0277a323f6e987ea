// What application packages say of themselves.
#include "Agent/engine/kx_util/target/app_package.h"

#include <gtest/gtest.h>
#include <kx_util/target_info_file.h>

#include "Common_CPP/util/text.h"
#include "tests/support/temp_folder.h"
#include "tests/support/zip_bytes.h"

namespace {

constexpr std::string_view kAppBegin =
    "<Package xmlns='http://schemas.microsoft.com/appx/manifest/foundation/windows10' xmlns:r='urn:restricted'>";
constexpr std::string_view kAppIdentity =
    "<Identity Name='Vendor.App' Version='1.2.3.4' Publisher='CN=Vend&#xF6;r, C=GB'/>";
constexpr std::string_view kAppEnd = "</Package>";

std::string AppManifest(std::string_view inside, std::string_view begin = kAppBegin) {
  return std::string(begin) + std::string(inside) + std::string(kAppEnd);
}

/// "name version publisher: capability capability"
std::string AppSaid(const SkxAppPackageFacts* package) {
  if (package == nullptr) return "none";
  std::string text = KxText_ToUtf8(package->name) + " " + KxText_ToUtf8(package->version) + " " +
                     KxText_ToUtf8(package->publisher) + ":";
  for (const KxWString& capability : package->capabilities) text += " " + KxText_ToUtf8(capability);
  return package->capabilitiesKnown ? text : text + " and any";
}

std::string AppSaidBy(const std::string& manifest) {
  const KxBytes bytes = CkxTestZip::Bytes(manifest);
  const std::optional<SkxAppPackageFacts> package = KxAppManifest_Read(bytes);
  return AppSaid(package ? &*package : nullptr);
}

const std::string kAppVendor = "Vendor.App 1.2.3.4 CN=Vend\xC3\xB6r, C=GB:";

TEST(AppPackage, SaysWhatItsManifestSays) {
  const std::string identity(kAppIdentity);
  EXPECT_EQ(AppSaidBy(AppManifest(identity)), kAppVendor);
  EXPECT_EQ(AppSaidBy(AppManifest(identity +
                                  "<Capabilities><Capability Name='internetClient'/>"
                                  "<r:Capability Name='runFullTrust'/><DeviceCapability Name='webcam'/></Capabilities>"
                                  "<Capabilities><Capability Name='more'/></Capabilities>")),
            kAppVendor + " internetClient runFullTrust webcam more");
  EXPECT_EQ(AppSaidBy(AppManifest(identity + "<Capabilities><Capability Name='a'/><Capability/></Capabilities>")),
            kAppVendor + " a and any");
  EXPECT_EQ(AppSaidBy(AppManifest("<r:Identity Name='Other' Version='1.0.0.0' Publisher='CN=Other'/>" + identity)),
            kAppVendor)
      << "of another namespace";
  EXPECT_EQ(
      AppSaidBy(AppManifest(identity, "<Package xmlns='http://schemas.microsoft.com/appx/2010/manifest' xmlns:r='r'>")),
      kAppVendor);
}

TEST(AppPackage, ManifestsThatSayTooLittleOrTooMuchAreNone) {
  const std::string identity(kAppIdentity);
  for (const std::string& manifest : {
           AppManifest(""),
           AppManifest(identity + identity),
           AppManifest("<r:Identity Name='a' Version='1.0.0.0' Publisher='b'/>"),
           AppManifest("<Identity Name='a' Version='1.0.0.0'/>"),
           AppManifest("<Identity Version='1.0.0.0' Publisher='b'/>"),
           AppManifest("<Identity Name='a' Publisher='b'/>"),
           AppManifest("<Identity Name='a' Version='1.0' Publisher='b'/>"),
           AppManifest("<Identity Name='a' Version='1.0.0.65536' Publisher='b'/>"),
           AppManifest("<Identity Name='a' Version='1.0.0.x' Publisher='b'/>"),
           AppManifest(identity, "<Package>"),
           AppManifest(identity, "<Package xmlns='urn:x' xmlns:r='r'>"),
           "<!DOCTYPE Package>" + AppManifest(identity),
           AppManifest("<Properties>" + identity + "</Properties>"),
       }) {
    EXPECT_EQ(AppSaidBy(manifest), "none") << manifest;
  }
}

TEST(AppPackage, LiveFilesSayItWhateverTheyAreCalled) {
  const CkxTempFolder folder;
  const auto described = [&](const char* name, const KxBytes& bytes) {
    folder.Write(name, std::string(bytes.begin(), bytes.end()));
    const CkxTargetInfoFile file(folder.Text(name).c_str(), nullptr);
    return AppSaid(file.AppPackage());
  };
  const KxBytes manifest = CkxTestZip::Bytes(AppManifest(kAppIdentity));
  const auto zip = [&](bool isLarge) {
    return CkxTestZip(isLarge).File("App.exe", {1, 2, 3}).File("AppxManifest.xml", manifest).Archive();
  };
  EXPECT_EQ(described("a.msix", zip(false)), kAppVendor);
  EXPECT_EQ(described("b.appx", zip(true)), kAppVendor);
  EXPECT_EQ(described("c.dat", zip(true)), kAppVendor);
  EXPECT_EQ(described("d.zip", CkxTestZip().File("other.xml", manifest).Archive()), "none");
  EXPECT_EQ(described("e.msix", manifest), "none");
  EXPECT_EQ(described("f.msix", {}), "none");
}

}  // namespace

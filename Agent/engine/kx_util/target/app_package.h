// What an application package (.appx, .msix) says of itself: an archive with a manifest, AppxManifest.xml:
//
//   <Package xmlns="http://schemas.microsoft.com/appx/manifest/foundation/windows10">
//     <Identity Name="Vendor.App" Version="1.2.3.4" Publisher="CN=Vendor" .../>
//     <Capabilities><Capability Name="internetClient"/><DeviceCapability Name="webcam"/></Capabilities>
//
// Elements of other namespaces count among the capabilities alone, where the system has added kinds.
#pragma once

#include <kx_util/target_facts.h>

#include <span>

class IkxByteSource;

/// Nothing when the manifest is broken, or is none with exactly one identity.
std::optional<SkxAppPackageFacts> KxAppManifest_Read(std::span<const unsigned char> manifest);

/// The same of a package, of `size` bytes; nothing, after a look at its first bytes, for any other file.
std::optional<SkxAppPackageFacts> KxAppPackage_Read(const IkxByteSource& file, uint64_t size);

// Application packages and their manifests from arbitrary bytes: no byte outside of them is read, and what they say is
// no longer than they are allowed to be.
#include <cstdlib>

#include "Agent/engine/kx_util/target/app_package.h"
#include "Common_CPP/zip/zip_archive.h"
#include "tests/support/memory_source.h"

namespace {

void RequireBounded(const std::optional<SkxAppPackageFacts>& package) {
  if (!package) return;
  size_t units = package->name.size() + package->version.size() + package->publisher.size();
  for (const KxWString& capability : package->capabilities) units += capability.size();
  if (units > 1024 * 1024) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const CkxMemorySource source(data, size);
  if (const std::optional<CkxZipArchive> archive = CkxZipArchive::Open(source, size)) {
    constexpr size_t kLimit = 64 * 1024;
    const auto bytes = archive->Read("AppxManifest.xml", kLimit);
    if (bytes && bytes->size() > kLimit) std::abort();
  }
  RequireBounded(KxAppPackage_Read(source, size));
  RequireBounded(KxAppManifest_Read({data, size}));
  return 0;
}

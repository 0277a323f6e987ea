#include <kx_util/file_src_package.h>

#include "Agent/engine/kx_util/origin/source_xml.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

KxWString PackageText(const WCHAR* text) { return CkxTextView(text).ToString(); }

bool IsPackageType(EkxFileSrcPackageType type) {
  return type > EkxFileSrcPackageType::None && type <= EkxFileSrcPackageType::Email;
}

}  // namespace

void CkxFileSrcPackage::_Fill(const CkxTargetInfoFile& file) {
  KxEntry([&] {
    SkxFileSrcPackageFacts facts = _facts;
    facts.path = PackageText(file.GetPath());
    facts.publisher = PackageText(file.GetPublisher(false, facts.publisherStatus));
    facts.productName = PackageText(file.GetProductName());
    facts.productVersion = PackageText(file.GetProductVersionStr());
    _facts = std::move(facts);
  });
}

CkxFileSrcPackageMsi::CkxFileSrcPackageMsi(const CkxTargetInfoFile& package)
    : CkxFileSrcPackageFile(EkxFileSrcPackageType::Msi) {
  _Fill(package);
  KxEntry([&] {
    SkxFileSrcPackageFacts facts = Facts();
    facts.productName = PackageText(package.GetMsiProperty(KXW("ProductName")));
    facts.productVersion = PackageText(package.GetMsiProperty(KXW("ProductVersion")));
    facts.manufacturer = PackageText(package.GetMsiProperty(KXW("Manufacturer")));
    facts.productCode = PackageText(package.GetMsiProperty(KXW("ProductCode")));
    facts.upgradeCode = PackageText(package.GetMsiProperty(KXW("UpgradeCode")));
    Facts() = std::move(facts);
  });
}

bool CkxFileSrcPackage::ToXml(tinyxml2::XMLElement& parent) const {
  return KxEntry(false, [&] { return KxSourceXml_Write(parent, "Package", *this); });
}

std::optional<CkxFileSrcPackage> CkxFileSrcPackage::CreateFromXml(const tinyxml2::XMLElement& package) {
  return KxEntry(std::optional<CkxFileSrcPackage>(), [&]() -> std::optional<CkxFileSrcPackage> {
    CkxFileSrcPackage read;
    if (!KxSourceXml_Read(package, read) || !IsPackageType(read.Type())) return std::nullopt;
    return read;
  });
}

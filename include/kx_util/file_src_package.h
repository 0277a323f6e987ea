// The package in which a file came: an installer's, an archive that is a program, any other file, or an e-mail.
#pragma once

#include <kx_util/target_info_file.h>

namespace tinyxml2 {
class XMLElement;
}

/// As records have it.
enum class EkxFileSrcPackageType : uint32_t { None = 0, Executable = 1, File = 2, Msi = 3, Email = 4 };

/// Members that a type has no use for stay empty.
struct SkxFileSrcPackageFacts {
  EkxFileSrcPackageType type = EkxFileSrcPackageType::None;

  // Of a file.
  KxWString path;
  KxWString publisher;
  EkxPublisherStatus publisherStatus = EkxPublisherStatus::Unknown;
  KxWString productName;
  KxWString productVersion;
  uint32_t smScrRep = 0;  ///< what the system's reputation check said of it; carried

  // Of an installer package, beside those.
  KxWString manufacturer;
  KxWString productCode;
  KxWString upgradeCode;
  KxWString setupExeDir;
  KxWString installDir;

  // Of an e-mail.
  KxWString senderAddress;
  KxWString subject;
  uint64_t receivedTime = 0;  ///< 100 ns since 1601 UTC
  KxWString entryId;          ///< by which the mail store knows it
  KxWString storeId;
};

/// What a file came in.
class KX_UTIL_API CkxFileSrcPackage {
 public:
  CkxFileSrcPackage() = default;
  explicit CkxFileSrcPackage(SkxFileSrcPackageFacts facts) : _facts(std::move(facts)) {}

  EkxFileSrcPackageType Type() const { return _facts.type; }
  const SkxFileSrcPackageFacts& Facts() const { return _facts; }
  SkxFileSrcPackageFacts& Facts() { return _facts; }

  /// Adds the element "Package". False when memory is short.
  bool ToXml(tinyxml2::XMLElement& parent) const;

  /// By its "type"; nothing for a number that is no type.
  static std::optional<CkxFileSrcPackage> CreateFromXml(const tinyxml2::XMLElement& package);

 protected:
  explicit CkxFileSrcPackage(EkxFileSrcPackageType type) { _facts.type = type; }

  /// What a description tells of a file.
  void _Fill(const CkxTargetInfoFile& file);

 private:
  SkxFileSrcPackageFacts _facts;
};

/// A package that is a file.
class KX_UTIL_API CkxFileSrcPackageFile : public CkxFileSrcPackage {
 public:
  explicit CkxFileSrcPackageFile(const CkxTargetInfoFile& file) : CkxFileSrcPackageFile(EkxFileSrcPackageType::File) {
    _Fill(file);
  }

 protected:
  explicit CkxFileSrcPackageFile(EkxFileSrcPackageType type) : CkxFileSrcPackage(type) {}
};

/// A program that unpacks itself.
class KX_UTIL_API CkxFileSrcPackageExe : public CkxFileSrcPackageFile {
 public:
  explicit CkxFileSrcPackageExe(const CkxTargetInfoFile& program)
      : CkxFileSrcPackageFile(EkxFileSrcPackageType::Executable) {
    _Fill(program);
  }
};

/// A package of the Windows Installer.
class KX_UTIL_API CkxFileSrcPackageMsi : public CkxFileSrcPackageFile {
 public:
  /// With the properties of its database.
  explicit CkxFileSrcPackageMsi(const CkxTargetInfoFile& package);
};

/// An e-mail that a file was attached to.
class KX_UTIL_API CkxFileSrcPackageEmail : public CkxFileSrcPackage {
 public:
  CkxFileSrcPackageEmail() : CkxFileSrcPackage(EkxFileSrcPackageType::Email) {}
};

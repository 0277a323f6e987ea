// Recorded facts of a target: what a description made elsewhere, or written by hand, says of the thing. A fact that is
// not given does not exist for that target: a description over recorded facts reads nothing from this machine.
#pragma once

#include <kx_util/media_facts.h>
#include <kx_util/target_providers.h>

#include <map>
#include <memory>
#include <optional>
#include <vector>

class CkxFileOrigin;

/// The identity of an application package of the store kind.
struct SkxAppPackageFacts {
  KxWString name;
  KxWString version;                    ///< "1.2.3.4"
  KxWString publisher;                  ///< as it says itself, the subject of a certificate: "CN=Vendor, C=GB"
  std::vector<KxWString> capabilities;  ///< as its manifest declares them
  bool capabilitiesKnown = true;        ///< false: it may declare any, so that nothing can be said of what it does not
};

/// What a program file says of how it runs.
struct SkxProgramFacts {
  uint16_t machine = 0;      ///< 0x14C x86, 0x8664 x86-64, 0xAA64 ARM64
  uint16_t subsystem = 0;    ///< 1 native, 2 with windows, 3 in a console
  bool isManaged = false;    ///< it is .NET
  KxWString runtimeVersion;  ///< of .NET, as its metadata asks for it: "v4.0.30319"; empty when it does not say
};

/// What a file holds, whatever it is called.
enum class EkxFileContent {
  Unknown,       ///< none of these, or it could not be looked at
  Program,       ///< or another module
  CompoundFile,  ///< installer packages and patches are such files
  Cabinet,       ///< as are update packages (.msu) for systems that know nothing newer
  WindowsImage,  ///< as are the newer ones
  Shortcut,
};

/// What is recorded of a file. What is absent does not exist for a description of it.
struct SkxFileFacts {
  KxWString path;
  std::optional<uint32_t> targetType;  ///< when not given: of a file by the path's extension, else by the kind
  std::optional<int64_t> size;
  std::optional<int64_t> modificationTime;
  std::map<KxWString, KxWString> hashes;  ///< algorithm in upper case -> hexadecimal
  std::vector<SkxSigner> signers;         ///< signer 0, then signer 1
  std::optional<CkxSid> owner;
  std::optional<KxWString> ownerName;
  std::optional<KxWString> fileVersion;          ///< "1.2.3.4"
  std::map<KxWString, KxWString> versionInfo;    ///< field -> text; found without regard to case
  std::map<KxWString, KxWString> msiProperties;  ///< installer property -> text
  std::shared_ptr<const CkxFileOrigin> origin;   ///< where it came from; null when nothing is kept of that
  std::optional<uint32_t> urlZone;               ///< security zone of the address that it was downloaded from
  std::optional<bool> inTempFolder;              ///< not given: by its path
  std::optional<SkxAppPackageFacts> appPackage;  ///< of a package, or of a program that runs from one
  std::optional<KxWString> executionLevel;       ///< of an ".exe", what its manifest asks to be started with
  std::optional<SkxProgramFacts> program;
  std::optional<SkxMediaFacts> media;  ///< of the removable medium that the file lies on
};

/// Where a file was copied from.
struct SkxFileSrcCopySource {
  KxWString path;
  KxWString locationType;    ///< kind of place, "REMOTE", "CDROM", ...
  KxWString localShareName;  ///< of the share on this machine that the path lies on
};

/// What only those know of a process who watch it, for the origins of the files that it makes.
struct SkxProcessSurroundings {
  bool multiFileCreator = false;          ///< it created many files
  bool isDeveloperApp = false;            ///< its program was built on this machine
  KxWString softwareDistributor;          ///< the distribution tool that started it
  SkxFileSrcCopySource copySource;        ///< of its program
  std::optional<uint64_t> deletedFileId;  ///< the number that its program's file had, which is gone
};

/// What is recorded of a process.
struct SkxProcessFacts {
  uint32_t pid = 0;
  int64_t creationTime = 0;        ///< file time; 0: not known
  uint32_t parentPid = 0;          ///< 0: none, or not known
  int64_t parentCreationTime = 0;  ///< file time; 0: not known
  KxWString commandLine;
  KxWString services;  ///< names separated by "/"
  SkxProcessSurroundings surroundings;
};

/// Of what the system runs on behalf of another program.
struct SkxServerFacts {
  KxWString classId;        ///< "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}"
  KxWString sourceAddress;  ///< of a control: the page or package that it comes from
};

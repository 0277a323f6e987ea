// The members of target documents, each with its name and its meaning: the one list that is walked to read a document
// and to write one. An `io` has a function for each meaning:
//
//   Value      a text, a number or true and false; one that is optional may be left out
//   Amount     a number that is not negative
//   Version    a text that is a version
//   Texts      an object of texts
//   Sid, Sids  one, or a list
//   Names      a list of texts, and whether there is one
//   Hashes, Signers, Status, Package, Level, Program, Media, Origin, CopySource   what stands for itself
#pragma once

#include <optional>
#include <vector>

#include "Common_CPP/security/sid.h"

inline constexpr const char* kKxTargetId = "id";
inline constexpr const char* kKxTargetKind = "kind";
inline constexpr const char* kKxTargetDrives = "drives";
inline constexpr const char* kKxTargetMappedDrives = "mappedDrives";
inline constexpr const char* kKxTargetWindowsFolder = "windowsFolder";
inline constexpr const char* kKxTargetUser = "user";
inline constexpr const char* kKxTargetParent = "parent";
inline constexpr const char* kKxTargetLinked = "linked";

inline constexpr const char* kKxKindFile = "file";
inline constexpr const char* kKxKindProcess = "process";

/// `facts`: SkxFileFacts.
template <class Io, class Facts>
void KxTargetFields_File(Io& io, Facts& facts) {
  io.Value("path", facts.path);
  io.Value("targetType", facts.targetType);
  io.Amount("size", facts.size);
  io.Value("modified", facts.modificationTime);
  io.Hashes("hashes", facts.hashes);
  io.Signers("signers", facts.signers);
  io.Sid("owner", facts.owner);
  io.Value("ownerName", facts.ownerName);
  io.Version("fileVersion", facts.fileVersion);
  io.Texts("versionInfo", facts.versionInfo);
  io.Texts("msi", facts.msiProperties);
  io.Origin("origin", facts.origin);
  io.Value("urlZone", facts.urlZone);
  io.Value("isTemp", facts.inTempFolder);
  io.Package("appPackage", facts.appPackage);
  io.Level("executionLevel", facts.executionLevel);
  io.Program("program", facts.program);
  io.Media("media", facts.media);
}

/// SkxSigner.
template <class Io, class Facts>
void KxTargetFields_Signer(Io& io, Facts& signer) {
  io.Value("name", signer.name);
  io.Status("status", signer.status);
}

/// SkxAppPackageFacts.
template <class Io, class Facts>
void KxTargetFields_Package(Io& io, Facts& package) {
  io.Value("name", package.name);
  io.Version("version", package.version);
  io.Value("publisher", package.publisher);
  io.Names("capabilities", package.capabilities, package.capabilitiesKnown);
}

/// SkxProgramFacts.
template <class Io, class Facts>
void KxTargetFields_Program(Io& io, Facts& program) {
  io.Value("machine", program.machine);
  io.Value("subsystem", program.subsystem);
  io.Value("managed", program.isManaged);
  io.Value("runtimeVersion", program.runtimeVersion);
}

/// SkxMediaFacts.
template <class Io, class Facts>
void KxTargetFields_Media(Io& io, Facts& media) {
  io.Value("type", media.type);
  io.Value("vendor", media.vendor);
  io.Value("product", media.product);
  io.Value("serialNumber", media.serialNumber);
}

/// SkxProcessFacts.
template <class Io, class Facts>
void KxTargetFields_Process(Io& io, Facts& process) {
  io.Value("pid", process.pid);
  io.Value("commandLine", process.commandLine);
  io.Value("services", process.services);
  io.Value("multiFileCreator", process.surroundings.multiFileCreator);
  io.Value("devApp", process.surroundings.isDeveloperApp);
  io.Value("softDistrName", process.surroundings.softwareDistributor);
  io.CopySource("copySrc", process.surroundings.copySource);
  io.Deleted("deleted", "fileId", process.surroundings.deletedFileId);
}

/// SkxServerFacts.
template <class Io, class Facts>
void KxTargetFields_Server(Io& io, Facts& server) {
  io.Value("classId", server.classId);
  io.Value("sourceAddress", server.sourceAddress);
}

/// Whom a token is for.
struct SkxTargetUser {
  std::optional<CkxSid> sid;
  std::vector<CkxSid> groups;
  std::vector<CkxSid> denyOnlyGroups;
  bool isAdministrator = false;
};

template <class Io, class Facts>
void KxTargetFields_User(Io& io, Facts& user) {
  io.Sid("sid", user.sid);
  io.Sids("groups", user.groups);
  io.Sids("denyOnlyGroups", user.denyOnlyGroups);
  io.Value("admin", user.isAdministrator);
}

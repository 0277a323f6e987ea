// The fields of source records, each with its name and its meaning: the one list that is walked to write a record as
// XML or JSON and to read it. An `io` has a function for each meaning:
//
//   Number        always there; KnownNumber: left out when it is the one that stands for "unknown"
//   Place         a number too, in a chain of processes; -1 where it cannot be read
//   Flag, Text    left out when false, or empty
//   Child         a text in an element of its own; in JSON it and the attributes of that element are members like
//   others Constant      written as it is, and read past CopySource    a place that something was copied from Hash
//   "ALGORITHM##HEX" as two texts Sid, Sids     account and groups SourceTypes   what follows from the other fields:
//   only ever written, and only when asked for Fresh         a flag that XML has no place for File          the part
//   about the file itself, where it is asked for Record        a record in an element of its own, one that is optional,
//   or several
//
// The order is that of writing. In XML attributes come before elements whatever their order here.
#pragma once

#include <kx_util/file_origin.h>

#include <type_traits>

/// `Type` or what is constant of it.
template <class Given, class Type>
concept KxRecordOf = std::is_same_v<std::remove_const_t<Given>, Type>;

template <class Io, KxRecordOf<SkxFileSrcFile> File>
void KxSourceFields(Io& io, File& file) {
  io.Number("smScrRep", file.smScrRep);
  io.Child("Path", file.path);
}

/// In an element, or an object, of its own; elsewhere it is a part of a record.
template <class Io, KxRecordOf<SkxFileSrcCopySource> Source>
void KxSourceFields(Io& io, Source& source) {
  io.CopySourceAlone(source);
}

template <class Io, KxRecordOf<CkxFileSrcUser> User>
void KxSourceFields(Io& io, User& user) {
  auto& facts = user.Facts();
  io.Sid("sid", facts.sid);
  io.Flag("byKX", facts.byKX);
  io.Flag("limited", facts.limited);
  io.Sids("Group", "groups", facts.groups);
}

template <class Io, KxRecordOf<CkxFileSrcProcess> Process>
void KxSourceFields(Io& io, Process& process) {
  auto& facts = process.Facts();
  io.Place("order", facts.order);
  io.Flag("isSetup", facts.isSetup);
  io.Flag("multiFileCreator", facts.multiFileCreator);
  io.KnownNumber("urlZone", facts.urlZone, facts.kUnknownUrlZone);
  io.Text("wellKnown", facts.wellKnown);
  io.Text("softDistrName", facts.softwareDistributor);
  io.SourceTypes("srcTypes", process);
  io.Child("SvcNames", facts.serviceNames);
  io.Text("publisher", facts.publisher);
  io.Number("publisherStatus", facts.publisherStatus);
  io.Text("fileDescr", facts.fileDescription);
  io.Text("productName", facts.productName);
  io.Child("Path", facts.path, [&facts](auto& path) {
    path.Text("locationType", facts.locationType);
    path.Flag("isTemp", facts.inTempFolder);
  });
  io.Child("Args", facts.arguments);
  io.CopySource(facts.copySource);
  io.Hash(facts.hash);
  io.Fresh("devApp", facts.isDeveloperApp);
  io.Record("User", facts.user);
}

template <class Io, KxRecordOf<CkxFileSrcPackage> Package>
void KxSourceFields(Io& io, Package& package) {
  auto& facts = package.Facts();
  io.Number("type", facts.type);
  switch (facts.type) {
    case EkxFileSrcPackageType::None:
      break;
    case EkxFileSrcPackageType::Email:
      io.Constant("emailType", KXW("Outlook"));
      io.Child("SenderAddress", facts.senderAddress);
      io.Child("Subject", facts.subject);
      io.Number("receivedTime", facts.receivedTime);
      io.Text("entryId", facts.entryId);
      io.Text("storeId", facts.storeId);
      break;
    case EkxFileSrcPackageType::Executable:
    case EkxFileSrcPackageType::File:
    case EkxFileSrcPackageType::Msi:
      io.Child("Path", facts.path);
      io.Text("publisher", facts.publisher);
      io.Number("publisherStatus", facts.publisherStatus);
      io.Text("productName", facts.productName);
      io.Text("productVersion", facts.productVersion);
      io.Number("smScrRep", facts.smScrRep);
      if (facts.type != EkxFileSrcPackageType::Msi) break;
      io.Text("manufacturer", facts.manufacturer);
      io.Text("productCode", facts.productCode);
      io.Text("upgradeCode", facts.upgradeCode);
      io.Child("SetupExeDir", facts.setupExeDir);
      io.Child("InstallDir", facts.installDir);
      break;
  }
}

template <class Io, KxRecordOf<CkxFileSrcInstaller> Installer>
void KxSourceFields(Io& io, Installer& installer) {
  io.Number("installTime", installer.InstallTime());
  io.CopySource(installer.CopySource());
  io.Record("Process", "processes", installer.Processes());
  io.Record("Package", installer.Package());
}

template <class Io, KxRecordOf<CkxFileSrcParentInstaller> Installer>
void KxSourceFields(Io& io, Installer& installer) {
  using Base = std::conditional_t<std::is_const_v<Installer>, const CkxFileSrcInstaller, CkxFileSrcInstaller>;
  KxSourceFields(io, static_cast<Base&>(installer));
  io.Place("fromProcOrder", installer.FromProcOrder());
  io.Flag("isGrandParent", installer.IsGrandParent());
}

template <class Io, KxRecordOf<CkxFileOrigin> Origin>
void KxSourceFields(Io& io, Origin& origin) {
  io.Constant("version", Origin::kVersion);
  io.Flag("preexisted", origin.Preexisted());
  io.File(origin.File());
  const bool isKnown = !origin.Preexisted();
  io.Record("Installer", origin.Installer(), isKnown);
  io.Record("ParentInstaller", origin.ParentInstaller(), isKnown);
}

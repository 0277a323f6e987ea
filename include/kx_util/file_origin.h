// Where a file came from: the file, what wrote it, and what had brought the programs that wrote it.
//
//   CkxFileOrigin origin;
//   if (origin.FillFromProcess(path, writer, now)) origin.ToXml(text, false);   // kept with the file
//   …
//   if (origin.FromOwnXml(text)) origin.GetMainSourceType();                     // "Internet"
//
// A record in XML is whole or refused; it may be as large as what can be kept with a file. The texts of a record that
// is filled are such that XML holds them, and so many that they fit.
#pragma once

#include <kx_util/file_src_installer.h>

#include <functional>

/// The file itself.
struct SkxFileSrcFile {
  KxWString path;
  uint32_t smScrRep = 0;  ///< what the system's reputation check said when it came; carried
};

class CkxDrvXmlData;

/// The origin of a program, by its path; null when nothing is kept of that.
using KxOriginLookup = std::function<std::shared_ptr<const CkxFileOrigin>(CkxTextView path)>;

/// Where a file came from: who brought it, in which package, and the same of what brought those programs.
class KX_UTIL_API CkxFileOrigin {
 public:
  static constexpr int32_t kVersion = 1;

  /// What the process, of this moment or as recorded, makes of a file at `filePath`. `installTime`: 100 ns since 1601
  /// UTC. False, with nothing changed, for a path or a process that is none.
  bool FillFromProcess(CkxTextView filePath, const CkxTargetInfoProcess& writer, uint64_t installTime);

  /// The same of an installer package; `writer`, its installing process, may be null.
  bool FillFromMsi(CkxTextView filePath, CkxFileSrcPackage package, const CkxTargetInfoProcess* writer,
                   uint64_t installTime);

  /// The same of an installer that is filled already.
  bool FillFromInstaller(CkxTextView filePath, CkxFileSrcInstaller installer);

  /// The file was there before origins were kept: no more is known of it.
  bool& Preexisted() { return _preexisted; }
  bool Preexisted() const { return _preexisted; }

  SkxFileSrcFile& File() { return _file; }
  const SkxFileSrcFile& File() const { return _file; }

  CkxFileSrcInstaller& Installer() { return _installer; }
  const CkxFileSrcInstaller& Installer() const { return _installer; }

  /// The installer that brought the installer's own programs.
  CkxFileSrcParentInstaller& ParentInstaller() { return _parentInstaller; }
  const CkxFileSrcParentInstaller& ParentInstaller() const { return _parentInstaller; }

  /// Of the installer; where that has none, of its parent.
  CkxFileSrcType::EkxType GetMainSourceType() const { return SourceInstaller().GetMainSourceType(); }
  const CkxFileSrcInstaller& SourceInstaller() const;

  /// Whom the file is from: the user of the first process of its installer that has one. Null when nobody is known.
  const CkxFileSrcUser* User() const;

  /// The address that the file is known to be downloaded from. Not a part of the record: kept beside it.
  void SetDownloadAddress(KxWString address) { _downloadAddress = std::move(address); }

  /// "INTERNET" for a file that was downloaded, else the kind of place that it was copied from: one of the words of
  /// `CkxFileSrcType`, empty when unknown. And that address or path.
  CkxTextView SourceKind() const;
  CkxTextView SourceAddress() const;

  /// Where the file was before: where it was copied from; else where the program lay that gave it its main type, or
  /// that program was copied from. With the kind of place as it was then.
  CkxTextView SourcePath() const;
  CkxTextView SourcePathType() const;

  /// "FileOrigin", with the part about the file itself or without. False, with `text` as it was, for what XML cannot
  /// hold or could not be read back.
  bool ToXml(std::string& text, bool withFile = true, bool withSourceTypes = false) const;
  bool ToXml(tinyxml2::XMLElement& parent, bool withFile = true, bool withSourceTypes = false) const;

  /// Each false, with an error line and nothing changed, for a text that is no such record. Own: the text is the
  /// element. Event: the element is somewhere in it.
  bool FromOwnXml(std::string_view text);
  bool FromEventXml(std::string_view text);
  bool FromXml(const tinyxml2::XMLElement& origin);

  /// What the file-system driver saw: the processes that wrote the file, and what `originOf` tells of their programs.
  /// False, with nothing changed, for a record that names no process.
  bool FromDrvData(const CkxDrvXmlData& data, const KxOriginLookup& originOf = {});

 private:
  template <class Of>
  CkxTextView _OfSource(Of of) const;
  void _SetParentInstaller();
  void _FitIntoXml();

  bool _preexisted = false;
  SkxFileSrcFile _file;
  CkxFileSrcInstaller _installer;
  CkxFileSrcParentInstaller _parentInstaller;
  KxWString _downloadAddress;
};

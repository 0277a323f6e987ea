// A process as the origin of a file remembers it: the one that wrote the file, or one above it. The record outlives the
// process and may come from another day, so it is judged by what it holds and never by looking at the disk.
//
//   CkxFileSrcProcess writer;
//   writer.Fill(process);
//   if (policy.IsSoftwareDistributor(writer, name)) writer.Facts().softwareDistributor = name.View().ToString();
#pragma once

#include <kx_util/file_src_type.h>
#include <kx_util/target_info_process.h>

/// Where a file was copied from.
struct SkxFileSrcCopySource {
  KxWString path;
  KxWString locationType;
  KxWString localShareName;  ///< of the share on this machine that the path lies on
};

/// What the record holds. An empty text is "unknown".
struct SkxFileSrcProcessFacts {
  static constexpr uint32_t kUnknownUrlZone = 0xFFFFFFFF;

  uint32_t order = 0;             ///< place in the chain; 0 wrote the file
  bool isSetup = false;           ///< the program installs software
  bool multiFileCreator = false;  ///< it created many files
  uint32_t urlZone = kUnknownUrlZone;
  KxWString wellKnown;            ///< short name of a process that everybody knows
  KxWString softwareDistributor;  ///< the distribution tool that started it
  KxWString serviceNames;         ///< separated by "/"
  KxWString publisher;
  EkxPublisherStatus publisherStatus = EkxPublisherStatus::Unknown;
  KxWString fileDescription;
  KxWString productName;
  KxWString path;
  KxWString locationType;     ///< of the path: "FIXED", "REMOVABLE", ...
  bool inTempFolder = false;  ///< the program lies in a folder for temporary files
  KxWString arguments;        ///< the command line without its program
  SkxFileSrcCopySource copySource;
  KxWString hash;               ///< "ALGORITHM##HEX"
  bool isDeveloperApp = false;  ///< it was built on this machine; known while the record is fresh
  std::optional<CkxSid> user;
};

class KX_UTIL_API CkxFileSrcProcess final : public IkxHashProvider,
                                            public IkxPublisherProvider,
                                            public IkxVersionInfoProvider {
 public:
  CkxFileSrcProcess() = default;
  explicit CkxFileSrcProcess(SkxFileSrcProcessFacts facts) : _facts(std::move(facts)) {}

  /// Takes over what the description tells of the process and its program, the hash and its well-known name included,
  /// and the user that it runs for. What only its surroundings tell (its order, its distributor, where it was copied
  /// from, its zone, whether it created many files) stays as it was. False, with nothing
  /// changed, for a process without a path.
  bool Fill(const CkxTargetInfoProcess& process);

  const SkxFileSrcProcessFacts& Facts() const { return _facts; }
  SkxFileSrcProcessFacts& Facts() {
    _areTypesKnown = false;
    return _facts;
  }

  /// Where files come from that the process writes, in no particular order; found out when first asked for.
  const CkxFileSrcTypeArray& SourceTypes() const;

  /// The highest of them, `None` where there is none. `name` says who brought the file ("Google Chrome"), `detail` from
  /// where or by what: a path, or the distributor's program. "UNKNOWN" for what is not known, null for no type.
  CkxFileSrcType::EkxType GetMainSourceType() const;
  CkxFileSrcType::EkxType GetMainSourceType(const WCHAR*& name, const WCHAR*& detail) const;

  /// What people call it: its well-known name, its description or its file name. "Deleted File" when the image is gone,
  /// "UNKNOWN" when nothing is known.
  const WCHAR* GetDisplayName() const;

  /// How the path of an image that is gone is remembered, by the number that its file had, and whether `path` is one.
  static KxWString _FormatDeletedPath(uint64_t fileId, CkxTextView path);
  static bool IsPathDeleted(CkxTextView path);

  /// Whether the walk from a process to those that started it ends at this one: what lies above did not bring the file.
  /// So does the system's installer for a file of one of its packages.
  bool _IsProcessStackTerminator(bool ofPackage) const;

  /// In the folder where the system keeps its components side by side.
  static bool _InWinSxS(CkxTextView path);

  /// The path in quotes, then the arguments.
  KxWString CommandLine() const;

  /// Whether the program of `process` installs software: the system's own installers, else by the installer keywords in
  /// the original name and the description of its version resource.
  static bool IsSetupExeTarget(const CkxTargetInfoProcess& process);

  /// Whether a process that everybody knows has that short name, in letters of any case, and what people call it: null
  /// for another name, and where there is no such word.
  static bool IsWellKnownName(CkxTextView shortName);
  static const WCHAR* HumanReadableNameFromWellKnown(CkxTextView shortName);

  /// Whether `text` has "setup", "install", "update" or "upgrade" anywhere in it, in whatever case.
  static bool ContainsInstallerKeywords(CkxTextView text);

  // Texts live until the facts change.
  const WCHAR* GetPath() const override;
  int64_t GetFileSize() const override { return kUnknownSize; }
  int64_t GetModificationTime() const override { return 0; }
  void* GetAccessToken() const override { return nullptr; }
  const WCHAR* GetHashStringUsing(const WCHAR* algorithm) const override;
  bool GetHash(CkxUtilStr& algorithm, CkxUtilStr& hash) const override;
  const WCHAR* GetPublisher(bool secondSigner, EkxPublisherStatus& status) const override;  ///< the first signer alone
  const WCHAR* GetVersionInfo(const WCHAR* field) const override;  ///< "FileDescription" and "ProductName"

 private:
  SkxFileSrcProcessFacts _facts;
  mutable CkxFileSrcTypeArray _types;
  mutable bool _areTypesKnown = false;
};

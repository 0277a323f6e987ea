// A process as the origin of a file remembers it: the one that wrote the file, or one above it. The record outlives the
// process and may come from another day, so it is judged by what it holds and never by looking at the disk.
//
//   CkxFileSrcProcess writer;
//   writer.Fill(process);
//   if (policy.IsSoftwareDistributor(writer, name)) writer.Facts().softwareDistributor = name.View().ToString();
#pragma once

#include <kx_util/file_src_type.h>
#include <kx_util/file_src_user.h>
#include <kx_util/target_info_process.h>

class CkxFileOrigin;

namespace tinyxml2 {
class XMLElement;
}

/// What the record holds. An empty text is "unknown".
struct SkxFileSrcProcessFacts {
  static constexpr uint32_t kUnknownUrlZone = 0xFFFFFFFF;

  int32_t order = 0;              ///< place in the chain; 0 wrote the file, -1 when unknown
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
  std::optional<CkxFileSrcUser> user;
};

/// A process of a chain of those that wrote a file.
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

  /// What an origin keeps of the process at that place of its chain: who watches it told of its surroundings too, the
  /// origin of its own program is held, and what the rules below have no need for is left out. `below`: the process
  /// that it started, null for the one that wrote the file.
  bool FillForOrigin(const CkxTargetInfoProcess& process, int32_t order, const CkxTargetInfoProcess* below);

  /// Where the program of the process came from; null when unknown. Held while the record is fresh, never written.
  const std::shared_ptr<const CkxFileOrigin>& ImageOrigin() const { return _imageOrigin; }
  void SetImageOrigin(std::shared_ptr<const CkxFileOrigin> origin) { _imageOrigin = std::move(origin); }

  void SetUser(CkxFileSrcUser user) { Facts().user = std::move(user); }

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

  /// Where the program lies, or lay; for a process that everybody knows, and of which no path is kept, its file name.
  CkxTextView MainPath() const;

  /// Both are of the same program: the same well-known one, or one of the same path.
  bool IsSameProgram(const CkxTargetInfoProcess& process) const;

  /// The process's short name, if everybody knows it and none is set. True when one is then.
  bool NeedFeelWellKnown() const { return _facts.wellKnown.empty(); }
  bool FillWellKnown(const CkxTargetInfoProcess& process);

  /// The file name of the program of that short name; null where there is none.
  static const WCHAR* GetWellKnownExeName(CkxTextView shortName);

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

  /// Whether the process installs software: as the process map has it marked, if it knows a process of that number,
  /// else by its program. `target` is its description.
  static bool IsSetupExe(uint32_t pid, const CkxTargetInfoProcess& target);

  /// Whether the program of `process` installs software: the system's own installers, else by the installer keywords in
  /// the original name and the description of its version resource.
  static bool IsSetupExeTarget(const CkxTargetInfoProcess& process);

  /// Whether a process that everybody knows has that short name, in letters of any case, and what people call it: null
  /// for another name, and where there is no such word.
  static bool IsWellKnownName(CkxTextView shortName);
  static const WCHAR* HumanReadableNameFromWellKnown(CkxTextView shortName);

  /// Whether `text` has "setup", "install", "update" or "upgrade" anywhere in it, in whatever case.
  static bool ContainsInstallerKeywords(CkxTextView text);

  /// Adds the element "Process". False when memory is short.
  bool ToXml(tinyxml2::XMLElement& parent, bool withSourceTypes = false) const;
  static std::optional<CkxFileSrcProcess> CreateFromXml(const tinyxml2::XMLElement& process);

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
  void _FillFacts(const CkxTargetInfoProcess& process, SkxFileSrcProcessFacts& facts) const;
  static void _FillSurroundings(const CkxTargetInfoProcess& process, SkxFileSrcProcessFacts& facts);
  bool _PathAndArgsRequired() const;
  bool _HashRequired() const;
  bool _UserRequired(const CkxTargetInfoProcess* below) const;

  SkxFileSrcProcessFacts _facts;
  std::shared_ptr<const CkxFileOrigin> _imageOrigin;
  mutable CkxFileSrcTypeArray _types;
  mutable bool _areTypesKnown = false;
};

// The description of a file, and the base of the description of a process.
#pragma once

#include <kx_util/target_facts.h>
#include <kx_util/target_info.h>
#include <kx_util/version.h>

/// Where a file description takes its facts from: the file itself, or a record. Each answer is asked for at most once.
class IkxFileFacts;

/// The description of a file.
class KX_UTIL_API CkxTargetInfoFile : public CkxTargetInfo,
                                      public IkxHashProvider,
                                      public IkxPublisherProvider,
                                      public IkxOwnerProvider,
                                      public IkxVersionInfoProvider {
 public:
  /// The path that stands for the kernel; compared exactly.
  static const WCHAR* const kSystemPseudoFile;

  /// A live file: looked at when a matcher asks, under `userToken`.
  CkxTargetInfoFile(const WCHAR* path, void* userToken, bool flag = false);

  /// A file as recorded; the facts are copied.
  CkxTargetInfoFile(SkxFileFacts facts, void* userToken, bool flag = false);
  ~CkxTargetInfoFile() override;

  bool IsTargetInfoFile() const override { return true; }
  const IkxPathProvider* QueryPathProvider() const override { return this; }
  const IkxHashProvider* QueryHashProvider() const override { return this; }
  const IkxPublisherProvider* QueryPublisherProvider() const override { return this; }
  const IkxOwnerProvider* QueryOwnerProvider() const override { return this; }
  const IkxVersionInfoProvider* QueryVersionInfoProvider() const override { return this; }
  EkxPolicyTarget TargetType() const override;

  virtual bool IsSystemProcess() const;
  virtual SkxVersion GetVersion() const;       ///< of the fixed version block; empty when there is none
  virtual const WCHAR* GetVersionStr() const;  ///< the same as "1.2.3.4", null when there is none

  /// Of a live file where it really lies, whatever name it was described by: a short name, a link or a drive that
  /// stands for a folder leads no program past a policy. As given where there is no such file.
  const WCHAR* GetPath() const override;
  int64_t GetFileSize() const override;
  int64_t GetModificationTime() const override;
  void* GetAccessToken() const override { return UserToken(); }
  const WCHAR* GetHashStringUsing(const WCHAR* algorithm) const override;
  bool GetHash(CkxUtilStr& algorithm, CkxUtilStr& hash) const override;
  const WCHAR* GetPublisher(bool secondSigner, EkxPublisherStatus& status) const override;
  const CkxSid* GetOwner() const override;
  const WCHAR* GetOwnerDomainUserName() const override;
  const WCHAR* GetVersionInfo(const WCHAR* field) const override;

  const WCHAR* GetProductVersionStr() const;  ///< the version field "ProductVersion"
  const WCHAR* GetProductName() const;
  const SkxAppPackageFacts* AppPackage() const;  ///< null for what belongs to no package, or when unknown
  const SkxMediaFacts* Media() const;            ///< null for what lies on no removable medium, or when unknown
  const CkxFileOrigin* Origin() const;           ///< where it came from; null when nothing is kept of that
  std::shared_ptr<const CkxFileOrigin> SharedOrigin() const;  ///< the same, for whoever outlives the description
  std::optional<uint32_t> UrlZone() const;      ///< 0 this machine … 3 internet, 4 restricted; of a downloaded file
  EkxFileContent Content() const;               ///< told from the first bytes of a live file; no policy asks for it
  const SkxProgramFacts* Program() const;       ///< null for what is no program file, or when unknown
  const WCHAR* GetEmbeddedDescription() const;  ///< "FileDescription", else "ProductName"

  /// Of an ".exe", what its manifest asks to be started with: "asInvoker", "highestAvailable" or
  /// "requireAdministrator"; null when it does not say.
  const WCHAR* GetRequestedExecutionLevel() const;

  /// Whether it lies in a folder for files that nobody keeps, the system's or a user's.
  bool IsInTempDir() const;

  /// Of an installer package a property of its database; names differ by case. Of a live one, also "PackageCode", and
  /// of its summary information "Summary.Subject", "Summary.Author", "Summary.Template" and the like. A live patch has
  /// "ProductName", "Manufacturer", "PatchCode" and "TargetProductCodes".
  const WCHAR* GetMsiProperty(const WCHAR* property) const;

  /// "TITLE (PATH)"; with a null `title` the embedded description, else the file name, stands for it.
  void AppendDescription(const WCHAR* title, CkxUtilStr& text) const;

  /// Whether the path is known without a look at the file, and so whatever else is asked of it alone.
  bool IsPathAtHand() const { return _isPathReal && !IsIncomplete(); }

  /// Whether every fact is: those that were recorded are.
  bool AreFactsAtHand() const;

  /// Whether the first signer is.
  bool IsSignerAtHand() const { return _signers[0].has_value() || AreFactsAtHand(); }

  /// The kind of target that a path names by its extension: 3 for programs, 21 for libraries, 5 and 6 for packages,
  /// 4 for scripts, 0 for anything else.
  static EkxPolicyTarget TypeOfPath(CkxTextView path);

 protected:
  void _GetDescriptionForAlert(CkxUtilStr& text) const override;
  void _GetDescriptionForEvent(CkxUtilStr& text) const override;

 private:
  template <class Facts>
  void _Take(CkxTextView path, Facts facts);
  const IkxFileFacts& _Facts() const;

  const CkxUtilStr& _Path() const;

  mutable CkxUtilStr _path;
  mutable bool _isPathReal = false;
  mutable std::optional<EkxPolicyTarget> _type;                         // as recorded, or once the path is known
  std::unique_ptr<IkxFileFacts> _facts;                                 // null when incomplete
  mutable std::optional<CkxSid> _owner;                                 // the SID behind the text that the cache keeps
  mutable std::optional<std::shared_ptr<const CkxFileOrigin>> _origin;  // none until it is asked for
  mutable std::optional<SkxSigner> _signers[2];  // a status that the cache, which holds texts, has no place for
};

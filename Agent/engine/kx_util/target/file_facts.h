// The facts behind a file description. Two sources: the file itself, looked at when asked, and recorded facts. The
// description keeps every answer, so a source need not.
#pragma once

#include <kx_util/target_facts.h>
#include <kx_util/version.h>

#include <memory>

class IkxFileFacts {
 public:
  virtual ~IkxFileFacts() = default;

  /// Whether they cost nothing.
  virtual bool AreAtHand() const { return false; }

  /// Where the file lies that the path of the description names; nothing when it is to be taken as it is.
  virtual std::optional<KxWString> RealPath() const { return std::nullopt; }
  virtual std::optional<int64_t> Size() const = 0;
  virtual std::optional<int64_t> ModificationTime() const = 0;
  virtual std::optional<KxWString> Hash(CkxTextView algorithm) const = 0;  ///< hexadecimal
  virtual std::optional<CkxSid> Owner() const = 0;
  virtual std::optional<KxWString> OwnerName() const = 0;
  virtual SkxVersion FileVersion() const = 0;  ///< empty when there is none
  virtual std::optional<KxWString> VersionField(CkxTextView field) const = 0;
  virtual std::optional<KxWString> MsiProperty(CkxTextView property) const = 0;
  virtual EkxFileContent Content() const { return EkxFileContent::Unknown; }
  virtual std::optional<KxWString> RequestedExecutionLevel() const { return std::nullopt; }  ///< as a manifest has it
  virtual const SkxProgramFacts* Program() const { return nullptr; }                         ///< null when unknown
  virtual const SkxAppPackageFacts* AppPackage() const { return nullptr; }                   ///< null when unknown
  virtual const SkxMediaFacts* Media() const { return nullptr; }                             ///< null when unknown
  virtual std::shared_ptr<const CkxFileOrigin> Origin() const { return nullptr; }            ///< null when unknown
  virtual std::optional<uint32_t> UrlZone() const { return std::nullopt; }
  virtual std::optional<bool> IsInTempFolder() const { return std::nullopt; }  ///< nothing: by the path
  virtual SkxSigner Signer(bool second) const = 0;  ///< no name and `Unknown` when the source cannot tell
};

std::unique_ptr<IkxFileFacts> KxFileFacts_Live(CkxTextView path, void* token);
std::unique_ptr<IkxFileFacts> KxFileFacts_Recorded(SkxFileFacts facts);

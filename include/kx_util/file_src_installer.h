// What wrote a file: the writing process and those above it, up to the one that brought it onto the machine; and the
// package that it came in.
#pragma once

#include <kx_util/file_src_package.h>
#include <kx_util/file_src_process.h>

#include <vector>

class CkxFileSrcParentInstaller;

/// Who brought a file onto the machine: the processes that wrote it, the package that it came in, and when.
class KX_UTIL_API CkxFileSrcInstaller {
 public:
  /// More is no real chain, and refused where it is read. Those that are filled are shorter.
  static constexpr size_t kMaxProcesses = 64;
  static constexpr size_t kMaxFilledProcesses = 32;

  /// The chain that led to `writer`, itself first, up to and with the first at which the walk ends. Each parent must be
  /// known to be one: the description of a live process says so. A file that a live one has from an e-mail gets what is
  /// kept of that beside it. `installTime`: 100 ns since 1601 UTC. False, with nothing changed, for a process without a
  /// path.
  bool FillFromProcess(CkxTextView filePath, const CkxTargetInfoProcess& writer, uint64_t installTime);

  /// The same for a file of an installer package. `writer` may be null: the package tells enough.
  bool FillFromMsi(CkxTextView filePath, CkxFileSrcPackage package, const CkxTargetInfoProcess* writer,
                   uint64_t installTime);

  /// The record that the file inherits from: of those that the programs of the chain came by themselves, the newest
  /// one that has a type of source; else the newest. False when there is none.
  bool SelectParentInstaller(CkxFileSrcParentInstaller& selected) const;

  /// Whether the process is the agent of Configuration Manager: by its place and by a signature that holds.
  static bool CheckForSccm(const CkxTargetInfoProcess& process);

  /// Nothing is known of what wrote the file.
  bool IsEmpty() const;

  /// The best of its processes' types; of equals that of the one nearest to the file, whose `order` it is. Texts as for
  /// a process.
  CkxFileSrcType::EkxType GetMainSourceType() const;
  CkxFileSrcType::EkxType GetMainSourceType(const WCHAR*& name, const WCHAR*& detail, int& order) const;

  /// The process that gives the main type; null where none has one.
  const CkxFileSrcProcess* MainProcess() const;

  /// 100 ns since 1601 UTC; 0 when unknown.
  uint64_t& InstallTime() { return _installTime; }
  uint64_t InstallTime() const { return _installTime; }

  /// Where the file was copied from.
  SkxFileSrcCopySource& CopySource() { return _copySource; }
  const SkxFileSrcCopySource& CopySource() const { return _copySource; }

  std::vector<CkxFileSrcProcess>& Processes() { return _processes; }
  const std::vector<CkxFileSrcProcess>& Processes() const { return _processes; }

  std::optional<CkxFileSrcPackage>& Package() { return _package; }
  const std::optional<CkxFileSrcPackage>& Package() const { return _package; }

  /// Adds the element "Installer". False when it cannot be read back: too many processes; or memory is short.
  bool ToXml(tinyxml2::XMLElement& parent, bool withSourceTypes = false) const;

  /// False for too many processes.
  bool FromXml(const tinyxml2::XMLElement& installer);

 private:
  CkxFileSrcType::EkxType _GetProcessMainSourceType(const CkxFileSrcProcess*& process) const;
  void _FillChain(const CkxTargetInfoProcess& writer, bool ofPackage);
  static std::optional<CkxFileSrcPackage> _ReadSrcEmail(CkxTextView filePath);
  void _ReadAndSetSrcEmail(CkxTextView filePath);

  uint64_t _installTime = 0;
  SkxFileSrcCopySource _copySource;
  std::vector<CkxFileSrcProcess> _processes;
  std::optional<CkxFileSrcPackage> _package;
};

/// The installer that brought one of the programs in the chain of a file's installer, and so the file.
class KX_UTIL_API CkxFileSrcParentInstaller : public CkxFileSrcInstaller {
 public:
  static constexpr int32_t kUnknownOrder = -1;

  CkxFileSrcParentInstaller() = default;
  CkxFileSrcParentInstaller(const CkxFileSrcInstaller& installer, int32_t fromProcOrder, bool isGrandParent)
      : CkxFileSrcInstaller(installer), _fromProcOrder(fromProcOrder), _isGrandParent(isGrandParent) {}

  /// The place in the file's chain of the process whose program it brought.
  int32_t& FromProcOrder() { return _fromProcOrder; }
  int32_t FromProcOrder() const { return _fromProcOrder; }

  /// It was that program's own parent installer.
  bool& IsGrandParent() { return _isGrandParent; }
  bool IsGrandParent() const { return _isGrandParent; }

  /// Adds the element "ParentInstaller", else as above.
  bool ToXml(tinyxml2::XMLElement& parent, bool withSourceTypes = false) const;
  bool FromXml(const tinyxml2::XMLElement& installer);

 private:
  int32_t _fromProcOrder = kUnknownOrder;
  bool _isGrandParent = false;
};

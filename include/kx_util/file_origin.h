// Where a file came from: the processes that took part in bringing it onto the machine.
#pragma once

#include <kx_util/file_src_process.h>

#include <vector>

/// What wrote a file: the writing process, then those above it, up to the installer.
class CkxFileSrcInstaller {
 public:
  std::vector<CkxFileSrcProcess>& Processes() { return _processes; }
  const std::vector<CkxFileSrcProcess>& Processes() const { return _processes; }

 private:
  std::vector<CkxFileSrcProcess> _processes;
};

class CkxFileOrigin {
 public:
  CkxFileSrcInstaller& Installer() { return _installer; }
  const CkxFileSrcInstaller& Installer() const { return _installer; }

  /// The installer that brought the installer's own programs.
  CkxFileSrcInstaller& ParentInstaller() { return _parentInstaller; }
  const CkxFileSrcInstaller& ParentInstaller() const { return _parentInstaller; }

 private:
  CkxFileSrcInstaller _installer;
  CkxFileSrcInstaller _parentInstaller;
};

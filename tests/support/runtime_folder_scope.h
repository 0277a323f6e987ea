// Sections of a test's own: on POSIX a runtime folder below the temporary one, on Windows names that nobody else uses.
#pragma once

#include <string>

#include "Common_CPP/util/base.h"
#include "tests/support/temp_folder.h"

/// While it lives, sections are kept in its folder where the system keeps them in one.
class CkxRuntimeFolderScope {
 public:
  CkxRuntimeFolderScope();
  ~CkxRuntimeFolderScope();
  CkxRuntimeFolderScope(const CkxRuntimeFolderScope&) = delete;
  CkxRuntimeFolderScope& operator=(const CkxRuntimeFolderScope&) = delete;

  const CkxTempFolder& Folder() const { return _folder; }

  /// A name in the session's own name space, with `suffix` at its end.
  KxWString Name(const KxWString& suffix) const;

 private:
  const CkxTempFolder _folder;
};

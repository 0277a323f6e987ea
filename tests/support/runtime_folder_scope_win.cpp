#include "tests/support/runtime_folder_scope.h"

CkxRuntimeFolderScope::CkxRuntimeFolderScope() = default;
CkxRuntimeFolderScope::~CkxRuntimeFolderScope() = default;

/// The folder's own name is as unique as the folder.
KxWString CkxRuntimeFolderScope::Name(const KxWString& suffix) const {
  return KXW("Local\\") + _folder.Path().filename().wstring() + KXW("-") + suffix;
}

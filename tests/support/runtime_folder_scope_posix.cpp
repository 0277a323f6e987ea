#include <cstdlib>

#include "tests/support/runtime_folder_scope.h"

CkxRuntimeFolderScope::CkxRuntimeFolderScope() { setenv("KX_RUNTIME_DIR", _folder.Path().c_str(), 1); }
CkxRuntimeFolderScope::~CkxRuntimeFolderScope() { unsetenv("KX_RUNTIME_DIR"); }
KxWString CkxRuntimeFolderScope::Name(const KxWString& suffix) const { return KXW("Local\\") + suffix; }

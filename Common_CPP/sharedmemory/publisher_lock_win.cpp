#include "Common_CPP/access_token/object_access_win.h"
#include "Common_CPP/secure_named_pipe/protected_pipe_win.h"
#include "Common_CPP/security/agent_trust.h"
#include "Common_CPP/sharedmemory/publisher_lock.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

/// The name's separators stay: they are the pipe's file system's as well.
CkxHandle MakePipe(const wchar_t* prefix, CkxTextView name, CkxObjectAccess& access) {
  const KxWString path = KxWString(prefix).append(L"KxLock.").append(name.ToString());
  return CkxHandle(
      CreateNamedPipeW(path.c_str(), PIPE_ACCESS_DUPLEX, PIPE_REJECT_REMOTE_CLIENTS, 1, 0, 0, 0, access.Attributes()));
}

}  // namespace

struct CkxPublisherLock::Held {
  CkxHandle pipe;  // that it exists is the lock
};

CkxPublisherLock::CkxPublisherLock() = default;
CkxPublisherLock::~CkxPublisherLock() = default;

bool CkxPublisherLock::Acquire(CkxTextView name) {
  if (!KxSharedMemory_IsName(name)) {
    KxLastError_Set(ERROR_INVALID_NAME);
    return false;
  }
  CkxObjectAccess access(L"");
  if (!access) return false;
  CkxHandle pipe = MakePipe(kKxProtectedPipes, name, access);
  if (!pipe && GetLastError() == ERROR_ACCESS_DENIED && KxTrust_OwnUser()) pipe = MakePipe(kKxPlainPipes, name, access);
  if (!pipe) {
    if (GetLastError() == ERROR_PIPE_BUSY) KxLastError_Set(ERROR_BUSY);
    return false;
  }
  _held = std::make_unique<Held>(Held{std::move(pipe)});
  return true;
}

void CkxPublisherLock::Release() { _held.reset(); }

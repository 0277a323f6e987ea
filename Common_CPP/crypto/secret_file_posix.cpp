#include <fcntl.h>
#include <sys/stat.h>

#include <string>

#include "Common_CPP/crypto/secret_file.h"
#include "Common_CPP/file/replace_posix.h"
#include "Common_CPP/security/agent_trust.h"
#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr mode_t kOthers = S_IRWXG | S_IRWXO;

bool SecretPath(CkxTextView path, std::string& native) {
  native = KxText_ToUtf8(path);
  errno = ENOENT;
  return !native.empty() && native.find('\0') == std::string::npos;
}

/// An access list shows in the bits of the group.
bool IsOwnersAlone(const struct stat& status, EkxSecretFile kind) {
  if (!S_ISREG(status.st_mode)) return false;
  if (kind != EkxSecretFile::Systems) return (status.st_mode & (S_IRGRP | S_IROTH)) == 0;
  const bool isAgents = status.st_uid == 0 || (KxTrust_OwnUser() && status.st_uid == geteuid());
  return isAgents && (status.st_mode & kOthers) == 0;
}

bool ReadFromBegin(const CkxDescriptor& file, std::span<unsigned char> bytes, size_t& size) {
  for (size = 0; size < bytes.size();) {
    const ssize_t count = read(file.Get(), bytes.data() + size, bytes.size() - size);
    if (count == 0) break;
    if (count < 0 && errno != EINTR) return KxLastError_Fail();
    if (count > 0) size += static_cast<size_t>(count);
  }
  return true;
}

}  // namespace

EkxSecretRead KxSecretFile_Read(CkxTextView path, EkxSecretFile kind, std::span<unsigned char> bytes, size_t& size) {
  size = 0;
  const int follow = kind == EkxSecretFile::Systems ? O_NOFOLLOW : 0;
  // Not blocking: the name may be a pipe's that nobody writes to.
  constexpr int kFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  std::string native;
  const CkxDescriptor file(SecretPath(path, native) ? open(native.c_str(), kFlags | follow) : -1);
  struct stat status {};
  if (!file || fstat(file.Get(), &status) != 0) {
    KxLastError_SetFromSystem();
    return EkxSecretRead::Unreadable;
  }
  if (!IsOwnersAlone(status, kind)) {
    KxTrace(EkxTraceLevel::Error, "KxSecretFile_Read", "ERROR: [", path, "] is not for its owner alone: owner ",
            status.st_uid, ". Refused");
    KxLastError_Set(kKxErrorAccessDenied);
    return EkxSecretRead::NotOwnersAlone;
  }
  return ReadFromBegin(file, bytes, size) ? EkxSecretRead::Read : EkxSecretRead::Unreadable;
}

bool KxSecretFile_Write(CkxTextView path, std::span<const unsigned char> bytes) {
  std::string native;
  return (SecretPath(path, native) &&
          KxPosixFile_Replace(AT_FDCWD, native, bytes, S_IRUSR | S_IWUSR, EkxReplaced::ForGood)) ||
         KxLastError_Fail();
}

KxWString KxSecretFile_SystemFolder() { return KXW("/var/lib/kx/secrets/"); }

#include <sys/stat.h>
#include <unistd.h>

#include "Common_CPP/file/kernel_ea_trust.h"
#include "Common_CPP/security/agent_trust.h"

bool KxKernelEa_IsBelievable(intptr_t file) {
  struct stat status {};
  if (fstat(static_cast<int>(file), &status) != 0) return false;
  const bool isOwnersAlone = (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
  return isOwnersAlone && (status.st_uid == 0 || (KxTrust_OwnUser() && status.st_uid == geteuid()));
}

bool KxKernelEa_AreGuarded() { return false; }

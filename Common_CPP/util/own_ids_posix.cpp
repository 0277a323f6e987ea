#include "Common_CPP/util/own_ids.h"

#include <sys/syscall.h>
#include <unistd.h>

uint32_t KxOwn_ProcessId() noexcept { return static_cast<uint32_t>(getpid()); }
uint64_t KxOwn_ThreadId() noexcept { return static_cast<uint64_t>(syscall(SYS_gettid)); }

// Somebody else, for tests that root runs.
#pragma once

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

/// The calling thread as another user, until the end of the scope. The system's library would change all threads, and a
/// server in this process with them.
class CkxUserScope {
 public:
  explicit CkxUserScope(uid_t user) { Become(user); }
  ~CkxUserScope() { Become(0); }
  CkxUserScope(const CkxUserScope&) = delete;
  CkxUserScope& operator=(const CkxUserScope&) = delete;

 private:
  static void Become(uid_t user) {
    EXPECT_EQ(syscall(SYS_setresuid, -1, user, -1), 0);
    EXPECT_EQ(geteuid(), user);
  }
};

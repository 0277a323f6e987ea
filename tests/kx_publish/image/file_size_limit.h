// A disk that is full, where the system limits the size of a file: no file of this process grows beyond so many bytes.
#pragma once

#include <sys/resource.h>

#include <csignal>

class CkxFileSizeLimit {
 public:
  explicit CkxFileSizeLimit(rlim_t bytes) : _signal(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &_before);
    const rlimit limited{bytes, _before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
  }
  CkxFileSizeLimit(const CkxFileSizeLimit&) = delete;
  CkxFileSizeLimit& operator=(const CkxFileSizeLimit&) = delete;
  ~CkxFileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &_before);
    std::signal(SIGXFSZ, _signal);
  }

 private:
  rlimit _before{};
  void (*_signal)(int);
};

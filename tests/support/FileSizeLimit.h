#pragma once

#include <signal.h>
#include <sys/resource.h>

namespace test {

/// Bounds the size of files that this process writes, in bytes, for the length of a scope: like a full disk,
/// the bound lets the first part of a write through and fails the rest (EFBIG).
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &_before);
    const rlimit limit = {bytes, _before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &_before);
    signal(SIGXFSZ, _handlerBefore);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit _before{};
  void (*_handlerBefore)(int) = signal(SIGXFSZ, SIG_IGN);
};

}  // namespace test

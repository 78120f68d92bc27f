#pragma once

#include <cstdio>
#include <memory>

namespace zrrt {

struct StreamCloser {
  void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

/// Opens a regular file with the `flags` of open(2), as a stream of the `mode` of fdopen(3) that goes with
/// them; links are followed, a file that is created gets mode 0666 less the process's mask. It never waits
/// for somebody else, a pipe or device at the path is refused, and no child gets the file. None when it
/// fails; errno says why (EISDIR for a folder, EINVAL for what else is no regular file).
[[nodiscard]] Stream openRegularFile(const char* path, int flags, const char* mode);

}  // namespace zrrt

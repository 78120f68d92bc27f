#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "runtime/Code/ZRLogTargets.h"

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

ZRResult openFailure() {
  return ZRResult::fromSystemError("fopen()", errno);
}

/// Past the stream's buffer, which is empty at all times: a line is one system call, and nothing is left to
/// flush.
void writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;  // the line is lost
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void writeFlushedLine(FILE* stream, const char* line) {
  std::fprintf(stream, "%s\n", line);
  std::fflush(stream);
}

}  // namespace

ZRResult ZRLogFile::open(const ZRString& path, bool truncate) {
  const boost::mutex::scoped_lock lock(_mutex);
  _stream.reset();
  if (truncate || openForAppending(path).isFailure()) ZR_RETURN_FAILURE(createAnew(path));
  ::fcntl(fileno(_stream.get()), F_SETFD, FD_CLOEXEC);  // child processes have no business with it
  return ZRError::eNoError;
}

ZRResult ZRLogFile::openForAppending(const ZRString& path) {
  const Stream existing(std::fopen(path.c_str(), "r"));
  if (!existing) return openFailure();
  _stream.reset(std::fopen(path.c_str(), "a+tc"));
  return _stream ? ZRResult() : openFailure();
}

ZRResult ZRLogFile::createAnew(const ZRString& path) {
  _stream.reset(std::fopen(path.c_str(), "w+tc"));
  if (!_stream) return openFailure();
  if (std::fputs(kByteOrderMark, _stream.get()) < 0 || std::fflush(_stream.get()) != 0) {
    const ZRResult failure = ZRResult::fromSystemError("fputs()", errno);
    _stream.reset();
    return failure;
  }
  return ZRError::eNoError;
}

void ZRLogFile::close() {
  const boost::mutex::scoped_lock lock(_mutex);
  _stream.reset();
}

void ZRLogFile::writeLine(const char* line) {
  if (*line == '\0') return;
  const boost::mutex::scoped_lock lock(_mutex);
  if (!_stream) return;
  _line.assign(line).push_back('\n');
  writeAll(fileno(_stream.get()), _line);
}

void ZRLogTargetConsole::writeLine(const char* line) {
  writeFlushedLine(stderr, line);
}

void ZRLogTargetStdOut::writeLine(const char* line) {
  writeFlushedLine(stdout, line);
}

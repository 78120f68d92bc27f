#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "runtime/Code/ZRLogTargets.h"

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

ZRResult openFailure() {
  return ZRResult::fromSystemError("fopen()", errno);
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
  const std::size_t length = std::strlen(line);
  if (length == 0) return;
  const boost::mutex::scoped_lock lock(_mutex);
  if (!_stream) return;
  ::fwrite(line, 1, length, _stream.get());
  std::fputc('\n', _stream.get());
  std::fflush(_stream.get());
}

void ZRLogTargetConsole::writeLine(const char* line) {
  writeFlushedLine(stderr, line);
}

void ZRLogTargetStdOut::writeLine(const char* line) {
  writeFlushedLine(stdout, line);
}

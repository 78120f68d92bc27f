#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "runtime/Code/ZRLogTargets.h"

namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

ZRResult openFailure() {
  return ZRResult::fromSystemError("fopen()", errno);
}

/// Takes back what was written of a line last, unless somebody has appended to it since.
void takeBack(int descriptor, off_t bytes) {
  struct stat status {};
  const off_t end = ::lseek(descriptor, 0, SEEK_CUR);  // behind what was appended
  if (end < bytes || ::fstat(descriptor, &status) != 0 || status.st_size != end) return;
  static_cast<void>(::ftruncate(descriptor, end - bytes) == 0);  // else a line stays cut
}

/// Past the stream's buffer, which is empty at all times: a line is one system call, and nothing is left to
/// flush.
void writeWhole(int descriptor, std::string_view bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t written = ::write(descriptor, bytes.data() + done, bytes.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    done += static_cast<std::size_t>(written);
  }
  if (done > 0 && done < bytes.size()) takeBack(descriptor, static_cast<off_t>(done));
}

void writeFlushedLine(FILE* stream, const char* line) {
  std::fprintf(stream, "%s\n", line);
  std::fflush(stream);
}

}  // namespace

ZRResult ZRLogFile::open(const ZRString& path, bool truncate) {
  const boost::mutex::scoped_lock lock(_mutex);
  _stream.reset();
  if (truncate) return create(path, O_TRUNC);
  ZRResult opened = openForAppending(path);
  if (opened.code() != ZRError::eNotFound) return opened;
  opened = create(path, O_EXCL);
  // Another process was faster, and writes the mark.
  return opened.code() == ZRError::eExists ? openForAppending(path) : opened;
}

ZRResult ZRLogFile::openForAppending(const ZRString& path) {
  _stream = zrrt::openRegularFile(path.c_str(), O_RDWR | O_APPEND, "a+");
  return _stream ? ZRResult() : openFailure();
}

ZRResult ZRLogFile::create(const ZRString& path, int flags) {
  _stream = zrrt::openRegularFile(path.c_str(), O_RDWR | O_CREAT | O_APPEND | flags, "a+");
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
  writeWhole(fileno(_stream.get()), _line);
}

void ZRLogTargetConsole::writeLine(const char* line) {
  writeFlushedLine(stderr, line);
}

void ZRLogTargetStdOut::writeLine(const char* line) {
  writeFlushedLine(stdout, line);
}

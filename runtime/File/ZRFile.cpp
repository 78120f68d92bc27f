#include "runtime/File/ZRFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "runtime/Code/ZRLog.h"

namespace {

bool startsEmpty(std::uint32_t disposition) {
  return disposition == ZRFile::eCreateNew || disposition == ZRFile::eCreateAlways;
}

/// The mode of a stream, and the flags that open(2) takes for it.
struct OpenMode {
  int flags;
  const char* stream;
};

OpenMode openMode(std::uint32_t access, std::uint32_t disposition) {
  if ((access & ZRFile::eWrite) == 0) return {O_RDONLY, "r"};
  const bool reads = (access & ZRFile::eRead) != 0;
  const int flags = (reads ? O_RDWR : O_WRONLY) | O_CREAT;
  if (startsEmpty(disposition)) return {flags | O_TRUNC, reads ? "w+" : "w"};
  return {flags | O_APPEND, reads ? "a+" : "a"};
}

zrrt::Stream openStream(const ZRString& path, OpenMode mode) {
  return zrrt::openRegularFile(path.c_str(), mode.flags, mode.stream);
}

bool isThere(const ZRString& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0;
}

ZRResult checkDisposition(const ZRString& path, std::uint32_t disposition) {
  if (disposition == ZRFile::eCreateNew && isThere(path)) {
    return ZRResult(ZRError::eExists, "ZRFile::open() - file already exists.");
  }
  if (disposition == ZRFile::eOpenExisting && !isThere(path)) {
    return ZRResult(ZRError::eNotFound, "ZRFile::open() - file does not exist.");
  }
  return ZRError::eNoError;
}

// Callers have come to rely on this number for every cause.
ZRResult openFailure() {
  return ZRResult::fromSystemError("fopen()", EIO);
}

// What opening for reading alone does not do: creates a missing file, or empties one. A file that is there
// already but may not be written is none of our business here, unless it was to be emptied.
ZRResult prepareForReading(const ZRString& path, std::uint32_t disposition) {
  if (disposition == ZRFile::eOpenExisting) return ZRError::eNoError;
  const zrrt::Stream stream = openStream(path, openMode(ZRFile::eWrite, disposition));
  return stream == nullptr && startsEmpty(disposition) ? openFailure() : ZRResult();
}

ZRResult notOpen() {
  return ZRResult(ZRError::ePreconditionFailed, "The file is not open");
}

int originOf(ZRFile::Origin origin) {
  switch (origin) {
    case ZRFile::eCurrent:
      return SEEK_CUR;
    case ZRFile::eEnd:
      return SEEK_END;
    default:
      return SEEK_SET;
  }
}

}  // namespace

ZRFile::~ZRFile() {
  zrReport(ZRLogLevel::eError, close(), "Error returned", ZR_HERE);
}

ZRResult ZRFile::open(const ZRString& path, std::uint32_t access, std::uint32_t disposition,
                      std::uint32_t flags) {
  if (path.isEmpty() || isOpen()) return ZRError::ePreconditionFailed;
  ZR_RETURN_FAILURE(checkDisposition(path, disposition));
  if ((access & (eRead | eWrite)) == 0) {
    return ZRResult(ZRError::eBadParameter, "ZRFile::open() - no access parameters were specified.");
  }
  if ((access & eWrite) == 0) ZR_RETURN_FAILURE(prepareForReading(path, disposition));
  _stream = openStream(path, openMode(access, disposition));
  if (!isOpen()) return openFailure();
  _flag = (flags & kFlag) != 0;
  _writes = (access & eWrite) != 0;
  if (!_writes) return ZRError::eNoError;  // begins at the start anyway
  if (disposition != eOpenExisting && disposition != eOpenAlwaysAtStart) return ZRError::eNoError;
  const ZRResult positioned = seek(0, eBegin);
  if (positioned.isFailure()) _stream.reset();
  ZR_RETURN_FAILURE(positioned);
  return ZRError::eNoError;
}

ZRResult ZRFile::close() {
  if (!isOpen()) return ZRError::eNoError;
  const bool closed = std::fclose(_stream.release()) == 0;
  const int number = errno;
  _buffer.clear();
  _buffer.shrink_to_fit();
  _flag = false;
  return closed ? ZRResult() : ZRResult::fromSystemError("fclose()", number);
}

ZRResult ZRFile::setBufferSize(std::size_t size) {
  if (!isOpen()) return notOpen();
  try {
    _buffer.resize(size);
  } catch (const std::bad_alloc&) {
    return ZRError::eNoMemory;
  }
  if (std::setvbuf(_stream.get(), _buffer.data(), _IOFBF, size) == 0) return ZRError::eNoError;
  return ZRResult::fromSystemError("setvbuf()", errno);
}

ZRResult ZRFile::read(void* buffer, std::size_t size, std::size_t& bytesRead, bool& endOfFile) {
  bytesRead = 0;
  endOfFile = false;
  if (!isOpen()) return notOpen();
  bytesRead = std::fread(buffer, 1, size, _stream.get());
  if (bytesRead == size) return ZRError::eNoError;
  if (std::ferror(_stream.get()) != 0) return ZRResult::fromSystemError("fread()", errno);
  endOfFile = true;
  return ZRError::eNoError;
}

ZRResult ZRFile::readLine(ZRString& line) {
  line = ZRString();
  if (!isOpen()) return notOpen();
  std::string text;
  int character = std::fgetc(_stream.get());
  for (; character != EOF && character != '\n'; character = std::fgetc(_stream.get())) {
    text += static_cast<char>(character);
  }
  if (character == EOF && std::ferror(_stream.get()) != 0) {
    return ZRResult::fromSystemError("fgetc()", errno);
  }
  if (character == EOF && text.empty()) {
    return ZRResult(ZRError::eEnd, "ZRFile::readLine() - End of file reached");
  }
  line = ZRString(std::move(text));
  return ZRError::eNoError;
}

ZRResult ZRFile::write(const void* bytes, std::size_t size) {
  if (!isOpen()) return notOpen();
  if (std::fwrite(bytes, 1, size, _stream.get()) == size) return ZRError::eNoError;
  return ZRResult::fromSystemError("fwrite()", errno);
}

ZRResult ZRFile::flush() {
  if (!isOpen()) return notOpen();
  if (std::fflush(_stream.get()) == 0) return ZRError::eNoError;
  return ZRResult::fromSystemError("fflush()", errno);
}

ZRResult ZRFile::seek(std::int64_t offset, Origin origin) {
  if (!isOpen()) return notOpen();
  if (::fseeko(_stream.get(), offset, originOf(origin)) == 0) return ZRError::eNoError;
  return ZRResult::fromSystemError("fseek()", errno);
}

ZRResult ZRFile::getSize(std::uint64_t& sizeBytes) {
  if (!isOpen()) return notOpen();
  if (_writes) ZR_RETURN_FAILURE(flush());
  struct stat status;
  if (::fstat(::fileno(_stream.get()), &status) != 0) return ZRResult::fromSystemError("fstat()", errno);
  sizeBytes = static_cast<std::uint64_t>(status.st_size);
  return ZRError::eNoError;
}

ZRResult ZRFile::exists(const ZRString& path) {
  return isThere(path) ? ZRStatus::eYes : ZRStatus::eNo;
}

ZRResult ZRFile::remove(const ZRString& path) {
  if (path.isEmpty()) return ZRError::ePreconditionFailed;
  if (::unlink(path.c_str()) == 0) return ZRError::eNoError;
  return ZRResult::fromSystemError("unlink()", errno);
}

ZRResult ZRFile::rename(const ZRString& path, const ZRString& newPath) {
  if (path.isEmpty() || newPath.isEmpty()) return ZRError::ePreconditionFailed;
  if (std::rename(path.c_str(), newPath.c_str()) == 0) return ZRError::eNoError;
  return ZRResult::fromSystemError("rename()", errno);
}

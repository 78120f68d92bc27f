#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "runtime/Code/ZRRegularFile.h"
#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"

/// The stream of a regular file: a pipe or device in its place is not opened, and never waited for. Not
/// shared between threads. The destructor closes.
///
/// A failed system call gives the result of its errno value and names the call: "fread()", "fseek()" and so
/// on. An operation on a stream that is not open fails with ePreconditionFailed.
class ZRFile {
 public:
  /// A bit set.
  enum Access : std::uint32_t { eRead = 1, eWrite = 2 };

  enum Disposition : std::uint32_t {
    eOpenAlways = 0,         ///< creates a missing file
    eCreateNew = 1,          ///< fails when the file exists
    eCreateAlways = 2,       ///< empties a file that exists
    eOpenExisting = 3,       ///< fails when the file is missing; positioned at the start
    eOpenAlwaysAtStart = 4,  ///< as eOpenAlways, positioned at the start
  };

  enum Origin { eBegin, eCurrent, eEnd };

  /// A bit of the open flags that the file keeps for its owner; see `hasFlag`.
  static constexpr std::uint32_t kFlag = 0x800;

  ZRFile() = default;
  ~ZRFile();
  ZRFile(const ZRFile&) = delete;
  ZRFile& operator=(const ZRFile&) = delete;

  /// Opens the file. Writing appends, except with eCreateNew and eCreateAlways, which start with an empty
  /// file. A file opened only to be read is created as well when it is missing, and emptied by eCreateAlways:
  /// open with eOpenExisting what must not appear. Fails: ePreconditionFailed for an empty path or when open
  /// already; eExists "ZRFile::open() - file already exists."; eNotFound "ZRFile::open() - file does not
  /// exist."; eBadParameter "ZRFile::open() - no access parameters were specified."; eIOError naming
  /// "fopen()", whatever the cause.
  ZRResult open(const ZRString& path, std::uint32_t access, std::uint32_t disposition,
                std::uint32_t flags = 0);

  /// Writes what is pending and closes. Fails naming "fclose()"; the file is closed all the same. Nothing to
  /// do when it is not open.
  ZRResult close();

  [[nodiscard]] bool isOpen() const noexcept { return _stream != nullptr; }

  /// Has the stream read and write in pieces of `size` bytes. To be called right after `open`.
  /// Fails naming "setvbuf()".
  ZRResult setBufferSize(std::size_t size);

  /// Reads up to `size` bytes. `endOfFile` is set when the end was met, which may be together with the last
  /// bytes. Fails naming "fread()"; `bytesRead` then tells what had arrived before.
  ZRResult read(void* buffer, std::size_t size, std::size_t& bytesRead, bool& endOfFile);

  /// Reads up to a line feed, which is dropped; what follows the last line feed is a line too, unless it is
  /// empty. A carriage return stays in the line. Fails: eEnd "ZRFile::readLine() - End of file reached";
  /// naming "fgetc()". `line` is then empty.
  ZRResult readLine(ZRString& line);

  /// Hands pending bytes to the system. Fails naming "fflush()".
  ZRResult flush();

  /// Fails naming "fseek()".
  ZRResult seek(std::int64_t offset, Origin origin);

  /// The file's size in bytes, pending bytes included. Fails naming "fflush()" or "fstat()".
  ZRResult getSize(std::uint64_t& sizeBytes);

  /// eYes when something is at the path (links are followed), else eNo.
  static ZRResult exists(const ZRString& path);
  /// Deletes the file or link. Fails: ePreconditionFailed for an empty path; naming "unlink()".
  static ZRResult remove(const ZRString& path);

  // What no run calls.

  /// Writes all bytes. Between reading and writing the same stream there must be a `seek` or a `flush`.
  /// Fails naming "fwrite()".
  ZRResult write(const void* bytes, std::size_t size);
  [[nodiscard]] bool hasFlag() const noexcept { return _flag; }
  /// Atomic on one volume; an existing file at `newPath` is replaced.
  /// Fails: ePreconditionFailed for an empty path; naming "rename()".
  static ZRResult rename(const ZRString& path, const ZRString& newPath);

 private:
  std::vector<char> _buffer;  ///< outlives the stream that uses it
  zrrt::Stream _stream;
  bool _flag = false;
  bool _writes = false;  ///< was opened for writing, too
};

#pragma once

#include <boost/thread/mutex.hpp>
#include <string>

#include "runtime/Code/ZRLog.h"
#include "runtime/Code/ZRRegularFile.h"

/// The log in a file, to which several processes may append at once. A file that is created or truncated
/// starts with the UTF-8 byte-order mark.
class ZRLogFile final : public ILogTarget {
 public:
  /// Appends to an existing file; a missing one is created, and any made anew with `truncate`. Fails with the
  /// system's error, also when something else than a regular file is there (a link that leads to one is
  /// followed); the target is then closed.
  ZRResult open(const ZRString& path, bool truncate);
  /// Closes. A closed target loses its lines.
  void close();

  /// Writes the line and a line feed, at once. An empty line writes nothing. What cannot be written whole is
  /// lost whole.
  void writeLine(const char* line) override;

 private:
  ZRResult openForAppending(const ZRString& path);
  ZRResult create(const ZRString& path, int flags);

  boost::mutex _mutex;
  zrrt::Stream _stream;
  std::string _line;  ///< the line being written; kept for its memory
};

/// Writes each line to standard error and flushes.
class ZRLogTargetConsole final : public ILogTarget {
 public:
  void writeLine(const char* line) override;
};

/// Writes each line to standard output and flushes.
class ZRLogTargetStdOut final : public ILogTarget {
 public:
  void writeLine(const char* line) override;
};

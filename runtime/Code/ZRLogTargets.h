#pragma once

#include <boost/thread/mutex.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "runtime/Code/ZRLog.h"

/// The log in a file. A file that is created or truncated starts with the UTF-8 byte-order mark.
class ZRLogFile final : public ILogTarget {
 public:
  /// Appends to an existing file; a missing one, or any with `truncate`, is made anew.
  /// Fails with the system's error; the target is then closed.
  ZRResult open(const ZRString& path, bool truncate);
  /// Writes what is pending and closes. A closed target loses its lines.
  void close();

  /// Writes the line and a line feed, and flushes. An empty line writes nothing.
  void writeLine(const char* line) override;

 private:
  struct Closer {
    void operator()(FILE* stream) const { std::fclose(stream); }
  };
  using Stream = std::unique_ptr<FILE, Closer>;

  ZRResult openForAppending(const ZRString& path);
  ZRResult createAnew(const ZRString& path);

  boost::mutex _mutex;
  Stream _stream;
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

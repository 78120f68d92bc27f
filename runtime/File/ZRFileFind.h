#pragma once

#include <dirent.h>
#include <regex.h>

#include <memory>
#include <string>

#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"

/// Lists the names in a folder that match a DOS-style wildcard pattern, one after the other, in the order in
/// which the system gives them. "." and ".." are names like all others.
///
/// In a pattern "*" stands for any characters, "?" for at most one (for exactly one before a "."). As on DOS,
/// a pattern without a "." that does not end in "*" matches names without one, and names that end in their
/// only
/// ".". Other characters mean what they mean in an extended regular expression. Case matters.
class ZRFileFind {
 public:
  ZRFileFind();
  ~ZRFileFind();
  ZRFileFind(const ZRFileFind&) = delete;
  ZRFileFind& operator=(const ZRFileFind&) = delete;

  /// Starts a listing, giving up one that was under way, and answers its first name.
  /// Fails: ePreconditionFailed for an empty folder or pattern; naming "regcomp()" or "opendir()"; eNotFound
  /// "ZRFileFind::getFirst() - No files found matching the specified pattern"; as `getNext`.
  ZRResult getFirst(const ZRString& folder, const ZRString& pattern, ZRString& name);

  /// Fails: ePreconditionFailed before `getFirst`; eEnd "ZRFileFind::getNext() - No more files" when all
  /// names have been given; naming "readdir()" or "regexec()".
  ZRResult getNext(ZRString& name);

  /// The errno value of the last failed system call of this listing; 0 when none failed.
  [[nodiscard]] int systemError() const noexcept { return _systemError; }

  /// The regular expression that a pattern becomes: "*.txt" gives "^.*\.txt$". `holdsDot` tells whether the
  /// pattern holds a ".".
  [[nodiscard]] static ZRString regularExpression(const ZRString& pattern, bool& holdsDot);

 private:
  struct StreamCloser {
    void operator()(DIR* stream) const noexcept { closedir(stream); }
  };
  struct ExpressionRelease {
    void operator()(regex_t* expression) const noexcept;
  };

  ZRResult compilePattern();
  [[nodiscard]] std::string matchedText(const char* name) const;
  ZRResult systemFailure(const char* call, int number);

  ZRString _folder;
  ZRString _pattern;
  std::unique_ptr<regex_t, ExpressionRelease> _expression;
  bool _patternHoldsDot = false;
  std::unique_ptr<DIR, StreamCloser> _stream;
  int _systemError = 0;
};

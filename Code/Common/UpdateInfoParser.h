#pragma once

#include "Code/Common/UpdateInfo.h"
#include "runtime/Code/ZRResult.h"

/// Turns the document into records.
///
/// A parse that fails leaves the records that it had read with their new values, the lists with what had been
/// appended, and `isParsed` as it was.
class UpdateInfoParser {
 public:
  /// Parses one document. A document that names a new location answers success with `newLocation` set (the
  /// URL of the real document) and touches nothing else; else `newLocation` is empty. Settings, URL templates
  /// and the Messenger's record are optional: a fault in them is only logged. Texts that are URLs keep a zero
  /// byte that stands in them, which makes them no URL. Fails: eBadParameter for a null text; the JSON
  /// parser's result for a text that is not JSON, and eTooLong for one of more than a million values; the
  /// getter's result for a malformed build or range.
  ZRResult parseText(const char* text, ZRString& newLocation);

  /// Reads and parses a local document; a new location in it is ignored, and an empty file changes nothing.
  /// Fails: as opening and reading the file (a missing one is not created); ePreconditionFailed for a file of
  /// more than 262144 bytes; as `parseText`.
  ZRResult parseFile(const ZRString& fileName);

  /// What has been read so far.
  [[nodiscard]] const UpdateInfo& updateInfo() const { return _info; }

 private:
  UpdateInfo _info;
};

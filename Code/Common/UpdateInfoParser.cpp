#include "Code/Common/UpdateInfoParser.h"

#include <cstring>
#include <string>
#include <utility>

#include "platform/Printable.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/File/ZRFile.h"
#include "runtime/Json/ZRJsonParser.h"

namespace {

constexpr std::uint64_t kMaxFileBytes = 262144;
constexpr std::uint32_t kUnknownSize = 99000000;
/// A value takes up to a few hundred bytes of memory, and two of text.
constexpr std::size_t kMaxValues = 1'000'000;

ZRResult readSettings(const ZRJsonValue& document, const char* key, UpdateSettings& target) {
  UpdateSettings settings;
  ZRJsonValue object;
  ZR_RETURN_FAILURE(document.getMember(key, object));
  const ZRResult enabled = getBoolMember(object, "enabled", settings.enabled);
  if (enabled.code() == ZRError::eNotFound) {
    settings.enabled = true;
  } else {
    ZR_RETURN_FAILURE(enabled);
  }
  ZR_RETURN_FAILURE(getInt32Member(object, "minDelayInDays", settings.minDelayInDays));
  ZR_RETURN_FAILURE(getInt32Member(object, "maxDelayInDays", settings.maxDelayInDays));
  target = settings;
  return ZRError::eNoError;
}

/// A text that is used as a URL keeps the zero bytes that stand in it: cut off there, it would be another
/// one.
ZRResult readUrl(const ZRJsonValue& object, const char* key, ZRString& url) {
  ZRJsonValue member;
  ZR_RETURN_FAILURE(object.getMember(key, member));
  ZR_RETURN_FAILURE(member.getWholeString(url));
  return ZRError::eNoError;
}

// A build number is stored unsigned but read as a signed number.
ZRResult readSignedNumber(const ZRJsonValue& object, const char* key, std::uint32_t& number) {
  std::int32_t value = 0;
  ZR_RETURN_FAILURE(getInt32Member(object, key, value));
  number = static_cast<std::uint32_t>(value);
  return ZRError::eNoError;
}

/// A download for one system, in the records that want both. The place of a failure is the record's.
template <typename Record>
ZRResult readMacDownload(const ZRJsonValue& object, Record& record) {
  ZRResult url = readUrl(object, "macDownloadUrl", record.macDownloadUrl);
  return url.isFailure() ? url : getUInt32Member(object, "macDownloadSize", record.macDownloadSize);
}

template <typename Record>
ZRResult readWindowsDownload(const ZRJsonValue& object, Record& record) {
  ZRResult url = getStringMember(object, "windowsDownloadUrl", record.windowsDownloadUrl);
  return url.isFailure() ? url : getUInt32Member(object, "windowsDownloadSize", record.windowsDownloadSize);
}

void readSizeOrUnknown(const ZRJsonValue& object, const char* key, std::uint32_t& size) {
  if (getUInt32Member(object, key, size).isFailure()) size = kUnknownSize;
}

/// A list of the document, and what a result says of an element of it that cannot be had.
struct ListSource {
  const char* key;
  const char* failure = nullptr;  ///< null: nothing of its own
  const char* text = nullptr;     ///< the document
};

ZRResult getListItem(const ZRJsonValue& list, std::size_t index, const ListSource& source,
                     ZRJsonValue& item) {
  ZRResult result = list.getItem(index, item);
  if (result.isSuccess()) return result;
  if (source.failure == nullptr) return result.wrapped("Error returned", ZR_HERE);
  result.append(source.failure, static_cast<unsigned long>(index), platform::onOneLine(source.text).c_str());
  return result;
}

/// Fills the list; an absent one is an empty one.
template <typename Record>
ZRResult readRecords(const ZRJsonValue& object, const ListSource& source,
                     ZRResult (*read)(const ZRJsonValue&, Record&), std::vector<Record>& records) {
  records.clear();
  ZRJsonValue list;
  if (object.getMember(source.key, list).isFailure()) return ZRError::eNoError;
  std::size_t count = 0;
  ZR_RETURN_FAILURE(list.getSize(count));
  for (std::size_t i = 0; i < count; ++i) {
    ZRJsonValue item;
    if (const ZRResult got = getListItem(list, i, source, item); got.isFailure()) return got;
    Record record;
    ZR_RETURN_FAILURE(read(item, record));
    records.push_back(std::move(record));
  }
  return ZRError::eNoError;
}

ZRResult readDeltaPackage(const ZRJsonValue& object, DeltaPackage& delta) {
  ZR_RETURN_FAILURE(getUInt32Member(object, "fromBuildNumber", delta.fromBuildNumber));
  ZR_RETURN_FAILURE(readMacDownload(object, delta));
  ZR_RETURN_FAILURE(readWindowsDownload(object, delta));
  return ZRError::eNoError;
}

ZRResult readActiveBuild(const ZRJsonValue& object, ActiveBuild& build) {
  ZR_RETURN_FAILURE(readSignedNumber(object, "buildNumber", build.buildNumber));
  ZR_RETURN_FAILURE(readUrl(object, "macDownloadUrl", build.macDownloadUrl));
  ZR_RETURN_FAILURE(getStringMember(object, "windowsDownloadUrl", build.windowsDownloadUrl));
  readSizeOrUnknown(object, "macDownloadSize", build.macDownloadSize);
  readSizeOrUnknown(object, "windowsDownloadSize", build.windowsDownloadSize);
  ZR_RETURN_FAILURE(readRecords(object, {"deltaPackages"}, readDeltaPackage, build.deltaPackages));
  return ZRError::eNoError;
}

ZRResult readRange(const ZRJsonValue& object, BuildRange& range) {
  ZR_RETURN_FAILURE(readSignedNumber(object, "fromBuildNumber", range.fromBuildNumber));
  ZR_RETURN_FAILURE(readSignedNumber(object, "toBuildNumber", range.toBuildNumber));
  return ZRError::eNoError;
}

ZRResult readDownloadUrlTemplates(const ZRJsonValue& document, UpdateInfo& info) {
  ZRJsonValue object;
  ZR_RETURN_FAILURE(document.getMember("downloadUrlTemplates", object));
  ZR_RETURN_FAILURE(getStringMember(object, "windowsDownloadUrlTemplate", info.windowsDownloadUrlTemplate));
  ZR_RETURN_FAILURE(getStringMember(object, "macDownloadUrlTemplate", info.macDownloadUrlTemplate));
  return ZRError::eNoError;
}

ZRResult readMessenger(const ZRJsonValue& document, MessengerDownload& messenger) {
  ZRJsonValue object;
  ZR_RETURN_FAILURE(document.getMember("VNTMessenger", object));
  ZR_RETURN_FAILURE(readWindowsDownload(object, messenger));
  ZR_RETURN_FAILURE(readMacDownload(object, messenger));
  return ZRError::eNoError;
}

ZRResult openLocalDocument(const ZRString& fileName, ZRFile& file, std::size_t& sizeBytes) {
  ZR_RETURN_FAILURE(file.open(fileName, ZRFile::eRead, ZRFile::eOpenExisting));
  std::uint64_t size = 0;
  ZR_RETURN_FAILURE(file.getSize(size));
  if (size > kMaxFileBytes) {
    return ZRResult(ZRError::ePreconditionFailed).wrapped("The document is too large", ZR_HERE);
  }
  sizeBytes = static_cast<std::size_t>(size);
  return ZRError::eNoError;
}

// A file that has become shorter in the meantime ends the loop at its new end.
ZRResult readWholeFile(ZRFile& file, std::size_t sizeBytes, std::string& text) {
  std::string buffer(sizeBytes, '\0');
  for (bool endOfFile = false; text.size() < sizeBytes && !endOfFile;) {
    std::size_t bytesRead = 0;
    ZR_RETURN_FAILURE(file.read(buffer.data(), sizeBytes - text.size(), bytesRead, endOfFile));
    text.append(buffer, 0, bytesRead);
  }
  return ZRError::eNoError;
}

}  // namespace

ZRResult UpdateInfoParser::parseText(const char* text, ZRString& newLocation) {
  if (text == nullptr) return ZRResult::parameterCheckFailed("text", ZR_HERE);
  ZRJsonValue document;
  if (ZRResult parsed = ZRJsonParser::parse(text, std::strlen(text), document, kMaxValues);
      parsed.isFailure()) {
    parsed.append("Parsing of the following JSON input failed:\n %s", platform::onOneLine(text).c_str());
    return parsed;
  }
  if (readUrl(document, "newLocation", newLocation).isSuccess() && !newLocation.isEmpty()) {
    return ZRError::eNoError;
  }
  newLocation = ZRString();
  zrReport(-1, readSettings(document, "updaterSettings", _info.updaterSettings), "Error returned", ZR_HERE);
  zrReport(-1, readSettings(document, "activatorSettings2", _info.activatorSettings), "Error returned",
           ZR_HERE);
  zrReport(-1, readDownloadUrlTemplates(document, _info), "Error returned", ZR_HERE);
  ZR_RETURN_FAILURE(
      readRecords(document, {"activeBuilds", "Failed getting active build [%lu] from parsed JSON [%s]", text},
                  readActiveBuild, _info.activeBuilds));
  ZR_RETURN_FAILURE(readRecords(
      document, {"removeBuilds", "Failed getting remove build range [%lu] from parsed JSON [%s]", text},
      readRange, _info.removeBuilds));
  zrReport(-1, readMessenger(document, _info.messenger), "Error returned", ZR_HERE);
  _info.isParsed = true;
  return ZRError::eNoError;
}

ZRResult UpdateInfoParser::parseFile(const ZRString& fileName) {
  zrrt::log(ZRLogLevel::eInformation, "%s - fileName='%s'",
            "ZRResult UpdateInfoParser::parseFile(const ZRString &)", fileName.c_str());
  ZRFile file;
  std::size_t sizeBytes = 0;
  ZR_RETURN_FAILURE(openLocalDocument(fileName, file, sizeBytes));
  std::string text;
  ZR_RETURN_FAILURE(readWholeFile(file, sizeBytes, text));
  ZR_RETURN_FAILURE(file.close());
  if (text.empty()) return ZRError::eNoError;
  ZRString discarded;
  ZR_RETURN_FAILURE(parseText(text.c_str(), discarded));
  return ZRError::eNoError;
}

#include "Code/Common/UpdateInfoParser.h"

#include <string>
#include <utility>

#include "platform/FileManager.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/File/ZRFile.h"
#include "runtime/Json/ZRJsonParser.h"

namespace {

constexpr std::uint64_t kMaxFileBytes = 262144;
constexpr std::uint32_t kUnknownSize = 99000000;

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

// A build number is stored unsigned but read as a signed number.
ZRResult readSignedNumber(const ZRJsonValue& object, const char* key, std::uint32_t& number) {
  std::int32_t value = 0;
  ZR_RETURN_FAILURE(getInt32Member(object, key, value));
  number = static_cast<std::uint32_t>(value);
  return ZRError::eNoError;
}

ZRResult readDeltaPackage(const ZRJsonValue& object, DeltaPackage& delta) {
  ZR_RETURN_FAILURE(getUInt32Member(object, "fromBuildNumber", delta.fromBuildNumber));
  ZR_RETURN_FAILURE(getStringMember(object, "macDownloadUrl", delta.macDownloadUrl));
  ZR_RETURN_FAILURE(getUInt32Member(object, "macDownloadSize", delta.macDownloadSize));
  ZR_RETURN_FAILURE(getStringMember(object, "windowsDownloadUrl", delta.windowsDownloadUrl));
  ZR_RETURN_FAILURE(getUInt32Member(object, "windowsDownloadSize", delta.windowsDownloadSize));
  return ZRError::eNoError;
}

ZRResult readDeltaPackages(const ZRJsonValue& object, std::vector<DeltaPackage>& packages) {
  ZRJsonValue list;
  if (object.getMember("deltaPackages", list).isFailure()) return ZRError::eNoError;
  std::size_t count = 0;
  ZR_RETURN_FAILURE(list.getSize(count));
  for (std::size_t i = 0; i < count; ++i) {
    ZRJsonValue item;
    ZR_RETURN_FAILURE(list.getItem(i, item));
    DeltaPackage delta;
    ZR_RETURN_FAILURE(readDeltaPackage(item, delta));
    packages.push_back(std::move(delta));
  }
  return ZRError::eNoError;
}

void readSizeOrUnknown(const ZRJsonValue& object, const char* key, std::uint32_t& size) {
  if (getUInt32Member(object, key, size).isFailure()) size = kUnknownSize;
}

ZRResult readActiveBuild(const ZRJsonValue& object, ActiveBuild& build) {
  ZR_RETURN_FAILURE(readSignedNumber(object, "buildNumber", build.buildNumber));
  ZR_RETURN_FAILURE(getStringMember(object, "macDownloadUrl", build.macDownloadUrl));
  ZR_RETURN_FAILURE(getStringMember(object, "windowsDownloadUrl", build.windowsDownloadUrl));
  readSizeOrUnknown(object, "macDownloadSize", build.macDownloadSize);
  readSizeOrUnknown(object, "windowsDownloadSize", build.windowsDownloadSize);
  ZR_RETURN_FAILURE(readDeltaPackages(object, build.deltaPackages));
  return ZRError::eNoError;
}

ZRResult readRange(const ZRJsonValue& object, BuildRange& range) {
  ZR_RETURN_FAILURE(readSignedNumber(object, "fromBuildNumber", range.fromBuildNumber));
  ZR_RETURN_FAILURE(readSignedNumber(object, "toBuildNumber", range.toBuildNumber));
  return ZRError::eNoError;
}

/// Opening a pipe would wait for ever for somebody to write into it.
bool isSpecialFile(const ZRString& path) {
  return platform::defaultFileManager().itemKind(path.str()) == platform::ItemKind::other;
}

ZRResult openLocalDocument(const ZRString& fileName, ZRFile& file, std::size_t& sizeBytes) {
  if (isSpecialFile(fileName)) return ZRResult(ZRError::eNoAccess, "%s is not a file", fileName.c_str());
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
  if (ZRResult parsed = ZRJsonParser::parse(text, document); parsed.isFailure()) {
    parsed.append("Parsing of the following JSON input failed:\n %s", text);
    return parsed;
  }
  if (getStringMember(document, "newLocation", newLocation).isSuccess() && !newLocation.isEmpty()) {
    return ZRError::eNoError;
  }
  newLocation = ZRString();
  zrReport(-1, readSettings(document, "updaterSettings", updaterSettings), "Error returned", ZR_HERE);
  zrReport(-1, readSettings(document, "activatorSettings2", activatorSettings), "Error returned", ZR_HERE);
  zrReport(-1, readDownloadUrlTemplates(document), "Error returned", ZR_HERE);
  ZR_RETURN_FAILURE(readActiveBuilds(document, text));
  ZR_RETURN_FAILURE(readRemoveBuilds(document, text));
  zrReport(-1, readMessenger(document), "Error returned", ZR_HERE);
  isParsed = true;
  return ZRError::eNoError;
}

ZRResult UpdateInfoParser::readDownloadUrlTemplates(const ZRJsonValue& document) {
  ZRJsonValue object;
  ZR_RETURN_FAILURE(document.getMember("downloadUrlTemplates", object));
  ZR_RETURN_FAILURE(getStringMember(object, "windowsDownloadUrlTemplate", windowsDownloadUrlTemplate));
  ZR_RETURN_FAILURE(getStringMember(object, "macDownloadUrlTemplate", macDownloadUrlTemplate));
  return ZRError::eNoError;
}

ZRResult UpdateInfoParser::readActiveBuilds(const ZRJsonValue& document, const char* text) {
  activeBuilds.clear();
  ZRJsonValue list;
  if (document.getMember("activeBuilds", list).isFailure()) return ZRError::eNoError;
  std::size_t count = 0;
  ZR_RETURN_FAILURE(list.getSize(count));
  for (std::size_t i = 0; i < count; ++i) {
    ZRJsonValue item;
    if (ZRResult result = list.getItem(i, item); result.isFailure()) {
      result.append("Failed getting active build [%lu] from parsed JSON [%s]", static_cast<unsigned long>(i),
                    text);
      return result;
    }
    ActiveBuild build;
    ZR_RETURN_FAILURE(readActiveBuild(item, build));
    activeBuilds.push_back(std::move(build));
  }
  return ZRError::eNoError;
}

ZRResult UpdateInfoParser::readRemoveBuilds(const ZRJsonValue& document, const char* text) {
  removeBuilds.clear();
  ZRJsonValue list;
  if (document.getMember("removeBuilds", list).isFailure()) return ZRError::eNoError;
  std::size_t count = 0;
  ZR_RETURN_FAILURE(list.getSize(count));
  for (std::size_t i = 0; i < count; ++i) {
    ZRJsonValue item;
    if (ZRResult result = list.getItem(i, item); result.isFailure()) {
      result.append("Failed getting remove build range [%lu] from parsed JSON [%s]",
                    static_cast<unsigned long>(i), text);
      return result;
    }
    BuildRange range;
    ZR_RETURN_FAILURE(readRange(item, range));
    removeBuilds.push_back(range);
  }
  return ZRError::eNoError;
}

ZRResult UpdateInfoParser::readMessenger(const ZRJsonValue& document) {
  ZRJsonValue object;
  ZR_RETURN_FAILURE(document.getMember("VNTMessenger", object));
  ZR_RETURN_FAILURE(getStringMember(object, "windowsDownloadUrl", messenger.windowsDownloadUrl));
  ZR_RETURN_FAILURE(getUInt32Member(object, "windowsDownloadSize", messenger.windowsDownloadSize));
  ZR_RETURN_FAILURE(getStringMember(object, "macDownloadUrl", messenger.macDownloadUrl));
  ZR_RETURN_FAILURE(getUInt32Member(object, "macDownloadSize", messenger.macDownloadSize));
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

#include "Code/MacOSX/VNTUpdate/UpdateInfoRetrieval.h"

#include <algorithm>

#include "Code/Common/ServerConfiguration.h"
#include "Code/MacOSX/VNTUpdate/DownloadGuard.h"
#include "platform/Printable.h"
#include "platform/Url.h"
#include "platform/UrlLoading.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr const char* kLocalDocumentName = "/config.json";
constexpr std::uint64_t kMaxDocumentBytes = 16ULL << 20;

bool isAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

std::string usableUpdateInfoURL(const std::optional<std::string>& stored) {
  if (!stored) {
    zrrt::log(ZRLogLevel::eDebug, "UpdateInfo URL not found in Preferences plist. Using default URL.");
  }
  const std::string url = stored.value_or(configuration::kDefaultUpdateInfoUrl);
  return mayUse(UrlUse::storedAddress, url) ? url : configuration::kDefaultUpdateInfoUrl;
}

std::optional<UpdateInfo> UpdateInfoRetrieval::getUpdateInfo() {
  if (useLocalDocument()) return _parser.updateInfo();
  for (int redirects = 0;;) {
    std::string newLocation;
    const Answer answer = fetchDocument(redirects > 0, newLocation);
    if (answer == Answer::failure) return std::nullopt;
    if (answer == Answer::document) break;
    _updateInfoURL = newLocation;
    if (++redirects > 1) {
      zrrt::log(ZRLogLevel::eWarning, "Aborting due to too many redirects.");
      return std::nullopt;
    }
  }
  adoptSettings();
  return _parser.updateInfo();
}

bool UpdateInfoRetrieval::useLocalDocument() {
  const ZRResult parsed = _parser.parseFile(_settings.tempPath + kLocalDocumentName);
  // Mostly there is none.
  if (parsed.code() != ZRError::eNotFound) zrReport(ZRLogLevel::eWarning, parsed, "Error returned", ZR_HERE);
  if (parsed.isFailure()) return false;
  zrrt::log(ZRLogLevel::eDebug, "Using local config.json file");
  return true;
}

UpdateInfoRetrieval::Answer UpdateInfoRetrieval::fetchDocument(bool redirected, std::string& newLocation) {
  zrrt::log(ZRLogLevel::eDebug, "Downloading update info from '%s'",
            platform::onOneLine(_updateInfoURL).c_str());
  const auto body = downloadDocument();
  if (!body) return Answer::failure;
  const Answer answer = parseDocument(*body, newLocation);
  if (redirected && answer != Answer::failure) rememberLocation();
  return answer;
}

std::optional<std::string> UpdateInfoRetrieval::downloadDocument() const {
  if (!mayUse(UrlUse::document, _updateInfoURL)) return std::nullopt;
  const auto url = platform::Url::parse(_updateInfoURL);
  platform::UrlRequest request{.url = *url, .headers = {{"User-Agent", _settings.userAgent}}};
  request.ignoresCache = true;
  platform::UrlResponse response;
  std::string body;
  const auto error = platform::sendSynchronousRequest(request, kMaxDocumentBytes, response, body);
  if (!error.failed() && !body.empty()) return body;
  zrrt::log(ZRLogLevel::eDebug, "Unable to download from UpdateInfo URL, errorcode = %zd",
            static_cast<ssize_t>(error.code));
  return std::nullopt;
}

UpdateInfoRetrieval::Answer UpdateInfoRetrieval::parseDocument(const std::string& body,
                                                               std::string& newLocation) {
  ZRString location;
  const ZRResult parsed = _parser.parseText(isAscii(body) ? body.c_str() : nullptr, location);
  if (parsed.isFailure()) {
    zrReport(ZRLogLevel::eError, parsed, "Error returned", ZR_HERE);
    zrrt::log(ZRLogLevel::eError, "Unable to parse update info.");
    return Answer::failure;
  }
  newLocation = location.str();
  return newLocation.empty() ? Answer::document : Answer::redirect;
}

void UpdateInfoRetrieval::rememberLocation() {
  _preferences.setValue(preference::kUpdateInfoURL, _updateInfoURL);
  if (_preferences.save().failed()) {
    zrrt::log(ZRLogLevel::eError, "Unable to save plist with new update info URL '%s'.",
              _updateInfoURL.c_str());
  }
}

void UpdateInfoRetrieval::adoptSettings() {
  const UpdateSettings& settings = _parser.updateInfo().updaterSettings;
  zrrt::log(ZRLogLevel::eDebug, "Parsed update info: enabled = %d, minDelayInDays = %d, maxDelayInDays = %d",
            settings.enabled, settings.minDelayInDays, settings.maxDelayInDays);
  _schedule.adoptSettings(settings);
}

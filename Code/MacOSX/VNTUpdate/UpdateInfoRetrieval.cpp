#include "Code/MacOSX/VNTUpdate/UpdateInfoRetrieval.h"

#include <algorithm>

#include "Code/Common/ServerConfiguration.h"
#include "Code/Common/TrustedServers.h"
#include "platform/Url.h"
#include "platform/UrlLoading.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr const char* kUpdateInfoUrlKey = "UpdateInfoURL";
constexpr const char* kLocalDocumentName = "/config.json";
constexpr std::uint64_t kMaxDocumentBytes = 64ULL << 20;

const char* orNull(const char* text) {
  return text != nullptr ? text : "(null)";
}

/// Scheme and host of a text; what does not parse has neither.
class Address {
 public:
  explicit Address(const std::string& text) : _url(platform::Url::parse(text)) {}
  [[nodiscard]] const char* scheme() const { return _url ? _url->scheme() : nullptr; }
  [[nodiscard]] const char* host() const { return _url ? _url->host() : nullptr; }
  [[nodiscard]] const platform::Url& url() const { return *_url; }

 private:
  std::optional<platform::Url> _url;
};

bool isAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool mayFetchDocument(const Address& address) {
  if (!isSafeScheme(address.scheme())) {
    zrrt::log(ZRLogLevel::eDebug, "The url scheme '%s' is not safe. Aborting download.",
              orNull(address.scheme()));
    return false;
  }
  if (!isTrustedServer(address.host())) {
    zrrt::log(ZRLogLevel::eDebug, "Server '%s' is not trusted. Aborting download.", orNull(address.host()));
    return false;
  }
  return true;
}

}  // namespace

void UpdateInfoRetrieval::load() {
  const auto stored = _preferences.text(kUpdateInfoUrlKey);
  if (!stored) {
    zrrt::log(ZRLogLevel::eDebug, "UpdateInfo URL not found in Preferences plist. Using default URL.");
  }
  _updateInfoURL = stored.value_or(configuration::kDefaultUpdateInfoUrl);
  const Address address(_updateInfoURL);
  if (!isSafeScheme(address.scheme())) {
    zrrt::log(ZRLogLevel::eDebug, "The url scheme '%s' is not safe. Using default URL.",
              orNull(address.scheme()));
    _updateInfoURL = configuration::kDefaultUpdateInfoUrl;
  }
  if (!isTrustedServer(address.host())) {
    zrrt::log(ZRLogLevel::eDebug, "Server '%s' is not trusted. Using default URL.", orNull(address.host()));
    _updateInfoURL = configuration::kDefaultUpdateInfoUrl;
  }
}

bool UpdateInfoRetrieval::getUpdateInfo() {
  if (useLocalDocument()) return true;
  for (int redirects = 0;;) {
    std::string newLocation;
    const Answer answer = fetchDocument(redirects > 0, newLocation);
    if (answer == Answer::failure) return false;
    if (answer == Answer::document) break;
    _updateInfoURL = newLocation;
    if (++redirects > 1) {
      zrrt::log(ZRLogLevel::eWarning, "Aborting due to too many redirects.");
      return false;
    }
  }
  adoptSettings();
  return true;
}

bool UpdateInfoRetrieval::useLocalDocument() {
  if (_parser.parseFile(_settings.tempPath + kLocalDocumentName).isFailure()) return false;
  zrrt::log(ZRLogLevel::eDebug, "Using local config.json file");
  return true;
}

UpdateInfoRetrieval::Answer UpdateInfoRetrieval::fetchDocument(bool redirected, std::string& newLocation) {
  zrrt::log(ZRLogLevel::eDebug, "Downloading update info from '%s'", _updateInfoURL.c_str());
  const auto body = downloadDocument();
  if (!body) return Answer::failure;
  const Answer answer = parseDocument(*body, newLocation);
  if (redirected && answer != Answer::failure) rememberLocation();
  return answer;
}

std::optional<std::string> UpdateInfoRetrieval::downloadDocument() const {
  const Address address(_updateInfoURL);
  if (!mayFetchDocument(address)) return std::nullopt;
  platform::UrlRequest request{.url = address.url(), .headers = {{"User-Agent", _settings.userAgent}}};
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
  if (_parser.parseText(isAscii(body) ? body.c_str() : nullptr, location).isFailure()) {
    zrrt::log(ZRLogLevel::eError, "Unable to parse update info.");
    return Answer::failure;
  }
  newLocation = location.str();
  return newLocation.empty() ? Answer::document : Answer::redirect;
}

void UpdateInfoRetrieval::rememberLocation() {
  _preferences.setValue(kUpdateInfoUrlKey, _updateInfoURL);
  if (_preferences.save().failed()) {
    zrrt::log(ZRLogLevel::eError, "Unable to save plist with new update info URL '%s'.",
              _updateInfoURL.c_str());
  }
}

void UpdateInfoRetrieval::adoptSettings() {
  const UpdateSettings& settings = _parser.updaterSettings;
  zrrt::log(ZRLogLevel::eDebug, "Parsed update info: enabled = %d, minDelayInDays = %d, maxDelayInDays = %d",
            settings.enabled, settings.minDelayInDays, settings.maxDelayInDays);
  _schedule.adoptSettings(settings);
}

#include "Code/MacOSX/VNTUpdate/ArchiveDownload.h"

#include <boost/locale/utf.hpp>

#include "Code/MacOSX/VNTUpdate/DownloadGuard.h"
#include "Code/MacOSX/VNTUpdate/TemporaryNames.h"
#include "Code/MacOSX/VNTUpdateDownloader.h"
#include "platform/Url.h"
#include "platform/UrlLoading.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Code/ZRMemBlock.h"
#include "runtime/NewCrypto/ZRHash.h"

namespace {

constexpr std::size_t kDigestTextLength = 32;
constexpr std::uint64_t kMaxDigestBytes = 1ULL << 20;
constexpr const char* kWhiteSpace = " \t\n\v\f\r";

/// Characters as the platform's strings count them: UTF-16 units. None for a text that is not UTF-8.
std::optional<std::size_t> characterCount(const std::string& text) {
  using Utf8 = boost::locale::utf::utf_traits<char>;
  using Utf16 = boost::locale::utf::utf_traits<char16_t>;
  std::size_t count = 0;
  for (auto next = text.begin(); next != text.end();) {
    const auto codePoint = Utf8::decode(next, text.end());
    if (codePoint == boost::locale::utf::illegal || codePoint == boost::locale::utf::incomplete) return {};
    count += static_cast<std::size_t>(Utf16::width(codePoint));
  }
  return count;
}

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

/// The body of a published digest: a digest alone is taken as it is, a longer text without white space around
/// it.
std::optional<std::string> checksumText(const std::string& body) {
  auto length = characterCount(body);
  if (!length) return std::nullopt;
  std::string text = body;
  if (*length > kDigestTextLength) {
    text = trimmed(body);
    length = characterCount(text);
  }
  zrrt::log(ZRLogLevel::eDebug, "Received MD5 checksum: %s, length = %tu", text.c_str(),
            static_cast<std::ptrdiff_t>(length.value_or(0)));
  return text;
}

platform::Error requestBody(const std::string& url, const std::string& userAgent, std::string& body) {
  auto parsed = platform::Url::parse(url);
  if (!parsed) {
    return {platform::kUrlErrorDomain, static_cast<std::int64_t>(platform::UrlErrorCode::badUrl),
            "The URL does not parse."};
  }
  const platform::UrlRequest request{.url = *parsed, .headers = {{"User-Agent", userAgent}}};
  platform::UrlResponse response;
  return platform::sendSynchronousRequest(request, kMaxDigestBytes, response, body);
}

}  // namespace

bool ArchiveDownload::safelyDownloadActiveBuild(std::uint32_t build, const std::string& url,
                                                std::string& path, bool isDelta) {
  if (!mayDownloadFrom(url) || !downloadBuild(build, url, path, isDelta)) return false;
  if (verifyDownload(path, url)) return true;
  removeFile(path);
  return false;
}

bool ArchiveDownload::verifyDownload(const std::string& path, const std::string& url) {
  const auto local = getChecksumFromFile(path);
  _localChecksum = local.value_or(std::string());
  if (!local) {
    zrrt::log(ZRLogLevel::eError, "Unable to get local MD5 checksum for downloaded endpoint");
    return false;
  }
  const auto remote = downloadChecksumFromUrl(url + ".md5");
  _remoteChecksum = remote.value_or(std::string());
  if (!remote) {
    zrrt::log(ZRLogLevel::eError, "Unable to download MD5 checksum for downloaded endpoint");
    return false;
  }
  if (_localChecksum == _remoteChecksum) return true;
  zrrt::log(ZRLogLevel::eError, "Unable to verify MD5 checksum for downloaded endpoint - no match!");
  return false;
}

bool ArchiveDownload::downloadBuild(std::uint32_t build, const std::string& url, std::string& path,
                                    bool isDelta) {
  zrrt::log(ZRLogLevel::eDebug, "Downloading from URL: %s", url.c_str());
  const std::string target =
      _settings.tempPath + (isDelta ? deltaArchiveName(build) : fullArchiveName(build));
  const platform::ItemKind leftover = _fileManager.itemKind(target);
  // Reading a pipe or a device in the archive's place would wait for ever.
  if (leftover != platform::ItemKind::none && leftover != platform::ItemKind::file && !removeFile(target))
    return false;
  if (leftover == platform::ItemKind::file) {
    zrrt::log(ZRLogLevel::eDebug, "Downloaded endpoint already found at %s", target.c_str());
    path = target;
    return true;
  }
  VNTUpdateDownloader downloader;
  double seconds = 0;
  std::uint64_t bytes = 0;
  if (downloader.download(url, target, _settings.userAgent, seconds, bytes).code() != ZRError::eNoError) {
    zrrt::log(ZRLogLevel::eError, "Download failed");
    return false;
  }
  path = target;
  zrrt::log(ZRLogLevel::eDebug, "Download complete. Elapsed time = %f secs, Bytes downloaded = %lld", seconds,
            static_cast<long long>(bytes));
  return true;
}

std::optional<std::string> ArchiveDownload::downloadChecksumFromUrl(const std::string& url) const {
  std::string body;
  const auto error = requestBody(url, _settings.userAgent, body);
  if (!error.failed() && !body.empty()) return checksumText(body);
  zrrt::log(ZRLogLevel::eError, "Unable to download MD5 data, errorcode = %zd",
            static_cast<ssize_t>(error.code));
  return std::nullopt;
}

std::optional<std::string> ArchiveDownload::getChecksumFromFile(const std::string& path) const {
  ZRMemBlock digest;
  if (ZRHash::fileDigest(path, digest).isFailure()) {
    zrrt::log(ZRLogLevel::eError, "Unable to get MD5 checksum for file %s", path.c_str());
    return std::nullopt;
  }
  ZRString text;
  if (digest.toHex(text).isFailure()) {
    zrrt::log(ZRLogLevel::eError, "Unable to convert checksum %s to hex string.", text.c_str());
    return std::nullopt;
  }
  text.toLower();
  zrrt::log(ZRLogLevel::eDebug, "Local checksum = %s", text.c_str());
  return text.str();
}

bool ArchiveDownload::removeFile(const std::string& path) const {
  const auto error = _fileManager.removeItem(path);
  if (!error.failed()) return true;
  zrrt::log(ZRLogLevel::eError, "Unable to remove file at %s: %s", path.c_str(), error.description.c_str());
  return false;
}

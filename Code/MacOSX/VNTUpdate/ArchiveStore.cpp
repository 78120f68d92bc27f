#include "Code/MacOSX/VNTUpdate/ArchiveStore.h"

#include <boost/locale/utf.hpp>
#include <chrono>

#include "Code/Common/DeltaTree.h"
#include "Code/MacOSX/PrivateFolder.h"
#include "Code/MacOSX/ToolRun.h"
#include "Code/MacOSX/VNTUpdate/DownloadGuard.h"
#include "Code/MacOSX/VNTUpdateDownloader.h"
#include "platform/Printable.h"
#include "platform/Text.h"
#include "platform/Url.h"
#include "platform/UrlLoading.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Code/ZRMemBlock.h"
#include "runtime/NewCrypto/ZRHash.h"

namespace {

constexpr std::size_t kDigestTextLength = 32;
constexpr std::uint64_t kMaxDigestBytes = 4096;
constexpr std::chrono::seconds kTarLimit{600};
constexpr const char* kUnarchiveContext = "-[VNTUpdate unarchiveEndpoint:]";
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

/// The body of a published digest: a digest alone is taken as it is, a longer text without white space around
/// it.
std::optional<std::string> checksumText(const std::string& body) {
  auto length = characterCount(body);
  if (!length) return std::nullopt;
  std::string text = body;
  if (*length > kDigestTextLength) {
    text = platform::trimmed(body, kWhiteSpace);
    length = characterCount(text);
  }
  zrrt::log(ZRLogLevel::eDebug, "Received MD5 checksum: %s, length = %tu", platform::onOneLine(text).c_str(),
            static_cast<std::ptrdiff_t>(length.value_or(0)));
  return text;
}

constexpr const char* kDigestSuffix = ".md5";

std::optional<std::string> hostOf(const std::string& url) {
  const auto parsed = platform::Url::parse(url);
  return parsed && parsed->host() != nullptr ? std::optional<std::string>(parsed->host()) : std::nullopt;
}

/// Behind a URL without a path the suffix would become part of the host, and the digest come from elsewhere.
bool namesFile(const std::string& url) {
  const auto host = hostOf(url);
  if (host && host == hostOf(url + kDigestSuffix)) return true;
  zrrt::log(ZRLogLevel::eError, "The url '%s' names no file. Aborting the download.",
            platform::onOneLine(url).c_str());
  return false;
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

bool ArchiveStore::downloadAndUnarchiveSingleBuild(std::uint32_t build, const Archive& archive) {
  zrrt::log(ZRLogLevel::eDebug, "Downloading build %d", static_cast<int>(build));
  if (!removeLeftover(_settings.tempPath + archive.item)) return false;
  std::string path;
  if (!safelyDownloadActiveBuild(archive, path)) return false;
  const bool unpacked = unarchiveEndpoint(path, archive.item);
  if (!unpacked) {
    zrrt::log(ZRLogLevel::eError, "Unable to extract endpoint to folder %s", _settings.tempPath.c_str());
  }
  if (_settings.cleanupDownloadCache != 0) removeFile(path);
  return unpacked;
}

bool ArchiveStore::safelyDownloadActiveBuild(const Archive& archive, std::string& path) {
  if (!mayUse(UrlUse::archive, archive.url) || !namesFile(archive.url) || !downloadBuild(archive, path))
    return false;
  if (verifyDownload(path, archive.url)) return true;
  removeFile(path);
  return false;
}

bool ArchiveStore::verifyDownload(const std::string& path, const std::string& url) {
  const auto local = getChecksumFromFile(path);
  _localChecksum = local.value_or(std::string());
  if (!local) {
    zrrt::log(ZRLogLevel::eError, "Unable to get local MD5 checksum for downloaded endpoint");
    return false;
  }
  const auto remote = downloadChecksumFromUrl(url + kDigestSuffix);
  _remoteChecksum = remote.value_or(std::string());
  if (!remote) {
    zrrt::log(ZRLogLevel::eError, "Unable to download MD5 checksum for downloaded endpoint");
    return false;
  }
  if (_localChecksum == _remoteChecksum) return true;
  zrrt::log(ZRLogLevel::eError, "Unable to verify MD5 checksum for downloaded endpoint - no match!");
  return false;
}

bool ArchiveStore::downloadBuild(const Archive& archive, std::string& path) {
  zrrt::log(ZRLogLevel::eDebug, "Downloading from URL: %s", archive.url.c_str());
  const std::string target = _settings.tempPath + archive.name;
  Download download;
  switch (fetch(archive.url, target, download)) {
    case Fetched::failed:
      zrrt::log(ZRLogLevel::eError, "Download failed");
      return false;
    case Fetched::wasThere:
      zrrt::log(ZRLogLevel::eDebug, "Downloaded endpoint already found at %s", target.c_str());
      break;
    case Fetched::downloaded:
      zrrt::log(ZRLogLevel::eDebug, "Download complete. Elapsed time = %f secs, Bytes downloaded = %lld",
                download.seconds, static_cast<long long>(download.bytes));
      break;
  }
  path = target;
  return true;
}

ArchiveStore::Fetched ArchiveStore::fetch(const std::string& url, const std::string& path,
                                          Download& download) const {
  if (_fileManager.itemKind(path) == platform::ItemKind::file) return Fetched::wasThere;
  if (!removeLeftover(path)) return Fetched::failed;
  VNTUpdateDownloader downloader;
  const ZRResult result =
      downloader.download(url, path, _settings.userAgent, download.seconds, download.bytes);
  return result.code() == ZRError::eNoError ? Fetched::downloaded : Fetched::failed;
}

bool ArchiveStore::unarchiveEndpoint(const std::string& path, const std::string& item) {
  zrrt::log(ZRLogLevel::eDebug, "Extracting endpoint archive at '%s'", path.c_str());
  const PrivateFolder folder(_fileManager, _settings.tempPath);
  return folder.exists() && unpackIn(folder.path(), path) && takeItem(folder.path(), item);
}

bool ArchiveStore::unpackIn(const std::string& folder, const std::string& archive) const {
  const auto status = runTool({.name = "tar",
                               .path = "/usr/bin/tar",
                               .arguments = {"-x", "-f", archive},
                               .folder = folder,
                               .limit = kTarLimit},
                              kUnarchiveContext);
  if (status && *status != 0) zrrt::log(ZRLogLevel::eError, "tar failed, exit code %d", *status);
  return status == 0;
}

/// An item that is not there, or may not be used, is missed by whoever looks for it.
bool ArchiveStore::takeItem(const std::string& unpacked, const std::string& item) const {
  const std::string source = unpacked + item;
  if (treeEntry(source) != TreeEntry::folder) return true;
  if (const ZRResult plain = requirePlainTree(source); plain.isFailure()) {
    zrReport(ZRLogLevel::eError, plain, "Error returned", ZR_HERE);
    return true;
  }
  const auto error = _fileManager.renameItem(source, _settings.tempPath + item);
  if (error.failed()) {
    zrrt::log(ZRLogLevel::eError, "Unable to take the unpacked item: %s", error.description.c_str());
  }
  return !error.failed();
}

std::optional<std::string> ArchiveStore::downloadChecksumFromUrl(const std::string& url) const {
  std::string body;
  const auto error = requestBody(url, _settings.userAgent, body);
  if (!error.failed() && !body.empty()) return checksumText(body);
  zrrt::log(ZRLogLevel::eError, "Unable to download MD5 data, errorcode = %zd",
            static_cast<ssize_t>(error.code));
  return std::nullopt;
}

std::optional<std::string> ArchiveStore::getChecksumFromFile(const std::string& path) const {
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

bool ArchiveStore::removeFile(const std::string& path) const {
  const auto error = _fileManager.removeItem(path);
  if (!error.failed()) return true;
  zrrt::log(ZRLogLevel::eError, "Unable to remove file at %s: %s", path.c_str(), error.description.c_str());
  return false;
}

bool ArchiveStore::removeLeftover(const std::string& path) const {
  return treeEntry(path) == TreeEntry::nothing || removeFile(path);
}

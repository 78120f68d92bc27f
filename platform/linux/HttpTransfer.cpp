#include "platform/linux/HttpTransfer.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "platform/linux/HttpOutcome.h"
#include "platform/linux/SharedLibrary.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr long kReceiveBufferSize = 256L * 1024;

/// The network library. It brings dozens of others with it, so it is loaded at the first request.
struct Curl {
  decltype(&curl_global_init) globalInit = nullptr;
  decltype(&curl_easy_init) easyInit = nullptr;
  decltype(&curl_easy_cleanup) easyCleanup = nullptr;
  decltype(&curl_easy_setopt) easySetopt = nullptr;
  decltype(&curl_easy_getinfo) easyGetinfo = nullptr;
  decltype(&curl_easy_strerror) easyStrerror = nullptr;
  decltype(&curl_multi_init) multiInit = nullptr;
  decltype(&curl_multi_cleanup) multiCleanup = nullptr;
  decltype(&curl_multi_add_handle) multiAdd = nullptr;
  decltype(&curl_multi_remove_handle) multiRemove = nullptr;
  decltype(&curl_multi_perform) multiPerform = nullptr;
  decltype(&curl_multi_poll) multiPoll = nullptr;
  decltype(&curl_multi_info_read) multiInfoRead = nullptr;
  decltype(&curl_multi_strerror) multiStrerror = nullptr;
  decltype(&curl_slist_append) slistAppend = nullptr;
  decltype(&curl_slist_free_all) slistFree = nullptr;
  decltype(&curl_url) url = nullptr;
  decltype(&curl_url_cleanup) urlCleanup = nullptr;
  decltype(&curl_url_set) urlSet = nullptr;
  decltype(&curl_url_get) urlGet = nullptr;
  decltype(&curl_free) free = nullptr;
  std::string problem;

  Curl();
};

Curl::Curl() {
  SharedLibrary library("libcurl.so.4");
  library.find("curl_global_init", globalInit);
  library.find("curl_easy_init", easyInit);
  library.find("curl_easy_cleanup", easyCleanup);
  library.find("curl_easy_setopt", easySetopt);
  library.find("curl_easy_getinfo", easyGetinfo);
  library.find("curl_easy_strerror", easyStrerror);
  library.find("curl_multi_init", multiInit);
  library.find("curl_multi_cleanup", multiCleanup);
  library.find("curl_multi_add_handle", multiAdd);
  library.find("curl_multi_remove_handle", multiRemove);
  library.find("curl_multi_perform", multiPerform);
  library.find("curl_multi_poll", multiPoll);
  library.find("curl_multi_info_read", multiInfoRead);
  library.find("curl_multi_strerror", multiStrerror);
  library.find("curl_slist_append", slistAppend);
  library.find("curl_slist_free_all", slistFree);
  library.find("curl_url", url);
  library.find("curl_url_cleanup", urlCleanup);
  library.find("curl_url_set", urlSet);
  library.find("curl_url_get", urlGet);
  library.find("curl_free", free);
  problem = library.problem();
  if (problem.empty() && globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK) problem = "it cannot be initialised";
}

const Curl& curl() {
  static const Curl library;
  return library;
}

struct EasyDeleter {
  void operator()(CURL* handle) const { curl().easyCleanup(handle); }
};
struct MultiDeleter {
  void operator()(CURLM* handle) const { curl().multiCleanup(handle); }
};
struct UrlDeleter {
  void operator()(CURLU* handle) const { curl().urlCleanup(handle); }
};
struct ListDeleter {
  void operator()(curl_slist* list) const { curl().slistFree(list); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;
using Multi = std::unique_ptr<CURLM, MultiDeleter>;
using CurlUrl = std::unique_ptr<CURLU, UrlDeleter>;
using List = std::unique_ptr<curl_slist, ListDeleter>;

bool equalIgnoringCase(const std::string& a, const std::string& b) {
  return strcasecmp(a.c_str(), b.c_str()) == 0;
}

/// What the library reads from a URL's text; empty when it finds no such part.
std::string urlPart(CURLU* url, CURLUPart part) {
  char* text = nullptr;
  if (curl().urlGet(url, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
  std::string copy(text);
  curl().free(text);
  return copy;
}

bool readsTheSame(CURLU* theirs, const Url& ours) {
  const std::string host = ours.host();
  const std::string bracketed = host.find(':') != std::string::npos ? "[" + host + "]" : host;
  const std::string usualPort = equalIgnoringCase(ours.scheme(), "https") ? "443" : "80";
  const std::string port = ours.port() ? std::to_string(*ours.port()) : usualPort;
  return equalIgnoringCase(urlPart(theirs, CURLUPART_SCHEME), ours.scheme()) &&
         equalIgnoringCase(urlPart(theirs, CURLUPART_HOST), bracketed) &&
         urlPart(theirs, CURLUPART_PORT) == port;
}

/// The library's form of the URL, only when both agree on where it leads: a trust decision was made on our
/// reading, and the connection is made on theirs.
CurlUrl agreedUrl(const Url& url, Error& error) {
  if (url.scheme() == nullptr ||
      (!equalIgnoringCase(url.scheme(), "http") && !equalIgnoringCase(url.scheme(), "https"))) {
    error = urlError(UrlErrorCode::unsupportedUrl, "unsupported URL");
    return nullptr;
  }
  CurlUrl parsed(curl().url());
  const bool good =
      parsed && url.host() != nullptr &&
      curl().urlSet(parsed.get(), CURLUPART_URL, url.absoluteString().c_str(), 0) == CURLUE_OK &&
      readsTheSame(parsed.get(), url);
  if (good) return parsed;
  error = urlError(UrlErrorCode::badUrl, "bad URL");
  return nullptr;
}

/// The value of a variable; null when it is unset or empty.
const char* environment(const char* name) {
  const char* value = getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

class CurlTransfer final : public HttpTransfer {
 public:
  CurlTransfer(const UrlRequest& request, const Options& options, CurlUrl url, HttpTransferSink& sink);
  ~CurlTransfer() override;

  void process(milliseconds limit) override;
  [[nodiscard]] bool hasEnded() const override { return _ended; }
  [[nodiscard]] const Error& error() const override { return _error; }
  [[nodiscard]] const HttpHead* head() const override {
    return _reader.isComplete() ? &_reader.head() : nullptr;
  }
  [[nodiscard]] bool isProxyChallenge() const override { return _outcome.connectStatus == 407; }

 private:
  template <class Value>
  void set(CURLoption option, Value value);
  [[nodiscard]] long info(CURLINFO which) const;
  [[nodiscard]] curl_off_t time(CURLINFO which) const;

  void setUp(const UrlRequest& request, const Options& options);
  void setHeaders(const UrlRequest& request);
  void setTrust();
  void addHeader(const std::string& line);
  void perform();
  void noteProgress();
  void collectEnd();
  void end(HttpOutcome outcome);
  void fail(UrlErrorCode code, std::string description);

  // Called through C, which no exception may cross.
  static std::size_t takeHeader(const char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t takeBody(const char* bytes, std::size_t size, std::size_t count, void* self) noexcept;

  HttpTransferSink& _sink;
  milliseconds _idleLimit;
  Clock::time_point _lastActivity = Clock::now();
  int _phasesReached = 0;
  HttpHeadReader _reader;
  HttpOutcome _outcome;
  Error _error;
  bool _ended = false;

  // The easy handle uses the URL, the list and the buffer, and the multi handle uses the easy handle.
  std::array<char, CURL_ERROR_SIZE> _errorText{};
  CurlUrl _url;
  List _headers;
  Multi _multi;
  Easy _easy;
};

CurlTransfer::CurlTransfer(const UrlRequest& request, const Options& options, CurlUrl url,
                           HttpTransferSink& sink)
    : _sink(sink),
      _idleLimit(request.idleTimeout),
      _url(std::move(url)),
      _multi(curl().multiInit()),
      _easy(curl().easyInit()) {
  if (_multi && _easy) {
    setUp(request, options);
    const CURLMcode code = curl().multiAdd(_multi.get(), _easy.get());
    if (code != CURLM_OK) fail(UrlErrorCode::unknown, curl().multiStrerror(code));
  } else {
    fail(UrlErrorCode::unknown, "The network library is out of memory.");
  }
}

CurlTransfer::~CurlTransfer() {
  if (_multi && _easy) curl().multiRemove(_multi.get(), _easy.get());
}

template <class Value>
void CurlTransfer::set(CURLoption option, Value value) {
  const CURLcode code = curl().easySetopt(_easy.get(), option, value);
  if (code != CURLE_OK) fail(UrlErrorCode::unknown, curl().easyStrerror(code));
}

long CurlTransfer::info(CURLINFO which) const {
  long value = 0;
  curl().easyGetinfo(_easy.get(), which, &value);
  return value;
}

curl_off_t CurlTransfer::time(CURLINFO which) const {
  curl_off_t value = 0;
  curl().easyGetinfo(_easy.get(), which, &value);
  return value;
}

void CurlTransfer::setUp(const UrlRequest& request, const Options& options) {
  set(CURLOPT_CURLU, _url.get());
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  set(CURLOPT_BUFFERSIZE, kReceiveBufferSize);
  set(CURLOPT_ERRORBUFFER, _errorText.data());
  set(CURLOPT_HEADERFUNCTION, &takeHeader);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_WRITEFUNCTION, &takeBody);
  set(CURLOPT_WRITEDATA, this);
  if (options.asksForEncodings) set(CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
  if (!options.netrcFile.empty()) {
    set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_OPTIONAL));
    set(CURLOPT_NETRC_FILE, options.netrcFile.c_str());
  }
  setHeaders(request);
  setTrust();
}

void CurlTransfer::addHeader(const std::string& line) {
  curl_slist* longer = curl().slistAppend(_headers.get(), line.c_str());
  if (longer == nullptr) return fail(UrlErrorCode::unknown, "The network library is out of memory.");
  (void)_headers.release();  // the longer list begins with it
  _headers.reset(longer);
}

void CurlTransfer::setHeaders(const UrlRequest& request) {
  for (const auto& [name, value] : request.headers) {
    if ((name + value).find_first_of("\r\n") != std::string::npos) {
      return fail(UrlErrorCode::badUrl, "A request header holds a line end.");
    }
    // The library takes "Name;" for a header without a value, and "Name:" for one to leave out.
    addHeader(value.empty() ? name + ";" : name + ": " + value);
  }
  if (request.ignoresCache) {
    addHeader("Cache-Control: no-cache");
    addHeader("Pragma: no-cache");
  }
  set(CURLOPT_HTTPHEADER, _headers.get());
}

void CurlTransfer::setTrust() {
  const char* file = environment("SSL_CERT_FILE");
  const char* folder = environment("SSL_CERT_DIR");
  if (file == nullptr && folder == nullptr) return;
  // Setting one leaves the library's own default in the other: null ends that.
  set(CURLOPT_CAINFO, file);
  set(CURLOPT_CAPATH, folder);
}

void CurlTransfer::process(milliseconds limit) {
  if (_ended) return;
  const auto idle = std::chrono::duration_cast<milliseconds>(Clock::now() - _lastActivity);
  const milliseconds left = std::max(milliseconds(0), _idleLimit - idle);
  // One more millisecond, so that a wait that was cut to whole ones does not end before the limit.
  const milliseconds wait = std::min({limit, left + milliseconds(1), milliseconds(std::chrono::hours(1))});
  const CURLMcode code = curl().multiPoll(_multi.get(), nullptr, 0, static_cast<int>(wait.count()), nullptr);
  if (code != CURLM_OK) return fail(UrlErrorCode::unknown, curl().multiStrerror(code));
  perform();
  if (!_ended && Clock::now() - _lastActivity >= _idleLimit) {
    fail(UrlErrorCode::timedOut, "The request timed out.");
  }
}

void CurlTransfer::perform() {
  int running = 0;
  const CURLMcode code = curl().multiPerform(_multi.get(), &running);
  if (code != CURLM_OK) return fail(UrlErrorCode::unknown, curl().multiStrerror(code));
  noteProgress();
  if (running == 0) collectEnd();
}

/// Reaching another phase of the connection counts as activity, as bytes of the answer do.
void CurlTransfer::noteProgress() {
  int phases = 0;
  for (const CURLINFO phase : {CURLINFO_NAMELOOKUP_TIME_T, CURLINFO_CONNECT_TIME_T,
                               CURLINFO_APPCONNECT_TIME_T, CURLINFO_PRETRANSFER_TIME_T}) {
    if (time(phase) > 0) ++phases;
  }
  if (phases > _phasesReached) _lastActivity = Clock::now();
  _phasesReached = std::max(phases, _phasesReached);
}

void CurlTransfer::collectEnd() {
  int queued = 0;
  const CURLMsg* message = curl().multiInfoRead(_multi.get(), &queued);
  if (message == nullptr || message->msg != CURLMSG_DONE) return;
  HttpOutcome outcome;
  outcome.code = message->data.result;
  outcome.verifyResult = info(CURLINFO_SSL_VERIFYRESULT);
  outcome.systemError = info(CURLINFO_OS_ERRNO);
  outcome.connectStatus = info(CURLINFO_HTTP_CONNECTCODE);
  outcome.text = _errorText.front() != '\0' ? _errorText.data() : curl().easyStrerror(message->data.result);
  end(std::move(outcome));
}

void CurlTransfer::end(HttpOutcome outcome) {
  _outcome = std::move(outcome);
  _ended = true;
  if (_outcome.code != CURLE_OK) {
    fail(translate(_outcome), _outcome.text);
  } else if (head() == nullptr) {  // which the library lets pass
    fail(UrlErrorCode::networkConnectionLost, "The connection was closed in the head of the answer.");
  }
}

void CurlTransfer::fail(UrlErrorCode code, std::string description) {
  _error = urlError(code, std::move(description));
  _ended = true;
}

std::size_t CurlTransfer::takeHeader(const char* bytes, std::size_t size, std::size_t count,
                                     void* self) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  transfer._lastActivity = Clock::now();
  transfer._reader.takeLine({bytes, size * count});
  return size * count;
}

std::size_t CurlTransfer::takeBody(const char* bytes, std::size_t size, std::size_t count,
                                   void* self) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  transfer._lastActivity = Clock::now();
  return transfer._sink.didReceiveBody({bytes, size * count}) ? size * count : 0;
}

}  // namespace

Error urlError(UrlErrorCode code, std::string description) {
  return {kUrlErrorDomain, static_cast<std::int64_t>(code), std::move(description)};
}

std::unique_ptr<HttpTransfer> HttpTransfer::start(const UrlRequest& request, const Options& options,
                                                  HttpTransferSink& sink, Error& error) {
  if (!curl().problem.empty()) {
    error =
        urlError(UrlErrorCode::unknown, "The network library libcurl cannot be loaded: " + curl().problem);
    return nullptr;
  }
  CurlUrl url = agreedUrl(request.url, error);
  if (!url) return nullptr;
  return std::make_unique<CurlTransfer>(request, options, std::move(url), sink);
}

}  // namespace platform

#include "platform/linux/HttpTransfer.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <list>
#include <utility>

#include "platform/Text.h"
#include "platform/common/UrlError.h"
#include "platform/common/UrlRules.h"
#include "platform/linux/HttpOutcome.h"
#include "platform/linux/SharedLibrary.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr long kReceiveBufferSize = 256L * 1024;
/// What has been idle for longer may have been dropped on the way without a word: it would cost a time-out.
constexpr long kLongestIdleSeconds = 60;
constexpr std::size_t kMaxHeadBytes = 1024UL * 1024;  // of interim answers, the head and trailers together

/// The network library. It brings dozens of others with it, so it is loaded at the first request.
struct Curl {
  decltype(&curl_global_init) globalInit = nullptr;
  decltype(&curl_easy_init) easyInit = nullptr;
  decltype(&curl_easy_cleanup) easyCleanup = nullptr;
  decltype(&curl_easy_setopt) easySetopt = nullptr;
  decltype(&curl_easy_getinfo) easyGetinfo = nullptr;
  decltype(&curl_easy_nextheader) easyNextheader = nullptr;
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
  library.find("curl_easy_nextheader", easyNextheader);
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
  error = checkScheme(url);
  if (error) return nullptr;
  CurlUrl parsed(curl().url());
  const bool good =
      parsed && url.host() != nullptr &&
      curl().urlSet(parsed.get(), CURLUPART_URL, url.absoluteString().c_str(), 0) == CURLUE_OK &&
      readsTheSame(parsed.get(), url);
  if (good) return parsed;
  error = badUrlError();
  return nullptr;
}

/// The value of a variable; null when it is unset or empty.
const char* environment(const char* name) {
  const char* value = getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

/// What drives one transfer at a time and keeps the connections of those before, so that a request finds the
/// one to its server (through its proxy, with its certificates) open. Each thread keeps its own: a transfer
/// that begins from within another one gets a second.
class ConnectionCache {
 public:
  ConnectionCache() {
    if (idle().empty()) {
      _multi.emplace_back(curl().multiInit());
    } else {
      _multi.splice(_multi.begin(), idle(), idle().begin());
    }
  }
  ~ConnectionCache() {
    if (get() != nullptr && !_isBroken) idle().splice(idle().begin(), _multi);
  }
  ConnectionCache(const ConnectionCache&) = delete;
  ConnectionCache& operator=(const ConnectionCache&) = delete;

  [[nodiscard]] CURLM* get() const { return _multi.front().get(); }
  /// The connections end with this object: after an error nobody knows what state they are in.
  void breakUp() { _isBroken = true; }

 private:
  /// Those that no transfer uses; the connections end with the thread.
  static std::list<Multi>& idle() {
    thread_local std::list<Multi> caches;
    return caches;
  }

  std::list<Multi> _multi;  // a single one, which moves to and fro without memory being asked for
  bool _isBroken = false;
};

class CurlTransfer final : public HttpTransfer {
 public:
  CurlTransfer(const UrlRequest& request, const Options& options, CurlUrl url, HttpTransferSink& sink);
  ~CurlTransfer() override;

  void process(milliseconds limit) override;
  [[nodiscard]] bool hasEnded() const override { return _ended; }
  [[nodiscard]] const Error& error() const override { return _error; }
  [[nodiscard]] std::optional<HttpHead> proxyChallenge() const override;

 private:
  template <class Value>
  void set(CURLoption option, Value value);
  [[nodiscard]] long info(CURLINFO which) const;
  [[nodiscard]] HttpHead readHead(long status, unsigned origin) const;

  void setUp(const UrlRequest& request, const Options& options);
  void setHeaders(const UrlRequest& request);
  void setTrust();
  void addHeader(const std::string& line);
  void perform();
  void collectEnd();
  [[nodiscard]] bool succeeded(CURLMcode code);
  void endWhenOverdue();
  [[nodiscard]] bool isUnansweredOnKeptConnection() const;
  void startOnNewConnection();
  void fail(Error error);
  [[nodiscard]] bool takeHeaderLine(std::string_view line);
  [[nodiscard]] bool announceHead();

  // Called through C, which no exception may cross.
  static std::size_t takeHeader(const char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t takeBody(const char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
  static int takeTrace(CURL* handle, curl_infotype kind, char* bytes, std::size_t size, void* self) noexcept;

  HttpTransferSink& _sink;
  milliseconds _idleLimit;
  Clock::time_point _deadline;
  Clock::time_point _lastActivity = Clock::now();
  std::size_t _headBytes = 0;
  bool _headAnnounced = false;
  HttpOutcome _outcome;
  Error _error;
  bool _ended = false;

  // The easy handle uses the URL, the list and the buffer, and the multi handle uses the easy handle.
  std::array<char, CURL_ERROR_SIZE> _errorText{};
  CurlUrl _url;
  List _headers;
  ConnectionCache _connections;
  Easy _easy;
};

CurlTransfer::CurlTransfer(const UrlRequest& request, const Options& options, CurlUrl url,
                           HttpTransferSink& sink)
    : _sink(sink),
      _idleLimit(request.idleTimeout),
      _deadline(options.deadline),
      _url(std::move(url)),
      _easy(curl().easyInit()) {
  if (_connections.get() != nullptr && _easy) {
    setUp(request, options);
    (void)succeeded(curl().multiAdd(_connections.get(), _easy.get()));
  } else {
    fail(urlError(UrlErrorCode::unknown, "The network library is out of memory."));
  }
}

CurlTransfer::~CurlTransfer() {
  if (_connections.get() != nullptr && _easy) curl().multiRemove(_connections.get(), _easy.get());
}

template <class Value>
void CurlTransfer::set(CURLoption option, Value value) {
  const CURLcode code = curl().easySetopt(_easy.get(), option, value);
  if (code != CURLE_OK) fail(urlError(UrlErrorCode::unknown, curl().easyStrerror(code)));
}

long CurlTransfer::info(CURLINFO which) const {
  long value = 0;
  curl().easyGetinfo(_easy.get(), which, &value);
  return value;
}

void CurlTransfer::setUp(const UrlRequest& request, const Options& options) {
  set(CURLOPT_CURLU, _url.get());
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_BUFFERSIZE, kReceiveBufferSize);
  set(CURLOPT_MAXAGE_CONN, kLongestIdleSeconds);
  set(CURLOPT_ERRORBUFFER, _errorText.data());
  set(CURLOPT_HEADERFUNCTION, &takeHeader);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_WRITEFUNCTION, &takeBody);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_DEBUGFUNCTION, &takeTrace);
  set(CURLOPT_DEBUGDATA, this);
  set(CURLOPT_VERBOSE, 1L);
  if (options.asksForEncodings) set(CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
  if (options.credentials) {
    set(CURLOPT_USERNAME, options.credentials->userName.c_str());
    set(CURLOPT_PASSWORD, options.credentials->password.c_str());
  }
  setHeaders(request);
  setTrust();
}

void CurlTransfer::addHeader(const std::string& line) {
  curl_slist* longer = curl().slistAppend(_headers.get(), line.c_str());
  if (longer == nullptr)
    return fail(urlError(UrlErrorCode::unknown, "The network library is out of memory."));
  (void)_headers.release();  // the longer list begins with it
  _headers.reset(longer);
}

void CurlTransfer::setHeaders(const UrlRequest& request) {
  for (const auto& [name, value] : request.headers) {
    if (Error error = checkHeader(name, value)) return fail(std::move(error));
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
  const auto left =
      std::chrono::ceil<milliseconds>(std::min(_lastActivity + _idleLimit, _deadline) - Clock::now());
  const milliseconds wait =
      std::clamp(left, milliseconds(0), std::min(limit, milliseconds(std::chrono::hours(1))));
  int active = 0;
  const auto timeout = static_cast<int>(wait.count());
  if (!succeeded(curl().multiPoll(_connections.get(), nullptr, 0, timeout, &active))) return;
  perform();
  if (active > 0) _lastActivity = Clock::now();
  if (!_ended) endWhenOverdue();
}

void CurlTransfer::perform() {
  int running = 0;
  if (!succeeded(curl().multiPerform(_connections.get(), &running))) return;
  if (running == 0 && !_ended) collectEnd();
}

bool CurlTransfer::succeeded(CURLMcode code) {
  if (code == CURLM_OK) return true;
  _connections.breakUp();
  fail(urlError(UrlErrorCode::unknown, curl().multiStrerror(code)));
  return false;
}

void CurlTransfer::endWhenOverdue() {
  const Clock::time_point now = Clock::now();
  if (now >= _deadline)
    return fail(urlError(UrlErrorCode::timedOut, "The request took longer than its time limit."));
  if (now < _lastActivity + _idleLimit) return;
  if (isUnansweredOnKeptConnection()) return startOnNewConnection();
  fail(urlError(UrlErrorCode::timedOut, "The request timed out."));
}

/// A connection may have died without a word since it was last used; a new one tells whether the server has.
bool CurlTransfer::isUnansweredOnKeptConnection() const {
  const bool wasSent = info(CURLINFO_REQUEST_SIZE) > 0;
  return wasSent && info(CURLINFO_NUM_CONNECTS) == 0 && _headBytes == 0;
}

void CurlTransfer::startOnNewConnection() {
  _lastActivity = Clock::now();
  if (!succeeded(curl().multiRemove(_connections.get(), _easy.get()))) return;  // ends the connection
  set(CURLOPT_FRESH_CONNECT, 1L);
  (void)succeeded(curl().multiAdd(_connections.get(), _easy.get()));
}

void CurlTransfer::collectEnd() {
  int queued = 0;
  const CURLMsg* message = curl().multiInfoRead(_connections.get(), &queued);
  if (message == nullptr || message->msg != CURLMSG_DONE) return;
  _outcome.code = message->data.result;
  _outcome.verifyResult = info(CURLINFO_SSL_VERIFYRESULT);
  _outcome.systemError = info(CURLINFO_OS_ERRNO);
  _outcome.connectStatus = info(CURLINFO_HTTP_CONNECTCODE);
  _outcome.text = _errorText.front() != '\0' ? _errorText.data() : curl().easyStrerror(message->data.result);
  _ended = true;
  if (_outcome.code != CURLE_OK) {
    fail(urlError(translate(_outcome), _outcome.text));
  } else if (!_headAnnounced) {  // which the library lets pass
    fail(urlError(UrlErrorCode::networkConnectionLost,
                  "The connection was closed in the head of the answer."));
  }
}

void CurlTransfer::fail(Error error) {
  _error = std::move(error);
  _ended = true;
}

/// The fields that the library has read last from a sender of that kind.
HttpHead CurlTransfer::readHead(long status, unsigned origin) const {
  constexpr int kLastRequest = -1;
  HttpHead head{.status = static_cast<int>(status),
                .isHttp10 = info(CURLINFO_HTTP_VERSION) == CURL_HTTP_VERSION_1_0};
  const curl_header* field = nullptr;
  while (
      (field = curl().easyNextheader(_easy.get(), origin, kLastRequest, const_cast<curl_header*>(field)))) {
    head.addField(field->name, field->value);
  }
  return head;
}

std::optional<HttpHead> CurlTransfer::proxyChallenge() const {
  if (_outcome.connectStatus != 407) return std::nullopt;
  return readHead(_outcome.connectStatus, CURLH_CONNECT);
}

/// The library reads the head; all that is needed from its lines is where it ends.
bool CurlTransfer::takeHeaderLine(std::string_view line) {
  _headBytes += line.size();
  if (_headBytes > kMaxHeadBytes) {
    fail(urlError(UrlErrorCode::badServerResponse, "The head of the answer is too long."));
    return false;
  }
  const bool isEnd = line.find_first_not_of("\r\n") == std::string_view::npos;
  const long status = info(CURLINFO_RESPONSE_CODE);
  const bool isFromProxy = status == 0;  // the answer to CONNECT
  const bool isInterim = status >= 100 && status < 200 && status != 101;
  return !isEnd || isFromProxy || isInterim || announceHead();
}

/// Before the first byte of a body at the latest, whatever led to it.
bool CurlTransfer::announceHead() {
  if (_headAnnounced) return true;
  const long status = info(CURLINFO_RESPONSE_CODE);
  if (status < 200) {  // also 101: the server changes to a protocol that nobody asked for
    fail(urlError(UrlErrorCode::badServerResponse, "The status of the answer is none of a final one."));
    return false;
  }
  _headAnnounced = true;
  return _sink.didReceiveHead(readHead(status, CURLH_HEADER));
}

std::size_t CurlTransfer::takeHeader(const char* bytes, std::size_t size, std::size_t count,
                                     void* self) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  return transfer.takeHeaderLine({bytes, size * count}) ? size * count : 0;
}

std::size_t CurlTransfer::takeBody(const char* bytes, std::size_t size, std::size_t count,
                                   void* self) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  return transfer.announceHead() && transfer._sink.didReceiveBody({bytes, size * count}) ? size * count : 0;
}

/// Notes two messages of TLS that the library's code for the outcome does not tell. It traces each message of
/// the handshake with its type in the first byte, and alerts as level and number (RFC 8446, 4 and 6).
int CurlTransfer::takeTrace(CURL* /*handle*/, curl_infotype kind, char* bytes, std::size_t size,
                            void* self) noexcept {
  constexpr char kCertificateRequest = 13;
  constexpr char kFatal = 2;
  if (kind != CURLINFO_SSL_DATA_IN) return 0;
  HttpOutcome& outcome = static_cast<CurlTransfer*>(self)->_outcome;
  if (size >= 4 && bytes[0] == kCertificateRequest) outcome.wasAskedForCertificate = true;
  if (size == 2 && bytes[0] == kFatal) outcome.tlsAlert = static_cast<unsigned char>(bytes[1]);
  return 0;
}

}  // namespace

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

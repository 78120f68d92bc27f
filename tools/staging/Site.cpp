#include "tools/staging/Site.h"

#include <charconv>
#include <filesystem>
#include <stdexcept>

namespace staging {
namespace {

namespace fs = std::filesystem;

std::string line(const std::string& method, const std::string& host, const std::string& path) {
  return method + " https://" + host + path;
}

std::string percentDecoded(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned byte = 0;
    const char* digits = text.data() + i + 1;
    if (text[i] == '%' && i + 2 < text.size() &&
        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      plain += static_cast<char>(byte);
      i += 2;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

Reply fileBelow(const std::string& folder, const std::string& path) {
  const fs::path relative = fs::path(percentDecoded(path)).relative_path();
  for (const fs::path& component : relative) {
    if (component == "..") return Reply::withStatus(404, "Not found\n");
  }
  const fs::path file = fs::path(folder) / relative;
  if (!fs::is_regular_file(file)) return Reply::withStatus(404, "Not found\n");
  return Reply::fromFile(file.string());
}

}  // namespace

std::vector<Host> hosts(const std::vector<std::string>& names) {
  std::vector<Host> list;
  for (const std::string& name : names)
    list.push_back({.name = name});
  return list;
}

std::vector<Host> agentHosts() {
  return hosts({"updates.vantora.example", "builds.vantora.example", "downloads.vantora-cdn.example",
                "downloads.vantora-storage.example", "builds.vantora-storage.example",
                "releases.korvane-storage.example", "archive.korvane-storage.example"});
}

Reply Reply::text(std::string body) {
  return {.headers = {{"Content-Type", "text/plain; charset=utf-8"}}, .body = std::move(body)};
}

Reply Reply::fromFile(std::string path) {
  return {.headers = {{"Content-Type", "application/octet-stream"}}, .file = std::move(path)};
}

Reply Reply::redirect(std::string location, int status) {
  return {.status = status, .headers = {{"Location", std::move(location)}}};
}

Reply Reply::withStatus(int status, std::string body) {
  Reply reply = text(std::move(body));
  reply.status = status;
  return reply;
}

Reply Reply::bytes(std::string raw) {
  return {.raw = std::move(raw), .ending = Ending::closed};
}

Reply Reply::badChunk() {
  return bytes("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\nxyz\r\nworld\r\n");
}

Reply Reply::endingAfter(std::uint64_t bytes, Ending how) const {
  Reply reply = *this;
  reply.endAfter = bytes;
  reply.ending = how;
  return reply;
}

Reply Reply::trickling(std::chrono::milliseconds eachPause) const {
  Reply reply = *this;
  reply.pause = eachPause;
  return reply;
}

Site::Site(const std::string& logFile) {
  if (logFile.empty()) return;
  _log.open(logFile, std::ios::app);
  if (!_log) throw std::runtime_error("cannot write " + logFile);
}

void Site::serve(const std::string& host, const std::string& path, std::vector<Reply> replies) {
  const std::lock_guard lock(_mutex);
  _replies[{host, path}].assign(replies.begin(), replies.end());
}

void Site::serveFolder(const std::string& host, const std::string& folder) {
  const std::lock_guard lock(_mutex);
  _folders[host] = folder;
}

void Site::expect(std::vector<Expected> requests) {
  const std::lock_guard lock(_mutex);
  _strict = true;
  _expected.assign(requests.begin(), requests.end());
  _unexpected.clear();
}

std::pair<Reply, std::size_t> Site::answer(const Request& request) {
  const std::lock_guard lock(_mutex);
  compareWithExpected(request);
  Reply reply = chooseReply(request);
  _requests.push_back(request);
  if (!reply.raw) _requests.back().status = reply.status;
  return {std::move(reply), _requests.size() - 1};
}

void Site::compareWithExpected(const Request& request) {
  if (!_strict) return;
  const std::string arrived = line(request.method, request.host, request.path);
  const bool isNext = !_expected.empty() && arrived == line(_expected.front().method, _expected.front().host,
                                                            _expected.front().path);
  if (isNext) {
    _expected.pop_front();
  } else {
    _unexpected.push_back(arrived);
  }
}

Reply Site::chooseReply(const Request& request) {
  const std::string path = request.path.substr(0, request.path.find('?'));
  const auto found = _replies.find({request.host, path});
  if (found != _replies.end() && !found->second.empty()) {
    Reply reply = found->second.front();
    if (found->second.size() > 1) found->second.pop_front();
    return reply;
  }
  const auto folder = _folders.find(request.host);
  return folder != _folders.end() ? fileBelow(folder->second, path) : Reply::withStatus(404, "Not found\n");
}

void Site::noteSent(std::size_t request, std::uint64_t bodyBytes) {
  const std::lock_guard lock(_mutex);
  _requests.at(request).bodyBytes += bodyBytes;
}

void Site::noteEnd(std::size_t request) {
  const std::lock_guard lock(_mutex);
  if (!_log.is_open()) return;
  const Request& ended = _requests.at(request);
  _log << ended.status << ' ' << line(ended.method, ended.host, ended.path) << ' ' << ended.bodyBytes << " \""
       << ended.userAgent << "\"" << std::endl;
}

std::vector<std::string> Site::unexpectedRequests() const {
  const std::lock_guard lock(_mutex);
  return _unexpected;
}

std::vector<std::string> Site::missingRequests() const {
  const std::lock_guard lock(_mutex);
  std::vector<std::string> missing;
  for (const Expected& request : _expected)
    missing.push_back(line(request.method, request.host, request.path));
  return missing;
}

std::vector<Request> Site::requests() const {
  const std::lock_guard lock(_mutex);
  return _requests;
}

}  // namespace staging

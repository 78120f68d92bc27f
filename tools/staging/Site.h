#pragma once

#include <cstdint>
#include <deque>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "tools/staging/StagingServer.h"

namespace staging {

/// What the hosts serve, what they were asked for and what they should have been asked for. Any thread.
class Site {
 public:
  /// Throws std::runtime_error when the log file cannot be opened.
  explicit Site(const std::string& logFile);

  void serve(const std::string& host, const std::string& path, std::vector<Reply> replies);
  void serveFolder(const std::string& host, const std::string& folder);
  void expect(std::vector<Expected> requests);

  /// Records the request and answers it; the number names the request in the calls below.
  std::pair<Reply, std::size_t> answer(const Request& request);
  /// More of the request's answer is being sent.
  void noteSent(std::size_t request, std::uint64_t bodyBytes);
  /// The answer has ended.
  void noteEnd(std::size_t request);

  [[nodiscard]] std::vector<std::string> unexpectedRequests() const;
  [[nodiscard]] std::vector<std::string> missingRequests() const;
  [[nodiscard]] std::vector<Request> requests() const;

 private:
  using Address = std::pair<std::string, std::string>;  // host and path

  void compareWithExpected(const Request& request);
  [[nodiscard]] Reply chooseReply(const Request& request);

  mutable std::mutex _mutex;
  std::ofstream _log;
  std::map<Address, std::deque<Reply>> _replies;
  std::map<std::string, std::string> _folders;
  bool _strict = false;
  std::deque<Expected> _expected;
  std::vector<std::string> _unexpected;
  std::vector<Request> _requests;
};

}  // namespace staging

// Serves folders as HTTPS hosts behind a proxy: DIR/<host>/<path> is https://<host>/<path>.

#include <getopt.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>

#include "tools/staging/StagingServer.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct Arguments {
  std::string root;
  std::string logFile;
  std::uint16_t port = 0;
  std::uint16_t proxyPort = 0;
  std::optional<std::chrono::seconds> limit;
};

constexpr const char* kUsage =
    "usage: %s --root DIR [--log FILE] [--port N] [--proxy-port N] [--seconds N]\n"
    "Serves DIR/<host>/<path> as https://<host>/<path> until its standard input ends, SIGTERM or SIGINT\n"
    "arrives, or N seconds have passed. Prints \"PROXY=<url> CA=<file>\": what https_proxy and "
    "SSL_CERT_FILE\n"
    "are to be for a client.\n";

template <class Number>
bool parseNumber(const char* text, Number& number) {
  const char* end = text + std::strlen(text);
  const auto [last, error] = std::from_chars(text, end, number);
  return error == std::errc() && last == end;
}

bool takeOption(int option, const char* value, Arguments& arguments) {
  unsigned seconds = 0;
  switch (option) {
    case 'r':
      arguments.root = value;
      return true;
    case 'l':
      arguments.logFile = value;
      return true;
    case 'p':
      return parseNumber(value, arguments.port);
    case 'x':
      return parseNumber(value, arguments.proxyPort);
    case 's':
      if (!parseNumber(value, seconds)) return false;
      arguments.limit = std::chrono::seconds(seconds);
      return true;
    default:
      return false;
  }
}

bool parse(int count, char* texts[], Arguments& arguments) {
  constexpr std::array<option, 6> kOptions{{{"root", required_argument, nullptr, 'r'},
                                            {"log", required_argument, nullptr, 'l'},
                                            {"port", required_argument, nullptr, 'p'},
                                            {"proxy-port", required_argument, nullptr, 'x'},
                                            {"seconds", required_argument, nullptr, 's'},
                                            {nullptr, 0, nullptr, 0}}};
  for (int found = 0; (found = getopt_long(count, texts, "", kOptions.data(), nullptr)) != -1;) {
    if (!takeOption(found, optarg, arguments)) return false;
  }
  return optind == count && fs::is_directory(arguments.root);
}

staging::ServerOptions serverOptions(const Arguments& arguments) {
  staging::ServerOptions options{
      .hosts = {}, .port = arguments.port, .proxyPort = arguments.proxyPort, .logFile = arguments.logFile};
  for (const auto& entry : fs::directory_iterator(arguments.root)) {
    if (entry.is_directory()) options.hosts.push_back({.name = entry.path().filename().string()});
  }
  return options;
}

/// Signals that end the program become readable here instead.
int endingSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  return signalfd(-1, &set, SFD_CLOEXEC);
}

bool standardInputEnded() {
  std::array<char, 4096> unread{};
  return read(STDIN_FILENO, unread.data(), unread.size()) <= 0;
}

void waitForEnd(int signals, std::optional<std::chrono::seconds> limit) {
  const auto end = limit ? Clock::now() + *limit : Clock::time_point::max();
  for (;;) {
    std::array<pollfd, 2> sources{{{signals, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (limit && left <= 0) return;
    if (poll(sources.data(), sources.size(), limit ? static_cast<int>(left) : -1) <= 0) continue;
    if (sources[0].revents != 0) return;
    if (sources[1].revents != 0 && standardInputEnded()) return;
  }
}

int serve(const Arguments& arguments) {
  const int signals = endingSignals();  // before the server's threads start, which inherit the mask
  const staging::ServerOptions options = serverOptions(arguments);
  staging::Server server(options);
  for (const staging::Host& host : options.hosts)
    server.serveFolder(host.name, (fs::path(arguments.root) / host.name).string());
  std::printf("PROXY=%s CA=%s\n", server.proxyUrl().c_str(), server.caFile().c_str());
  std::fflush(stdout);
  waitForEnd(signals, arguments.limit);
  return 0;
}

}  // namespace

int main(int argc, char* argv[]) {
  Arguments arguments;
  if (!parse(argc, argv, arguments)) {
    std::fprintf(stderr, kUsage, argv[0]);
    return 2;
  }
  try {
    return serve(arguments);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "%s: %s\n", argv[0], exception.what());
    return 1;
  }
}

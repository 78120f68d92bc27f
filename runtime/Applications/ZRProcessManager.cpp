#include "runtime/Applications/ZRProcessManager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <new>

#include "runtime/Applications/ZRRuntimeInit.h"
#include "runtime/Code/ZRPlatformError.h"

namespace {

constexpr std::int32_t kStartupOrder = 10;

/// In this file, so that a program that uses processes cannot be linked without it.
const RuntimeInitializer kProcessModule(kStartupOrder, &ZRProcessManager::init, &ZRProcessManager::shutdown);

boost::shared_ptr<zrrt::IProcessManager>& instanceSlot() {
  static boost::shared_ptr<zrrt::IProcessManager> slot;
  return slot;
}

/// Signed on purpose: every byte of a non-ASCII character separates words.
bool isSeparator(char c) {
  return static_cast<signed char>(c) <= 32;
}

bool isExecutableFile(const ZRString& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         ::faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

std::vector<ZRString> searchFolders(bool usePath, bool addCurrentDirectory) {
  std::vector<ZRString> folders;
  if (addCurrentDirectory) folders.emplace_back(".");
  if (!usePath) return folders;
  const char* path = std::getenv("PATH");
  if (path == nullptr) path = std::getenv("Path");
  if (path == nullptr) return folders;
  for (const ZRString& folder : ZRString(path).split(':'))
    folders.push_back(folder);
  return folders;
}

}  // namespace

// ------------------------------------------------------------------------------- what no system changes

std::vector<ZRString> ZRProcessManagerImpl::splitCommandLine(const ZRString& commandLine) {
  std::vector<ZRString> words;
  std::string word;
  bool insideQuotes = false;
  const auto endWord = [&] {
    if (word.empty()) return;
    words.emplace_back(word);
    words.back().trim("\"");
    word.clear();
  };
  for (const char c : commandLine.view()) {
    if (c == '"') insideQuotes = !insideQuotes;
    if (!insideQuotes && isSeparator(c)) {
      endWord();
    } else {
      word += c;
    }
  }
  endWord();
  return words;
}

ZRResult ZRProcessManagerImpl::startCommandLine(boost::shared_ptr<zrrt::IProcess>& process,
                                                const ZRString& commandLine) {
  std::vector<ZRString> words = splitCommandLine(commandLine);
  if (words.empty()) return ZRError::eBadFormat;
  const ZRString path = words.front();
  words.erase(words.begin());
  ZRProcessEnvironment environment;
  for (const std::string& entry : platform::process::toolEnvironment())
    ZR_RETURN_FAILURE(environment.addEntry(entry.c_str()));
  ZR_RETURN_FAILURE(start(process, path, words, &environment, &platform::process::kNullStreams,
                          Start::running, Search::no));
  return ZRError::eNoError;
}

ZRString ZRProcessManagerImpl::buildCommandLine(const ZRString& path,
                                                const std::vector<ZRString>& arguments) const {
  const bool needsQuotes = std::any_of(path.view().begin(), path.view().end(), isSeparator);
  ZRString line = needsQuotes ? "\"" + path + "\"" : path;
  for (const ZRString& argument : arguments)
    line += " " + argument;
  if (arguments.empty()) line += ' ';  // the blank between the path and nothing stays
  return line;
}

ZRResult ZRProcessManagerImpl::findProgram(const ZRString& name, bool usePath, bool addCurrentDirectory,
                                           ZRString& path) const {
  for (const ZRString& folder : searchFolders(usePath, addCurrentDirectory)) {
    const ZRString candidate = (folder.isEmpty() ? ZRString(".") : folder) + "/" + name;
    if (!isExecutableFile(candidate)) continue;
    path = candidate;
    return ZRError::eNoError;
  }
  return ZRError::eNotFound;
}

// ----------------------------------------------------------------------------------- on this platform

ZRResult ZRMacProcessManager::start(boost::shared_ptr<zrrt::IProcess>& process, const ZRString& path,
                                    const std::vector<ZRString>& arguments,
                                    const ZRProcessEnvironment* environment, const zrrt::StreamPlan* streams,
                                    Start mode, Search search) {
  if (path.endsWith("/")) return ZRError::eBadParameter;

  platform::process::SpawnRequest request;
  request.path = path.c_str();  // a path need not be text: its bytes are what counts
  for (const ZRString& argument : arguments)
    request.arguments.emplace_back(argument.c_str());
  ZRProcessEnvironment inherited;
  if (environment == nullptr) ZR_RETURN_FAILURE(ZRMacCurrentProcess().getEnvironment(inherited));
  request.environment = environment != nullptr ? environment->entries() : inherited.entries();
  if (streams != nullptr) request.streams = *streams;
  request.startSuspended = mode == Start::suspended;
  request.searchPath = search == Search::path;

  const boost::weak_ptr<zrrt::IProcessManager> self = shared_from_this();  // throws before there is a child
  platform::process::ProcessId id = -1;
  if (const platform::Error error = platform::process::spawn(request, id)) {
    ZRResult result = zrrt::resultOfCall(error);
    if (error.code == ENOENT) result.append("program path: \"%s\"", path.c_str());
    return result;
  }
  try {
    process = boost::make_shared<ZRMacProcess>(
        self, id, ZRMacProcess::Waitable::yes,
        mode == Start::suspended ? ZRMacProcess::Suspended::yes : ZRMacProcess::Suspended::no);
  } catch (const std::bad_alloc&) {
    return ZRError::eNoMemory;
  }
  return ZRError::eNoError;
}

ZRResult ZRMacProcessManager::waitForExit(std::int32_t processId, std::uint32_t timeoutMs) {
  const auto limit = timeoutMs == ZRSync::kNoLimit
                         ? std::nullopt
                         : std::optional<std::chrono::milliseconds>(std::chrono::milliseconds(timeoutMs));
  platform::process::WaitOutcome outcome = platform::process::WaitOutcome::timedOut;
  ZR_RETURN_FAILURE(zrrt::resultOfCall(platform::process::waitForExit(processId, limit, outcome)));
  switch (outcome) {
    case platform::process::WaitOutcome::exited:
      return ZRError::eNoError;
    case platform::process::WaitOutcome::timedOut:
      return ZRError::eTimeout;
    case platform::process::WaitOutcome::unexpected:
      break;
  }
  return ZRError::eUnexpected;
}

ZRResult ZRMacProcessManager::killProcess(std::int32_t processId) {
  if (processId <= 0) return ZRError::eBadParameter;  // such numbers stand for many processes, or all
  return zrrt::resultOfCall(platform::process::sendKill(processId));
}

ZRResult ZRMacProcessManager::listProcesses(std::vector<std::int32_t>& processIds) const {
  return zrrt::resultOfCall(platform::process::listProcesses(processIds));
}

ZRResult ZRMacProcessManager::getExecutablePath(std::int32_t processId, ZRString& path) const {
  std::string found;
  ZR_RETURN_FAILURE(zrrt::resultOfCall(platform::process::executablePath(processId, found)));
  path = ZRString(found);
  return ZRError::eNoError;
}

// --------------------------------------------------------------------------------- the program's manager

ZRResult ZRProcessManager::init() {
  if (instanceSlot()) {
    return ZRResult(ZRError::eBadState, "%s: already initialized",
                    "static ZRResult ZRProcessManager::init()");
  }
  instanceSlot() = boost::make_shared<ZRMacProcessManager>();
  return ZRError::eNoError;
}

ZRResult ZRProcessManager::shutdown() {
  instanceSlot().reset();
  return ZRError::eNoError;
}

boost::shared_ptr<zrrt::IProcessManager> ZRProcessManager::instance() {
  return instanceSlot();
}

std::int32_t ZRMacCurrentProcess::getId() const {
  return ::getpid();
}

ZRResult ZRMacCurrentProcess::getSessionId(std::int32_t& sessionId) const {
  const pid_t session = ::getsid(0);
  if (session < 0) return ZRResult::fromSystemError("getsid", errno);
  sessionId = session;
  return ZRError::eNoError;
}

ZRResult ZRMacCurrentProcess::getExecutablePath(ZRString& path) const {
  return ZRMacProcessManager().getExecutablePath(getId(), path);
}

ZRResult ZRMacCurrentProcess::getEnvironment(ZRProcessEnvironment& environment) const {
  for (const std::string& entry : platform::process::currentEnvironment()) {
    // An entry that no program could have set by name is not handed on.
    static_cast<void>(environment.addEntry(entry.c_str()));
  }
  return ZRError::eNoError;
}

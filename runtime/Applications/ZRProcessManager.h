#pragma once

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <vector>

#include "platform/Process.h"
#include "runtime/Applications/ZRProcess.h"
#include "runtime/Applications/ZRProcessEnvironment.h"

namespace zrrt {

using StreamPlan = platform::process::StreamPlan;

/// Starts, watches and stops child processes. Any thread; no lock is held while starting or waiting.
class IProcessManager {
 public:
  enum class Start : bool { running, suspended };
  enum class Search : bool { no, path };

  virtual ~IProcessManager() = default;

  /// Splits the command line into words and starts the first with the others as arguments. Words are
  /// separated by bytes that are 32 or less as a signed character (so also by every byte of a non-ASCII
  /// character) unless they stand in double quotes; quotes at the ends of a word are dropped. The program
  /// gets a tool's surroundings: platform::process::toolEnvironment and the null device as its streams.
  /// Fails: eBadFormat for an empty command line; as `start`.
  virtual ZRResult startCommandLine(boost::shared_ptr<IProcess>& process, const ZRString& commandLine) = 0;

  /// Starts a program. Without an environment it gets this process's; without streams it shares them.
  /// Fails: eBadParameter for a path that ends in "/"; the system's failure, with "program path: ..." for a
  /// missing program.
  virtual ZRResult start(boost::shared_ptr<IProcess>& process, const ZRString& path,
                         const std::vector<ZRString>& arguments, const ZRProcessEnvironment* environment,
                         const StreamPlan* streams, Start mode, Search search) = 0;

  /// Waits until the process has ended, `timeoutMs` milliseconds at most (0xFFFFFFFF: no limit).
  /// Fails: eTimeout; eNotFound when there is no such process.
  virtual ZRResult waitForExit(std::int32_t processId, std::uint32_t timeoutMs) = 0;
  /// Fails: eBadParameter for -1 and whatever else is no process's number.
  virtual ZRResult killProcess(std::int32_t processId) = 0;

  // What no run calls.

  /// The path, in double quotes when it holds a separator, and the arguments, with single blanks between.
  [[nodiscard]] virtual ZRString buildCommandLine(const ZRString& path,
                                                  const std::vector<ZRString>& arguments) const = 0;

  /// The first executable file of that name in the current directory (if asked) and the folders of PATH (if
  /// asked). Fails: eNotFound.
  virtual ZRResult findProgram(const ZRString& name, bool usePath, bool addCurrentDirectory,
                               ZRString& path) const = 0;

  /// The running processes' numbers.
  virtual ZRResult listProcesses(std::vector<std::int32_t>& processIds) const = 0;
  virtual ZRResult getExecutablePath(std::int32_t processId, ZRString& path) const = 0;
};

}  // namespace zrrt

/// What does not depend on the system.
class ZRProcessManagerImpl : public zrrt::IProcessManager {
 public:
  ZRResult startCommandLine(boost::shared_ptr<zrrt::IProcess>& process, const ZRString& commandLine) override;
  [[nodiscard]] ZRString buildCommandLine(const ZRString& path,
                                          const std::vector<ZRString>& arguments) const override;
  ZRResult findProgram(const ZRString& name, bool usePath, bool addCurrentDirectory,
                       ZRString& path) const override;

  /// The words of a command line as `startCommandLine` starts them.
  [[nodiscard]] static std::vector<ZRString> splitCommandLine(const ZRString& commandLine);
};

class ZRMacProcessManager final : public ZRProcessManagerImpl,
                                  public boost::enable_shared_from_this<ZRMacProcessManager> {
 public:
  ZRResult start(boost::shared_ptr<zrrt::IProcess>& process, const ZRString& path,
                 const std::vector<ZRString>& arguments, const ZRProcessEnvironment* environment,
                 const zrrt::StreamPlan* streams, Start mode, Search search) override;
  ZRResult waitForExit(std::int32_t processId, std::uint32_t timeoutMs) override;
  ZRResult killProcess(std::int32_t processId) override;
  ZRResult listProcesses(std::vector<std::int32_t>& processIds) const override;
  ZRResult getExecutablePath(std::int32_t processId, ZRString& path) const override;
};

/// The program's process manager; it exists from the runtime's start-up to its shut-down.
class ZRProcessManager {
 public:
  /// Fails: eBadState when there is one already.
  static ZRResult init();
  static ZRResult shutdown();
  /// Empty before the start-up and after the shut-down.
  [[nodiscard]] static boost::shared_ptr<zrrt::IProcessManager> instance();
};

/// Questions about the running program itself.
class ZRCurrentProcess {
 public:
  virtual ~ZRCurrentProcess() = default;
  [[nodiscard]] virtual std::int32_t getId() const = 0;
  virtual ZRResult getSessionId(std::int32_t& sessionId) const = 0;
  virtual ZRResult getExecutablePath(ZRString& path) const = 0;
  virtual ZRResult getEnvironment(ZRProcessEnvironment& environment) const = 0;
};

class ZRMacCurrentProcess final : public ZRCurrentProcess {
 public:
  [[nodiscard]] std::int32_t getId() const override;
  ZRResult getSessionId(std::int32_t& sessionId) const override;
  ZRResult getExecutablePath(ZRString& path) const override;
  ZRResult getEnvironment(ZRProcessEnvironment& environment) const override;
};

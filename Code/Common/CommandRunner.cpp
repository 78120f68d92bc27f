#include "Code/Common/CommandRunner.h"

#include "platform/Printable.h"
#include "runtime/Applications/ZRProcessManager.h"
#include "runtime/Code/ZRLog.h"

namespace {

/// How long a killed command may take to be gone.
constexpr std::uint32_t kKillLimitMilliseconds = 5000;

/// Ends a command that was not waited for, and sees it gone: it writes nothing after this.
void killCommand(zrrt::IProcess& process) {
  ZRResult result = process.terminate();
  if (result.isSuccess()) result = process.wait(kKillLimitMilliseconds);
  zrReport(ZRLogLevel::eWarning, result, "Error returned", ZR_HERE);
  std::uint8_t status = 0;
  (void)process.getExitCode(status);  // collects it; that it was killed is known
}

}  // namespace

ZRResult makeCommandLine(const char* tool, std::initializer_list<ZRString> arguments, ZRString& commandLine) {
  commandLine = tool;
  for (const ZRString& argument : arguments) {
    if (argument.find('"') != ZRString::npos) {
      return ZRResult(ZRError::eBadParameter, "A command line cannot carry the double quote in %s",
                      platform::onOneLine(argument.view()).c_str());
    }
    commandLine += " \"" + argument + "\"";
  }
  return ZRError::eNoError;
}

ZRResult runCommand(const ZRString& commandLine, std::uint32_t limitMilliseconds) {
  const boost::shared_ptr<zrrt::IProcessManager> manager = ZRProcessManager::instance();
  if (!manager) return ZRError::eNullPointer;
  boost::shared_ptr<zrrt::IProcess> process;
  ZR_RETURN_FAILURE(manager->startCommandLine(process, commandLine));
  if (!process) return ZRError::eNullPointer;

  if (const ZRResult waited = process->wait(limitMilliseconds); waited.isFailure()) {
    killCommand(*process);
    return waited.wrapped("Error returned", ZR_HERE);
  }
  std::uint8_t exitCode = 0;
  ZR_RETURN_FAILURE(process->getExitCode(exitCode));
  if (exitCode != 0) return ZRResult(ZRError::eSomeError, "Process exit code = %d", int{exitCode});
  return ZRError::eNoError;
}

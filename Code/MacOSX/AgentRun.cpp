#include "Code/MacOSX/AgentRun.h"

#include <cstdio>
#include <memory>

#include "Code/MacOSX/AgentLock.h"
#include "Code/MacOSX/MacMessengerUtilities.h"
#include "Code/MacOSX/ProductSettings.h"
#include "Code/MacOSX/VNTHelperData.h"
#include "Code/MacOSX/VNTUpdate/VNTUpdate.h"
#include "Shared/Code/MacOSX/HOLLogManager.h"
#include "platform/AutoreleasePool.h"
#include "platform/Clock.h"
#include "platform/FileManager.h"
#include "platform/Path.h"
#include "runtime/Applications/ZROptionsBroker.h"
#include "runtime/Applications/ZRRuntimeInit.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr const char* kRunSeparator = "------------------------------------------------------------------";

/// The log file's path, in a folder that is made if need be; empty when the user has no place for logs.
ZRString makeLogPath() {
  ZRString folder;
  static_cast<void>(HOLLogManager::processLogFolder(folder));
  if (folder.isEmpty()) return {};
  const std::string own = platform::joinPath(folder.str(), "com.korvane.Vantora");
  static_cast<void>(platform::defaultFileManager().createFolder(own));
  return ZRString(platform::joinPath(own, "VNTUpdate.log"));
}

/// The log for the length of the run.
class LogSession {
 public:
  explicit LogSession(const ZRString& path) {
    const ZRResult result = HOLLogManager::startLog(path, false);
    zrrt::nameCurrentThread("main", false);
    if (result.isFailure()) {
      std::fprintf(stderr, "VNTUpdate: no log at %s: %s\n", path.c_str(), result.codeText().c_str());
    }
  }
  ~LogSession() { HOLLogManager::stopLog(); }
  LogSession(const LogSession&) = delete;
  LogSession& operator=(const LogSession&) = delete;
};

void keepCommandLine(int argc, char* argv[]) {
  ZRString commandLine;
  for (int i = 1; i < argc; ++i)
    commandLine += "\"" + ZRString(argv[i]) + "\" ";
  zrrt::setCommandLine(commandLine);
}

void parseOptions(ZROptionsBroker& options) {
  zrReport(ZRLogLevel::eError, options.parse(zrrt::commandLine().c_str()),
           "Command line option initialization has failed",
           ZRLocation{.function = nullptr, .file = "Code/MacOSX/main", .line = 115});
  ZRString text;
  static_cast<void>(options.getCommandLine(text));
  zrrt::log(ZRLogLevel::eInformation, "%s", text.c_str());
}

/// The number at the front of the option's value; 0 when there is none.
std::uint32_t buildNumberOf(const ZRString& value) {
  long number = 0;
  static_cast<void>(value.toInteger(10, number));
  return static_cast<std::uint32_t>(number);
}

void uninstallHelpers() {
  zrrt::log(ZRLogLevel::eInformation, "VNTUpdate: No endpoints installed. Disabling updater");
  static_cast<void>(uninstallVNTHelper(gVNTUpdateOldBrandedData));
  static_cast<void>(uninstallVNTHelper(gVNTUpdateData));
}

void installWantedMessenger(VNTUpdate& engine) {
  zrrt::logEntry(ZRLogLevel::eStatus, "main", nullptr,
                 "MessengerIntegration=\"Downloading Messenger for the first time\"");
  if (!engine.downloadAndInstallMessengerApp()) {
    zrrt::log(ZRLogLevel::eStatus, "MessengerIntegration=\"installer failed\"");
    return;
  }
  zrrt::logEntry(ZRLogLevel::eStatus, "main", nullptr, "MessengerIntegration=\"Messenger installed\"");
  static_cast<void>(setMessengerWasInstalled(true));
}

void lookAfterMessenger(VNTUpdate& engine) {
  bool wasInstalled = false;
  if (getMessengerWasInstalled(wasInstalled).code() == ZRError::eNoError && wasInstalled) return;
  if (MacMessengerUtilities::findMessenger()) {
    static_cast<void>(setMessengerWasInstalled(true));
    return;
  }
  ZRString wanted;
  static_cast<void>(readRegistryString(setting::kMessenger, wanted));
  if (!wanted.isEmpty()) installWantedMessenger(engine);
}

void checkWhenDue(VNTUpdate& engine) {
  if (engine.isTimeForUpdateCheck()) {
    zrrt::log(ZRLogLevel::eInformation, "VNTUpdate: performing update check.");
    engine.checkForUpdate();
    engine.calculateNextUpdateCheck(UpdateSchedule::eAfterCheck);
  } else if (engine.beAggressive()) {
    engine.cleanup();
  }
}

/// Whether there may be builds although none is seen: then nothing can be decided.
bool areOutOfSight(const Endpoints& endpoints) {
  if (!endpoints.paths.empty() || endpoints.sawEverything) return false;
  zrrt::log(ZRLogLevel::eWarning,
            "VNTUpdate: No endpoints seen, but not everything could be looked at. Leaving all as it is.");
  return true;
}

void performRoutinePass(VNTUpdate& engine) {
  const Endpoints endpoints = engine.allInstalledBuilds();
  if (areOutOfSight(endpoints)) return;
  if (endpoints.paths.empty()) return uninstallHelpers();
  if (endpoints.paths.size() > 1) {
    zrrt::log(ZRLogLevel::eInformation, "VNTUpdate: Cleaning up unused endpoints.");
    engine.removeUnusedBuilds(endpoints);
  }
  lookAfterMessenger(engine);
  checkWhenDue(engine);
}

void performPass(int argc, char* argv[]) {
  keepCommandLine(argc, argv);
  ZROptionsBroker options;
  const platform::AutoreleasePool pool;
  if (argc > 1) parseOptions(options);
  zrrt::log(ZRLogLevel::eInformation, "VNTUpdate activated at %s",
            platform::describe(platform::now()).c_str());
  platform::FolderLock lock;
  const OtherRuns others = lockOutOtherAgents(lock, kOtherRunLimit);
  if (others == OtherRuns::atWork) return;
  const auto engine = VNTUpdate::init();
  if (!engine) return;  // an unreadable preference file must never remove an installed agent
  if (others == OtherRuns::lockedOut) engine->inheritLeftovers();
  ZRString build;
  if (options.getOption("DeltaInstall", build).code() == ZRError::eNoError) {
    engine->downloadAndInstall(buildNumberOf(build));
  } else {
    performRoutinePass(*engine);
  }
}

}  // namespace

int runAgent(int argc, char* argv[]) {
  const LogSession log(makeLogPath());
  zrrt::log(ZRLogLevel::eInformation, kRunSeparator);
  ZRRuntimeInit runtime;
  const ZRResult started = runtime.initResult();
  if (started.isFailure()) {
    zrrt::logEntry(ZRLogLevel::eError, "main", nullptr,
                   "Fatal Error - ZRRuntimeInit failed (error code = %zd)!",
                   static_cast<ssize_t>(started.code()));
    return static_cast<int>(started.code());
  }
  performPass(argc, argv);
  return 0;
}

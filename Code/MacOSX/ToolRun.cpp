#include "Code/MacOSX/ToolRun.h"

#include "platform/Task.h"
#include "runtime/Applications/ZRTaskWait.h"
#include "runtime/Code/ZRLog.h"

namespace {

void logException(const Tool& tool, const char* context, const char* name, const char* reason) {
  zrrt::log(ZRLogLevel::eError, "%s - Unable to launch %s command.", context, tool.name);
  zrrt::log(ZRLogLevel::eError, "%s - Exception Name  : %s", context, name);
  zrrt::log(ZRLogLevel::eError, "%s - Exception Reason: %s", context, reason);
}

}  // namespace

std::optional<int> runTool(const Tool& tool, const char* context) {
  platform::Task task(tool.path, tool.arguments);
  task.currentFolder = tool.folder;
  try {
    task.launch();
    waitUntilExitWithTimeout(task, static_cast<std::int32_t>(tool.limit.count()));
    return task.terminationStatus();
  } catch (const platform::LaunchException& exception) {
    logException(tool, context, exception.name().c_str(), exception.reason().c_str());
  } catch (const ZRTaskTimeout& exception) {
    logException(tool, context, exception.name(), exception.reason());
  }
  return std::nullopt;
}

#import "platform/Task.h"

#import "platform/macos/Foundation.h"

#include <signal.h>

#include <cerrno>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/AutoreleasePool.h"
#include "platform/common/TaskLaunch.h"

namespace platform {
namespace {

constexpr std::chrono::seconds kLongestLook{1};
constexpr std::chrono::milliseconds kPause{1};

/// Refuses the launch for a text that is not UTF-8, which no task can be given.
NSString* taskText(std::string_view text) {
  NSString* converted = foundationText(text);
  if (converted == nil) refuseLaunch(std::string(text), EILSEQ);
  return converted;
}

NSArray* taskArguments(const std::vector<std::string>& arguments) {
  NSMutableArray* converted = [NSMutableArray arrayWithCapacity:arguments.size()];
  for (const std::string& argument : arguments)
    [converted addObject:taskText(argument)];
  return converted;
}

/// Of variables with one name the first counts, as in the entries; one without a name cannot be looked up.
NSDictionary* taskEnvironment(const std::vector<std::string>& entries) {
  NSMutableDictionary* converted = [NSMutableDictionary dictionaryWithCapacity:entries.size()];
  for (const std::string& entry : entries) {
    const std::size_t sign = entry.find('=');
    if (sign == std::string::npos || sign == 0) continue;
    NSString* name = taskText(std::string_view(entry).substr(0, sign));
    if ([converted objectForKey:name] == nil) {
      [converted setObject:taskText(std::string_view(entry).substr(sign + 1)) forKey:name];
    }
  }
  return converted;
}

NSString* taskPath(const std::string& path) {
  NSString* converted = foundationPath(path);
  if (converted == nil) refuseLaunch(path, EILSEQ);
  return converted;
}

void closeStreams(NSTask* task) {
  [task setStandardInput:[NSFileHandle fileHandleWithNullDevice]];
  [task setStandardOutput:[NSFileHandle fileHandleWithNullDevice]];
  [task setStandardError:[NSFileHandle fileHandleWithNullDevice]];
}

/// Starts the task, in this process's working folder when there is no other. Why it cannot be started; none
/// when it was.
std::optional<LaunchException> launchFailure(NSTask* task, NSString* path, NSString* folder) {
  @try {
    [task setLaunchPath:path];
    if (folder != nil) [task setCurrentDirectoryPath:folder];
    [task launch];
  } @catch (NSException* exception) {
    return LaunchException(utf8Text([exception name]), utf8Text([exception reason]));
  }
  return std::nullopt;
}

}  // namespace

/// The child process from the launch on.
struct Task::Child {
  Retained<NSTask> task;

  void send(int signal) const { ::kill([task.get() processIdentifier], signal); }
};

Task::Task(std::string toolPath, std::vector<std::string> toolArguments)
    : launchPath(std::move(toolPath)), arguments(std::move(toolArguments)) {}

Task::~Task() {
  if (!isRunning()) return;
  _child->send(SIGKILL);
  waitUntilExit();
}

void Task::launch() {
  const AutoreleasePool pool;
  if (_child) throw LaunchException("NSInvalidArgumentException", "task already launched");
  if (!currentFolder.empty()) requireFolder(currentFolder);
  auto child = std::make_unique<Child>();
  child->task = Retained([[NSTask alloc] init]);
  NSTask* task = child->task.get();
  [task setArguments:taskArguments(arguments)];
  [task setEnvironment:taskEnvironment(environment)];
  closeStreams(task);
  NSString* folder = currentFolder.empty() ? nil : taskPath(currentFolder);
  if (const auto failure = launchFailure(task, taskPath(launchPath), folder)) throw LaunchException(*failure);
  _child = std::move(child);
}

bool Task::isRunning() {
  const AutoreleasePool pool;
  return _child && [_child->task.get() isRunning];
}

/// The task's own wait would run whatever else the thread's run loop has to do.
void Task::waitUntilExit() {
  while (!waitForExit(kLongestLook)) {
  }
}

bool Task::waitForExit(std::chrono::milliseconds limit) {
  if (!isRunning()) return true;
  const auto deadline = std::chrono::steady_clock::now() + limit;
  process::WaitOutcome outcome = process::WaitOutcome::timedOut;
  static_cast<void>(process::waitForExit([_child->task.get() processIdentifier], limit, outcome));
  // The task learns of the end a little later, and without a watch (no descriptor is free, say) this is the
  // wait.
  while (isRunning() && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(kPause);
  return !isRunning();
}

/// Not every Foundation's task goes on watching a tool that it was told to terminate, so it is not told.
void Task::terminate() {
  if (isRunning()) _child->send(SIGTERM);
}

int Task::terminationStatus() const {
  const AutoreleasePool pool;
  if (!_child || [_child->task.get() isRunning]) return 0;
  return [_child->task.get() terminationStatus];
}

}  // namespace platform

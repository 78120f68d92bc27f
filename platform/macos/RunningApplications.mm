#include "platform/RunningApplications.h"

#import <AppKit/AppKit.h>

#include <algorithm>

#include "platform/AutoreleasePool.h"
#import "platform/macos/Foundation.h"

namespace platform {
namespace {

/// Empty for an application without a bundle that has a path.
std::string bundlePathOf(NSRunningApplication* application) {
  @try {
    return systemPath([[application bundleURL] path]);
  } @catch (NSException*) {
    return {};
  }
}

bool isRunning(NSRunningApplication* application) {
  return [application processIdentifier] > 0 && ![application isTerminated];
}

}  // namespace

std::vector<RunningApplication> runningApplications(const std::string& bundleIdentifier) {
  const AutoreleasePool pool;
  std::vector<RunningApplication> running;
  NSString* identifier = foundationText(bundleIdentifier);
  if (identifier == nil) return running;
  for (NSRunningApplication* each in
       [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier]) {
    if (!isRunning(each)) continue;
    running.push_back({[each processIdentifier], bundlePathOf(each), [each isActive] != NO});
  }
  std::sort(running.begin(), running.end(), [](const RunningApplication& a, const RunningApplication& b) {
    return a.processId < b.processId;
  });
  return running;
}

}  // namespace platform

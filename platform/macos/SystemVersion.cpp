#include "platform/SystemVersion.h"

#include <CoreServices/CoreServices.h>

namespace platform {
namespace {

OSType selectorOf(VersionComponent component) {
  switch (component) {
    case VersionComponent::major:
      return gestaltSystemVersionMajor;
    case VersionComponent::minor:
      return gestaltSystemVersionMinor;
    case VersionComponent::bugFix:
      return gestaltSystemVersionBugFix;
  }
  return 0;
}

}  // namespace

bool systemVersion(VersionComponent component, int& number) {
  SInt32 response = 0;
// Deprecated since 10.8, for services that ask for more than a number; it still answers.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  if (Gestalt(selectorOf(component), &response) != noErr) return false;
#pragma clang diagnostic pop
  number = response;
  return true;
}

}  // namespace platform

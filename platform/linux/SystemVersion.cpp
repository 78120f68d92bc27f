#include "platform/SystemVersion.h"

namespace platform {

bool systemVersion(VersionComponent component, int& number) {
  switch (component) {
    case VersionComponent::major:
      number = 10;
      return true;
    case VersionComponent::minor:
      number = 15;
      return true;
    case VersionComponent::bugFix:
      number = 7;
      return true;
  }
  return false;
}

}  // namespace platform

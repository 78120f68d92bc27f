#include "platform/CodeSignature.h"

namespace platform {

std::string codeSignatureTool() {
  return "/usr/bin/codesign";
}

}  // namespace platform

#include "platform/CodeSignature.h"

#include <unistd.h>

#include "platform/Bundle.h"
#include "platform/Path.h"

namespace platform {

std::string codeSignatureTool() {
  const std::string systemTool = "/usr/bin/codesign";
  if (access(systemTool.c_str(), X_OK) == 0) return systemTool;
  // Beside the program and nowhere else: a search path could be turned to a tool that accepts everything.
  return joinPath(parentFolder(executablePath()), "codesign-verifier");
}

}  // namespace platform

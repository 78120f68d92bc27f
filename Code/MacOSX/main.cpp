#include "Code/MacOSX/AgentRun.h"
#include "platform/Process.h"
#include "runtime/Code/ZRResult.h"

int main(int argc, char* argv[]) {
  platform::process::settleSignals();
  platform::process::openStandardStreams();
  try {
    return runAgent(argc, argv);
  } catch (...) {
    zrUnhandledException();
  }
}

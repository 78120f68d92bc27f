#include "Code/MacOSX/AgentRun.h"

int main(int argc, char* argv[]) {
  return runAgent(argc, argv);
}

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "platform/Process.h"

namespace {

using namespace std::chrono_literals;
using namespace platform::process;

ProcessId startedSleep() {
  SpawnRequest request;
  request.path = "/bin/sleep";
  request.arguments = {"60"};
  ProcessId child = -1;
  EXPECT_FALSE(spawn(request, child));
  return child;
}

/// While somebody traces the child, its end is first the tracer's.
TEST(Process, ATracedChildHasEndedOnceItCanBeCollected) {
  int childs[2];
  int ready[2];
  ASSERT_EQ(::pipe(childs) + ::pipe(ready), 0);
  const pid_t parent = ::fork();  // between the tracer, which must be above what it traces, and the child
  if (parent == 0) {
    const ProcessId child = startedSleep();
    char byte = 0;
    if (::write(childs[1], &child, sizeof child) < 0 || ::read(ready[0], &byte, 1) < 0) ::_exit(1);
    WaitOutcome outcome{};
    if (waitForExit(child, 20s, outcome) || outcome != WaitOutcome::exited) ::_exit(2);
    ::_exit(::waitpid(child, nullptr, WNOHANG) == child ? 0 : 3);
  }
  ProcessId child = -1;
  ASSERT_EQ(::read(childs[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
  EXPECT_EQ(::ptrace(PTRACE_SEIZE, child, nullptr, nullptr), 0);
  EXPECT_FALSE(sendKill(child));
  siginfo_t end{};
  EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOWAIT), 0);
  EXPECT_EQ(::write(ready[1], "x", 1), 1);
  std::this_thread::sleep_for(100ms);
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, SIGKILL);
  EXPECT_EQ(::waitpid(parent, &status, 0), parent);
  EXPECT_EQ(status, 0);
  for (const int descriptor : {childs[0], childs[1], ready[0], ready[1]})
    ::close(descriptor);
}

}  // namespace

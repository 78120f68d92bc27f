#include "platform/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;
using namespace platform::process;
using Variables = std::map<std::string, std::optional<std::string>>;

SpawnRequest shell(const std::string& script) {
  SpawnRequest request;
  request.path = "/bin/sh";
  request.arguments = {"-c", script};
  request.environment = {"PATH=/usr/bin:/bin"};
  return request;
}

ProcessId started(const SpawnRequest& request) {
  ProcessId child = -1;
  const platform::Error error = spawn(request, child);
  EXPECT_FALSE(error) << error.description;
  EXPECT_GT(child, 0);
  return child;
}

/// The status as waitpid gives it.
int collect(ProcessId child) {
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return status;
}

int exitStatus(ProcessId child) {
  const int status = collect(child);
  EXPECT_TRUE(WIFEXITED(status)) << status;
  return WEXITSTATUS(status);
}

/// A pipe whose reading end takes what a child writes.
class Pipe {
 public:
  Pipe() { EXPECT_EQ(::pipe(_ends), 0); }
  ~Pipe() {
    closeWriting();
    ::close(_ends[0]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  [[nodiscard]] int reading() const { return _ends[0]; }
  [[nodiscard]] int writing() const { return _ends[1]; }
  void closeWriting() {
    if (_ends[1] >= 0) ::close(_ends[1]);
    _ends[1] = -1;
  }
  std::string readAll() {
    closeWriting();
    std::string text;
    char buffer[256];
    for (ssize_t length; (length = ::read(_ends[0], buffer, sizeof buffer)) > 0;)
      text.append(buffer, static_cast<std::size_t>(length));
    return text;
  }

 private:
  int _ends[2] = {-1, -1};
};

/// One letter: R runs, S sleeps, T is stopped, Z has ended.
char stateOf(ProcessId process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  const std::string line((std::istreambuf_iterator<char>(file)), {});
  const std::size_t end = line.rfind(')');
  return end == std::string::npos ? '?' : line[end + 2];
}

bool reaches(ProcessId process, char state) {
  for (int i = 0; i < 2000 && stateOf(process) != state; ++i)
    std::this_thread::sleep_for(1ms);
  return stateOf(process) == state;
}

/// What holds for a program that runs at once holds for one that is started suspended.
class Spawn : public testing::TestWithParam<bool> {
 protected:
  [[nodiscard]] SpawnRequest request(const std::string& script) const {
    SpawnRequest made = shell(script);
    made.startSuspended = GetParam();
    return made;
  }
  static ProcessId run(const SpawnRequest& request) {
    const ProcessId child = started(request);
    if (request.startSuspended) {
      EXPECT_TRUE(reaches(child, 'T')) << stateOf(child);
      EXPECT_FALSE(sendContinue(child));
    }
    return child;
  }
};

TEST_P(Spawn, ArgumentsEnvironmentAndExitStatus) {
  Pipe pipe;
  SpawnRequest made = request("printf '%s|' \"$@\" \"$VALUE\" \"$HOME\"; exit 7");
  made.arguments.insert(made.arguments.end(), {"sh", "a b", ""});
  made.environment = {"VALUE=a=b"};
  made.streams = StreamPlan{0, {0, pipe.writing(), 2}};
  const ProcessId child = run(made);
  EXPECT_EQ(pipe.readAll(), "a b||a=b||");
  EXPECT_EQ(exitStatus(child), 7);
}

TEST_P(Spawn, StreamPlans) {
  Pipe out;
  Pipe in;
  EXPECT_EQ(::write(in.writing(), "input", 5), 5);
  in.closeWriting();
  SpawnRequest made = request("cat; echo out; echo error >&2");
  made.streams = StreamPlan{0, {in.reading(), out.writing(), out.writing()}};
  EXPECT_EQ(exitStatus(run(made)), 0);
  EXPECT_EQ(out.readAll(), "inputout\nerror\n");

  Pipe closed;
  made = request("[ -e /proc/self/fd/0 ] || echo closed");
  made.streams = StreamPlan{0, {-1, closed.writing(), 2}};
  EXPECT_EQ(exitStatus(run(made)), 0);
  EXPECT_EQ(closed.readAll(), "closed\n");
}

TEST_P(Spawn, AToolsSurroundings) {
  const test::TemporaryFolder folder;
  const test::ScopedEnvironment session(Variables{
      {"TAR_OPTIONS", "--exclude=*"}, {"HOME", "/h"}, {"USER", {}}, {"LOGNAME", "l"}, {"TMPDIR", "/t"}});
  struct sigaction before {};
  struct sigaction ignored {};
  ignored.sa_handler = SIG_IGN;
  ::sigaction(SIGPIPE, &ignored, &before);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  sigset_t maskBefore;
  ::pthread_sigmask(SIG_BLOCK, &blocked, &maskBefore);

  SpawnRequest made = request(
      "streams=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2); exec > out; pwd -P; echo $streams\n"
      "for i in TERM PIPE; do sh -c \"kill -$i \\$\\$\"; echo $?; done; env -u PWD | sort");
  made.workingFolder = folder.path();
  made.streams = kNullStreams;
  made.environment = toolEnvironment();
  const ProcessId child = run(made);
  ::sigaction(SIGPIPE, &before, nullptr);
  ::pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
  EXPECT_EQ(exitStatus(child), 0);
  EXPECT_EQ(test::readFile(folder / "out"),
            folder.path() +
                "\n/dev/null /dev/null /dev/null\n143\n141\n"
                "HOME=/h\nLC_ALL=C.UTF-8\nLOGNAME=l\nPATH=/usr/bin:/bin:/usr/sbin:/sbin\nTMPDIR=/t\n");
}

TEST_P(Spawn, FlagsOfThePlanApply) {
  SpawnRequest made = request("exec sleep 60");
  made.streams = StreamPlan{POSIX_SPAWN_SETSID, {0, 1, 2}};
  const ProcessId child = run(made);
  EXPECT_EQ(::getsid(child), child);
  EXPECT_FALSE(sendKill(child));
  EXPECT_EQ(collect(child), SIGKILL);

  made.streams->flags = 0x4000;
  ProcessId none = -1;
  const platform::Error failure = spawn(made, none);
  EXPECT_STREQ(failure.call, "posix_spawnattr_setflags");
  EXPECT_EQ(failure.code, EINVAL);
}

TEST_P(Spawn, NoOtherDescriptorReachesTheChild) {
  Pipe pipe;
  const int open = ::open("/dev/null", O_RDONLY);
  SpawnRequest made = request("ls /proc/$$/fd");
  made.streams = StreamPlan{0, {0, pipe.writing(), 2}};
  EXPECT_EQ(exitStatus(run(made)), 0);
  const std::string listed = pipe.readAll();
  EXPECT_EQ(listed.substr(0, 6), "0\n1\n2\n");
  EXPECT_EQ(listed.find(std::to_string(open) + "\n"), std::string::npos) << listed;
  ::close(open);
}

TEST_P(Spawn, SearchesThePathOnlyWhenAsked) {
  const test::ScopedEnvironment path(Variables{{"PATH", "/nonexistent:/bin"}});
  SpawnRequest made = request("exit 4");
  made.path = "sh";
  ProcessId child = -1;
  EXPECT_EQ(spawn(made, child).code, ENOENT);
  made.searchPath = true;
  EXPECT_EQ(exitStatus(run(made)), 4);
}

TEST_P(Spawn, WhatCannotBeStartedIsReportedAtOnce) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "plain", "no program");
  struct Case {
    std::string path;
    std::array<int, 3> descriptors;
    int error;
    std::string workingFolder = {};
  };
  const Case cases[] = {
      {folder / "missing", {0, 1, 2}, ENOENT},
      {folder / "plain", {0, 1, 2}, EACCES},
      {folder.path(), {0, 1, 2}, EACCES},
      {"/bin/sh", {0, 999, 2}, EBADF},
      {"/bin/sh", {0, 1, 2}, ENOTDIR, folder / "plain"},
  };
  for (const Case& row : cases) {
    SpawnRequest made = request("exit 0");
    made.path = row.path;
    made.streams = StreamPlan{0, row.descriptors};
    made.workingFolder = row.workingFolder;
    ProcessId child = -1;
    const platform::Error failure = spawn(made, child);
    EXPECT_STREQ(failure.call, "posix_spawn");
    EXPECT_EQ(failure.code, row.error) << row.path;
  }
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no child is left behind";
  EXPECT_EQ(errno, ECHILD);
}

INSTANTIATE_TEST_SUITE_P(Process, Spawn, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Suspended" : "Running"; });

TEST(Process, ASuspendedChildRunsNothingUntilContinued) {
  const test::TemporaryFolder folder;
  SpawnRequest request = shell("echo ran > " + (folder / "trace"));
  request.startSuspended = true;
  const ProcessId child = started(request);
  EXPECT_TRUE(reaches(child, 'T'));
  WaitOutcome outcome{};
  EXPECT_FALSE(waitForExit(child, 30ms, outcome));
  EXPECT_EQ(outcome, WaitOutcome::timedOut);
  std::string program;
  EXPECT_FALSE(executablePath(child, program));
  EXPECT_EQ(program, std::filesystem::canonical("/bin/sh")) << "it is the new program already";
  EXPECT_FALSE(test::exists(folder / "trace"));
  EXPECT_FALSE(sendContinue(child));
  EXPECT_EQ(exitStatus(child), 0);
  EXPECT_TRUE(test::exists(folder / "trace"));
}

TEST(Process, WaitingForTheEnd) {
  const ProcessId child = started(shell("exec sleep 60"));
  WaitOutcome outcome{};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(waitForExit(child, 0ms, outcome));
  EXPECT_EQ(outcome, WaitOutcome::timedOut);
  EXPECT_FALSE(waitForExit(child, 50ms, outcome));
  EXPECT_EQ(outcome, WaitOutcome::timedOut);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);

  EXPECT_FALSE(sendKill(child));
  EXPECT_FALSE(waitForExit(child, std::nullopt, outcome));
  EXPECT_EQ(outcome, WaitOutcome::exited);
  EXPECT_FALSE(waitForExit(child, 0ms, outcome));
  EXPECT_EQ(outcome, WaitOutcome::exited) << "it is not collected yet";
  EXPECT_EQ(collect(child), SIGKILL) << "waiting left the status alone";

  const platform::Error gone = waitForExit(child, std::nullopt, outcome);
  EXPECT_STREQ(gone.call, "kevent");
  EXPECT_EQ(gone.code, ESRCH);
  EXPECT_EQ(sendKill(child).code, ESRCH);
  EXPECT_STREQ(sendContinue(child).call, "kill");
}

TEST(Process, ASignalDoesNotEndTheWait) {
  struct sigaction before {};
  struct sigaction ignoring {};
  ignoring.sa_handler = [](int) {};
  ::sigaction(SIGUSR1, &ignoring, &before);
  const ProcessId child = started(shell("exec sleep 0.2"));
  std::atomic<bool> done{false};
  const pthread_t waiter = pthread_self();
  std::thread disturber([&] {
    while (!done) {
      pthread_kill(waiter, SIGUSR1);
      std::this_thread::sleep_for(10ms);
    }
  });
  WaitOutcome outcome{};
  EXPECT_FALSE(waitForExit(child, 20s, outcome));
  EXPECT_EQ(outcome, WaitOutcome::exited);
  done = true;
  disturber.join();
  EXPECT_EQ(exitStatus(child), 0);
  ::sigaction(SIGUSR1, &before, nullptr);
}

/// While somebody traces the child, its end is first the tracer's.
TEST(Process, ATracedChildHasEndedOnceItCanBeCollected) {
  Pipe childs;
  Pipe ready;
  const pid_t parent = ::fork();  // between the tracer, which must be above what it traces, and the child
  if (parent == 0) {
    const ProcessId child = started(shell("exec sleep 60"));
    char byte = 0;
    if (::write(childs.writing(), &child, sizeof child) < 0 || ::read(ready.reading(), &byte, 1) < 0)
      ::_exit(1);
    WaitOutcome outcome{};
    if (waitForExit(child, 20s, outcome) || outcome != WaitOutcome::exited) ::_exit(2);
    ::_exit(::waitpid(child, nullptr, WNOHANG) == child ? 0 : 3);
  }
  ProcessId child = -1;
  ASSERT_EQ(::read(childs.reading(), &child, sizeof child), static_cast<ssize_t>(sizeof child));
  EXPECT_EQ(::ptrace(PTRACE_SEIZE, child, nullptr, nullptr), 0);
  EXPECT_FALSE(sendKill(child));
  EXPECT_TRUE(reaches(child, 'Z'));
  EXPECT_EQ(::write(ready.writing(), "x", 1), 1);
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(collect(child), SIGKILL);
  EXPECT_EQ(exitStatus(parent), 0);
}

TEST(Process, StartsWellWhateverItInherits) {
  const auto run = [] {
    for (const int stream : {0, 1, 2})
      ::close(stream);
    ::signal(SIGCHLD, SIG_IGN);
    settleSignals();
    openStandardStreams();
    for (const int stream : {0, 1, 2})
      if (::fcntl(stream, F_GETFD) < 0) ::_exit(1);
    int ends[2];
    if (::pipe(ends) != 0) ::_exit(1);
    ::close(ends[0]);
    if (::write(ends[1], "x", 1) != -1 || errno != EPIPE) ::_exit(2);
    const ProcessId child = started(shell("exit 4"));
    int status = 0;
    ::_exit(::waitpid(child, &status, 0) == child && WEXITSTATUS(status) == 4 ? 0 : 3);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

}  // namespace

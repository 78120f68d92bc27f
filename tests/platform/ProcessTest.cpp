#include "platform/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include "tests/platform/Matchers.h"
#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;
using namespace platform::process;
using test::Succeeded;

SpawnRequest shell(const std::string& script) {
  SpawnRequest request;
  request.path = "/bin/sh";
  request.arguments = {"-c", script};
  request.environment = {"PATH=/usr/bin:/bin"};
  return request;
}

ProcessId started(const SpawnRequest& request) {
  ProcessId child = -1;
  EXPECT_THAT(spawn(request, child), Succeeded());
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

/// What holds for a program that runs at once holds for one that is started suspended.
class Spawn : public testing::TestWithParam<bool> {
 protected:
  /// Writes to "out" in the folder.
  [[nodiscard]] SpawnRequest request(const std::string& script) const {
    SpawnRequest made = shell(script);
    made.startSuspended = GetParam();
    made.workingFolder = folder.path();
    made.streams = StreamPlan{0, {0, out, 2}};
    return made;
  }
  /// The exit status, once it has ended.
  [[nodiscard]] int run(const SpawnRequest& request) const {
    const ProcessId child = started(request);
    if (request.startSuspended) {
      int status = 0;
      EXPECT_EQ(::waitpid(child, &status, WUNTRACED), child);
      EXPECT_TRUE(WIFSTOPPED(status));
      std::string program;
      EXPECT_THAT(executablePath(child, program), Succeeded());
      EXPECT_EQ(program, std::filesystem::canonical("/bin/sh")) << "it is the new program already";
      EXPECT_EQ(test::readFile(folder / "out"), "") << "which has not run yet";
      EXPECT_THAT(sendContinue(child), Succeeded());
    }
    return exitStatus(child);
  }
  ~Spawn() override { ::close(out); }

  test::TemporaryFolder folder;
  int out = ::open((folder / "out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
};

TEST_P(Spawn, AProgramGetsWhatItsRequestSaysAndNothingElse) {
  test::writeFile(folder / "in", "input");
  const int in = ::open((folder / "in").c_str(), O_RDONLY);
  SpawnRequest made = request(
      "/bin/cat; printf '%s|' \"$@\" \"$VALUE\" \"$HOME\"\n"
      "for i in 0 1 2 3 4 5 6 7 8 9; do (: <&$i) 2>/dev/null && echo $i; done; echo error >&2; exit 7");
  made.arguments.insert(made.arguments.end(), {"sh", "a b", ""});
  made.environment = {"VALUE=a=b"};
  made.streams = StreamPlan{0, {in, out, out}};
  EXPECT_EQ(run(made), 7);
  ::close(in);
  EXPECT_EQ(test::readFile(folder / "out"), "inputa b||a=b||0\n1\n2\nerror\n");
}

TEST_P(Spawn, AToolsSurroundings) {
  const test::ScopedEnvironment session(
      {{"TAR_OPTIONS", "--exclude=*"}, {"HOME", "/h"}, {"USER", {}}, {"LOGNAME", "l"}, {"TMPDIR", "/t"}});
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
      "for i in 0 1 2; do [ /dev/fd/$i -ef /dev/null ] && streams=\"$streams null\"; done\n"
      "exec >> out; pwd -P; echo $streams\n"
      "for i in TERM PIPE; do sh -c \"kill -$i \\$\\$\"; echo $?; done\n"
      "env -u PWD | sed 's/^LC_ALL=.*[.]UTF-8$/UTF-8/' | sort");
  made.streams = kNullStreams;
  made.environment = toolEnvironment();
  EXPECT_EQ(run(made), 0);
  ::sigaction(SIGPIPE, &before, nullptr);
  ::pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
  EXPECT_EQ(test::readFile(folder / "out"),
            folder.path() +
                "\nnull null null\n143\n141\n"
                "HOME=/h\nLOGNAME=l\nPATH=/usr/bin:/bin:/usr/sbin:/sbin\nTMPDIR=/t\nUTF-8\n");
}

TEST_P(Spawn, WhatCannotBeStartedIsReportedAtOnce) {
  test::writeFile(folder / "plain", "no program");
  struct Case {
    std::string path;
    int error;
    int input = 0;
    std::string workingFolder = {};
  };
  const Case cases[] = {{folder / "missing", ENOENT},
                        {folder / "plain", EACCES},
                        {"/bin/sh", EBADF, 999},
                        {"/bin/sh", ENOTDIR, 0, folder / "plain"}};
  for (const Case& row : cases) {
    SpawnRequest made = request("exit 0");
    made.path = row.path;
    made.streams->descriptors[0] = row.input;
    if (!row.workingFolder.empty()) made.workingFolder = row.workingFolder;
    ProcessId child = -1;
    EXPECT_THAT(spawn(made, child), test::FailedCall("posix_spawn", row.error)) << row.path;
  }
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no child is left behind";
}

INSTANTIATE_TEST_SUITE_P(Process, Spawn, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Suspended" : "Running"; });

TEST(Process, WaitingForTheEnd) {
  const ProcessId child = started(shell("exec sleep 60"));
  WaitOutcome outcome{};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THAT(waitForExit(child, 50ms, outcome), Succeeded());
  EXPECT_EQ(outcome, WaitOutcome::timedOut);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);

  // Signals that arrive meanwhile do not end the wait.
  struct sigaction before {};
  struct sigaction ignoring {};
  ignoring.sa_handler = [](int) {};
  ::sigaction(SIGALRM, &ignoring, &before);
  const itimerval often{{0, 10'000}, {0, 10'000}};
  ::setitimer(ITIMER_REAL, &often, nullptr);
  const ProcessId killer = started(shell("sleep 0.2; kill -KILL " + std::to_string(child)));
  for (const auto limit : {std::optional<std::chrono::milliseconds>(), std::optional(0ms)}) {
    EXPECT_THAT(waitForExit(child, limit, outcome), Succeeded());
    EXPECT_EQ(outcome, WaitOutcome::exited) << "also when it has ended already";
  }
  const itimerval never{};
  ::setitimer(ITIMER_REAL, &never, nullptr);
  ::sigaction(SIGALRM, &before, nullptr);
  EXPECT_EQ(exitStatus(killer), 0);
  EXPECT_EQ(collect(child), SIGKILL) << "waiting left the status alone";
  EXPECT_THAT(waitForExit(child, std::nullopt, outcome), test::FailedCall("kevent", ESRCH));
  EXPECT_THAT(sendKill(child), test::FailedCall("kill", ESRCH));
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

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <boost/make_shared.hpp>
#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "runtime/Applications/ZROsVersion.h"
#include "runtime/Applications/ZRProcessManager.h"
#include "runtime/Applications/ZRRuntimeInit.h"
#include "runtime/Applications/ZRTaskWait.h"
#include "tests/support/Environment.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Manager = zrrt::IProcessManager;
using ProcessHandle = boost::shared_ptr<zrrt::IProcess>;
using Variables = std::map<std::string, std::optional<std::string>>;

constexpr std::uint32_t kLongMs = 20'000;

class Processes : public testing::Test {
 protected:
  ProcessHandle shell(const std::string& script, Manager::Start mode = Manager::Start::running) {
    ProcessHandle process;
    EXPECT_CODE(manager->start(process, "/bin/sh", {"-c", ZRString(script)}, nullptr, nullptr, mode,
                               Manager::Search::no),
                ZRError::eNoError);
    return process;
  }

  boost::shared_ptr<ZRMacProcessManager> manager = boost::make_shared<ZRMacProcessManager>();
};

TEST_F(Processes, TheExitCodeIsCollectedOnceAndKept) {
  struct Case {
    const char* script;
    std::uint8_t code;
    std::uint32_t result;
  };
  constexpr Case kCases[] = {{"exit 0", 0, ZRError::eNoError},
                             {"exit 3", 3, ZRError::eNoError},
                             {"exit 255", 255, ZRError::eNoError},
                             {"kill -9 $$", SIGKILL, ZRProcessError::eSignaled},
                             {"kill -15 $$", SIGTERM, ZRProcessError::eSignaled}};
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.script);
    const ProcessHandle process = shell(row.script);
    EXPECT_CODE(process->wait(kLongMs), ZRError::eNoError);
    std::uint8_t code = 99;
    EXPECT_CODE(process->getExitCode(code), row.result);
    EXPECT_EQ(code, row.code);
    EXPECT_EQ(::waitpid(process->getId(), nullptr, WNOHANG), -1);
    code = 99;
    EXPECT_CODE(process->getExitCode(code), row.result);
    EXPECT_EQ(code, row.code);
    EXPECT_CODE(process->wait(0), ZRError::eNoError) << "it is collected";
  }
}

TEST_F(Processes, ARunningChildIsWaitedForAndKilled) {
  const ProcessHandle process = shell("exec sleep 60");
  std::uint8_t code = 99;
  const auto start = Clock::now();
  EXPECT_CODE(process->wait(0), ZRError::eTimeout);
  EXPECT_CODE(process->wait(50), ZRError::eTimeout);
  EXPECT_GE(Clock::now() - start, 50ms);
  EXPECT_CODE(process->getExitCode(code), ZRProcessError::eStillRunning);
  EXPECT_EQ(code, 99);
  EXPECT_CODE(process->resume(), ZRError::eBadStatus);
  EXPECT_CODE(process->activate(), ZRError::eNotImplemented);
  std::int32_t session = -1;
  EXPECT_CODE(process->getSessionId(session), ZRError::eNoError);
  EXPECT_EQ(session, ::getsid(0));

  EXPECT_CODE(process->terminate(), ZRError::eNoError);
  EXPECT_CODE(process->wait(0xFFFFFFFF), ZRError::eNoError);
  EXPECT_CODE(process->getExitCode(code), ZRProcessError::eSignaled);
  EXPECT_EQ(code, SIGKILL);
  const ZRResult again = process->terminate();
  EXPECT_CODE(again, ZRError::eNotFound);
  EXPECT_NE(again.message().find("Method \"kill\" returned CRT error [3]. "), ZRString::npos)
      << again.message().c_str();
  EXPECT_CODE(process->getSessionId(session), ZRError::eNotFound);
}

TEST_F(Processes, WhatCannotBeStarted) {
  const test::TemporaryFolder folder;
  const auto start = [&](const std::string& path) {
    ProcessHandle process;
    const ZRResult result = manager->start(process, ZRString(path), {}, nullptr, nullptr,
                                           Manager::Start::running, Manager::Search::no);
    EXPECT_FALSE(process);
    return result;
  };
  EXPECT_CODE(start("/bin/sh/"), ZRError::eBadParameter);
  const ZRResult missing = start(folder / "missing");
  EXPECT_CODE(missing, ZRError::eNotFound);
  EXPECT_STREQ(
      missing.message().c_str(),
      ("No such file or directoryMethod \"posix_spawn\" returned CRT error [2]. \n\tprogram path: \"" +
       (folder / "missing") + "\"")
          .c_str());
  const ZRResult denied = start(folder.path());
  EXPECT_CODE(denied, ZRError::eNoAccess);
  EXPECT_EQ(denied.message().find("program path"), ZRString::npos);
}

TEST_F(Processes, ACommandLineIsSplitAndStarted) {
  struct Case {
    const char* commandLine;
    std::vector<ZRString> words;
  };
  const Case cases[] = {
      {"", {}},
      {" \t\n\x01", {}},
      {"prog", {"prog"}},
      {"  prog \t a\nb\x01"
       "c ",
       {"prog", "a", "b", "c"}},
      {"\"/a b/prog\" x \"y z\"", {"/a b/prog", "x", "y z"}},
      {"prog \"\"", {"prog", ""}},
      {"prog a\"b c\"d \"e\"f", {"prog", "a\"b c\"d", "e\"f"}},
      {"prog \"\"\"a\"\"\"", {"prog", "a"}},
      {"prog \"open end", {"prog", "open end"}},
      {"prog caf\xc3\xa9 b", {"prog", "caf", "b"}},
      {"prog \"caf\xc3\xa9 b\"", {"prog", "caf\xc3\xa9 b"}},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.commandLine);
    EXPECT_TRUE(ZRProcessManagerImpl::splitCommandLine(row.commandLine) == row.words);
  }
  ProcessHandle process;
  EXPECT_CODE(manager->startCommandLine(process, ""), ZRError::eBadFormat);
  EXPECT_CODE(manager->startCommandLine(process, "  "), ZRError::eBadFormat);

  const test::TemporaryFolder folder;
  const std::string script = folder / "a b/prog";
  test::writeFile(script, "#!/bin/sh\nprintf '%s|' \"$@\" \"$TAR_OPTIONS\" > \"$0.out\"\n");
  ::chmod(script.c_str(), 0755);
  const test::ScopedEnvironment session(Variables{{"TAR_OPTIONS", "--exclude=*"}});
  EXPECT_CODE(manager->startCommandLine(process, ZRString("\"" + script + "\" x \"y \xFF\"")),
              ZRError::eNoError);
  EXPECT_CODE(process->wait(kLongMs), ZRError::eNoError);
  std::uint8_t code = 99;
  EXPECT_CODE(process->getExitCode(code), ZRError::eNoError);
  EXPECT_EQ(test::readFile(script + ".out"), "x|y \xFF||");
}

TEST_F(Processes, ACommandLineIsBuilt) {
  EXPECT_STREQ(manager->buildCommandLine("/bin/x", {"a", "b c"}).c_str(), "/bin/x a b c");
  EXPECT_STREQ(manager->buildCommandLine("/bin/x", {}).c_str(), "/bin/x ");
  EXPECT_STREQ(manager->buildCommandLine("/a b/x", {"", "c"}).c_str(), "\"/a b/x\"  c");
  EXPECT_STREQ(manager->buildCommandLine("/caf\xc3\xa9", {"c"}).c_str(), "\"/caf\xc3\xa9\" c");
}

TEST_F(Processes, ProgramsAreFoundInThePath) {
  const test::TemporaryFolder folder;
  for (const char* name : {"one/tool", "two/tool", "two/sub/x"})
    test::writeFile(folder / name, "");
  ::chmod((folder / "two/tool").c_str(), 0755);
  const test::ScopedEnvironment changed(
      Variables{{"PATH", (folder / "none") + ":" + (folder / "one") + ":" + (folder / "two")}});
  ZRString found;
  EXPECT_CODE(manager->findProgram("tool", true, false, found), ZRError::eNoError);
  EXPECT_EQ(found.str(), folder / "two/tool");
  EXPECT_CODE(manager->findProgram("tool", false, true, found), ZRError::eNotFound);
  EXPECT_CODE(manager->findProgram("sub", true, false, found), ZRError::eNotFound) << "a folder";
}

TEST_F(Processes, TheRunningProgram) {
  const ZRMacCurrentProcess current;
  ZRString path;
  EXPECT_CODE(current.getExecutablePath(path), ZRError::eNoError);
  EXPECT_EQ(path.str(), std::filesystem::canonical("/proc/self/exe").string());
  std::vector<std::int32_t> all;
  EXPECT_CODE(manager->listProcesses(all), ZRError::eNoError);
  EXPECT_EQ(std::count(all.begin(), all.end(), current.getId()), 1);
}

TEST(ProcessEnvironment, EntriesFromTexts) {
  ZRProcessEnvironment environment;
  EXPECT_CODE(environment.addEntry(nullptr), ZRError::eBadParameter);
  for (const char* refused : {"", "A", "=value", " A=b", "A\t=b", "\r\nA=b"})
    EXPECT_CODE(environment.addEntry(refused), ZRError::eBadFormat) << refused;
  EXPECT_EQ(environment.size(), 0U);
  for (const char* added : {"B=b=c", "A=", "A B= c ", "B=d\ne"})
    EXPECT_CODE(environment.addEntry(added), ZRError::eNoError) << added;
  EXPECT_EQ(environment.entries(), (std::vector<std::string>{"A=", "A B= c ", "B=d\ne"}));
}

TEST(ProcessManager, LivesWithTheRuntime) {
  EXPECT_FALSE(ZRProcessManager::instance());
  {
    ZRRuntimeInit runtime;
    EXPECT_CODE(runtime.initResult(), ZRError::eNoError);
    EXPECT_TRUE(ZRProcessManager::instance());
    const ZRResult second = ZRProcessManager::init();
    EXPECT_TRUE(second.isFailure());
    EXPECT_STREQ(second.message().c_str(), "static ZRResult ZRProcessManager::init(): already initialized");
  }
  EXPECT_FALSE(ZRProcessManager::instance());
}

TEST(TaskWait, AToolThatEndsAtOnceCostsNoLook) {
  auto least = Clock::duration::max();
  for (int i = 0; i < 5; ++i) {
    platform::Task task("/bin/true");
    const auto start = Clock::now();
    task.launch();
    waitUntilExitWithTimeout(task);
    least = std::min(least, Clock::now() - start);
    EXPECT_EQ(task.terminationStatus(), 0);
  }
  EXPECT_LT(least, 80ms);
}

TEST(TaskWait, RaisesATimeoutAndEndsTheTask) {
  const test::LogCapture log;
  platform::Task task("/bin/sleep", {"60"});
  task.launch();
  const auto start = Clock::now();
  try {
    waitUntilExitWithTimeout(task, 0);
    ADD_FAILURE() << "no time-out";
  } catch (const ZRTaskTimeout& timeout) {
    EXPECT_STREQ(timeout.name(), "Timeout");
    EXPECT_STREQ(timeout.reason(), "Task timed out in wait");
  }
  EXPECT_GE(Clock::now() - start, 100ms);
  EXPECT_TRUE(log.contains("E: ", "waitUntilExitWithTimeout:")) << log.text();
  EXPECT_TRUE(log.contains("E: ", "command timed out")) << log.text();
  task.waitUntilExit();
  EXPECT_EQ(task.terminationStatus(), SIGTERM);
}

TEST(OsVersion, OnlyTheMinorVersionOfTenAndLaterCounts) {
  EXPECT_TRUE(matchesOsVersion(10, 15, 15, false) && matchesOsVersion(10, 15, 14, true));
  EXPECT_FALSE(matchesOsVersion(10, 15, 14, false) || matchesOsVersion(10, 15, 16, true));
  EXPECT_FALSE(matchesOsVersion(9, 15, 15, true)) << "before ten";
  EXPECT_TRUE(matchesOsVersion(11, 15, 15, false) && !matchesOsVersion(11, 2, 15, true));
  EXPECT_TRUE(isOsVersion(8, true));
}

}  // namespace

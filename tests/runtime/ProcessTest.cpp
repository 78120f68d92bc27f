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
  struct Case {
    const char* path;
    std::vector<ZRString> arguments;
    const char* line;
  };
  const Case cases[] = {
      {"/bin/x", {"a", "b c"}, "/bin/x a b c"},      {"/bin/x", {}, "/bin/x "},
      {"/bin/x", {"", "b", ""}, "/bin/x  b "},       {"/a b/x", {"c"}, "\"/a b/x\" c"},
      {"/caf\xc3\xa9", {"c"}, "\"/caf\xc3\xa9\" c"},
  };
  for (const Case& row : cases)
    EXPECT_STREQ(manager->buildCommandLine(row.path, row.arguments).c_str(), row.line);
}

TEST_F(Processes, ProgramsAreFoundInThePath) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "one/tool", "");
  test::writeFile(folder / "two/tool", "");
  test::writeFile(folder / "two/sub/x", "");
  ::chmod((folder / "one/tool").c_str(), 0644);
  ::chmod((folder / "two/tool").c_str(), 0755);
  const std::string path = (folder / "none") + ":" + (folder / "one") + ":" + (folder / "two");
  struct Case {
    const char* variable;
    const char* name;
    bool usePath;
    std::uint32_t code;
  };
  const Case cases[] = {
      {"PATH", "tool", true, ZRError::eNoError},   {"Path", "tool", true, ZRError::eNoError},
      {"OTHER", "tool", true, ZRError::eNotFound}, {"PATH", "tool", false, ZRError::eNotFound},
      {"PATH", "sub", true, ZRError::eNotFound},   {"PATH", "", true, ZRError::eNotFound},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(std::string(row.variable) + " " + row.name);
    Variables variables{{"PATH", std::nullopt}, {"Path", std::nullopt}};
    variables[row.variable] = path;
    const test::ScopedEnvironment changed(variables);
    ZRString found;
    EXPECT_CODE(manager->findProgram(row.name, row.usePath, false, found), row.code);
    EXPECT_EQ(found.str(), row.code == ZRError::eNoError ? folder / "two/tool" : "");
  }
  const std::string before = std::filesystem::current_path();
  std::filesystem::current_path(folder / "two");
  ZRString found;
  EXPECT_CODE(manager->findProgram("tool", false, true, found), ZRError::eNoError);
  EXPECT_STREQ(found.c_str(), "./tool");
  std::filesystem::current_path(before);
}

TEST_F(Processes, TheRunningProgram) {
  const ZRMacCurrentProcess current;
  EXPECT_EQ(current.getId(), ::getpid());
  std::int32_t session = -1;
  EXPECT_CODE(current.getSessionId(session), ZRError::eNoError);
  EXPECT_EQ(session, ::getsid(0));
  ZRString path;
  EXPECT_CODE(current.getExecutablePath(path), ZRError::eNoError);
  EXPECT_EQ(path.str(), std::filesystem::canonical("/proc/self/exe").string());
  std::vector<std::int32_t> all;
  EXPECT_CODE(manager->listProcesses(all), ZRError::eNoError);
  EXPECT_EQ(std::count(all.begin(), all.end(), ::getpid()), 1);

  const test::ScopedEnvironment changed(Variables{{"VANTORA_TEST_ENTRY", "a=b"}});
  ZRProcessEnvironment environment;
  EXPECT_CODE(current.getEnvironment(environment), ZRError::eNoError);
  ZRString value;
  EXPECT_CODE(environment.get("VANTORA_TEST_ENTRY", value), ZRError::eNoError);
  EXPECT_STREQ(value.c_str(), "a=b");
}

TEST(ProcessEnvironment, EntriesFromTexts) {
  struct Case {
    const char* text;
    std::uint32_t code;
    const char* name;
    const char* value;
  };
  constexpr Case kCases[] = {
      {nullptr, ZRError::eBadParameter, "", ""},  {"", ZRError::eBadFormat, "", ""},
      {"A", ZRError::eBadFormat, "A", ""},        {"=value", ZRError::eBadFormat, "", ""},
      {" A=b", ZRError::eBadFormat, "A", ""},     {"A\t=b", ZRError::eBadFormat, "A", ""},
      {"\r\nA=b", ZRError::eBadFormat, "A", ""},  {"A=b=c", ZRError::eNoError, "A", "b=c"},
      {"A=", ZRError::eNoError, "A", ""},         {"A B= c ", ZRError::eNoError, "A B", " c "},
      {"A=b\nc", ZRError::eNoError, "A", "b\nc"},
  };
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.text == nullptr ? "null" : row.text);
    ZRProcessEnvironment environment;
    EXPECT_CODE(environment.addEntry(row.text), row.code);
    const bool added = row.code == ZRError::eNoError;
    EXPECT_EQ(environment.size(), added ? 1U : 0U);
    ZRString value;
    EXPECT_CODE(environment.get(row.name, value), added ? ZRError::eNoError : ZRError::eNotFound);
    EXPECT_STREQ(value.c_str(), row.value);
  }
  ZRProcessEnvironment environment;
  environment.set("B", "1");
  EXPECT_CODE(environment.addEntry("A=2"), ZRError::eNoError);
  EXPECT_CODE(environment.addEntry("B=3"), ZRError::eNoError);
  EXPECT_EQ(environment.entries(), (std::vector<std::string>{"A=2", "B=3"}));
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
  struct Case {
    std::int32_t major;
    std::int32_t systemMinor;
    std::int32_t minor;
    bool orLater;
    bool matches;
  };
  constexpr Case kCases[] = {
      {10, 15, 15, false, true}, {10, 15, 14, false, false}, {10, 15, 14, true, true},
      {10, 15, 15, true, true},  {10, 15, 16, true, false},  {9, 15, 15, true, false},
      {11, 2, 15, true, false},  {11, 15, 15, false, true},
  };
  for (const Case& row : kCases) {
    EXPECT_EQ(matchesOsVersion(row.major, row.systemMinor, row.minor, row.orLater), row.matches)
        << row.major << "." << row.systemMinor << " against " << row.minor
        << (row.orLater ? " or later" : "");
  }
  EXPECT_TRUE(isOsVersion(8, true));
  EXPECT_FALSE(isOsVersion(99, true));
}

}  // namespace

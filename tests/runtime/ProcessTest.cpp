#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/make_shared.hpp>
#include <chrono>
#include <string>
#include <vector>

#include "runtime/Applications/ZROsVersion.h"
#include "runtime/Applications/ZRProcessManager.h"
#include "runtime/Applications/ZRTaskWait.h"
#include "tests/support/Environment.h"
#include "tests/support/ResultMatchers.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Manager = zrrt::IProcessManager;
using ProcessHandle = boost::shared_ptr<zrrt::IProcess>;

constexpr std::uint32_t kLongMs = 20'000;

class Processes : public testing::Test {
 protected:
  ZRResult start(const std::string& path, const std::vector<ZRString>& arguments) {
    return manager->start(process, path, arguments, nullptr, nullptr, Manager::Start::running,
                          Manager::Search::no);
  }

  boost::shared_ptr<ZRMacProcessManager> manager = boost::make_shared<ZRMacProcessManager>();
  ProcessHandle process;
};

TEST_F(Processes, TheExitCodeIsCollectedOnceAndKept) {
  const struct {
    const char* script;
    std::uint8_t code;
    std::uint32_t result;
  } rows[] = {{"exit 0", 0, ZRError::eNoError},
              {"exit 255", 255, ZRError::eNoError},
              {"kill -9 $$", SIGKILL, ZRProcessError::eSignaled}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.script);
    ASSERT_CODE(start("/bin/sh", {"-c", row.script}), ZRError::eNoError);
    EXPECT_CODE(process->wait(kLongMs), ZRError::eNoError);
    for (int i = 0; i < 2; ++i) {
      std::uint8_t code = 99;
      EXPECT_CODE(process->getExitCode(code), row.result);
      EXPECT_EQ(code, row.code);
      EXPECT_EQ(::waitpid(process->getId(), nullptr, WNOHANG), -1);
    }
    EXPECT_CODE(process->wait(0), ZRError::eNoError) << "it is collected";
  }
}

TEST_F(Processes, ARunningChildIsWaitedForAndKilled) {
  EXPECT_CODE(start("/bin/sleep/", {"60"}), ZRError::eBadParameter);
  ASSERT_CODE(start("/bin/sleep", {"60"}), ZRError::eNoError);
  std::uint8_t code = 99;
  const auto begin = Clock::now();
  EXPECT_CODE(process->wait(0), ZRError::eTimeout);
  EXPECT_CODE(process->wait(50), ZRError::eTimeout);
  EXPECT_GE(Clock::now() - begin, 50ms);
  EXPECT_CODE(process->getExitCode(code), ZRProcessError::eStillRunning);
  EXPECT_CODE(process->resume(), ZRError::eBadStatus) << "it was not started suspended";
  EXPECT_CODE(process->terminate(), ZRError::eNoError);
  EXPECT_CODE(process->wait(0xFFFFFFFF), ZRError::eNoError);
  EXPECT_CODE(process->getExitCode(code), ZRProcessError::eSignaled);
  EXPECT_EQ(code, SIGKILL);
  EXPECT_CODE(process->terminate(), ZRError::eNotFound) << "nobody else is hit";
}

TEST_F(Processes, ACommandLineIsSplitAndStarted) {
  const struct {
    const char* commandLine;
    std::vector<ZRString> words;
  } rows[] = {
      {" \t\n\x01", {}},
      {"  prog \t a\nb\x01"
       "c ",
       {"prog", "a", "b", "c"}},
      {"\"/a b/prog\" x \"y z\"", {"/a b/prog", "x", "y z"}},
      {"prog a\"b c\"d \"e\"f", {"prog", "a\"b c\"d", "e\"f"}},
      {"prog \"\"\"a\"\"\" \"\"", {"prog", "a", ""}},
      {"prog caf\xc3\xa9 b", {"prog", "caf", "b"}},
  };
  for (const auto& row : rows)
    EXPECT_TRUE(ZRProcessManagerImpl::splitCommandLine(row.commandLine) == row.words) << row.commandLine;
  for (const char* refused : {"", "  "})
    EXPECT_CODE(manager->startCommandLine(process, refused), ZRError::eBadFormat);

  const test::TemporaryFolder folder;
  const std::string script = folder / "a b/prog";
  test::writeFile(script, "#!/bin/sh\nprintf '%s|' \"$@\" \"$TAR_OPTIONS\" > \"$0.out\"\n");
  ::chmod(script.c_str(), 0755);
  const auto session = test::ScopedEnvironment::with({{"TAR_OPTIONS", "--exclude=*"}});
  ASSERT_CODE(manager->startCommandLine(process, ZRString("\"" + script + "\" x \"y \xFF\"")),
              ZRError::eNoError);
  EXPECT_CODE(process->wait(kLongMs), ZRError::eNoError);
  EXPECT_EQ(test::readFile(script + ".out"), "x|y \xFF||");
}

TEST_F(Processes, AProgramIsFoundInThePath) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "one/tool", "not to be executed");
  test::writeFile(folder / "two/tool", "");
  ::chmod((folder / "two/tool").c_str(), 0755);
  const auto changed = test::ScopedEnvironment::with({{"PATH", (folder / "one") + ":" + (folder / "two")}});
  ZRString found;
  EXPECT_CODE(manager->findProgram("tool", true, false, found), ZRError::eNoError);
  EXPECT_EQ(found.str(), folder / "two/tool");
}

TEST(ProcessEnvironment, EntriesFromTexts) {
  ZRProcessEnvironment environment;
  for (const char* refused : {"A", "=value", " A=b", "A\t=b"})
    EXPECT_CODE(environment.addEntry(refused), ZRError::eBadFormat) << refused;
  for (const char* added : {"B=b=c", "A=", "B=d\ne=f"})
    EXPECT_CODE(environment.addEntry(added), ZRError::eNoError) << added;
  EXPECT_EQ(environment.entries(), (std::vector<std::string>{"A=", "B=d\ne=f"}));
}

TEST(TaskWait, AToolThatEndsAtOnceCostsNoLook) {
  auto least = Clock::duration::max();
  for (int i = 0; i < 5; ++i) {
    platform::Task task("/bin/true");
    const auto start = Clock::now();
    task.launch();
    waitUntilExitWithTimeout(task);
    least = std::min(least, Clock::now() - start);
  }
  EXPECT_LT(least, 80ms);
}

TEST(OsVersion, OnlyTheMinorVersionOfTenAndLaterCounts) {
  EXPECT_TRUE(matchesOsVersion(10, 15, 15, false) && matchesOsVersion(10, 15, 14, true));
  EXPECT_FALSE(matchesOsVersion(10, 15, 14, false) || matchesOsVersion(10, 15, 16, true));
  EXPECT_FALSE(matchesOsVersion(9, 15, 15, true)) << "before ten";
  EXPECT_FALSE(matchesOsVersion(11, 2, 15, true)) << "a later one all the same";
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <array>
#include <ctime>
#include <set>
#include <sstream>
#include <thread>

#include <boost/make_shared.hpp>

#include "runtime/Code/ZRLogFormatter.h"
#include "runtime/Code/ZRLogTargets.h"
#include "tests/support/Environment.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

const std::string kByteOrderMark = "\xEF\xBB\xBF";

TEST(LogTimeStamp, IsUtcLessEightHoursInAnyTimeZone) {
  const struct {
    time_t second;
    suseconds_t microseconds;
    const char* stamp;
  } rows[] = {
      {1'767'319'200, 0, "2026-01-01 18:00:00.000 PST"},
      {1'784'160'000, 999'999, "2026-07-15 16:00:00.999 PST"},
      {1'772'965'800, 123'456, "2026-03-08 02:30:00.123 PST"},  // in a gap of the zone below
      {-1, 500'000, "1969-12-31 15:59:59.500 PST"},
  };
  const auto environment = test::ScopedEnvironment::with({{"TZ", "America/Los_Angeles"}});
  tzset();
  for (const auto& row : rows) {
    std::string stamp;
    ZRLogFormatter().makeTimeStamp({row.second, row.microseconds}, stamp);
    EXPECT_EQ(stamp, row.stamp);
  }
}

TEST(Log, WritesWhatIsAskedForAndNothingElse) {
  zrrt::nameCurrentThread("main", false);
  const test::LogCapture log;
  zrrt::logEntry(ZRLogLevel::eStatus, "main", "ctx", "%s=%d", "a", 7);
  zrrt::log(4, "never");
  zrrt::log(ZRLogLevel::eError, nullptr);
  const char* empty = "";
  zrrt::log(ZRLogLevel::eError, empty, 0);
  zrrt::log(ZRLogLevel::eDebug, "debug");
  zrrt::setDebugLogging(false);
  zrrt::log(ZRLogLevel::eDebug, "no debug");
  zrrt::log(ZRLogLevel::eNone, "%s", std::string(70'000, 'x').c_str());
  EXPECT_THAT(log.lines(), ElementsAre("s: <main> {ctx} main - a=7", "d: <main> debug",
                                       "<main> " + std::string(65'534, 'x')));
}

TEST(Log, FoldsRepeatsOfAThread) {
  zrrt::nameCurrentThread("main", false);
  const test::LogCapture log;
  for (const int times : {1, 2, 3}) {
    for (int i = 0; i < times; ++i) {
      zrrt::logEntry(ZRLogLevel::eInformation, "f", nullptr, "again %d", times);
      std::thread([] { zrrt::log(ZRLogLevel::eDebug, "elsewhere"); }).join();  // does not end the repeats
    }
    zrrt::log(ZRLogLevel::eNone, "end of %d", times);
  }
  zrrt::log(ZRLogLevel::eWarning, "end of 3");
  zrrt::logEntry(ZRLogLevel::eWarning, "g", nullptr, "end of 3");
  std::vector<std::string> own = log.lines();
  std::erase_if(own, [](const std::string& line) { return line.find("elsewhere") != std::string::npos; });
  EXPECT_THAT(
      own,
      ElementsAre("i: <main> f - again 1", "<main> end of 1", "i: <main> f - again 2",
                  "i: <main> f - again 2", "<main> end of 2", "i: <main> f - again 3",
                  "i: <main> f - The last log message in this thread was repeated 2 time(s)\n\t\"again 3\"",
                  "<main> end of 3", "W: <main> end of 3", "W: <main> g - end of 3"));
}

TEST(LogThread, LogsWhileItsLocalsAreDestroyed) {
  struct LogsAtTheEnd {
    ~LogsAtTheEnd() { zrrt::log(ZRLogLevel::eWarning, "last words"); }
  };
  const test::LogCapture log;
  std::thread([] {
    static thread_local LogsAtTheEnd early;  // destroyed after what the log keeps for the thread
    static_cast<void>(&early);
    zrrt::log(ZRLogLevel::eWarning, "alive");
  }).join();
  EXPECT_THAT(log.lines(), ElementsAre(EndsWith("alive"), MatchesRegex("W: <[0-9a-f]+> last words")));
}

TEST(LogListener, DoesNotHearWhatItLogsItself) {
  struct Talkative : ILogListener {
    void onEntry(const ZRLogEntry& entry, const timeval&) override {
      zrrt::log(ZRLogLevel::eWarning, "heard %s", entry.message);
    }
    void onTargetAdded(const boost::shared_ptr<ILogTarget>&, bool) override {}
  };
  const test::LogCapture log;
  ASSERT_CODE(zrrt::setLogListener(0, boost::make_shared<Talkative>()), ZRError::eNoError);
  zrrt::log(ZRLogLevel::eError, "it");
  ASSERT_CODE(zrrt::setLogListener(0, nullptr), ZRError::eNoError);
  EXPECT_THAT(log.lines(), ElementsAre(EndsWith("heard it"), EndsWith("> it")));
}

TEST(LogFile, IsSharedByProcessesAndMarksTheByteOrderOfANewFileOnly) {
  const test::TemporaryFolder folder;
  const ZRString path(folder / "x.log");
  ZRLogFile one;
  ZRLogFile other;
  ASSERT_CODE(one.open(path, false), ZRError::eNoError);
  ASSERT_CODE(other.open(path, false), ZRError::eNoError);
  other.writeLine("other's first");
  one.writeLine("one's");
  one.writeLine("");
  other.writeLine("other's second");
  EXPECT_EQ(test::readFile(path.str()), kByteOrderMark + "other's first\none's\nother's second\n");
  ASSERT_CODE(one.open(path, true), ZRError::eNoError);
  one.writeLine("truncated");
  one.close();
  one.writeLine("lost");
  EXPECT_EQ(test::readFile(path.str()), kByteOrderMark + "truncated\n");
}

TEST(LogFile, ALineThatDoesNotFitIsLostWhole) {
  const test::TemporaryFolder folder;
  ZRLogFile file;
  ASSERT_CODE(file.open(ZRString(folder / "x.log"), false), ZRError::eNoError);
  {
    const test::FileSizeLimit limit(16);
    file.writeLine("0123456");
    file.writeLine("does not fit");
  }
  file.writeLine("next");
  EXPECT_EQ(test::readFile(folder / "x.log"), kByteOrderMark + "0123456\nnext\n");
}

TEST(LogFile, KeepsLinesOfSeveralThreadsWholeWhileTargetsChange) {
  const test::TemporaryFolder folder;
  ASSERT_CODE(zrrt::startLog(ZRString(folder / "x.log"), false), ZRError::eNoError);
  struct Discarding : ILogTarget {
    void writeLine(const char*) override {}
  };
  std::array<std::thread, 4> threads;
  for (std::thread& thread : threads) {
    thread = std::thread([&thread] {
      for (int i = 0; i < 500; ++i)
        zrrt::log(ZRLogLevel::eDebug, "(%p %d %s)", static_cast<void*>(&thread), i,
                  std::string(200, 'x').c_str());
    });
  }
  for (int i = 0; i < 200; ++i)
    zrrt::setConsoleTarget(i % 2 == 0 ? boost::make_shared<Discarding>() : nullptr);
  for (std::thread& thread : threads)
    thread.join();
  zrrt::stopLog();

  std::istringstream bytes(test::readFile(folder / "x.log"));
  std::set<std::string> messages;
  for (std::string line; std::getline(bytes, line);) {
    EXPECT_THAT(line, EndsWith("x)"));
    messages.insert(line.substr(line.rfind('(')));
  }
  EXPECT_THAT(messages, SizeIs(4 * 500));
}

TEST(LogStart, OpensTheFileSwitchesDebugMessagesOnAndNamesTheThread) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "file", "");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const char* path : {"file/x.log", ".", "pipe"})
    EXPECT_TRUE(zrrt::startLog(ZRString(folder / path), false).isFailure()) << path;
  const ZRString path(folder / "Logs/app/x.log");
  zrrt::setDebugLogging(false);
  ASSERT_CODE(zrrt::startLog(path, false), ZRError::eNoError);
  EXPECT_CODE(zrrt::startLog(path, false), ZRError::eExists);
  zrrt::log(ZRLogLevel::eDebug, "hello");
  zrrt::stopLog();
  zrrt::log(ZRLogLevel::eError, "after the end");
  EXPECT_THAT(test::readFile(path.str()), MatchesRegex(kByteOrderMark + "[^\n]* PST d: <main> hello\n"));
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <atomic>
#include <cstring>
#include <ctime>
#include <set>
#include <thread>

#include <boost/make_shared.hpp>

#include "platform/Clock.h"
#include "runtime/Code/ZRLogCollapser.h"
#include "runtime/Code/ZRLogFormatter.h"
#include "runtime/Code/ZRLogTargets.h"
#include "tests/support/Environment.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

const std::string kByteOrderMark = "\xEF\xBB\xBF";

struct FixedClock : platform::Clock {
  explicit FixedClock(double secondsSince1970) : seconds(secondsSince1970) { platform::setClock(this); }
  ~FixedClock() override { platform::setClock(nullptr); }
  [[nodiscard]] platform::Date now() const override { return platform::Date(platform::Seconds(seconds)); }
  double seconds;
};

struct DiscardingTarget : ILogTarget {
  void writeLine(const char* line) override { bytes += std::strlen(line); }
  std::atomic<std::size_t> bytes{0};  // a target is called by any thread
};

struct KeepingTarget : ILogTarget {
  void writeLine(const char* line) override { lines.emplace_back(line); }
  std::vector<std::string> lines;
};

TEST(LogTimeStamp, IsUtcLessEightHoursInAnyTimeZone) {
  struct Case {
    const char* name;
    time_t second;
    suseconds_t microseconds;
    const char* stamp;
  };
  const Case cases[] = {
      {"evening before", 1'767'319'200, 0, "2026-01-01 18:00:00.000 PST"},
      {"summer", 1'784'160'000, 999'999, "2026-07-15 16:00:00.999 PST"},
      {"in a gap of Los Angeles", 1'772'965'800, 123'456, "2026-03-08 02:30:00.123 PST"},
      {"in a gap of Berlin", 1'774'751'400, 7'000, "2026-03-28 18:30:00.007 PST"},
      {"leap day", 1'709'280'000, 10'000, "2024-03-01 00:00:00.010 PST"},
      {"before 1970", -1, 500'000, "1969-12-31 15:59:59.500 PST"},
  };
  for (const char* zone : {"UTC", "America/Los_Angeles", "Europe/Berlin", "Asia/Kolkata"}) {
    const std::map<std::string, std::optional<std::string>> change = {{"TZ", zone}};
    const test::ScopedEnvironment environment(change);
    tzset();
    for (const Case& c : cases) {
      std::string stamp;
      ZRLogFormatter().makeTimeStamp({c.second, c.microseconds}, stamp);
      EXPECT_EQ(stamp, c.stamp) << c.name << " in " << zone;
    }
  }
  tzset();
}

TEST(LogTimeStamp, IsCutNotRounded) {
  const test::LogCapture endsRepeatsOfOtherTests;
  const FixedClock clock(1'767'319'199.9999997);
  const auto target = boost::make_shared<KeepingTarget>();
  zrrt::setConsoleTarget(target);
  zrrt::log(ZRLogLevel::eError, "stamped");
  zrrt::setConsoleTarget(nullptr);
  ASSERT_THAT(target->lines, SizeIs(1));
  EXPECT_THAT(target->lines[0], MatchesRegex("2026-01-01 17:59:59\\.999 PST E: <[^>]+> stamped"));
}

TEST(LogLine, HasItsPartsInOrderAndLeavesOutEmptyOnes) {
  struct Case {
    ZRLogEntry entry;
    const char* line;  ///< null: refused
  };
  const Case cases[] = {
      {{1, "", "main", nullptr, "main", "text"}, "i: <main> main - text"},
      {{2, "tag", "main", "context", "f", "a\nb"}, "W: [tag] <main> {context} f - a\nb"},
      {{-1, nullptr, "1f", "", "", "text"}, "<1f> text"},
      {{3, nullptr, "", nullptr, nullptr, "text"}, "E: text"},
      {{5, nullptr, "", nullptr, nullptr, "text"}, "s: text"},
      {{6, nullptr, "", nullptr, nullptr, "text"}, "C: text"},
      {{7, nullptr, "", nullptr, nullptr, "text"}, "text"},
      {{4, nullptr, "", nullptr, nullptr, "text"}, nullptr},
      {{0, nullptr, "", nullptr, nullptr, "text"}, nullptr},
  };
  zrrt::setDebugLogging(false);
  const ZRLogFormatter formatter;
  for (const Case& c : cases) {
    std::string line;
    EXPECT_EQ(formatter.formatLine(c.entry, {0, 0}, line), c.line != nullptr) << c.entry.level;
    if (c.line == nullptr) continue;
    EXPECT_EQ(line, std::string("1969-12-31 16:00:00.000 PST ") + c.line);
  }
}

TEST(Log, WritesWhatIsAskedForAndNothingElse) {
  zrrt::nameCurrentThread("main", false);
  test::LogCapture log;
  zrrt::logEntry(ZRLogLevel::eStatus, "main", "ctx", "%s=%d", "a", 7);
  zrrt::log(4, "never");
  zrrt::log(ZRLogLevel::eError, nullptr);
  const char* empty = "";
  zrrt::log(ZRLogLevel::eError, empty, 0);
  zrrt::log(ZRLogLevel::eNone, "a%cb", '\0');
  zrrt::log(ZRLogLevel::eDebug, "debug");
  zrrt::setDebugLogging(false);
  zrrt::log(ZRLogLevel::eDebug, "no debug");
  EXPECT_THAT(log.lines(), ElementsAre("s: <main> {ctx} main - a=7", "<main> a", "d: <main> debug"));
}

TEST(Log, CutsALongMessage) {
  test::LogCapture log;
  zrrt::log(ZRLogLevel::eNone, "%s", std::string(70'000, 'x').c_str());
  ASSERT_THAT(log.lines(), SizeIs(1));
  EXPECT_THAT(log.lines()[0], EndsWith("> " + std::string(65'534, 'x')));
}

TEST(Log, FoldsRepeatsOfAThread) {
  zrrt::nameCurrentThread("main", false);
  test::LogCapture log;
  for (const int times : {1, 2, 3, 5}) {
    for (int i = 0; i < times; ++i)
      zrrt::logEntry(ZRLogLevel::eInformation, "f", nullptr, "again %d", times);
    std::thread([] { zrrt::log(ZRLogLevel::eDebug, "elsewhere"); }).join();  // does not end the repeats
    zrrt::log(ZRLogLevel::eNone, "end of %d", times);
  }
  std::vector<std::string> own;
  for (const std::string& line : log.lines()) {
    if (line.find("elsewhere") == std::string::npos) own.push_back(line);
  }
  EXPECT_THAT(
      own,
      ElementsAre("i: <main> f - again 1", "<main> end of 1", "i: <main> f - again 2",
                  "i: <main> f - again 2", "<main> end of 2", "i: <main> f - again 3",
                  "i: <main> f - The last log message in this thread was repeated 2 time(s)\n\t\"again 3\"",
                  "<main> end of 3", "i: <main> f - again 5",
                  "i: <main> f - The last log message in this thread was repeated 4 time(s)\n\t\"again 5\"",
                  "<main> end of 5"));
}

TEST(Log, OnlyTheSameLevelAndTextsAreARepeat) {
  test::LogCapture log;
  zrrt::logEntry(1, "f", "c", "m");
  zrrt::logEntry(2, "f", "c", "m");
  zrrt::logEntry(2, "g", "c", "m");
  zrrt::logEntry(2, "g", "d", "m");
  zrrt::nameCurrentThread("renamed", false);
  zrrt::logEntry(2, "g", "d", "m");
  EXPECT_THAT(log.lines(), SizeIs(5)) << log.text();
}

TEST(LogThread, LogsWhileItsLocalsAreDestroyed) {
  struct LogsAtTheEnd {
    ~LogsAtTheEnd() { zrrt::log(ZRLogLevel::eWarning, "last words"); }
  };
  test::LogCapture log;
  std::thread([] {
    static thread_local LogsAtTheEnd early;  // destroyed after what the log keeps for the thread
    static_cast<void>(&early);
    zrrt::log(ZRLogLevel::eWarning, "alive");
  }).join();
  ASSERT_THAT(log.lines(), SizeIs(2));
  EXPECT_THAT(log.lines()[1], MatchesRegex("W: <[0-9a-f]+> last words"));
}

TEST(LogListener, MayLogItself) {
  struct Talkative : ILogListener {
    void onEntry(const ZRLogEntry& entry, const timeval&) override {
      heard.emplace_back(entry.message);
      zrrt::log(ZRLogLevel::eWarning, "heard '%s' %s", entry.message, std::string(300, 'x').c_str());
    }
    void onTargetAdded(const boost::shared_ptr<ILogTarget>&, bool) override {}
    std::vector<std::string> heard;
  };
  test::LogCapture log;
  const auto listener = boost::make_shared<Talkative>();
  ASSERT_CODE(zrrt::setLogListener(0, listener), ZRError::eNoError);
  const std::string message(100, 'm');
  for (const char* end : {"1", "1", "1", "2"})
    zrrt::log(ZRLogLevel::eError, "%s%s", message.c_str(), end);
  ASSERT_CODE(zrrt::setLogListener(0, nullptr), ZRError::eNoError);
  ASSERT_THAT(listener->heard, SizeIs(3)) << "its own lines it does not hear";
  EXPECT_THAT(listener->heard, ElementsAre(message + "1", HasSubstr("repeated 2 time(s)"), message + "2"));
  EXPECT_THAT(log.lines(),
              ElementsAre(HasSubstr("heard"), EndsWith(message + "1"), HasSubstr("heard"),
                          EndsWith(message + "1\""), HasSubstr("heard"), EndsWith(message + "2")));
}

TEST(LogFile, MarksTheByteOrderOfANewFileOnly) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "x.log";
  const auto write = [&](const char* line, bool truncate) {
    ZRLogFile file;
    EXPECT_CODE(file.open(ZRString(path), truncate), ZRError::eNoError);
    file.writeLine(line);
    file.writeLine("");
    file.close();
    file.writeLine("lost");
  };
  write("created", false);
  write("appended", false);
  EXPECT_EQ(test::readFile(path), kByteOrderMark + "created\nappended\n");
  write("truncated", true);
  EXPECT_EQ(test::readFile(path), kByteOrderMark + "truncated\n");
}

TEST(LogFile, IsSharedByProcesses) {
  const test::TemporaryFolder folder;
  ZRLogFile one;
  ZRLogFile other;
  ASSERT_CODE(one.open(ZRString(folder / "x.log"), false), ZRError::eNoError);
  ASSERT_CODE(other.open(ZRString(folder / "x.log"), false), ZRError::eNoError);
  other.writeLine("other's first");
  one.writeLine("one's");
  other.writeLine("other's second");
  EXPECT_EQ(test::readFile(folder / "x.log"), kByteOrderMark + "other's first\none's\nother's second\n");
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

TEST(LogFile, KeepsLinesOfSeveralThreadsWhole) {
  const test::Sandbox sandbox;
  const std::string path = sandbox.library() + "/Logs/deep/x.log";
  ASSERT_CODE(zrrt::startLog(ZRString(path), false), ZRError::eNoError);
  constexpr int kThreads = 4;
  constexpr int kLines = 500;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kLines; ++i)
        zrrt::log(ZRLogLevel::eDebug, "(%d %d %s)", t, i, std::string(200, 'x').c_str());
    });
  }
  std::thread([] {  // slots change while lines are written
    for (int i = 0; i < 200; ++i)
      zrrt::setConsoleTarget(i % 2 == 0 ? boost::make_shared<DiscardingTarget>() : nullptr);
  })
      .join();
  for (std::thread& thread : threads)
    thread.join();
  zrrt::stopLog();

  std::istringstream bytes(test::readFile(path));
  std::set<std::string> messages;
  for (std::string line; std::getline(bytes, line);) {
    EXPECT_THAT(line, EndsWith("x)"));
    messages.insert(line.substr(line.rfind('(')));
  }
  EXPECT_THAT(messages, SizeIs(kThreads * kLines));
}

TEST(LogStart, OpensTheFileSwitchesDebugMessagesOnAndNamesTheThread) {
  const test::TemporaryFolder folder;
  const ZRString path(folder / "Logs/app/x.log");
  zrrt::setDebugLogging(false);
  ASSERT_CODE(zrrt::startLog(path, false), ZRError::eNoError);
  EXPECT_EQ(zrrt::logPath(), path);
  EXPECT_CODE(zrrt::startLog(path, false), ZRError::eExists);
  zrrt::log(ZRLogLevel::eDebug, "hello");
  zrrt::stopLog();
  zrrt::log(ZRLogLevel::eError, "after the end");
  zrrt::stopLog();
  EXPECT_THAT(test::readFile(path.str()),
              AllOf(HasSubstr(" PST d: <main> hello\n"), ::testing::StartsWith(kByteOrderMark),
                    ::testing::Not(HasSubstr("after"))));
}

TEST(LogStart, AFileThatCannotBeOpenedIsAnsweredAndLeavesTheSlotFree) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "file", "");
  test::makeFolder(folder / "folder");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const char* path : {"file/x.log", "folder", "pipe"}) {
    zrrt::nameCurrentThread("before", false);
    EXPECT_TRUE(zrrt::startLog(ZRString(folder / path), false).isFailure()) << path;
    EXPECT_STREQ(zrrt::currentThreadTag(), "main");
  }
  EXPECT_CODE(zrrt::startLog(ZRString(folder / "x.log"), false), ZRError::eNoError);
  zrrt::stopLog();
}

}  // namespace

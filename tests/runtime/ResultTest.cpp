#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "runtime/Code/ZRLog.h"
#include "runtime/Code/ZRMemBlock.h"
#include "runtime/Code/ZRRequireException.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

namespace {

constexpr ZRLocation kPlace{"work", "some/Folder/File.CPP", 12};

TEST(Result, NamesEveryCodeItselfOrByItsRange) {
  struct Case {
    std::uint32_t code;
    const char* name;
  };
  const Case cases[] = {
      {999, "unrecognized error code"},
      {1000, "ZRStatus::eNo"},
      {1008, "unrecognized status code"},
      {1207, "unrecognized error code"},
      {2027, "unrecognized basic error code"},
      {3004, "unrecognized thread error code"},
      {3503, "unrecognized error code"},
      {6999, "multicast error code"},
      {7000, "broker error code"},
      {12508, "component connection error code"},
      {13306, "unrecognized error code"},
      {0xFFFFFFFF, "unrecognized error code"},
  };
  for (const Case& c : cases)
    EXPECT_STREQ(ZRResult::codeName(c.code), c.name) << c.code;
  EXPECT_STREQ(ZRResult(ZRError::eNotFound).codeText().c_str(), "(2008) \"ZRError::eNotFound\"");
}

TEST(Result, AsksProvidersAfterTheBuiltInNames) {
  // The names stay for the rest of the process, so they are those of codes that no other test asks for.
  ZRResult::registerNameProvider(
      [](std::uint32_t code) { return code == 5001 || code == 12000 ? "first" : nullptr; });
  ZRResult::registerNameProvider(
      [](std::uint32_t code) { return code == 5001 || code == 5002 ? "second" : nullptr; });
  EXPECT_STREQ(ZRResult::codeName(12000), "ZRDeviceError::eDeviceError");
  EXPECT_STREQ(ZRResult::codeName(5001), "first");
  EXPECT_STREQ(ZRResult::codeName(5002), "second");
  EXPECT_STREQ(ZRResult::codeName(5003), "compression error code");
}

TEST(Result, FailsFrom2001On) {
  EXPECT_TRUE(ZRResult(ZRStatus::eNo).isSuccess());
  EXPECT_TRUE(ZRResult().isSuccess());
  EXPECT_TRUE(ZRResult(2001).isFailure());
}

TEST(Result, MessageGrowsByLinesAndIsCut) {
  ZRResult result(ZRError::eSomeError);
  result.append("%d", 1);
  result.append("two");
  EXPECT_STREQ(result.message().c_str(), "1\n\ttwo");
  const std::string huge(70'000, 'x');
  EXPECT_EQ(ZRResult(ZRError::eSomeError, "%s", huge.c_str()).message().length(), 65'535);
  ZRResult appended(ZRError::eSomeError);
  appended.append("%s", huge.c_str());
  EXPECT_EQ(appended.message().length(), 65'534);
  EXPECT_EQ(ZRResult(ZRError::eSomeError, "%s", huge.substr(0, 256).c_str()).message().length(), 256);
}

TEST(Result, TranslatesSystemErrors) {
  struct Case {
    int number;
    std::uint32_t code;
  };
  const Case cases[] = {{0, 2000},      {EPERM, 2006},  {EACCES, 2006},  {EROFS, 2006},        {ENOENT, 2008},
                        {ESRCH, 2008},  {ENXIO, 2008},  {EIO, 2010},     {EBADF, 2003},        {ENOMEM, 2004},
                        {EBUSY, 2012},  {EEXIST, 2009}, {EINVAL, 2005},  {ENFILE, 2011},       {EMFILE, 2011},
                        {EMLINK, 2011}, {ENOSPC, 2015}, {ERANGE, 2016},  {ENAMETOOLONG, 2033}, {EILSEQ, 2034},
                        {EINTR, 2001},  {EPIPE, 2001},  {ENOTDIR, 2001}, {99'999, 2001}};
  for (const Case& c : cases) {
    EXPECT_CODE(ZRResult::fromSystemError("open()", c.number), c.code) << c.number;
  }
  EXPECT_EQ(ZRResult::fromSystemError("open()", ENOENT).message().str(),
            std::string(strerror(ENOENT)) + "Method \"open()\" returned CRT error [2]. ");
  EXPECT_TRUE(
      ZRResult::fromSystemError(nullptr, EIO).message().endsWith("Method \"\" returned CRT error [5]. "));
}

TEST(Report, WritesFailuresOnly) {
  zrrt::nameCurrentThread("main", false);
  test::LogCapture log;
  ZRResult failure(ZRError::eNotFound, "lost %d", 1);
  zrReport(ZRLogLevel::eError, ZRStatus::eNo, "no", kPlace);
  zrReport(ZRLogLevel::eError, failure, "Error returned", kPlace);
  zrReport(-1, failure, "own level", kPlace);
  failure.setLevel(ZRLogLevel::eWarning);
  zrReport(-1, failure.wrapped("moved up", {nullptr, "b.cpp", 3}), "own level", kPlace);
  zrReportLevel(ZRLogLevel::eWarning, ZRError::eEnd, kPlace);
  zrReportLevel(ZRLogLevel::eInformation, ZRError::eEnd, {nullptr, "A.mm", 1});
  const std::string lost = "\n\t(2008) \"ZRError::eNotFound\"\n\tlost 1";
  const std::vector<std::string> expected = {
      "E: <main> Error returned at work, file.cpp:12" + lost,
      "d: <main> own level at work, file.cpp:12" + lost,
      "W: <main> own level at work, file.cpp:12" + lost + "\n\tmoved up at , b.cpp:3",
      "W: <main> Warning at work, file.cpp:12\n\t(2014) \"ZRError::eEnd\"",
      "i: <main> Information at , a.mm:1\n\t(2014) \"ZRError::eEnd\"",
  };
  EXPECT_EQ(log.lines(), expected);
}

TEST(Report, AssertionsAreCriticalAndExecutionGoesOn) {
  zrrt::nameCurrentThread("main", false);
  test::LogCapture log;
  zrAssertionFailed(kPlace);
  zrAssertionFailed(kPlace, "%s", std::string(600, 'y').c_str());
  const std::vector<std::string> expected = {
      "C: <main> Assertion failure at work, file.cpp:12",
      "C: <main> Assertion failure at work, file.cpp:12. " + std::string(510, 'y')};
  EXPECT_EQ(log.lines(), expected);
}

TEST(ReportDeathTest, AnUnhandledExceptionEndsTheProgramWithItsText) {
  const auto endWith = [](auto thrown) {
    try {
      throw thrown;
    } catch (...) {
      zrUnhandledException();
    }
  };
  EXPECT_DEATH(endWith(ZRRequireException("a < b", kPlace)),
               "exception:Requirement \"a < b\" violated at work, file.cpp:12\n");
  EXPECT_DEATH(endWith(7), "exception:unknown\n");
}

TEST(MemBlock, ResizesAndShowsItsBytes) {
  ZRMemBlock block("\x00\x9F\xFFz", 4);
  ASSERT_CODE(block.resize(3), ZRError::eNoError);
  ZRString hex;
  EXPECT_CODE(block.toHex(hex), ZRError::eNoError);
  EXPECT_EQ(hex, "009FFF");
  EXPECT_CODE(block.resize(static_cast<std::size_t>(-1)), ZRError::eNoMemory);
  EXPECT_EQ(block.size(), 3u);

  ZRMemReader reader(block);
  EXPECT_CODE(reader.advance(4), ZRError::eEnd);
  EXPECT_CODE(reader.advance(2), ZRError::eNoError);
  EXPECT_EQ(*reader.unreadData(), 0xFF);
  EXPECT_EQ(reader.unreadSize(), 1u);
}

}  // namespace

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "runtime/Code/ZRLog.h"
#include "runtime/Code/ZRMemBlock.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

namespace {

constexpr ZRLocation kPlace{"work", "some/Folder/File.CPP", 12};

TEST(Result, NamesACodeItselfThenByAProviderThenByItsRange) {
  // The names stay for the rest of the process, so they are those of codes that no other test asks for.
  ZRResult::registerNameProvider(
      [](std::uint32_t code) { return code == 5001 || code == 12000 ? "first" : nullptr; });
  ZRResult::registerNameProvider(
      [](std::uint32_t code) { return code == 5001 || code == 5002 ? "second" : nullptr; });
  const struct {
    std::uint32_t code;
    const char* name;
  } rows[] = {
      {1000, "ZRStatus::eNo"},
      {1207, "unrecognized error code"},
      {2027, "unrecognized basic error code"},
      {5001, "first"},
      {5002, "second"},
      {5003, "compression error code"},
      {12000, "ZRDeviceError::eDeviceError"},
  };
  for (const auto& row : rows)
    EXPECT_STREQ(ZRResult::codeName(row.code), row.name) << row.code;
}

TEST(Result, MessageGrowsByLinesAndIsCut) {
  ZRResult result(ZRError::eSomeError);
  result.append("%d", 1);
  result.append("two");
  EXPECT_STREQ(result.message().c_str(), "1\n\ttwo");
  // Around the size that needs memory, and around the limit.
  for (const auto& [length, kept] : {std::pair(255, 255), {256, 256}, {65'535, 65'535}, {65'536, 65'535}}) {
    const std::string text(static_cast<std::size_t>(length), 'x');
    EXPECT_EQ(ZRResult(ZRError::eSomeError, "%s", text.c_str()).message().length(), kept);
  }
}

TEST(Result, OfASystemErrorHoldsItsTextAndTheCall) {
  const ZRResult result = ZRResult::fromSystemError("open()", ENOENT);
  EXPECT_CODE(result, ZRError::eNotFound);
  EXPECT_EQ(result.message().str(),
            std::string(strerror(ENOENT)) + "Method \"open()\" returned CRT error [2]. ");
  EXPECT_CODE(ZRResult::fromSystemError(nullptr, ENOTDIR), ZRError::eSomeError);
}

TEST(Report, WritesFailuresOnly) {
  zrrt::nameCurrentThread("main", false);
  const test::LogCapture log;
  ZRResult failure(ZRError::eNotFound, "lost %d", 1);
  zrReport(ZRLogLevel::eError, ZRStatus::eNo, "no", kPlace);
  zrReport(ZRLogLevel::eError, ZRError::eNoError, "no", kPlace);
  zrReport(ZRLogLevel::eError, failure, "Error returned", kPlace);
  failure.setLevel(ZRLogLevel::eWarning);
  zrReport(-1, failure.wrapped("moved up", {nullptr, "b.cpp", 3}), "own level", kPlace);
  zrReportLevel(ZRLogLevel::eInformation, ZRError::eSomeError, {nullptr, "A.mm", 1});
  zrAssertionFailed(kPlace, "%s", std::string(600, 'y').c_str());
  const std::string lost = "\n\t(2008) \"ZRError::eNotFound\"\n\tlost 1";
  const std::vector<std::string> expected = {
      "E: <main> Error returned at work, file.cpp:12" + lost,
      "W: <main> own level at work, file.cpp:12" + lost + "\n\tmoved up at , b.cpp:3",
      "i: <main> Information at , a.mm:1\n\t(2001) \"ZRError::eSomeError\"",
      "C: <main> Assertion failure at work, file.cpp:12. " + std::string(510, 'y')};
  EXPECT_EQ(log.lines(), expected);
}

TEST(MemBlock, IsUnchangedWhenMemoryIsShortAndReadToItsEndOnly) {
  ZRMemBlock block("\x9F\xFF", 2);
  EXPECT_CODE(block.resize(static_cast<std::size_t>(-1)), ZRError::eNoMemory);
  ZRMemReader reader(block);
  EXPECT_CODE(reader.advance(3), ZRError::eEnd);
  EXPECT_CODE(reader.advance(1), ZRError::eNoError);
  EXPECT_EQ(*reader.unreadData(), 0xFF);
  EXPECT_EQ(reader.unreadSize(), 1U);
}

}  // namespace

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdio>
#include <cstring>

#include "platform/Printable.h"
#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRByteString.h"
#include "runtime/Strings/ZRString.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

namespace {

TEST(String, NullTextsAreReportedAndNeverCrash) {
  const test::LogCapture log;
  const char* null = nullptr;
  EXPECT_TRUE(ZRString(null).isEmpty());
  EXPECT_TRUE(ZRString("abc", -1).isEmpty());
  ZRString text("a");
  text += null;
  EXPECT_LOGGED(log, "C: ", "Failure in ZRString += operator");
  EXPECT_EQ(text, "a");
}

TEST(String, PiecesStayInBounds) {
  const struct {
    std::int32_t start;
    std::int32_t count;
    const char* piece;
    const char* message;  ///< empty: none
  } rows[] = {
      {1, 3, "ell", ""},
      {5, 1, "", "Bounds check failed in substr"},
      {0, -1, "", "Negative length in substr"},
      {1, INT_MAX, "", "Bounds check failed in substr"},
  };
  for (const auto& row : rows) {
    const test::LogCapture log;
    EXPECT_EQ(ZRString("hello").substr(row.start, row.count), row.piece) << row.start << ", " << row.count;
    EXPECT_EQ(log.contains("C: ", row.message), *row.message != '\0') << log.text();
  }
}

TEST(String, ReplacesWhatItIsNotSearchedForAgain) {
  const test::LogCapture log;
  ZRString text("aaXaaX");
  text.replaceAll("X", "XX");
  text.replaceAll("", "z");
  EXPECT_EQ(text, "aaXXaaXX");
  EXPECT_LOGGED(log, "C: ", "Empty string in replaceAll");
}

TEST(String, ReadsNumbers) {
  const struct {
    const char* text;
    std::int32_t radix;
    std::uint32_t code;
    long value;
  } rows[] = {
      {"12abc", 10, ZRError::eNoError, 12}, {"ff", 16, ZRError::eNoError, 255},
      {" -7", 10, ZRError::eNoError, -7},   {"99999999999999999999", 10, ZRError::eNoError, LONG_MAX},
      {"x1", 10, ZRError::eBadFormat, -1},  {"", 10, ZRError::eBadFormat, -1},
      {"1", 1, ZRError::eBadParameter, -1}, {"1", 37, ZRError::eBadParameter, -1},
  };
  for (const auto& row : rows) {
    long value = -1;
    EXPECT_CODE(ZRString(row.text).toInteger(row.radix, value), row.code) << row.text;
    EXPECT_EQ(value, row.value) << row.text;
  }
}

TEST(String, ExchangesTextWithThePlatformAsUtf8) {
  const struct {
    const char* bytes;
    bool valid;
  } rows[] = {
      {"\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80", true},
      {"a\x80", false},             // stray continuation
      {"\xC0\xAF", false},          // overlong
      {"\xED\xA0\x80", false},      // surrogate
      {"\xF4\x90\x80\x80", false},  // beyond the last code point
  };
  for (const auto& row : rows) {
    const test::LogCapture log;
    const char* expected = row.valid ? row.bytes : "";
    EXPECT_EQ(ZRString(row.bytes).toPlatformString(), expected);
    EXPECT_EQ(ZRString::fromPlatformString(row.bytes), expected);
    EXPECT_EQ(log.lines().size(), row.valid ? 0U : 2U) << log.text();
  }
}

/// What the runtime writes by itself and what it leaves to the C library read the same, also at the border.
TEST(String, FormatsAsTheCLibraryDoes) {
  const std::string longText(300, 'x');
  for (const std::size_t length : {0u, 1u, 248u, 249u, 250u, 300u}) {
    for (const char* format : {"", "100%%", "%s|%d|%u", "%.7s|%5d|%x", "%s %d %u %%", "<%s>%d%u"}) {
      for (const int number : {0, -1, 2147483647}) {
        const std::string text = longText.substr(0, length);
        std::array<char, 400> expected{};
        snprintf(expected.data(), expected.size(), format, text.c_str(), number, 4294967295u);
        EXPECT_EQ(ZRString::format(1000, format, text.c_str(), number, 4294967295u), expected.data());
        EXPECT_EQ(ZRString::format(5, format, text.c_str(), number, 4294967295u).str(),
                  std::string(expected.data()).substr(0, 5));
      }
    }
  }
  const char* volatile nothing = nullptr;
  EXPECT_EQ(ZRString::format(99, "%s", nothing), "(null)");
}

TEST(ByteStrings, TakeTheirEncodingOnlyAndNoMoreThanTheyHaveRoomFor) {
  ZRUTF8String utf8;
  EXPECT_CODE(utf8.assign("\xC3\xA4"), ZRError::eNoError);
  EXPECT_CODE(utf8.assign(utf8.c_str() + 1), ZRError::eBadFormat);
  EXPECT_STREQ(utf8.c_str(), "\xC3\xA4");
  std::memcpy(utf8.getWritableBuffer(4), "abcd", 4);
  utf8.releaseBuffer(INT_MAX);
  EXPECT_STREQ(utf8.c_str(), "abcd");
  std::memcpy(utf8.getWritableBuffer(4), "ef", 3);
  utf8.releaseBuffer();
  EXPECT_EQ(utf8.numBytesUsed(), 2);
}

TEST(OnOneLine, TakesControlCharactersOut) {
  const struct {
    std::string text;
    std::string line;
  } rows[] = {
      {"plain \xC3\xA4 \xE2\x82\xAC", "plain \xC3\xA4 \xE2\x82\xAC"},
      {std::string("a\0b\r\n2026 E: <main> c\x1B[2J\x7F", 26), "a b  2026 E: <main> c [2J "},
      {"\xC2\x80|\xC2\x9F|\xC2\xA0", " | |\xC2\xA0"},
      {"\xE2\x80\xA8|\xE2\x80\xA9|\xE2\x80\xAA", " | |\xE2\x80\xAA"},
      {"\x9F\xFF\xC2", "\x9F\xFF\xC2"},  // not UTF-8
  };
  for (const auto& row : rows)
    EXPECT_EQ(platform::onOneLine(row.text), row.line);
}

}  // namespace

#include <gtest/gtest.h>

#include <climits>

#include "platform/Printable.h"
#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRByteString.h"
#include "runtime/Strings/ZRString.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ResultMatchers.h"

namespace {

TEST(String, NullTextsAreReportedAndNeverCrash) {
  test::LogCapture log;
  const char* null = nullptr;
  EXPECT_TRUE(ZRString(null).isEmpty());
  EXPECT_TRUE(log.contains(
      "C: ", "NULL pointer passed to ZRNarrowStringBase::_constructorImpl(char*, int32, int32)"));
  EXPECT_TRUE(ZRString("abc", -1).isEmpty());
  EXPECT_TRUE(log.contains("C: ", "Assertion failure at ZRString, zrstring.cpp:")) << log.text();
  EXPECT_TRUE(log.contains("C: ", "Negative length in ZRString"));
  ZRString text("a");
  text += null;
  EXPECT_TRUE(log.contains("C: ", "at operator+=, zrstring.cpp:")) << log.text();
  EXPECT_TRUE(log.contains("C: ", "Failure in ZRString += operator"));
  EXPECT_EQ(text, "a");
  text = null;
  EXPECT_EQ(text, "(null)");
}

TEST(String, AppendsToItself) {
  ZRString text("ab");
  text += text;
  text += text.c_str();
  text = text.c_str() + 6;
  text += 'c';
  EXPECT_EQ(text, "abc");
}

TEST(String, PiecesStayInBounds) {
  struct Case {
    std::int32_t start;
    std::int32_t count;
    const char* piece;
    const char* message;
  };
  const Case cases[] = {
      {0, 5, "hello", nullptr},
      {1, 3, "ell", nullptr},
      {5, 0, "", nullptr},
      {0, -1, "", "Negative length in substr"},
      {9, -1, "", "Negative length in substr"},
      {-1, 2, "", "Bounds check failed in substr"},
      {6, 0, "", "Bounds check failed in substr"},
      {1, 5, "", "Bounds check failed in substr"},
      {1, INT_MAX, "", "Bounds check failed in substr"},
  };
  const ZRString text("hello");
  for (const Case& c : cases) {
    test::LogCapture log;
    EXPECT_EQ(text.substr(c.start, c.count), c.piece) << c.start << ", " << c.count;
    EXPECT_EQ(log.lines().size(), c.message != nullptr ? 1u : 0u) << log.text();
    if (c.message == nullptr) continue;
    EXPECT_TRUE(log.contains("C: ", c.message)) << log.text();
    EXPECT_TRUE(log.contains("C: ", "Unexpected error in ZRString::substr(int32, int32)"));
  }
  test::LogCapture log;
  EXPECT_EQ(text.substr(2), "llo");
  EXPECT_EQ(text.substr(5), "");
  EXPECT_TRUE(log.lines().empty());
  for (const std::int32_t start : {-1, 6, INT_MIN, INT_MAX})
    EXPECT_EQ(text.substr(start), "");
  EXPECT_TRUE(log.contains("C: ", "Unexpected error in ZRString::substr(int32) at substr"));
}

TEST(String, Replaces) {
  test::LogCapture log;
  ZRString text("aaXaaX");
  text.replaceFirst("X", "YX");
  EXPECT_EQ(text, "aaYXaaX");
  text.replaceAll("X", "XX");
  EXPECT_EQ(text, "aaYXXaaXX");
  text.replaceAll("aa", "");
  EXPECT_EQ(text, "YXXXX");
  text.replaceAll("none", "z");
  EXPECT_TRUE(log.lines().empty());
  text.replaceFirst("", "z");
  text.replaceAll("", "z");
  EXPECT_EQ(text, "YXXXX");
  EXPECT_TRUE(log.contains("C: ", "Unexpected error in replaceFirst()"));
  EXPECT_TRUE(log.contains("C: ", "Empty string in replaceFirst"));
  EXPECT_TRUE(log.contains("C: ", "Unexpected error in replaceAll()"));
  EXPECT_TRUE(log.contains("C: ", "Empty string in replaceAll"));
}

TEST(String, ReadsNumbers) {
  struct Case {
    const char* text;
    std::int32_t radix;
    std::uint32_t code;
    long value;
    const char* message;
  };
  const Case cases[] = {
      {"12abc", 10, 2000, 12, ""},
      {"ff", 16, 2000, 255, ""},
      {" 7", 10, 2000, 7, ""},
      {"-5", 10, 2000, -5, ""},
      {"zz", 36, 2000, 1295, ""},
      {"99999999999999999999", 10, 2000, LONG_MAX, ""},
      {"x1", 10, 2017, -1, "String \"x1\" not a number in toInteger"},
      {"", 10, 2017, -1, "String \"\" not a number in toInteger"},
      {"2", 2, 2017, -1, "String \"2\" not a number in toInteger"},
      {"1", 1, 2005, -1, "Radix 1 in toInteger"},
      {"1", 37, 2005, -1, "Radix 37 in toInteger"},
  };
  for (const Case& c : cases) {
    long value = -1;
    const ZRResult result = ZRString(c.text).toInteger(c.radix, value);
    EXPECT_CODE(result, c.code) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
    EXPECT_EQ(result.message(), c.message);
  }
}

TEST(String, ExchangesTextWithThePlatformAsUtf8) {
  struct Case {
    std::string bytes;
    bool valid;
  };
  const Case cases[] = {
      {"", true},
      {"plain", true},
      {"\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80", true},
      {"\xC3", false},              // cut
      {"\x80", false},              // stray continuation
      {"\xC0\xAF", false},          // overlong
      {"\xED\xA0\x80", false},      // surrogate
      {"\xF4\x90\x80\x80", false},  // beyond the last code point
      {"a\xFF", false},
  };
  for (const Case& c : cases) {
    test::LogCapture log;
    EXPECT_EQ(ZRString(c.bytes).toPlatformString(), c.valid ? c.bytes : "");
    EXPECT_EQ(log.contains("E: ", "Failed to create CFString from ZRString, returning empty CFString"),
              !c.valid);
    EXPECT_EQ(ZRString::fromPlatformString(c.bytes).str(), c.valid ? c.bytes : "");
    EXPECT_EQ(log.contains("C: ", "Failure in ZRString(CFStringRef) constructor"), !c.valid);
    EXPECT_EQ(log.contains("C: ", "CFStringGetCString failed"), !c.valid);
    std::string text;
    const ZRResult made = ZRString(c.bytes).toPlatformString(text);
    EXPECT_EQ(made.message(), c.valid ? "" : "CFStringCreateWithCString failed");
  }
  EXPECT_CODE(ZRString().assignPlatformString(nullptr), ZRError::eBadParameter);
  EXPECT_EQ(ZRString(std::string("cut\0off", 7)).toPlatformString(), "cut");
}

TEST(ByteStrings, TakeTheirEncodingOnlyAndCountBytes) {
  ZRAsciiString ascii;
  EXPECT_CODE(ascii.assign("abc"), ZRError::eNoError);
  EXPECT_CODE(ascii.assign("\xC3\xA4"), ZRError::eBadFormat);
  EXPECT_CODE(ascii.assign(nullptr), ZRError::eBadParameter);
  EXPECT_STREQ(ascii.c_str(), "abc");
  ascii.setNumBytesAllocated(2);
  EXPECT_STREQ(ascii.c_str(), "a");

  ZRUTF8String utf8;
  EXPECT_EQ(utf8.numBytesAllocated(), 0);
  EXPECT_CODE(utf8.assign("\xC3\xA4"), ZRError::eNoError);
  EXPECT_CODE(utf8.assign("\xC3"), ZRError::eBadFormat);
  EXPECT_CODE(utf8.assign(utf8.c_str()), ZRError::eNoError);
  EXPECT_STREQ(utf8.c_str(), "\xC3\xA4");
  EXPECT_EQ(utf8.numBytesUsed(), 2);
  EXPECT_EQ(utf8.numBytesAllocated(), 3);
}

TEST(OnOneLine, TakesControlCharactersOut) {
  struct Case {
    std::string text;
    std::string line;
  };
  const Case cases[] = {
      {"plain \xC3\xA4 \xE2\x82\xAC", "plain \xC3\xA4 \xE2\x82\xAC"},
      {std::string("a\0b\r\n2026 E: <main> c\x1B[2J\x7F", 26), "a b  2026 E: <main> c [2J "},
      {"\xC2\x80|\xC2\x85|\xC2\x9F|\xC2\xA0", " | | |\xC2\xA0"},
      {"\xE2\x80\xA8|\xE2\x80\xA9|\xE2\x80\xAA", " | |\xE2\x80\xAA"},
      {"\x9F\xFF\xC2", "\x9F\xFF\xC2"},  // not UTF-8
      {"\xE2\x80", "\xE2\x80"},
  };
  for (const Case& row : cases)
    EXPECT_EQ(platform::onOneLine(row.text), row.line);
}

}  // namespace

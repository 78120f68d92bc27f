#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <regex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "runtime/Json/JsonValue.h"
#include "runtime/Json/ZRJsonParser.h"
#include "tests/support/ResultMatchers.h"

namespace {

using foundation::json::JsonNode;
using foundation::json::JsonNumber;

// In a buffer of exactly that size, so that a sanitizer sees a look behind the end.
JsonNode parseNode(std::string_view text) {
  const std::vector<char> exact(text.begin(), text.end());
  bool isTooLong = false;
  return foundation::json::parse(exact.empty() ? "" : exact.data(), exact.size(), SIZE_MAX, isTooLong);
}

ZRJsonValue parsed(std::string_view text) {
  ZRJsonValue value;
  EXPECT_CODE(ZRJsonParser::parse(text.data(), text.size(), value), ZRError::eNoError);
  return value;
}

// The kind and value of a scalar, the size of a container.
std::string describe(const JsonNode& node) {
  if (node == nullptr) return "refused";
  if (node->as<JsonNumber>() != nullptr) return "number";
  if (const auto* text = node->as<std::string>()) return "string " + *text;
  if (const auto* flag = node->as<bool>()) return *flag ? "true" : "false";
  if (const auto* array = node->asArray()) return "array " + std::to_string(array->size());
  if (const auto* object = node->asObject()) return "object " + std::to_string(object->size());
  return "null";
}

using namespace std::string_literals;
using namespace std::string_view_literals;

TEST(Json, AcceptsAndRefusesTexts) {
  const struct {
    std::string_view text;
    std::string expected;
  } rows[] = {
      // around and between values
      {"\t\n\v\f\r[ ]", "array 0"},
      {"", "refused"},
      {"{}x", "refused"},
      {"{}\0"sv, "refused"},
      {"\xC2\xA0{}", "refused"},
      // containers
      {"[1,]", "refused"},
      {"[true,false,[],{},\"\",null]", "array 6"},
      {R"({"a":1,})", "refused"},
      {R"({"":1})", "refused"},
      {R"( { "a" : 1 , "b" : [ ] } )", "object 2"},
      {R"({"a":1,"a":2})", "object 1"},
      // strings
      {R"("\"\\\/\b\f\n\r\t")", "string \"\\/\b\f\n\r\t"},
      {"\"raw\ttab and\nline feed\"", "string raw\ttab and\nline feed"},
      {R"("\u0041\u00e9\u20AC")", "string A\xC3\xA9\xE2\x82\xAC"},
      {R"("\uD83D\uDE00")", "string \xED\xA0\xBD\xED\xB8\x80"},
      {R"("a\u0000b")", "string a\0b"s},
      {R"("\x")", "refused"},
      {R"("\u12")", "refused"},
      {"\"open", "refused"},
      {"\"a\0b\""sv, "refused"},
      {"\"\xC0\x80 \xFD\xBF\xBF\xBF\xBF\xBF\"", "string \xC0\x80 \xFD\xBF\xBF\xBF\xBF\xBF"},
      {"\"\xFE\xBF\xBF\xBF\xBF\xBF\xBF\"", "refused"},
      {"\"\xE2\x82\"", "refused"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(describe(parseNode(row.text)), row.expected) << row.text;
}

// The grammar of a number and the C library's conversions, over random texts of its characters.
TEST(Json, NumbersAreThoseOfTheGrammarAndTheCLibrary) {
  static const std::regex kGrammar(R"(-?((0|[1-9][0-9]*)(\.[0-9]*)?|\.[0-9]+)([eE][-+]?[0-9]+)?)");
  static constexpr std::string_view kCharacters = "01234567890123456789012345678901234567890-+.eE";
  std::mt19937 random(4711);
  int accepted = 0;
  for (int i = 0; i < 20'000; ++i) {
    std::string text;
    for (std::size_t length = 1 + random() % 22; text.size() < length;)
      text += kCharacters[random() % kCharacters.size()];
    const JsonNode node = parseNode(text);
    ASSERT_EQ(node != nullptr, std::regex_match(text, kGrammar)) << text;
    if (node == nullptr) continue;
    ++accepted;
    const auto& number = *node->as<JsonNumber>();
    if (text.find_first_of(".eE") != std::string::npos) {
      ASSERT_EQ(number.asDouble, std::strtod(text.c_str(), nullptr)) << text;
    } else if (text[0] == '-') {
      ASSERT_EQ(number.asSigned, std::strtoll(text.c_str(), nullptr, 10)) << text;
    } else {
      ASSERT_EQ(number.asUnsigned, std::strtoull(text.c_str(), nullptr, 10)) << text;
    }
  }
  EXPECT_GT(accepted, 5'000);
}

TEST(Json, FailedParseLeavesTheHandleAlone) {
  ZRJsonValue value = parsed("[1,2,3]");
  EXPECT_CODE(ZRJsonParser::parse("[1,2", value), ZRError::eBadFormat);
  EXPECT_CODE(ZRJsonParser::parse(nullptr, value), ZRError::eBadParameter);
  EXPECT_CODE(value.getItem(2, value), ZRError::eNoError);
}

TEST(Json, IntegersMustFit) {
  constexpr std::uint32_t kGood = ZRError::eNoError;
  constexpr std::uint32_t kTooLong = ZRError::eTooLong;
  const struct {
    const char* text;
    std::uint32_t signedCode;
    std::uint32_t unsignedCode;
  } rows[] = {
      {"2147483648", kTooLong, kGood}, {"4294967296", kTooLong, kTooLong},
      {"-1", kGood, kTooLong},         {"-2147483649", kTooLong, kTooLong},
      {"1.0", kTooLong, kTooLong},     {"\"1\"", ZRError::eBadFormat, ZRError::eBadFormat},
  };
  for (const auto& row : rows) {
    const ZRJsonValue value = parsed(row.text);
    std::int32_t asSigned = 77;
    std::uint32_t asUnsigned = 77;
    EXPECT_CODE(value.getInt32(asSigned), row.signedCode) << row.text;
    EXPECT_CODE(value.getUInt32(asUnsigned), row.unsignedCode) << row.text;
    EXPECT_EQ(asSigned, row.signedCode == kGood ? std::strtoll(row.text, nullptr, 10) : 77) << row.text;
  }
}

TEST(Json, GettersSayWhatIsWrong) {
  const ZRJsonValue object = parsed(R"({"b":true,"s":"x\u0000y","a":[{"n":1}],"a":[{"n":2}]})");
  ZRJsonValue child;
  EXPECT_CODE(object.getMember(nullptr, child), ZRError::eBadParameter);
  EXPECT_CODE(object.getMember("c", child), ZRError::eNotFound);
  EXPECT_CODE(object.getItem(0, child), ZRError::eBadFormat);

  ZRString text("before");
  EXPECT_CODE(getStringMember(object, "b", text), ZRError::eBadFormat);
  EXPECT_CODE(getStringMember(object, "s", text), ZRError::eNoError);
  EXPECT_EQ(text, "x");

  ASSERT_CODE(object.getMember("a", child), ZRError::eNoError);
  EXPECT_CODE(child.getItem(1, child), ZRError::eBadIndex);
  ASSERT_CODE(child.getItem(0, child), ZRError::eNoError) << "into the handle that holds the array";
  std::int32_t number = 0;
  EXPECT_CODE(getInt32Member(child, "n", number), ZRError::eNoError);
  EXPECT_EQ(number, 2) << "of equal keys the last one wins";
}

std::string nested(const char* open, const char* inner, const char* close, int levels) {
  std::string text;
  for (int i = 0; i < levels; ++i)
    text += open;
  text += inner;
  for (int i = 0; i < levels; ++i)
    text += close;
  return text;
}

TEST(Json, MillionLevelsAreParsedReadAndReleased) {
  constexpr int kDeep = 1'000'000;
  const ZRJsonValue array = parsed(nested("[", "7", "]", kDeep));
  // Reading down gives up each level above on the way; the array, held here, is released whole afterwards.
  ZRJsonValue inArray = array;
  ZRJsonValue inObject = parsed(nested("{\"a\":", "7", "}", kDeep));
  bool allRead = true;
  for (int i = 0; i < kDeep && allRead; ++i)
    allRead = inArray.getItem(0, inArray).isSuccess() && inObject.getMember("a", inObject).isSuccess();
  EXPECT_TRUE(allRead);
  std::int32_t number = 0;
  EXPECT_CODE(inArray.getInt32(number), ZRError::eNoError);
  EXPECT_EQ(parseNode(nested("{\"a\":[", "7", "", kDeep / 2)), nullptr);
}

TEST(Json, SharedNodesMayBeReleasedOnSeveralThreads) {
  for (int round = 0; round < 100; ++round) {
    ZRJsonValue root = parsed(nested("[{\"a\":", "7", "}]", 200));
    std::thread other([copy = root]() mutable { copy = ZRJsonValue(); });
    root = ZRJsonValue();
    other.join();
  }
}

}  // namespace

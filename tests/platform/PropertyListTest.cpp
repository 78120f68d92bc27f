#include "platform/PropertyList.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include "tests/platform/Matchers.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace plist = platform::plist;
using platform::Date;
using platform::Seconds;
using plist::Value;
using test::Succeeded;

constexpr std::int64_t kReadCorrupt = 3840;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::string document(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">" +
         body + "</plist>";
}

std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i)
    result += text;
  return result;
}

void expectRead(const std::string& xml, const Value& expected) {
  Value value;
  EXPECT_THAT(plist::parse(document(xml), value), Succeeded()) << xml;
  EXPECT_TRUE(value == expected) << xml;
}

void expectRefused(const std::string& text) {
  Value value = "untouched";
  EXPECT_THAT(plist::parse(text, value), test::HasCode(kReadCorrupt)) << text.substr(0, 250);
  EXPECT_TRUE(value == Value("untouched"));
}

void expectRewritten(const Value& value) {
  Value read;
  EXPECT_THAT(plist::parse(plist::toXml(value), read), Succeeded());
  EXPECT_TRUE(read == value) << plist::toXml(read);
}

TEST(PropertyListXml, ReadsEachType) {
  expectRead("<integer>-9223372036854775808</integer>", std::numeric_limits<std::int64_t>::min());
  expectRead("<real>+1.5e3</real>", 1500.0);
  expectRead("<real>-1.5E999</real>", -kInfinity);
  expectRead("<string> a&lt;b&#x20AC;</string>", " a<b\xE2\x82\xAC");
  expectRead("<date>4001-01-01T00:00:00Z</date>", platform::distantFuture());
  expectRead("<data>\n\tAQ ID\n\tBA==\n</data>", plist::Data{1, 2, 3, 4});
  expectRead("<dict><key>k</key><true/><key>k</key><dict/></dict>",
             plist::Dictionary{{"k", plist::Dictionary{}}});
}

TEST(PropertyListXml, ReadsTheOddFormsToo) {
  expectRead("<integer> -12 </integer>", -12);
  expectRead("<integer>0x1F</integer>", 31);
  expectRead("<integer>18446744073709551615</integer>", std::numeric_limits<std::uint64_t>::max());
  expectRead("<string>a<![CDATA[&]]></string>", "a&");
}

TEST(PropertyListXml, RefusesWhatIsMalformed) {
  const std::string bodies[] = {"",
                                "<date>yesterday</date>",
                                "<data>A*ID</data>",
                                "<dict><string>value first</string></dict>",
                                "<string>\xC0\xAF</string>",
                                "<array>",
                                repeated("<array>", 513) + repeated("</array>", 513),
                                "<array>" + repeated("<true/>", 1'000'000) + "</array>"};
  for (const auto& body : bodies)
    expectRefused(document(body));
  // What a document declares itself could multiply without end.
  expectRefused(
      "<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">]>"
      "<plist><string>&b;</string></plist>");
  expectRefused("<dict/>");
  expectRefused("not XML");
}

TEST(PropertyListXml, RefusesMalformedNumbersAndKeys) {
  for (const char* body : {"<integer>12abc</integer>", "<integer>18446744073709551616</integer>",
                           "<real>0x1p3</real>", "<dict><key>a</key></dict>"})
    expectRefused(document(body));
  Value value;
  const auto error = plist::parse(document("\n\n<integer>x</integer>"), value);
  EXPECT_NE(error.description.find("line 5"), std::string::npos) << error.description;
}

TEST(PropertyListXml, EachTypeSurvivesARewrite) {
  expectRewritten(
      plist::Dictionary{{"real", 0.1},
                        {"infinite", -kInfinity},
                        {"before the epoch", Date(Seconds(-1e9))},
                        {"never", platform::distantFuture()},
                        {"data", plist::Data(100, 0xAB)},
                        {"text", "a\n\tb ]]> \xE2\x82\xAC"},
                        {"<&>", plist::Array{false, plist::Array{}, plist::Dictionary{}, "", 1, 1.0, -7}}});
}

TEST(PropertyListXml, OddValuesSurviveARewrite) {
  expectRewritten(plist::Dictionary{{"ancient", Date(Seconds(-1e11))},
                                    {"uid64", plist::Uid{std::numeric_limits<std::uint64_t>::max()}},
                                    {"line ends\r", "a\r\n\tb \r c \xF0\x9F\x98\x80"}});
}

TEST(PropertyListXml, AnOddTextDoesNotKeepTheRestFromBeingWritten) {
  const plist::Dictionary odd{{"nul", std::string("nul \0", 5)}, {"bytes", "\xFF\xC3\xA4"}, {"k", "v"}};
  const std::string mark = "\xEF\xBF\xBD";
  Value read;
  EXPECT_THAT(plist::parse(plist::toXml(odd), read), Succeeded());
  EXPECT_TRUE(read == (plist::Dictionary{{"nul", "nul " + mark}, {"bytes", mark + "\xC3\xA4"}, {"k", "v"}}));
}

TEST(PropertyListFile, IsReadAsWrittenAndBounded) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "list.plist";
  plist::Dictionary read;
  EXPECT_THAT(plist::readDictionary(path, read), test::FailedWith(ENOENT, path));
  EXPECT_THAT(plist::write(path, plist::Dictionary{{"k", "v"}}), Succeeded());
  EXPECT_THAT(plist::readDictionary(path, read), Succeeded());
  EXPECT_TRUE(read == (plist::Dictionary{{"k", "v"}}));

  EXPECT_THAT(plist::write(path, plist::Array{}), Succeeded());
  EXPECT_THAT(plist::readDictionary(path, read), test::HasCode(kReadCorrupt)) << "no dictionary";
  std::filesystem::resize_file(path, plist::kMaxFileBytes + 1);
  EXPECT_THAT(plist::readDictionary(path, read), test::FailedWith(EFBIG, path));
  EXPECT_EQ(read.size(), 1u) << "a failure leaves it alone";
}

/// A binary list of the given objects; references and offsets take one and two bytes.
std::string binary(const std::vector<std::string>& objects, std::uint8_t top = 0) {
  std::string bytes = "bplist00";
  std::string table;
  const auto append = [](std::string& text, std::uint64_t number, int size) {
    for (int i = size - 1; i >= 0; --i)
      text += static_cast<char>(number >> (8 * i));
  };
  for (const auto& object : objects) {
    append(table, bytes.size(), 2);
    bytes += object;
  }
  const std::size_t tableOffset = bytes.size();
  bytes += table + std::string(6, '\0') + "\x02\x01";
  append(bytes, objects.size(), 8);
  append(bytes, top, 8);
  append(bytes, tableOffset, 8);
  return bytes;
}

std::string object(std::initializer_list<int> bytes) {
  return {bytes.begin(), bytes.end()};
}

TEST(PropertyListBinary, ReadsEachType) {
  const std::pair<std::string, Value> cases[] = {
      {object({0x09}), true},
      {object({0x12, 0xFF, 0xFF, 0xFF, 0xFF}), std::int64_t{4294967295}},
      {object({0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}), -2},
      {object({0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
       std::numeric_limits<std::uint64_t>::max()},
      {object({0x23, 0x3F, 0xF8, 0, 0, 0, 0, 0, 0}), 1.5},
      {object({0x33, 0x42, 0x2D, 0x63, 0xC3, 0x7F, 0, 0, 0}), platform::distantFuture()},
      {object({0x33, 0xBF, 0xF0, 0, 0, 0, 0, 0, 0}), Date(Seconds(978'307'199))},
      {object({0x63, 0x20, 0xAC, 0xD8, 0x3D, 0xDE, 0x00}), "\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {object({0x81, 0x01, 0x00}), plist::Uid{256}},
  };
  for (const auto& [bytes, expected] : cases) {
    Value value;
    EXPECT_THAT(plist::parse(binary({bytes}), value), Succeeded());
    EXPECT_TRUE(value == expected) << plist::toXml(value);
  }
  Value value;
  const auto nested = binary({object({0xD2, 1, 2, 3, 1}), "\x51k", "\x51l", object({0xA2, 1, 1})});
  EXPECT_THAT(plist::parse(nested, value), Succeeded());
  EXPECT_TRUE(value == (plist::Dictionary{{"k", plist::Array{"k", "k"}}, {"l", "k"}})) << plist::toXml(value);
}

TEST(PropertyListBinary, RefusesWhatIsMalformed) {
  std::vector<std::string> bomb;
  for (int level = 1; level <= 40; ++level)
    bomb.push_back(object({0xA2, level, level}));
  bomb.push_back("\x51x");
  std::vector<std::string> largeBomb = {"\xAF\x10\xFF" + std::string(255, '\1'),
                                        "\xAF\x10\xFF" + std::string(255, '\2'),
                                        "\x5F\x11\x10\x01" + std::string(4097, 'x')};
  const std::string lists[] = {binary({}),
                               binary({object({0xA1, 0})}),                        // holds itself
                               binary({object({0xD1, 1, 1}), object({0x10, 1})}),  // a number as key
                               binary({object({0xAF, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})}),
                               binary({object({0x51, 0x80})}),
                               binary({object({0x14, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0})}),
                               binary(bomb),
                               binary(largeBomb),
                               "bplist00"};
  for (std::size_t i = 0; i < std::size(lists); ++i) {
    Value value = "untouched";
    EXPECT_THAT(plist::parse(lists[i], value), test::HasCode(kReadCorrupt)) << "list " << i;
    EXPECT_TRUE(value == Value("untouched"));
  }
}

TEST(PropertyListValue, ConvertsNumbersAndTexts) {
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  struct Case {
    Value value;
    std::int64_t integer;
    bool boolean;
  };
  const Case cases[] = {{std::numeric_limits<std::uint64_t>::max(), kMax, true},
                        {-1e30, kMin, true},
                        {" \t-7759.3 beta", -7759, true},
                        {"-9223372036854775808", kMin, true},
                        {"Yes", 0, true},
                        {"false", 0, false}};
  for (const Case& c : cases) {
    EXPECT_EQ(c.value.integerValue(), c.integer) << plist::toXml(c.value);
    EXPECT_EQ(c.value.booleanValue(), c.boolean) << plist::toXml(c.value);
  }
  EXPECT_EQ(Value(Date()).integerValue(), std::nullopt);
}

}  // namespace

#include "platform/PropertyList.h"

#include <gtest/gtest.h>

#include <cmath>
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

TEST(PropertyListXml, ReadsEachTypeStrictly) {
  struct Case {
    const char* xml;
    Value value;
  };
  const Case accepted[] = {
      {"<integer> -12 </integer>", -12},
      {"<integer>0x1F</integer>", 31},
      {"<integer>18446744073709551615</integer>", std::numeric_limits<std::uint64_t>::max()},
      {"<integer>-9223372036854775808</integer>", std::numeric_limits<std::int64_t>::min()},
      {"<real>+1.5e3</real>", 1500.0},
      {"<real>-Infinity</real>", -kInfinity},
      {"<real>1e999</real>", kInfinity},
      {"<real>-1.5E999</real>", -kInfinity},
      {"<real>1e-999</real>", 0.0},
      {"<true/>", true},
      {"<false></false>", false},
      {"<string> a&lt;b<![CDATA[&]]>&#x20AC;</string>", " a<b&\xE2\x82\xAC"},
      {"<date>4001-01-01T00:00:00Z</date>", platform::distantFuture()},
      {"<data>\n\tAQ ID\n\tBA==\n</data>", plist::Data{1, 2, 3, 4}},
      {"<data/>", plist::Data{}},
      {"<array><integer>1</integer><!-- x --><string/></array>", plist::Array{1, ""}},
      {"<dict><key>k</key><dict/></dict>", plist::Dictionary{{"k", plist::Dictionary{}}}},
      {"<dict><key>k</key><true/><key>k</key><dict/></dict>", plist::Dictionary{{"k", plist::Dictionary{}}}},
      {"<dict><key>CF$UID</key><integer>3</integer></dict>", plist::Uid{3}}};
  for (const Case& c : accepted) {
    Value value;
    EXPECT_THAT(plist::parse(document(c.xml), value), Succeeded()) << c.xml;
    EXPECT_TRUE(value == c.value) << c.xml;
  }
}

TEST(PropertyListXml, RefusesWhatIsMalformed) {
  const std::string bodies[] = {"",
                                "<integer>12abc</integer>",
                                "<integer>18446744073709551616</integer>",
                                "<real>1.5x</real>",
                                "<real>0x1p3</real>",
                                "<real>+-1</real>",
                                "<date>yesterday</date>",
                                "<date>2026-02-30T00:00:00Z</date>",
                                "<data>AQ=</data>",
                                "<data>A*ID</data>",
                                "<true>no</true>",
                                "<set/>",
                                "<dict><string>value first</string></dict>",
                                "<dict><key>a</key></dict>",
                                "<array><key>a</key></array>",
                                "<true/><true/>",
                                "<array>text</array>",
                                "<string><b>bold</b></string>",
                                "<string>&unknown;</string>",
                                "<string>\x01</string>",
                                "<string>\xC0\xAF</string>",
                                "<array>",
                                repeated("<array>", 513) + repeated("</array>", 513),
                                "<array>" + repeated("<true/>", 1'000'000) + "</array>"};
  for (const auto& body : bodies) {
    Value value = "untouched";
    const auto error = plist::parse(document(body), value);
    EXPECT_THAT(error, test::HasCode(kReadCorrupt)) << body.substr(0, 80);
    EXPECT_EQ(error.domain, platform::kCocoaErrorDomain);
    EXPECT_TRUE(value == Value("untouched"));
  }
  Value value;
  EXPECT_THAT(plist::parse(document(repeated("<array>", 512) + repeated("</array>", 512)), value),
              Succeeded());
  for (const std::string text : {"", "<dict/>", "not XML", "<?xml version=\"1.0\"?>"})
    EXPECT_THAT(plist::parse(text, value), test::HasCode(kReadCorrupt)) << text;
  const auto error = plist::parse(document("\n\n<integer>x</integer>"), value);
  EXPECT_NE(error.description.find("line 5"), std::string::npos) << error.description;
}

TEST(PropertyListXml, RefusesDeclaredEntities) {
  const std::string bomb =
      "<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">"
      "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;\">]><plist><string>&c;</string></plist>";
  Value value;
  EXPECT_THAT(plist::parse(bomb, value), test::HasCode(kReadCorrupt));
}

TEST(PropertyListXml, EveryValueSurvivesARewrite) {
  const Value all =
      plist::Dictionary{{"yes", true},
                        {"no", false},
                        {"large", std::numeric_limits<std::uint64_t>::max()},
                        {"real", 0.1},
                        {"infinite", -kInfinity},
                        {"never", platform::distantFuture()},
                        {"ancient", Date(Seconds(-1e11))},
                        {"data", plist::Data(100, 0xAB)},
                        {"uid64", plist::Uid{std::numeric_limits<std::uint64_t>::max()}},
                        {"line ends", "a\r\n\tb \r c ]]> \xF0\x9F\x98\x80"},
                        {"<&>\r", plist::Array{plist::Array{}, plist::Dictionary{}, "", 1, 1.0}}};
  Value read;
  EXPECT_THAT(plist::parse(plist::toXml(all), read), Succeeded());
  EXPECT_TRUE(read == all) << plist::toXml(read);
  EXPECT_THAT(plist::parse(plist::toXml(std::nan("")), read), Succeeded());
  ASSERT_NE(read.as<double>(), nullptr);
  EXPECT_TRUE(std::isnan(*read.as<double>()));
}

TEST(PropertyListXml, AnOddTextDoesNotKeepTheRestFromBeingWritten) {
  const std::string mark = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> cases[] = {
      {"bell \x07!", "bell " + mark + "!"}, {std::string("nul \0", 5), "nul " + mark},
      {"\xFF\xC3\xA4", mark + "\xC3\xA4"},  {"\xC3", mark},
      {"\xED\xA0\x80", mark + mark + mark}, {"\xEF\xBF\xBF", mark}};
  for (const auto& [text, written] : cases) {
    Value read;
    EXPECT_THAT(plist::parse(plist::toXml(plist::Dictionary{{text, text}, {"k", "v"}}), read), Succeeded());
    EXPECT_TRUE(read == (plist::Dictionary{{written, written}, {"k", "v"}})) << plist::toXml(read);
  }
}

TEST(PropertyListFile, IsReadAsWritten) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "list.plist";
  Value value;
  EXPECT_THAT(plist::read(path, value), test::FailedWith(ENOENT, path));
  EXPECT_THAT(plist::write(path, plist::Dictionary{{"k", "v"}}), Succeeded());
  EXPECT_THAT(plist::read(path, value), Succeeded());
  EXPECT_TRUE(value == (plist::Dictionary{{"k", "v"}}));

  std::filesystem::resize_file(path, plist::kMaxFileBytes + 1);
  EXPECT_THAT(plist::read(path, value), test::FailedWith(EFBIG, path));
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
  struct Case {
    std::string bytes;
    Value value;
  };
  const Case cases[] = {
      {object({0x08}), false},
      {object({0x09}), true},
      {object({0x10, 0xFF}), 255},
      {object({0x12, 0xFF, 0xFF, 0xFF, 0xFF}), std::int64_t{4294967295}},
      {object({0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}), -2},
      {object({0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
       std::numeric_limits<std::uint64_t>::max()},
      {object({0x22, 0x3F, 0xC0, 0, 0}), 1.5},
      {object({0x23, 0x3F, 0xF8, 0, 0, 0, 0, 0, 0}), 1.5},
      {object({0x33, 0x42, 0x2D, 0x63, 0xC3, 0x7F, 0, 0, 0}), platform::distantFuture()},
      {object({0x33, 0xBF, 0xF0, 0, 0, 0, 0, 0, 0}), Date(Seconds(978'307'199))},
      {object({0x42, 1, 2}), plist::Data{1, 2}},
      {object({0x52, 'h', 'i'}), "hi"},
      {object({0x5F, 0x10, 2, 'h', 'i'}), "hi"},
      {object({0x63, 0x20, 0xAC, 0xD8, 0x3D, 0xDE, 0x00}), "\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {object({0x81, 0x01, 0x00}), plist::Uid{256}},
  };
  for (const Case& c : cases) {
    Value value;
    EXPECT_THAT(plist::parse(binary({c.bytes}), value), Succeeded());
    EXPECT_TRUE(value == c.value) << plist::toXml(value);
    Value rewritten;
    EXPECT_THAT(plist::parse(plist::toXml(value), rewritten), Succeeded());
    EXPECT_TRUE(rewritten == value) << plist::toXml(value);
  }
  Value value;
  const auto twice = binary({object({0xD2, 1, 1, 2, 3}), "\x51k", "\x51v", "\x51w"});
  EXPECT_THAT(plist::parse(twice, value), Succeeded());
  EXPECT_TRUE(value == (plist::Dictionary{{"k", "w"}})) << plist::toXml(value);
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
                               binary({"\x51x"}, 1),
                               binary({object({0xA1, 0})}),                        // holds itself
                               binary({object({0xD1, 1, 0}), "\x51k"}),            // holds itself as a value
                               binary({object({0xD1, 1, 1}), object({0x10, 1})}),  // a number as key
                               binary({object({0xA1, 9})}),
                               binary({object({0xAF, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})}),
                               binary({object({0x5F, 0x22, 1})}),
                               binary({object({0x51, 0x80})}),
                               binary({object({0x61, 0xD8, 0x00})}),
                               binary({object({0x14, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0})}),
                               binary({object({0x33, 0x7F, 0xF8, 0, 0, 0, 0, 0, 0})}),
                               binary({object({0xC1, 0})}),
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
    std::optional<std::int64_t> integer;
    std::optional<bool> boolean;
  };
  const Case cases[] = {{true, 1, true},
                        {std::numeric_limits<std::uint64_t>::max(), kMax, true},
                        {-1.9, -1, true},
                        {-1e30, kMin, true},
                        {"7759", 7759, true},
                        {" \t-7759.3 beta", -7759, true},
                        {"beta 5", 0, false},
                        {"- 5", 0, false},
                        {"99999999999999999999", kMax, true},
                        {"-9223372036854775808", kMin, true},
                        {"-001", -1, true},
                        {"Yes", 0, true},
                        {"false", 0, false},
                        {plist::Data{1}, std::nullopt, std::nullopt},
                        {Date(), std::nullopt, std::nullopt}};
  for (const Case& c : cases) {
    EXPECT_EQ(c.value.integerValue(), c.integer) << plist::toXml(c.value);
    EXPECT_EQ(c.value.booleanValue(), c.boolean) << plist::toXml(c.value);
  }
}

}  // namespace

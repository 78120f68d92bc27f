#include <gtest/gtest.h>

#include <map>
#include <optional>

#include "runtime/Applications/ZROptionsBroker.h"
#include "tests/support/ResultMatchers.h"

namespace {

using Expected = std::map<const char*, std::optional<const char*>>;

struct Case {
  const char* input;
  Expected options;  ///< none: must not be there
};

void expectOptions(const ZROptionsBroker& broker, const Case& c) {
  for (const auto& [name, expected] : c.options) {
    ZRString value("untouched");
    EXPECT_CODE(broker.getOption(name, value), expected ? ZRError::eNoError : ZRError::eNotFound)
        << name << " of " << c.input;
    EXPECT_STREQ(value.c_str(), expected ? *expected : "untouched") << name << " of " << c.input;
    EXPECT_EQ(broker.hasOption(name), expected.has_value());
  }
}

TEST(Options, AreReadFromAJoinedCommandLine) {
  const Case cases[] = {
      {"\"/DeltaInstall 1234\" ",
       {{"DeltaInstall", "1234\""}, {"deltainstall", "1234\""}, {"DELTAINSTALL", "1234\""}}},
      {"\"/DeltaInstall\" ", {{"DeltaInstall", ""}, {"DeltaInstall\"", {}}}},
      {"\"/A\" \"/B 2\" \"/C\" ", {{"A", ""}, {"B", "2\""}, {"C", ""}}},
      {"\n\t \"/A 1\" ", {{"A", "1\""}}},
      {"\"/A 1\" \"/a 2\" ", {{"A", "2\""}}},
      {"\"/Key xxx\" ", {{"Key", {}}}},
      {"\"/Key x\" \"/Other xyz\" ", {{"Key", {}}, {"Other", "xyz\""}}},
      {"\"/Key X\" ", {{"Key", "X\""}}},
      {"\"/Key \" \"/Other x\" ", {{"Key", ""}, {"Other", {}}}},
      {"\"/Key  two  blanks\" ", {{"Key", " two  blanks\""}}},
      {"\"/\" ", {{"", ""}}},
      {"\"-Verbose\" ", {{"\"Verbose\" ", ""}, {"Verbose", {}}}},
      {"-Verbose", {{"verbose", ""}}},
      {"-/-", {{"", {}}}},
      {"", {{"", {}}}},
      {"\"/CustomParams a=1&b&=c\" ",
       {{"CustomParams", {}}, {"customParam_a", "1"}, {"customParam_b", "b"}, {"customParam_", "c\""}}},
      {"\"/customparams a=1\" ", {{"CustomParams", "a=1\""}, {"customParam_a", {}}}},
      {"\"/CustomParams xx\" ", {{"CustomParams", {}}, {"customParam_xx", {}}}},
  };
  for (const Case& c : cases) {
    ZROptionsBroker broker;
    EXPECT_CODE(broker.parse(c.input), ZRError::eNoError);
    expectOptions(broker, c);
  }
}

TEST(Options, CustomParametersArePairs) {
  const Case cases[] = {
      {"a=1&b&=c", {{"customParam_a", "1"}, {"customParam_b", "b"}, {"customParam_", "c"}}},
      {"&a=1=2&A=3 \n", {{"customParam_a", "3"}}},
      {"a=1&&b=2", {{"customParam_", ""}, {"customParam_b", "2"}}},
  };
  for (const Case& c : cases) {
    ZROptionsBroker broker;
    EXPECT_CODE(broker.parseCustomParams(c.input), ZRError::eNoError);
    expectOptions(broker, c);
  }
  ZROptionsBroker broker;
  ZRString value;
  EXPECT_CODE(broker.parseCustomParams("a=1"), ZRError::eNoError);
  EXPECT_CODE(broker.getCustomParam("A", value), ZRError::eNoError);
  EXPECT_EQ(value, "1");
  EXPECT_CODE(broker.getCustomParam("customParam_a", value), ZRError::eNotFound);
}

TEST(Options, AreOverwrittenOnlyWhenAllowed) {
  ZROptionsBroker broker;
  ZRString value;
  EXPECT_CODE(broker.setOption("Key", "1", false), ZRError::eNoError);
  EXPECT_CODE(broker.setOption("KEY", "2", false), ZRError::eExists);
  EXPECT_CODE(broker.getOption("Key", value), ZRError::eNoError);
  EXPECT_EQ(value, "1");
  EXPECT_CODE(broker.setOption("KEY", "2", true), ZRError::eNoError);
  EXPECT_CODE(broker.getOption("Key", value), ZRError::eNoError);
  EXPECT_EQ(value, "2");
}

}  // namespace

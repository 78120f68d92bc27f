#include <gtest/gtest.h>

#include <map>
#include <optional>

#include "runtime/Applications/ZROptionsBroker.h"
#include "tests/support/ResultMatchers.h"

namespace {

TEST(Options, AreReadFromAJoinedCommandLine) {
  const struct {
    const char* input;
    std::map<const char*, std::optional<const char*>> options;  ///< none: must not be there
  } rows[] = {
      {"\"/DeltaInstall 1234\" ", {{"DeltaInstall", "1234\""}, {"DELTAINSTALL", "1234\""}}},
      {"\"/DeltaInstall\" ", {{"DeltaInstall", ""}, {"DeltaInstall\"", {}}}},
      {"\n\t \"/A\" \"/B 2\" \"/C\" ", {{"A", ""}, {"B", "2\""}, {"C", ""}}},
      {"\"/Key x\" \"/Other xyz\" ", {{"Key", {}}, {"Other", "xyz\""}}},
      {"\"/Key \" \"/Other x\" ", {{"Key", ""}, {"Other", {}}}},
      {"\"/Key  two  blanks\" ", {{"Key", " two  blanks\""}}},
      {"\"/\" ", {{"", ""}}},
      {"\"-Verbose\" ", {{"\"Verbose\" ", ""}, {"Verbose", {}}}},
      {"-/-", {{"", {}}}},
      {"\"/CustomParams a=1=2&b&=c\" ",
       {{"CustomParams", {}}, {"customParam_a", "1=2"}, {"customParam_b", "b"}, {"customParam_", "c\""}}},
      {"\"/CustomParams &a=1&&A=3\" ", {{"customParam_a", "3\""}, {"customParam_", ""}}},
      {"\"/customparams a=1\" ", {{"CustomParams", "a=1\""}, {"customParam_a", {}}}},
  };
  for (const auto& row : rows) {
    ZROptionsBroker broker;
    EXPECT_CODE(broker.parse(row.input), ZRError::eNoError);
    for (const auto& [name, expected] : row.options) {
      ZRString value("untouched");
      EXPECT_CODE(broker.getOption(name, value), expected ? ZRError::eNoError : ZRError::eNotFound)
          << name << " of " << row.input;
      EXPECT_STREQ(value.c_str(), expected.value_or("untouched")) << name << " of " << row.input;
    }
  }
}

TEST(Options, AreOverwrittenOnlyWhenAllowed) {
  ZROptionsBroker broker;
  ZRString value;
  EXPECT_CODE(broker.setOption("Key", "1", false), ZRError::eNoError);
  EXPECT_CODE(broker.setOption("KEY", "2", false), ZRError::eExists);
  EXPECT_CODE(broker.getOption("kEY", value), ZRError::eNoError);
  EXPECT_EQ(value, "1");
}

}  // namespace

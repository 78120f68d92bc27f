#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "runtime/Registry/ZRRegEntry.h"
#include "tests/support/Environment.h"
#include "tests/support/ResultMatchers.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
namespace plist = platform::plist;

class Registry : public testing::Test {
 protected:
  Registry() {
    EXPECT_CODE(entry.open("Software/KorvaneInc/Vantora", ZRRegEntry::eCurrentUserThisHost), 2000);
  }

  test::Sandbox sandbox;
  ZRClearEntry entry;
};

TEST_F(Registry, MapsKeyPathsOntoApplications) {
  const struct {
    const char* path;
    const char* application;
    const char* prefix;
  } rows[] = {
      {"Software/KorvaneInc/Vantora QA", "com.korvane.Vantora QA", ""},
      {"Software/KorvaneInc/Vantora/", "com.korvane.Vantora", ""},
      {"Software/KorvaneInc/Vantora/Sub/Key", "com.korvane.Vantora", "Sub/Key"},
      {"SOFTWARE/halvard/Vantora", "com.korvane.Vantora", ""},
      {"Software/KorvaneInc/", "com.korvane", ""},
      {"com.korvane.Other/Sub/Key", "com.korvane.Other", "Sub/Key"},
      {"Software/Else/Vantora", "com.korvane", "Software/Else/Vantora"},
  };
  for (const auto& row : rows) {
    EXPECT_CODE(entry.open(row.path, 1), ZRError::eNoError);
    EXPECT_EQ(entry.application(), row.application) << row.path;
    EXPECT_EQ(entry.keyPrefix(), row.prefix) << row.path;
  }
}

TEST_F(Registry, WhatOneEntryStoresAnotherReadsInItsScope) {
  for (const std::uint32_t scope : {0U, 1U, 2U}) {
    ZRClearEntry scoped;
    EXPECT_CODE(scoped.open("Software/KorvaneInc/Vantora", scope), ZRError::eNoError);
    EXPECT_CODE(scoped.setString("Name", ZRString(std::to_string(scope))), ZRError::eNoError);
  }
  for (const auto& [scope, expected] : {std::pair(0U, "0"), {1U, "1"}, {2U, "2"}, {77U, "1"}}) {
    ZRClearEntry scoped;
    ZRString value;
    EXPECT_CODE(scoped.open("Software/Halvard/Vantora", scope), ZRError::eNoError);
    EXPECT_CODE(scoped.getString("Name", value), ZRError::eNoError);
    EXPECT_EQ(value, expected) << scope;
  }
}

TEST_F(Registry, MissingAndForeignValuesGiveTheDefault) {
  EXPECT_CODE(entry.setValue("Number", 5), ZRError::eNoError);
  for (const auto& [name, code] :
       {std::pair("None", ZRError::eNotFound), {"Number", ZRError::eInvalidType}}) {
    ZRString text("before");
    EXPECT_CODE(entry.getString(name, text, "default"), code);
    EXPECT_EQ(text, "default");
    std::vector<ZRString> list = {"before"};
    EXPECT_CODE(entry.getStringList(name, list), code);
    EXPECT_THAT(list, IsEmpty());
  }
  EXPECT_CODE(entry.setString("Text", "5\n6"), ZRError::eNoError);
  std::int32_t number = 9;
  EXPECT_CODE(entry.getNumber("Text", number), ZRError::eInvalidType);
  EXPECT_EQ(number, 9);
  std::vector<ZRString> list;
  EXPECT_CODE(entry.getStringList("Text", list), ZRError::eNoError);
  EXPECT_THAT(list, ElementsAre("5", "6"));
}

template <typename T>
void expectNumber(const ZRRegEntry& entry, std::optional<T> expected) {
  T value = 0;
  EXPECT_CODE(entry.getNumber("Number", value), expected ? ZRError::eNoError : ZRError::eInvalidType);
  EXPECT_EQ(value, expected.value_or(T{0}));
}

TEST_F(Registry, ConvertsNumbersExactlyOrNotAtAll) {
  constexpr auto kMax64 = std::numeric_limits<std::int64_t>::max();
  const struct {
    plist::Value stored;
    std::optional<std::int32_t> asInt32;
    std::optional<std::uint32_t> asUInt32;
    std::optional<std::int64_t> asInt64;
    std::optional<double> asDouble;
  } rows[] = {
      {-1, -1, {}, -1, -1.0},
      {kMax64, {}, {}, kMax64, {}},
      {std::numeric_limits<std::uint64_t>::max(), {}, {}, {}, {}},
      {2.5, {}, {}, {}, 2.5},
      {4e9, {}, 4'000'000'000, 4'000'000'000, 4e9},
      {1e300, {}, {}, {}, 1e300},
  };
  for (const auto& row : rows) {
    EXPECT_CODE(entry.setValue("Number", row.stored), ZRError::eNoError);
    expectNumber(entry, row.asInt32);
    expectNumber(entry, row.asUInt32);
    expectNumber(entry, row.asInt64);
    expectNumber(entry, row.asDouble);
  }
}

TEST_F(Registry, AStoreThatCannotBeWrittenIsAnswered) {
  test::writeFile(sandbox.library() + "/Preferences", "a file where the folder should be");
  EXPECT_CODE(entry.setString("Name", "x"), ZRError::eIOError);
  EXPECT_CODE(entry.deleteValue("Name"), ZRError::eNoError);
}

}  // namespace

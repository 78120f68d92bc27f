#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

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
      {"com.korvane.Other/Sub/Key", "com.korvane.Other", "Sub/Key"},
      {"Software/Else/Vantora", "com.korvane", "Software/Else/Vantora"},
  };
  for (const auto& row : rows) {
    EXPECT_CODE(entry.open(row.path, 1), ZRError::eNoError);
    EXPECT_EQ(entry.application(), row.application) << row.path;
    EXPECT_EQ(entry.keyPrefix(), row.prefix) << row.path;
  }
}

TEST_F(Registry, MissingAndForeignValuesGiveTheDefault) {
  EXPECT_CODE(entry.setValue("Number", 5), ZRError::eNoError);
  ZRString text("before");
  EXPECT_CODE(entry.getString("None", text), ZRError::eNotFound);
  EXPECT_EQ(text, "");
  EXPECT_CODE(entry.getString("Number", text, "default"), ZRError::eInvalidType);
  EXPECT_EQ(text, "default");
  std::vector<ZRString> list = {"before"};
  EXPECT_CODE(entry.getStringList("Number", list), ZRError::eInvalidType);
  EXPECT_THAT(list, IsEmpty());
  EXPECT_CODE(entry.setString("Text", "5\n6"), ZRError::eNoError);
  std::int32_t number = 9;
  EXPECT_CODE(entry.getNumber("Text", number), ZRError::eInvalidType);
  EXPECT_EQ(number, 9);
  EXPECT_CODE(entry.getStringList("Text", list), ZRError::eNoError);
  EXPECT_THAT(list, ElementsAre("5", "6"));
}

TEST_F(Registry, ConvertsNumbersExactlyOrNotAtAll) {
  const struct {
    plist::Value stored;
    std::optional<std::int32_t> asSigned;
    std::optional<std::uint32_t> asUnsigned;
  } rows[] = {{-1, -1, {}}, {2.5, {}, {}}, {4e9, {}, 4'000'000'000}, {1e300, {}, {}}};
  for (const auto& row : rows) {
    EXPECT_CODE(entry.setValue("Number", row.stored), ZRError::eNoError);
    std::int32_t asSigned = 0;
    EXPECT_EQ(entry.getNumber("Number", asSigned).isSuccess(), row.asSigned.has_value());
    EXPECT_EQ(asSigned, row.asSigned.value_or(0));
    std::uint32_t asUnsigned = 0;
    EXPECT_EQ(entry.getNumber("Number", asUnsigned).isSuccess(), row.asUnsigned.has_value());
    EXPECT_EQ(asUnsigned, row.asUnsigned.value_or(0));
  }
}

TEST_F(Registry, AStoreThatCannotBeWrittenIsAnswered) {
  test::writeFile(sandbox.library() + "/Preferences", "a file where the folder should be");
  EXPECT_CODE(entry.setString("Name", "x"), ZRError::eIOError);
  EXPECT_CODE(entry.deleteValue("Name"), ZRError::eNoError);
}

}  // namespace

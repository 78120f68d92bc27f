#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
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
  struct Case {
    const char* path;
    const char* application;
    const char* prefix;
  };
  const Case cases[] = {
      {"Software/KorvaneInc/Vantora", "com.korvane.Vantora", ""},
      {"Software/KorvaneInc/Vantora QA", "com.korvane.Vantora QA", ""},
      {"Software/KorvaneInc/Vantora/", "com.korvane.Vantora", ""},
      {"Software/KorvaneInc/Vantora/Sub/Key", "com.korvane.Vantora", "Sub/Key"},
      {"SOFTWARE/halvard/Vantora", "com.korvane.Vantora", ""},
      {"software/Korvane/Vantora/Sub", "com.korvane.Vantora", "Sub"},
      {"Software/KorvaneInc/", "com.korvane", ""},
      {"com.korvane.Other", "com.korvane.Other", ""},
      {"com.korvane.Other/Sub/Key", "com.korvane.Other", "Sub/Key"},
      {"Software/Else/Vantora", "com.korvane", "Software/Else/Vantora"},
  };
  for (const Case& c : cases) {
    ZRClearEntry mapped;
    EXPECT_CODE(mapped.open(c.path, 1), ZRError::eNoError);
    EXPECT_EQ(mapped.application(), c.application) << c.path;
    EXPECT_EQ(mapped.keyPrefix(), c.prefix) << c.path;
  }
}

TEST_F(Registry, KeepsScopesApart) {
  for (const std::uint32_t scope : {0u, 1u, 2u}) {
    ZRClearEntry scoped;
    EXPECT_CODE(scoped.open("Software/KorvaneInc/Vantora", scope), ZRError::eNoError);
    EXPECT_CODE(scoped.setString("Name", ZRString(std::to_string(scope))), ZRError::eNoError);
  }
  for (const auto& [scope, expected] : {std::pair(0u, "0"), {1u, "1"}, {2u, "2"}, {3u, "1"}, {77u, "1"}}) {
    ZRClearEntry scoped;
    ZRString value;
    EXPECT_CODE(scoped.open("Software/Halvard/Vantora", scope), ZRError::eNoError);
    EXPECT_CODE(scoped.getString("Name", value), ZRError::eNoError);
    EXPECT_EQ(value, expected) << scope;
  }
}

TEST_F(Registry, MissingAndForeignValuesGiveTheDefault) {
  EXPECT_CODE(entry.setValue("Number", 5), ZRError::eNoError);
  EXPECT_CODE(entry.setValue("Flag", true), ZRError::eNoError);
  EXPECT_CODE(entry.setString("Text", "5"), ZRError::eNoError);
  for (const auto& [name, code] :
       {std::pair("None", ZRError::eNotFound), {"Number", ZRError::eInvalidType}}) {
    ZRString text("before");
    EXPECT_CODE(entry.getString(name, text, "default"), code);
    EXPECT_EQ(text, "default");
    ZRMemBlock data;
    EXPECT_CODE(entry.getData(name, data, ZRMemBlock("ab", 2)), code);
    EXPECT_EQ(data.size(), 2u);
    std::vector<ZRString> list = {"before"};
    EXPECT_CODE(entry.getStringList(name, list), code);
    EXPECT_THAT(list, IsEmpty());
  }
  std::int32_t number = 9;
  EXPECT_CODE(entry.getNumber("Text", number), ZRError::eInvalidType);
  EXPECT_CODE(entry.getNumber("Flag", number), ZRError::eInvalidType);
  EXPECT_CODE(entry.getNumber("None", number), ZRError::eNotFound);
  EXPECT_EQ(number, 9);
}

TEST_F(Registry, ReadsWhatWasStored) {
  const ZRMemBlock bytes("\x00\xFFz", 3);
  EXPECT_CODE(entry.setString("List", "a\nb"), ZRError::eNoError);
  EXPECT_CODE(entry.setValue("Data", plist::Data{0, 0xFF, 'z'}), ZRError::eNoError);
  std::vector<ZRString> list;
  EXPECT_CODE(entry.getStringList("List", list), ZRError::eNoError);
  EXPECT_THAT(list, ElementsAre("a", "b"));
  ZRMemBlock data("longer before", 13);
  EXPECT_CODE(entry.getData("Data", data), ZRError::eNoError);
  EXPECT_EQ(std::string(data.data(), data.data() + data.size()), std::string("\x00\xFFz", 3));
}

template <typename T>
std::uint32_t codeOfReading(const ZRRegEntry& entry, T expected) {
  T value = 0;
  const ZRResult result = entry.getNumber("Number", value);
  EXPECT_EQ(value, result.isSuccess() ? expected : T{0});
  return result.code();
}

TEST_F(Registry, ConvertsNumbersExactlyOrNotAtAll) {
  const auto store = [this](const plist::Value& value) {
    EXPECT_CODE(entry.setValue("Number", value), 2000);
  };
  constexpr std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();
  store(-1);
  EXPECT_EQ(codeOfReading<std::int32_t>(entry, -1), ZRError::eNoError);
  EXPECT_EQ(codeOfReading<double>(entry, -1), ZRError::eNoError);
  EXPECT_EQ(codeOfReading<std::uint32_t>(entry, 0), ZRError::eInvalidType);
  EXPECT_EQ(codeOfReading<std::uint64_t>(entry, 0), ZRError::eInvalidType);
  store(kMax64);
  EXPECT_EQ(codeOfReading<std::int64_t>(entry, kMax64), ZRError::eNoError);
  EXPECT_EQ(codeOfReading<std::int32_t>(entry, 0), ZRError::eInvalidType);
  EXPECT_EQ(codeOfReading<double>(entry, 0), ZRError::eInvalidType);
  EXPECT_EQ(codeOfReading<float>(entry, 0), ZRError::eInvalidType);
  store(std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(codeOfReading<double>(entry, -std::ldexp(1.0, 63)), ZRError::eNoError);
  store(std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(codeOfReading<std::int64_t>(entry, 0), ZRError::eInvalidType);
  EXPECT_EQ(codeOfReading<double>(entry, 0), ZRError::eInvalidType);
  store(2.5);
  EXPECT_EQ(codeOfReading<float>(entry, 2.5F), ZRError::eNoError);
  EXPECT_EQ(codeOfReading<std::int32_t>(entry, 0), ZRError::eInvalidType);
  store(4e9);
  EXPECT_EQ(codeOfReading<std::uint32_t>(entry, 4'000'000'000), ZRError::eNoError);
  EXPECT_EQ(codeOfReading<std::int32_t>(entry, 0), ZRError::eInvalidType);
  store(1e300);
  EXPECT_EQ(codeOfReading<float>(entry, 0), ZRError::eInvalidType);
  EXPECT_EQ(codeOfReading<std::uint64_t>(entry, 0), ZRError::eInvalidType);
}

TEST_F(Registry, AStoreThatCannotBeWrittenIsAnswered) {
  test::writeFile(sandbox.library() + "/Preferences", "a file where the folder should be");
  EXPECT_CODE(entry.setString("Name", "x"), ZRError::eIOError);
  EXPECT_CODE(entry.deleteValue("Name"), ZRError::eNoError);
}

}  // namespace

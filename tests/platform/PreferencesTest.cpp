#include "platform/Preferences.h"

#include <gtest/gtest.h>

#include "tests/platform/Matchers.h"
#include "tests/platform/Processes.h"
#include "tests/support/Environment.h"

namespace {

namespace preferences = platform::preferences;
namespace plist = platform::plist;
using preferences::Host;
using preferences::Scope;
using preferences::User;
using test::Succeeded;

const std::string kApplication = "com.korvane.Vantora";
const Scope kCommon{kApplication, User::current, Host::any};

class Preferences : public testing::Test {
 protected:
  test::Sandbox sandbox;
  std::string folder = sandbox.library() + "/Preferences";
  std::string file = folder + "/" + kApplication + ".plist";
};

TEST_F(Preferences, EachScopeIsAStoreOfItsOwn) {
  const std::pair<Scope, std::string> stores[] = {
      {kCommon, file},
      {{kApplication, User::any, Host::current},
       sandbox.root() + "/Library/Preferences/" + kApplication + ".plist"},
      {{kApplication, User::any, Host::any},
       sandbox.root() + "/Network/Library/Preferences/" + kApplication + ".plist"}};
  for (const auto& [scope, store] : stores)
    preferences::setValue("store", store, scope);
  preferences::setValue("store", "host", {kApplication});
  EXPECT_TRUE(preferences::synchronize(kApplication));
  for (const auto& [scope, store] : stores) {
    plist::Dictionary values;
    EXPECT_THAT(plist::readDictionary(store, values), Succeeded());
    EXPECT_TRUE(values == (plist::Dictionary{{"store", store}})) << store;
    EXPECT_EQ(preferences::copyValue("store", scope), plist::Value(store));
  }
  EXPECT_EQ(preferences::copyValue("store", {kApplication}), plist::Value("host"));
}

TEST_F(Preferences, ChangesAreSeenHereAtOnceAndElsewhereWhenSynchronised) {
  preferences::setValue("key", "value", kCommon);
  EXPECT_EQ(preferences::copyValue("key", kCommon), plist::Value("value"));
  EXPECT_FALSE(test::exists(folder));
  EXPECT_TRUE(preferences::synchronize(kApplication));

  // Another process adds a key; it stays, and ours goes.
  ASSERT_THAT(plist::write(file, plist::Dictionary{{"key", "value"}, {"other", 1}}), Succeeded());
  preferences::setValue("key", std::nullopt, kCommon);
  EXPECT_TRUE(preferences::synchronize(kApplication));
  EXPECT_THAT(preferences::copyKeyList(kCommon), testing::ElementsAre("other"));
}

TEST_F(Preferences, AStoreThatCannotBeReadIsLeftAsItIs) {
  for (const std::string contents : {"garbage", "<plist><array/></plist>", ""}) {
    test::writeFile(file, contents);
    preferences::setValue("key", 1, kCommon);
    EXPECT_FALSE(preferences::synchronize(kApplication)) << contents;
    EXPECT_EQ(test::readFile(file), contents);
    EXPECT_EQ(preferences::copyValue("key", kCommon), std::nullopt) << "the change is dropped";
  }
  preferences::setValue("key", 1, {"../escape"});
  EXPECT_FALSE(preferences::synchronize("../escape"));
}

TEST_F(Preferences, WritersInSeveralProcessesLoseNothing) {
  constexpr int kKeys = 40;
  test::inProcesses(4, [](int writer) {
    bool written = true;
    for (int key = 0; key < kKeys; ++key) {
      preferences::setValue(std::to_string(writer) + "-" + std::to_string(key), key, kCommon);
      written = preferences::synchronize(kApplication) && written;
    }
    return written;
  });
  EXPECT_EQ(preferences::copyKeyList(kCommon).size(), std::size_t{4} * kKeys);
}

}  // namespace

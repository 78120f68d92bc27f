#include "platform/ApplicationRegistry.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/platform/Matchers.h"
#include "tests/platform/Processes.h"
#include "tests/support/Bundles.h"
#include "tests/support/Environment.h"
#include "tests/support/FixedClock.h"
#include "tests/support/OrdinaryUser.h"

namespace {

namespace fs = std::filesystem;
namespace applications = platform::applications;
using testing::ElementsAre;
using testing::IsEmpty;

void makeApplication(const std::string& path, std::uint32_t build) {
  test::makeBundle(path, {.build = build, .identifier = "com.korvane.Vantora"});
}

class ApplicationRegistryTest : public testing::Test {
 protected:
  /// Makes the bundle in the computer's Applications folder and answers its path.
  std::string make(const std::string& name, std::uint32_t build) const {
    const std::string path = place(name);
    makeApplication(path, build);
    return path;
  }
  [[nodiscard]] std::string place(const std::string& name) const {
    return sandbox.root() + "/Applications/" + name;
  }
  static std::vector<std::string> all() { return applications::applicationsForUrlScheme("vantora").paths; }

  test::Sandbox sandbox;
  std::string elsewhere = sandbox.folder() / "elsewhere";
  std::string database = sandbox.home() + "/.local/share/vantora/applications.sqlite3";
};

TEST_F(ApplicationRegistryTest, FindsBundlesInTheUsualPlaces) {
  const auto b = make("b.app", 2);
  const auto a = make("a.app", 1);
  const auto nested = make("Vantora/c.app", 3);
  for (const char* unseen :
       {"Vantora/deeper/d.app", ".hidden/e.app", "no bundle", "inner.app/Contents/f.app"})
    make(unseen, 4);
  const auto desktop = sandbox.home() + "/Desktop/g.app";
  const auto users = sandbox.home() + "/Applications/Vantora/h.app";
  for (const auto& path : {desktop, users, elsewhere + "/linked.app", elsewhere + "/folder/i.app"})
    makeApplication(path, 5);
  fs::create_directory_symlink(elsewhere + "/linked.app", place("z.app"));
  fs::create_directory_symlink(elsewhere + "/folder", place("zz"));
  fs::create_directory_symlink(place(""), place("zzz"));
  EXPECT_THAT(all(), ElementsAre(users, desktop, nested, a, b, place("z.app"), place("zz/i.app")));
  EXPECT_THAT(applications::applicationsForUrlScheme("VANTORA2").paths, ElementsAre(b));
  EXPECT_THAT(applications::applicationsForBundleIdentifier("com.KORVANE.vantora").paths, all());
  EXPECT_THAT(applications::applicationsForBundleIdentifier("com.korvane").paths, IsEmpty());
}

TEST_F(ApplicationRegistryTest, ADictionaryThatMakesNoSenseHidesABundleForADay) {
  test::writeFile(place("bad.app/Contents/Info.plist"), "garbage");
  EXPECT_FALSE(applications::applicationsForUrlScheme("vantora").sawEverything);
  test::FixedClock clock;
  clock.advance(static_cast<double>(time(nullptr) + 90'000) - clock.now().time_since_epoch().count());
  EXPECT_TRUE(applications::applicationsForUrlScheme("vantora").sawEverything);
}

TEST_F(ApplicationRegistryTest, KeepsTheOrderOfRegistrationThroughChangesAndMoves) {
  const auto far = elsewhere + "/x.app";
  makeApplication(far, 9);
  const auto b = make("b.app", 2);
  for (const auto& path : {b + "/", far, b})
    EXPECT_THAT(applications::registerApplication(path), test::Succeeded());
  const auto a = make("a.app", 1);
  EXPECT_THAT(all(), ElementsAre(b, far, a));

  test::makeBundle(b, {.version = "7", .schemes = {{"vantora", "new"}}, .identifier = "x"});
  EXPECT_THAT(applications::applicationsForUrlScheme("new").paths, ElementsAre(b)) << "changed in place";
  fs::create_directories(place("Vantora"));
  fs::rename(b, place("Vantora/moved.app"));
  make("b.app", 5);
  EXPECT_THAT(all(), ElementsAre(place("Vantora/moved.app"), far, a, b));

  fs::remove_all(far);
  fs::remove(a + "/Contents/Info.plist");
  EXPECT_THAT(all(), ElementsAre(place("Vantora/moved.app"), b));
  makeApplication(far, 9);
  EXPECT_THAT(all(), ElementsAre(place("Vantora/moved.app"), b)) << "a removed one is unknown";
}

TEST_F(ApplicationRegistryTest, RefusesWhatIsNoApplication) {
  test::writeFile(elsewhere + "/bad.app/Contents/Info.plist", "garbage");
  EXPECT_THAT(applications::registerApplication(elsewhere + "/none.app"), test::HasCode(-43));
  for (const char* name : {"", "/bad.app"})
    EXPECT_THAT(applications::registerApplication(elsewhere + name), test::HasCode(-10811)) << name;
  EXPECT_FALSE(test::exists(database));
}

TEST_F(ApplicationRegistryTest, ACorruptDatabaseIsSetAside) {
  const auto a = make("a.app", 1);
  const auto far = elsewhere + "/x.app";
  makeApplication(far, 9);
  ASSERT_THAT(applications::registerApplication(far), test::Succeeded());
  const std::string sound = test::readFile(database);
  for (const std::string& contents : {std::string("garbage of no kind at all"), sound.substr(0, 4'096)}) {
    test::writeFile(database, contents);
    EXPECT_THAT(all(), ElementsAre(a)) << "the usual places are still known";
    EXPECT_EQ(test::readFile(database + ".corrupt"), contents);
    EXPECT_THAT(applications::registerApplication(far), test::Succeeded());
    EXPECT_THAT(all(), ElementsAre(a, far));
  }
}

TEST_F(ApplicationRegistryTest, WhatCannotBeReadNowCountsAsWhatItWas) {
  const auto a = make("a.app", 1);
  const auto b = make("b.app", 2);
  ASSERT_THAT(applications::registerApplication(a), test::Succeeded());
  ASSERT_THAT(all(), ElementsAre(a, b));
  const test::OrdinaryUser user;
  for (const auto& closed : {a, a + "/Contents", a + "/Contents/Info.plist"}) {
    chmod(closed.c_str(), 0);
    const auto found = applications::applicationsForUrlScheme("vantora1");
    EXPECT_THAT(found.paths, ElementsAre(a)) << closed;
    EXPECT_FALSE(found.sawEverything) << closed;
    chmod(closed.c_str(), 0755);
  }
}

TEST_F(ApplicationRegistryTest, WritersInSeveralProcessesLoseNothing) {
  constexpr std::uint32_t kBundles = 15;
  test::inProcesses(3, [this](int writer) {
    bool registered = true;
    for (std::uint32_t bundle = 0; bundle < kBundles; ++bundle) {
      const auto path = elsewhere + "/" + std::to_string(writer) + "-" + std::to_string(bundle) + ".app";
      makeApplication(path, bundle);
      registered = !applications::registerApplication(path).failed() && !all().empty() && registered;
    }
    return registered;
  });
  EXPECT_EQ(all().size(), std::size_t{3} * kBundles);
}

}  // namespace

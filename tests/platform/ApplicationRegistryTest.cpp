#include "platform/ApplicationRegistry.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "platform/PropertyList.h"
#include "tests/platform/Matchers.h"
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
  const auto second = make("b.app", 2);
  const auto first = make("a.app", 1);
  const auto nested = make("Vantora/c.app", 3);
  make("Vantora/deeper/d.app", 4);
  make(".hidden/e.app", 5);
  make("no bundle", 6);
  make("inner.app/Contents/f.app", 7);
  const auto desktop = sandbox.home() + "/Desktop/g.app";
  const auto users = sandbox.home() + "/Applications/Vantora/h.app";
  makeApplication(desktop, 8);
  makeApplication(users, 9);
  test::writeFile(place("file.app"), "");
  test::writeFile(place("bad.app/Contents/Info.plist"), "garbage");
  test::writeFile(place("odd.app/Contents/Info.plist"),
                  platform::plist::toXml(platform::plist::Dictionary{{"CFBundleURLTypes", "none"}}));
  fs::create_directory_symlink(second, place("link.app"));
  test::makeBundle(elsewhere + "/linked.app", {.build = 10});
  test::makeBundle(elsewhere + "/folder/i.app", {.build = 11});
  fs::create_directory_symlink(elsewhere + "/linked.app", place("z.app"));
  fs::create_directory_symlink(elsewhere + "/folder", place("zz"));
  fs::create_directory_symlink(place(""), place("zzz"));
  const auto linked = place("z.app");
  const auto inLinked = place("zz/i.app");
  EXPECT_THAT(all(), ElementsAre(users, desktop, nested, first, second, linked, inLinked));
  EXPECT_THAT(applications::applicationsForUrlScheme("VANTORA2").paths, ElementsAre(second));
  EXPECT_THAT(applications::applicationsForUrlScheme("vantora4").paths, IsEmpty());
  EXPECT_THAT(applications::applicationsForBundleIdentifier("com.korvane.vantora").paths,
              ElementsAre(users, desktop, nested, first, second));
  EXPECT_FALSE(applications::applicationsForUrlScheme("vantora").sawEverything) << "bad.app is new";
  test::FixedClock clock;
  clock.advance(static_cast<double>(time(nullptr) + 90'000) - clock.now().time_since_epoch().count());
  EXPECT_TRUE(applications::applicationsForUrlScheme("vantora").sawEverything) << "and will always be bad";
  EXPECT_THAT(applications::applicationsForBundleIdentifier("com.korvane").paths, IsEmpty());
}

TEST_F(ApplicationRegistryTest, KeepsTheOrderOfRegistration) {
  const auto far = elsewhere + "/x.app";
  makeApplication(far, 9);
  const auto b = make("b.app", 2);
  EXPECT_THAT(applications::registerApplication(b + "/"), test::Succeeded());
  EXPECT_THAT(applications::registerApplication(far), test::Succeeded());
  const auto a = make("a.app", 1);
  EXPECT_THAT(all(), ElementsAre(b, far, a));
  EXPECT_THAT(applications::registerApplication(b), test::Succeeded());
  const auto c = make("0.app", 3);
  EXPECT_THAT(all(), ElementsAre(b, far, a, c));

  // Changed in place: another scheme, the same place in the order.
  test::makeBundle(b, {.version = "7", .schemes = {{"vantora", "new"}}, .identifier = "x"});
  EXPECT_THAT(applications::applicationsForUrlScheme("new").paths, ElementsAre(b));
  EXPECT_THAT(applications::applicationsForUrlScheme("vantora2").paths, IsEmpty());
  EXPECT_THAT(all(), ElementsAre(b, far, a, c));
}

TEST_F(ApplicationRegistryTest, FollowsMovesAndForgetsWhatIsGone) {
  const auto far = elsewhere + "/x.app";
  makeApplication(far, 9);
  const auto a = make("a.app", 1);
  const auto b = make("b.app", 2);
  for (const auto& path : {far, b, a})
    ASSERT_THAT(applications::registerApplication(path), test::Succeeded());
  fs::create_directories(place("Vantora"));
  fs::rename(b, place("Vantora/moved.app"));
  EXPECT_THAT(all(), ElementsAre(far, place("Vantora/moved.app"), a));

  // Two trade places.
  fs::rename(a, place("aside"));
  fs::rename(place("Vantora/moved.app"), a);
  fs::rename(place("aside"), place("Vantora/moved.app"));
  EXPECT_THAT(all(), ElementsAre(far, a, place("Vantora/moved.app")));

  // One is replaced by another build under the same name.
  fs::remove_all(a);
  make("a.app", 5);
  EXPECT_THAT(all(), ElementsAre(far, a, place("Vantora/moved.app")));
  EXPECT_THAT(applications::applicationsForUrlScheme("vantora5").paths, ElementsAre(a));

  fs::remove_all(far);
  fs::remove(a + "/Contents/Info.plist");
  EXPECT_THAT(all(), ElementsAre(place("Vantora/moved.app")));
  makeApplication(far, 9);
  EXPECT_THAT(all(), ElementsAre(place("Vantora/moved.app"))) << "a removed one is unknown";
}

TEST_F(ApplicationRegistryTest, RefusesWhatIsNoApplication) {
  test::makeFolder(elsewhere + "/empty.app");
  test::writeFile(elsewhere + "/bad.app/Contents/Info.plist", "garbage");
  test::writeFile(elsewhere + "/file.app", "x");
  const std::pair<const char*, int> cases[] = {
      {"/none.app", -43}, {"/empty.app", -10811}, {"/bad.app", -10811}, {"/file.app", -10811}};
  for (const auto& [name, code] : cases) {
    const auto error = applications::registerApplication(elsewhere + name);
    EXPECT_THAT(error, test::HasCode(code)) << name;
    EXPECT_EQ(error.domain, platform::kOSStatusErrorDomain);
  }
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

TEST_F(ApplicationRegistryTest, AnUnusableDatabaseCostsOnlyTheOrder) {
  const auto b = make("b.app", 2);
  ASSERT_THAT(applications::registerApplication(b), test::Succeeded());
  const auto a = make("a.app", 1);
  const test::OrdinaryUser user;
  chmod(database.c_str(), 0444);
  chmod(fs::path(database).parent_path().c_str(), 0555);
  EXPECT_THAT(all(), ElementsAre(b, a)) << "read, though not written";
  EXPECT_THAT(applications::registerApplication(a), test::HasCode(-10822));
  chmod(database.c_str(), 0);
  EXPECT_THAT(all(), ElementsAre(a, b));
  EXPECT_FALSE(applications::applicationsForUrlScheme("vantora").sawEverything);
  chmod(fs::path(database).parent_path().c_str(), 0755);
  fs::remove(database);
  fs::create_directory(database);
  EXPECT_THAT(all(), ElementsAre(a, b));
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
  constexpr std::uint32_t kWriters = 3;
  constexpr std::uint32_t kBundles = 15;
  const auto path = [this](std::uint32_t writer, std::uint32_t bundle) {
    return elsewhere + "/" + std::to_string(writer) + "-" + std::to_string(bundle) + ".app";
  };
  for (std::uint32_t writer = 0; writer < kWriters; ++writer) {
    if (fork() != 0) continue;
    bool registered = true;
    for (std::uint32_t bundle = 0; bundle < kBundles; ++bundle) {
      makeApplication(path(writer, bundle), bundle);
      registered = !applications::registerApplication(path(writer, bundle)).failed() && registered;
      registered = !all().empty() && registered;
    }
    _exit(registered ? 0 : 1);
  }
  for (std::uint32_t writer = 0; writer < kWriters; ++writer) {
    int status = -1;
    EXPECT_GT(wait(&status), 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(all().size(), static_cast<std::size_t>(kWriters * kBundles));
}

}  // namespace

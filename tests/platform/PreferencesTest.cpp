#include "platform/Preferences.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "tests/platform/Matchers.h"
#include "tests/support/Environment.h"
#include "tests/support/OrdinaryUser.h"

namespace {

namespace fs = std::filesystem;
namespace preferences = platform::preferences;
namespace plist = platform::plist;
using preferences::Host;
using preferences::Scope;
using preferences::User;

const std::string kApplication = "com.korvane.Vantora";

/// The only file in the folder whose name ends with the text.
std::string fileEndingWith(const std::string& folder, const std::string& end) {
  std::string found;
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string path = entry.path().string();
    if (!path.ends_with(end)) continue;
    EXPECT_EQ(found, "");
    found = path;
  }
  return found;
}

/// For the length of a scope the process can open nothing more.
class NoMoreFiles {
 public:
  NoMoreFiles() {
    getrlimit(RLIMIT_NOFILE, &_before);
    const rlimit none{0, _before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoMoreFiles() { setrlimit(RLIMIT_NOFILE, &_before); }
  NoMoreFiles(const NoMoreFiles&) = delete;
  NoMoreFiles& operator=(const NoMoreFiles&) = delete;

 private:
  rlimit _before{};
};

TEST(Preferences, EachScopeIsAStoreOfItsOwn) {
  const test::Sandbox sandbox;
  const Scope scopes[] = {{kApplication, User::current, Host::current},
                          {kApplication, User::current, Host::any},
                          {kApplication, User::any, Host::current},
                          {kApplication, User::any, Host::any}};
  for (int i = 0; i < 4; ++i)
    preferences::setValue("number", i, scopes[i]);
  EXPECT_TRUE(preferences::synchronize(kApplication));
  const std::string name = kApplication + ".plist";
  const std::string files[] = {fileEndingWith(sandbox.library() + "/Preferences/ByHost", ".plist"),
                               sandbox.library() + "/Preferences/" + name,
                               sandbox.root() + "/Library/Preferences/" + name,
                               sandbox.root() + "/Network/Library/Preferences/" + name};
  EXPECT_TRUE(fs::path(files[0]).filename().string().starts_with(kApplication + ".")) << files[0];
  for (int i = 0; i < 4; ++i) {
    plist::Value value;
    EXPECT_THAT(plist::read(files[i], value), test::Succeeded());
    EXPECT_TRUE(value == (plist::Dictionary{{"number", i}})) << files[i];
    EXPECT_EQ(preferences::copyValue("number", scopes[i]), plist::Value(i));
  }
}

TEST(Preferences, ChangesAreSeenHereAtOnceAndElsewhereWhenSynchronised) {
  const test::Sandbox sandbox;
  const Scope scope{kApplication};
  preferences::setValue("key", "value", scope);
  preferences::setValue("absent", std::nullopt, scope);
  EXPECT_EQ(preferences::copyValue("key", scope), plist::Value("value"));
  EXPECT_FALSE(test::exists(sandbox.library() + "/Preferences"));
  EXPECT_TRUE(preferences::synchronize(kApplication));

  // Another process adds a key; it stays, and ours goes.
  const auto file = fileEndingWith(sandbox.library() + "/Preferences/ByHost", ".plist");
  ASSERT_THAT(plist::write(file, plist::Dictionary{{"key", "value"}, {"other", plist::Array{1}}}),
              test::Succeeded());
  preferences::setValue("key", std::nullopt, scope);
  EXPECT_TRUE(preferences::synchronize(kApplication));
  EXPECT_THAT(preferences::copyKeyList(scope), testing::ElementsAre("other"));
}

TEST(Preferences, AnUnreadableStoreIsLeftAsItIs) {
  const test::Sandbox sandbox;
  const Scope scope{kApplication, User::current, Host::any};
  const std::string file = sandbox.library() + "/Preferences/" + kApplication + ".plist";
  for (const std::string contents : {"garbage", "<plist><array/></plist>", ""}) {
    test::writeFile(file, contents);
    EXPECT_EQ(preferences::copyValue("key", scope), std::nullopt);
    preferences::setValue("key", 1, scope);
    EXPECT_FALSE(preferences::synchronize(kApplication)) << contents;
    EXPECT_EQ(test::readFile(file), contents);
    EXPECT_EQ(preferences::copyValue("key", scope), std::nullopt) << "the change is dropped";
  }
  fs::remove(file);
  for (const std::string name : {"", "../escape", "a/b"}) {
    preferences::setValue("key", 1, {name});
    EXPECT_FALSE(preferences::synchronize(name)) << name;
  }
  const test::OrdinaryUser user;
  chmod((sandbox.library() + "/Preferences").c_str(), 0555);
  preferences::setValue("key", 1, scope);
  EXPECT_FALSE(preferences::synchronize(kApplication));
  chmod((sandbox.library() + "/Preferences").c_str(), 0755);
}

TEST(Preferences, AHostThatCannotBeToldHasNoStore) {
  const test::Sandbox sandbox;
  const Scope scope{kApplication};
  preferences::setValue("early", 1, scope);
  EXPECT_TRUE(preferences::synchronize(kApplication));
  {
    const NoMoreFiles none;
    EXPECT_EQ(preferences::copyValue("early", scope), std::nullopt);
    preferences::setValue("late", 1, scope);
  }
  EXPECT_FALSE(preferences::synchronize(kApplication));
  EXPECT_NE(fileEndingWith(sandbox.library() + "/Preferences/ByHost", ".plist"), "") << "one store";
  EXPECT_THAT(preferences::copyKeyList(scope), testing::ElementsAre("early"));
}

TEST(Preferences, WritersInSeveralProcessesLoseNothing) {
  const test::Sandbox sandbox;
  constexpr int kWriters = 4;
  constexpr int kKeys = 40;
  const Scope scope{kApplication, User::current, Host::any};
  for (int writer = 0; writer < kWriters; ++writer) {
    if (fork() != 0) continue;
    bool written = true;
    for (int key = 0; key < kKeys; ++key) {
      preferences::setValue(std::to_string(writer) + "-" + std::to_string(key), key, scope);
      written = preferences::synchronize(kApplication) && written;
    }
    _exit(written ? 0 : 1);
  }
  for (int writer = 0; writer < kWriters; ++writer) {
    int status = -1;
    EXPECT_GT(wait(&status), 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(preferences::copyKeyList(scope).size(), static_cast<std::size_t>(kWriters * kKeys));
}

}  // namespace

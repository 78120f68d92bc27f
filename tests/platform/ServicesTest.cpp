#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>

#include "platform/Bundle.h"
#include "platform/Folders.h"
#include "platform/Metadata.h"
#include "platform/RunningApplications.h"
#include "tests/platform/Matchers.h"
#include "tests/support/Bundles.h"
#include "tests/support/Environment.h"

namespace {

namespace fs = std::filesystem;
using platform::Date;
using platform::FolderDomain;
using platform::Seconds;
using test::Succeeded;
using Variables = std::map<std::string, std::optional<std::string>>;

TEST(Folders, FollowTheEnvironment) {
  struct Case {
    const char* home;
    const char* root;
    std::optional<std::string> library;
    std::optional<std::string> applications;
  };
  // An account need not have a home folder.
  const auto account = [] {
    const test::ScopedEnvironment environment(Variables{{"HOME", std::nullopt}});
    return platform::libraryFolder();
  }();
  const Case cases[] = {{"/home/me/", "/root//", "/home/me/Library", "/root/Applications"},
                        {"/home/me", "", "/home/me/Library", "/Applications"},
                        {"relative", "relative", account, std::nullopt},
                        {"", "/", account, "/Applications"}};
  for (const Case& c : cases) {
    const test::ScopedEnvironment environment({{"HOME", c.home}, {"VANTORA_SYSTEM_ROOT", c.root}});
    EXPECT_EQ(platform::libraryFolder(), c.library) << c.home;
    EXPECT_EQ(platform::applicationsFolder(FolderDomain::local), c.applications) << c.root;
    EXPECT_EQ(platform::applicationsFolder(FolderDomain::system), c.applications) << c.root;
  }
  const test::ScopedEnvironment environment(Variables{{"HOME", "/home/me"}});
  EXPECT_EQ(platform::applicationsFolder(FolderDomain::user), "/home/me/Applications");
  EXPECT_EQ(platform::desktopFolder(), "/home/me/Desktop");
}

TEST(Metadata, KeepsDatesOnTheItem) {
  const test::TemporaryFolder folder;
  const std::string item = folder / "item";
  const Date before = platform::now();
  test::makeFolder(item);
  EXPECT_EQ(platform::metadata::lastUsedDate(item), std::nullopt);
  EXPECT_EQ(platform::metadata::creationDate(folder / "none"), std::nullopt);
  EXPECT_NE(platform::metadata::setLastUsedDate(folder / "none", before).code, 0);
  const auto birth = platform::metadata::creationDate(item);

  const Date date{Seconds(1'700'000'000)};
  EXPECT_THAT(platform::metadata::setLastUsedDate(item, date), Succeeded());
  fs::rename(item, folder / "moved");
  EXPECT_EQ(platform::metadata::lastUsedDate(folder / "moved"), date);
  for (const std::string text : {"yesterday", "", "2026-02-30T00:00:00Z"}) {
    setxattr((folder / "moved").c_str(), "user.vantora.last-used-date", text.data(), text.size(), 0);
    setxattr((folder / "moved").c_str(), "user.vantora.creation-date", text.data(), text.size(), 0);
    EXPECT_EQ(platform::metadata::lastUsedDate(folder / "moved"), std::nullopt) << text;
    EXPECT_EQ(platform::metadata::creationDate(folder / "moved"), birth) << text;
  }
}

TEST(Bundle, HasAnInformationDictionary) {
  const test::TemporaryFolder folder;
  const std::string bundle = folder / "a.app";
  platform::plist::Dictionary information;
  EXPECT_THAT(platform::bundleInformation(bundle, information), test::FailedWith(ENOENT, bundle));
  for (const char* text : {"garbage", "", "<plist><array/></plist>"}) {
    test::writeFile(bundle + "/Contents/Info.plist", text);
    const auto error = platform::bundleInformation(bundle, information);
    EXPECT_TRUE(error.failed()) << text;
    EXPECT_FALSE(error.domain == platform::kPosixErrorDomain && error.code == ENOENT) << text;
  }
  test::makeBundle(bundle, {.build = 7759});
  ASSERT_THAT(platform::bundleInformation(bundle, information), Succeeded());
  EXPECT_EQ(platform::plist::find(information, "CFBundleVersion")->integerValue(), 7759);
}

int run(const std::string& program, const std::vector<std::string>& arguments, pid_t& child) {
  std::vector<char*> words{const_cast<char*>(program.c_str())};
  for (const auto& argument : arguments)
    words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  return posix_spawn(&child, program.c_str(), nullptr, nullptr, words.data(), environ);
}

/// Runs a copy of this very program out of a bundle.
TEST(Bundle, OfTheRunningProgramIsTheOneThatHoldsIt) {
  if (getenv("VANTORA_TEST_IN_BUNDLE") != nullptr) {
    EXPECT_EQ(platform::mainBundleIdentifier(), "com.korvane.Vantora");
    return;
  }
  EXPECT_EQ(platform::mainBundleIdentifier(), std::nullopt);
  const test::TemporaryFolder folder;
  test::makeBundle(folder / "a.app", {.identifier = "com.korvane.Vantora"});
  const std::string program = folder / "a.app/Contents/MacOS/program";
  fs::copy_file(platform::executablePath(), program);
  const test::ScopedEnvironment environment(Variables{{"VANTORA_TEST_IN_BUNDLE", "1"}});
  pid_t child = 0;
  ASSERT_EQ(run(program, {"--gtest_filter=Bundle.OfTheRunningProgram*", "--gtest_brief=1"}, child), 0);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST(RunningApplications, AreThoseWithTheIdentifier) {
  const test::TemporaryFolder folder;
  test::makeBundle(folder / "a.app", {.identifier = "org.test.running"});
  test::makeBundle(folder / "b.app", {.identifier = "org.test.other"});
  std::vector<pid_t> children;
  for (const char* name : {"a.app/Contents/MacOS/p", "a.app/Contents/MacOS/p", "b.app/Contents/MacOS/p",
                           "a.app/Contents/Resources/tool"}) {
    fs::copy_file("/bin/sleep", folder / name, fs::copy_options::skip_existing);
    ASSERT_EQ(run(folder / name, {"60"}, children.emplace_back()), 0);
  }
  std::vector<pid_t> found;
  for (const auto& application : platform::runningApplications("org.TEST.running")) {
    found.push_back(application.processId);
    EXPECT_EQ(application.bundlePath, folder / "a.app");
  }
  EXPECT_THAT(found, testing::UnorderedElementsAre(children[0], children[1]));
  fs::remove(folder / "a.app/Contents/MacOS/p");
  EXPECT_EQ(platform::runningApplications("org.test.running").size(), 2u) << "its file may be replaced";
  for (const pid_t child : children) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  EXPECT_TRUE(platform::runningApplications("org.test.running").empty());
}

}  // namespace

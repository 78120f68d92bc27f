#include <gtest/gtest.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>

#include "platform/Bundle.h"
#include "platform/Folders.h"
#include "platform/Metadata.h"
#include "platform/Process.h"
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

TEST(Folders, FollowTheEnvironment) {
  struct Case {
    const char* home;
    const char* root;
    std::optional<std::string> library;
    std::optional<std::string> applications;
  };
  const Case cases[] = {{"/home/me/", "/root//", "/home/me/Library", "/root/Applications"},
                        {"/home/me", "", "/home/me/Library", "/Applications"},
                        {"/home/me", "relative", "/home/me/Library", std::nullopt}};
  for (const Case& c : cases) {
    const test::ScopedEnvironment environment({{"HOME", c.home}, {"VANTORA_SYSTEM_ROOT", c.root}});
    EXPECT_EQ(platform::libraryFolder(), c.library) << c.home;
    EXPECT_EQ(platform::applicationsFolder(FolderDomain::local), c.applications) << c.root;
    EXPECT_EQ(platform::applicationsFolder(FolderDomain::user), "/home/me/Applications");
  }
}

TEST(Metadata, KeepsDatesOnTheItem) {
  const test::TemporaryFolder folder;
  const std::string item = folder / "item";
  test::makeFolder(item);
  const auto birth = platform::metadata::creationDate(item);

  const Date date{Seconds(1'700'000'000)};
  EXPECT_THAT(platform::metadata::setLastUsedDate(item, date), Succeeded());
  fs::rename(item, folder / "moved");
  EXPECT_EQ(platform::metadata::lastUsedDate(folder / "moved"), date);
  for (const char* attribute : {"user.vantora.last-used-date", "user.vantora.creation-date"})
    setxattr((folder / "moved").c_str(), attribute, "2026-02-30T00:00:00Z", 20, 0);
  EXPECT_EQ(platform::metadata::lastUsedDate(folder / "moved"), std::nullopt) << "no such day";
  EXPECT_EQ(platform::metadata::creationDate(folder / "moved"), birth);
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
}

TEST(RunningApplications, AreThoseWithTheIdentifier) {
  const test::TemporaryFolder folder;
  test::makeBundle(folder / "a.app", {.identifier = "org.test.running"});
  test::makeBundle(folder / "b.app", {.identifier = "org.test.other"});
  std::vector<pid_t> children;
  for (const char* name : {"a.app/Contents/MacOS/p", "a.app/Contents/MacOS/p", "b.app/Contents/MacOS/p",
                           "a.app/Contents/Resources/tool"}) {
    fs::copy_file("/bin/sleep", folder / name, fs::copy_options::skip_existing);
    platform::process::SpawnRequest request;
    request.path = folder / name;
    request.arguments = {"60"};
    ASSERT_THAT(platform::process::spawn(request, children.emplace_back()), Succeeded());
  }
  std::vector<pid_t> found;
  for (const auto& application : platform::runningApplications("org.TEST.running")) {
    found.push_back(application.processId);
    EXPECT_EQ(application.bundlePath, folder / "a.app");
  }
  EXPECT_THAT(found, testing::UnorderedElementsAre(children[0], children[1]));
  for (const pid_t child : children) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
}

}  // namespace

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "platform/Bundle.h"
#include "platform/Folders.h"
#include "platform/Process.h"
#include "platform/RunningApplications.h"
#include "tests/platform/Matchers.h"
#include "tests/support/Bundles.h"
#include "tests/support/Environment.h"

namespace {

namespace fs = std::filesystem;
using platform::FolderDomain;
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

TEST(Bundle, AMissingDictionaryIsToldFromOneThatCannotBeRead) {
  const test::TemporaryFolder folder;
  platform::plist::Dictionary information;
  EXPECT_THAT(platform::bundleInformation(folder / "a.app", information), test::FailedWith(ENOENT, "a.app"));
  for (const char* text : {"garbage", "", "<plist><array/></plist>"}) {
    test::writeFile(folder / "a.app/Contents/Info.plist", text);
    EXPECT_THAT(platform::bundleInformation(folder / "a.app", information), test::HasCode(3840)) << text;
  }
}

TEST(RunningApplications, AreThoseWithTheIdentifier) {
  const test::TemporaryFolder folder;
  std::vector<pid_t> children;
  for (const char* name : {"running", "other"}) {
    const std::string bundle = folder / name + ".app";
    test::makeBundle(bundle, {.identifier = std::string("org.test.") + name});
    platform::process::SpawnRequest request;
    request.path = bundle + "/Contents/MacOS/p";
    request.arguments = {"60"};
    fs::copy_file("/bin/sleep", request.path);
    ASSERT_THAT(platform::process::spawn(request, children.emplace_back()), Succeeded());
  }
  const auto found = platform::runningApplications("org.TEST.running");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].processId, children[0]);
  EXPECT_EQ(found[0].bundlePath, folder / "running.app");
  for (const pid_t child : children) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
}

}  // namespace

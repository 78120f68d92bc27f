#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "Code/MacOSX/MacMessengerUtilities.h"
#include "platform/Bundle.h"
#include "platform/CodeSignature.h"
#include "tests/agent/AgentProcess.h"
#include "tests/agent/StagedHome.h"
#include "tests/support/OrdinaryUser.h"
#include "tools/codesign/Signer.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using staging::Reply;
using test::Names;
using Call = test::FaultyFileManager::Call;

constexpr const char* kName = "Vantora Messenger.app";

class Messenger : public testing::Test, public test::StagedHome {
 protected:
  [[nodiscard]] std::string archive() const { return tempPath() + "/Vantora_Messenger.zip"; }
  [[nodiscard]] std::string computers() const { return applications() + "/" + kName; }
  [[nodiscard]] std::string users() const { return usersFolder + "/" + kName; }
  bool install() { return MacMessengerUtilities::unarchiveIntoApplicationsFolder(fileManager, archive()); }
  [[nodiscard]] bool isInstalled() const { return test::exists(computers()) || test::exists(users()); }

  /// A fresh application, signed by the maker whom the verifier beside this program trusts.
  void makeMessenger() const {
    fs::remove_all(bundle);
    test::makeBundle(bundle,
                     {.schemes = std::vector<std::string>{}, .identifier = "com.korvane.vantora-messenger"});
    fs::create_symlink("MacOS/Vantora", bundle + "/Contents/Latest");
    const fs::path stage = fs::path(platform::executablePath()).parent_path().parent_path();
    codesign::signBundle(bundle, codesign::readIdentity(stage / "maker"));
  }
  /// The archive of it, with these beside it.
  void zip(const std::string& more = "") const {
    fs::remove(archive());
    const std::string command =
        "cd '" + work + "' && zip -q -r -y '" + archive() + "' '" + kName + "' " + more;
    ASSERT_EQ(std::system(command.c_str()), 0);
  }
  void makeArchive() const {
    makeMessenger();
    zip();
  }

  const std::string usersFolder = sandbox().home() + "/Applications";
  const std::string work = sandbox().folder() / "work";
  const std::string bundle = work + "/" + kName;
};

TEST_F(Messenger, InstallsWhatItsMakerSignedAndNothingBesideIt) {
  EXPECT_EQ(MacMessengerUtilities::findMessenger(), std::nullopt);
  makeMessenger();
  test::writeFile(sandbox().folder() / "up", "x");
  zip("../up");  // unzip puts it into its own folder
  EXPECT_TRUE(install()) << log.text();
  EXPECT_TRUE(fs::is_symlink(computers() + "/Contents/Latest"));
  EXPECT_EQ(MacMessengerUtilities::findMessenger(), computers());
  EXPECT_EQ(leftovers(), Names());
  EXPECT_LOGGED(log, "d: ", "digitalSignatureVerified:] - Verifying Digital Signature Completed.");
}

TEST_F(Messenger, RefusesAndDeletesWhatIsNotProved) {
  const std::function<void()> changes[] = {
      [&] { test::writeFile(bundle + "/Contents/Info.plist", "<plist/>"); },
      [&] {
        fs::rename(bundle, sandbox().folder() / "good");
        fs::create_symlink(sandbox().folder() / "good", bundle);
      }};
  for (const auto& change : changes) {
    makeMessenger();
    change();
    zip();
    log.clear();
    EXPECT_FALSE(install());
    EXPECT_FALSE(isInstalled());
    EXPECT_EQ(leftovers(), Names());
    EXPECT_LOGGED(log, "E: ", "failed, exit code 1");
    EXPECT_LOGGED(log, "E: ", "Messenger application failed signature validation.");
  }
  test::writeFile(archive(), "no archive");
  EXPECT_FALSE(install());
  EXPECT_LOGGED(log, "E: ", "unzip failed, exit code 9");
  EXPECT_EQ(leftovers(), Names{"Vantora_Messenger.zip"});
}

TEST_F(Messenger, WhatOthersPutInThePlaceOfTheUnpackFolderBlocks) {
  makeArchive();
  const std::string place = tempPath() + "/SecretFilePath";
  const std::function<void()> leaves[] = {[&] { test::makeFolder(place); },
                                          [&] { fs::create_symlink(work + "/nowhere", place); }};
  for (const auto& leave : leaves) {
    leave();
    EXPECT_FALSE(install());
    EXPECT_FALSE(isInstalled());
    EXPECT_TRUE(test::exists(archive()));
    fs::remove_all(place);
  }
  EXPECT_TRUE(install()) << log.text();
}

/// A copy of this program that has no verifier beside it runs this test.
TEST_F(Messenger, WithoutAVerifierNothingIsInstalledOrDeleted) {
  test::makeFolder(bundle);
  if (test::exists(platform::codeSignatureTool())) {
    const std::string copy = work + "/messenger_test";
    fs::copy_file(platform::executablePath(), copy);
    EXPECT_EQ(std::system(("'" + copy + "' --gtest_filter=*.WithoutAVerifier* >&2").c_str()), 0);
    return;
  }
  EXPECT_FALSE(MacMessengerUtilities::digitalSignatureVerified(fileManager, bundle));
  EXPECT_TRUE(test::exists(bundle));
  EXPECT_LOGGED(log, "E: ", "digitalSignatureVerified:] - Unable to launch codesign command.");
}

TEST_F(Messenger, GoesIntoTheUsersFolderWhenTheComputersDoesNotTakeIt) {
  const test::OrdinaryUser ordinary;
  const std::function<void()> blocks[] = {[&] { test::makeFolder(computers()); },  // another one
                                          [&] { fs::permissions(applications(), fs::perms(0555)); }};
  for (const auto& block : blocks) {
    makeArchive();
    block();
    EXPECT_TRUE(install()) << log.text();
    EXPECT_TRUE(test::exists(users() + "/Contents"));
    fs::remove_all(usersFolder);
  }
  makeArchive();
  fs::permissions(sandbox().home(), fs::perms(0555));
  EXPECT_FALSE(install());
  EXPECT_LOGGED(log, "E: ", "Unable to create dir '" + usersFolder + "': ");
  EXPECT_LOGGED(log, "E: ", "Moving the Messenger application into the \"~/Applications\" folder failed");
  for (const auto& folder : {sandbox().home(), applications()})
    fs::permissions(folder, fs::perms(0755));
  EXPECT_EQ(leftovers(), Names());
}

TEST_F(Messenger, WhatCannotBeRemovedStopsNothing) {
  makeArchive();
  fileManager.fail(Call::remove);
  EXPECT_TRUE(install());
  EXPECT_LOGGED(log, "E: ", "Error removing messenger zip file: ");
  EXPECT_LOGGED(log, "E: ", "Error removing the temp unzip dir: ");
}

/// The maker's site offers the archive.
class MessengerFromServer : public Messenger {
 protected:
  MessengerFromServer() {
    makeArchive();
    fs::rename(archive(), site.published() + "/messenger.zip");
    offer(test::MakerSite::url("messenger.zip"));
  }
  void offer(const std::string& url) {
    site.document.messenger = packager::MessengerEntry{{.url = url, .sizeBytes = 1}, {}};
    site.publish();
  }
  void serveArchive(const Reply& reply) { site.server.serve(test::kBuildHost, "/messenger.zip", reply); }
  [[nodiscard]] std::string zipped() const { return test::readFile(site.published() + "/messenger.zip"); }
  bool installOffered() { return parts().messengerInstaller.downloadAndInstallMessengerApp(); }
};

TEST_F(MessengerFromServer, OnlyFromATrustedAddress) {
  const std::pair<std::string, const char*> kAddresses[] = {
      {"http://builds.vantora.example/m.zip", "The url scheme 'http' is not safe. Aborting the download."},
      {"https://evil.example/m.zip", "Server 'evil.example' is not trusted. Aborting the download."},
      {test::MakerSite::url("messenger.zip"), "Download of Messenger.zip failed"}};
  serveArchive(Reply::text(zipped()).endingAfter(100, staging::Ending::reset));
  for (const auto& [address, message] : kAddresses) {
    offer(address);
    EXPECT_FALSE(installOffered());
    EXPECT_LOGGED(log, "E: ", message);
  }
  site.document.updaterSettings->enabled = false;
  site.publish();
  serveArchive(Reply::text(zipped()));
  EXPECT_FALSE(installOffered());
  EXPECT_EQ(leftovers(), Names());
  EXPECT_FALSE(isInstalled());
}

/// A download that is killed blocks nothing later, and no more do pipes that somebody left.
TEST_F(MessengerFromServer, WhatAKilledRunLeftIsNotUsed) {
  AgentHome::install({2});
  ASSERT_TRUE(writeRegistryString("VNTMessenger", "true").isSuccess());
  serveArchive(Reply::text(zipped()).trickling(5ms));
  const auto session = test::ScopedEnvironment::with({{"UNZIP", "-Z"}, {"UNZIPOPT", "-Z"}});  // no tool's
  const test::AgentProcess process(*this, fs::path(platform::executablePath()).parent_path() / "VNTUpdate");
  const auto hasBegun = [this] {
    const auto requests = site.server.requests();
    return !requests.empty() && requests.back().bodyBytes > 100 && requests.back().path == "/messenger.zip";
  };
  {
    const auto agent = process.start();
    while (!hasBegun())
      ASSERT_FALSE(agent->waitForExit(5ms)) << process.logged();
  }
  EXPECT_FALSE(test::exists(archive()));
  serveArchive(Reply::text(zipped()));
  ASSERT_EQ(mkfifo(archive().c_str(), 0600), 0);
  ASSERT_EQ(mkfifo((tempPath() + "/config.json").c_str(), 0600), 0);
  EXPECT_EQ(process.run(), 0);
  EXPECT_TRUE(test::exists(computers())) << process.logged();
  EXPECT_EQ(leftovers(), Names{"config.json"});
}

}  // namespace

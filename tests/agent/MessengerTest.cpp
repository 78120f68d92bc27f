#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "Code/MacOSX/MacMessengerUtilities.h"
#include "platform/Bundle.h"
#include "platform/CodeSignature.h"
#include "platform/Task.h"
#include "tests/agent/AgentProcess.h"
#include "tests/support/OrdinaryUser.h"
#include "tools/codesign/Signer.h"
#include "tools/staging/StagingServer.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Call = test::FaultyFileManager::Call;

constexpr const char* kName = "Vantora Messenger.app";

/// The maker whom the verifier beside this program trusts.
codesign::SigningIdentity maker() {
  return codesign::readIdentity(fs::path(platform::executablePath()).parent_path().parent_path() / "maker");
}

codesign::SigningIdentity stranger() {
  const auto now = std::chrono::system_clock::now();
  return codesign::makeSigningIdentity({.commonName = "Stranger",
                                        .notBefore = now - std::chrono::hours(1),
                                        .notAfter = now + std::chrono::hours(1)});
}

void run(const std::string& tool, const std::vector<std::string>& arguments, const std::string& folder) {
  platform::Task task(tool, arguments);
  task.currentFolder = folder;
  task.launch();
  task.waitUntilExit();
  ASSERT_EQ(task.terminationStatus(), 0) << tool;
}

void makeMessenger(const std::string& bundle) {
  test::makeBundle(bundle,
                   {.schemes = std::vector<std::string>{}, .identifier = "com.korvane.vantora-messenger"});
  fs::create_symlink("MacOS/Vantora", bundle + "/Contents/Latest");
}

class Messenger : public testing::Test {
 protected:
  [[nodiscard]] std::string archive() const { return home.tempPath() + "/Vantora_Messenger.zip"; }
  [[nodiscard]] std::string unpackFolder() const { return home.tempPath() + "/SecretFilePath"; }
  [[nodiscard]] std::string bundle() const { return staging / kName; }
  [[nodiscard]] std::string computers() const { return home.applications() + "/" + kName; }
  [[nodiscard]] std::string usersFolder() const { return home.sandbox().home() + "/Applications"; }
  [[nodiscard]] std::string users() const { return usersFolder() + "/" + kName; }

  void zip() const { run("/usr/bin/zip", {"-q", "-r", "-y", archive(), kName}, staging.path()); }
  void makeArchive() const {
    makeMessenger(bundle());
    codesign::signBundle(bundle(), maker());
    zip();
  }
  bool install() { return MacMessengerUtilities::unarchiveIntoApplicationsFolder(fileManager, archive()); }
  /// A line of that level ("E: ") with that text, which may begin with the function's name.
  void expectLogged(const std::string& line) const {
    EXPECT_TRUE(home.log.contains(line)) << line << "\n" << home.log.text();
  }
  [[nodiscard]] std::vector<std::string> left() const { return home.leftovers(); }
  bool nothingInstalled() const { return !test::exists(computers()) && !test::exists(users()); }

  test::EngineHome home;
  test::TemporaryFolder staging;
  test::FaultyFileManager& fileManager = home.fileManager;
};

TEST_F(Messenger, InstallsWhatItsMakerSigned) {
  makeArchive();
  EXPECT_EQ(MacMessengerUtilities::findMessenger(), std::nullopt);
  EXPECT_TRUE(install()) << home.log.text();
  EXPECT_TRUE(fs::is_symlink(computers() + "/Contents/Latest"));
  EXPECT_EQ(MacMessengerUtilities::findMessenger(), computers());
  EXPECT_EQ(left(), std::vector<std::string>());
  expectLogged("d: Extracting endpoint archive at '" + archive() + "'");
  expectLogged("d: Verifying Digital Signature of '" + home.tempPath() + "/.vantora-");
  expectLogged(
      "d: +[MacMessengerUtilities digitalSignatureVerified:] - Verifying Digital Signature Completed.");
}

struct Refusal {
  const char* name;
  /// Changes the signed bundle, before it is put into the archive.
  std::function<void(const std::string& bundle)> prepare;
};

const Refusal kRefusals[] = {
    {"altered", [](const std::string& b) { test::writeFile(b + "/Contents/Info.plist", "<plist/>"); }},
    {"signed by a stranger", [](const std::string& b) { codesign::signBundle(b, stranger()); }},
    {"a link to a good one",
     [](const std::string& b) {
       fs::rename(b, b + "/../../good");
       fs::create_symlink(b + "/../../good", b);
     }},
};

TEST_F(Messenger, RefusesAndDeletesWhatIsNotProved) {
  for (const Refusal& refusal : kRefusals) {
    SCOPED_TRACE(refusal.name);
    const test::TemporaryFolder outer;
    fs::create_directories(outer / "inner");
    fs::remove(archive());
    const std::string made = outer / "inner/" + std::string(kName);
    makeMessenger(made);
    codesign::signBundle(made, maker());
    refusal.prepare(made);
    run("/usr/bin/zip", {"-q", "-r", "-y", archive(), kName}, outer / "inner");
    home.log.clear();
    EXPECT_FALSE(install());
    EXPECT_TRUE(nothingInstalled());
    EXPECT_EQ(left(), std::vector<std::string>());
    expectLogged("E: failed, exit code 1");
    expectLogged("E: Messenger application failed signature validation.");
  }
  test::writeFile(archive(), "no archive");
  EXPECT_FALSE(install());
  expectLogged("E: unzip failed, exit code 9");
  EXPECT_EQ(left(), std::vector<std::string>{"Vantora_Messenger.zip"});
}

TEST_F(Messenger, WhatLiesBesideTheApplicationIsLeftBehind) {
  makeArchive();
  test::writeFile(staging / "up", "x");
  fs::create_directories(staging / "below");
  run("/usr/bin/zip", {"-q", archive(), "../up"}, staging / "below");  // unzip puts it into its own folder
  EXPECT_TRUE(install()) << home.log.text();
  EXPECT_TRUE(test::exists(computers()));
  EXPECT_EQ(left(), std::vector<std::string>());
}

TEST_F(Messenger, WhatOthersPutInThePlaceOfTheUnpackFolderBlocks) {
  makeArchive();
  for (const auto& leave : std::vector<std::function<void()>>{
           [this] { test::makeFolder(unpackFolder()); },
           [this] { test::writeFile(unpackFolder(), "a file"); },
           [this] { fs::create_symlink(staging / "nowhere", unpackFolder()); },
       }) {
    leave();
    EXPECT_FALSE(install());
    EXPECT_TRUE(nothingInstalled());
    EXPECT_TRUE(test::exists(archive()));
    fs::remove_all(unpackFolder());
  }
  EXPECT_TRUE(install()) << home.log.text();
}

/// A copy of this program that has no verifier beside it runs this test.
TEST_F(Messenger, WithoutAVerifierNothingIsInstalledOrDeleted) {
  if (test::exists(platform::codeSignatureTool())) {
    const std::string copy = staging / "messenger_test";
    fs::copy_file(platform::executablePath(), copy);
    return run(copy, {"--gtest_filter=*.WithoutAVerifierNothingIsInstalledOrDeleted"}, staging.path());
  }
  test::makeFolder(bundle());
  EXPECT_FALSE(MacMessengerUtilities::digitalSignatureVerified(fileManager, bundle()));
  EXPECT_TRUE(test::exists(bundle()));
  for (const char* line : {"Unable to launch codesign command.",
                           "Exception Name  : NSInvalidArgumentException", "Exception Reason: "})
    expectLogged(std::string("E: +[MacMessengerUtilities digitalSignatureVerified:] - ") + line);
}

constexpr const char* kMoveFailed =
    "Moving the Messenger application into the \"~/Applications\" folder failed";

struct Place {
  const char* name;
  std::function<void(const std::string& computers, const std::string& users)> prepare;
  enum { eComputers, eUsers, eNowhere } place;
};

const Place kPlaces[] = {
    {"both folders are there", [](auto&, auto& users) { test::makeFolder(users); }, Place::eComputers},
    {"the computer's is not writable",
     [](auto& computers, auto&) { fs::permissions(computers, fs::perms(0555)); }, Place::eUsers},
    {"another one is in the computer's",
     [](auto& computers, auto&) { test::makeFolder(computers + "/" + kName); }, Place::eUsers},
    {"the user's cannot be made",
     [](auto& computers, auto& users) {
       fs::remove_all(computers);
       fs::permissions(fs::path(users).parent_path(), fs::perms(0555));
     },
     Place::eNowhere},
};

TEST_F(Messenger, GoesIntoTheFirstFolderThatTakesIt) {
  for (const Place& place : kPlaces) {
    SCOPED_TRACE(place.name);
    fs::remove_all(bundle());
    makeArchive();
    place.prepare(home.applications(), usersFolder());
    home.log.clear();
    {
      const test::OrdinaryUser ordinary;
      EXPECT_EQ(install(), place.place != Place::eNowhere) << home.log.text();
    }
    EXPECT_EQ(test::exists(computers() + "/Contents"), place.place == Place::eComputers);
    EXPECT_EQ(test::exists(users() + "/Contents"), place.place == Place::eUsers);
    EXPECT_EQ(home.log.contains("E: ", kMoveFailed), place.place == Place::eNowhere) << home.log.text();
    EXPECT_EQ(left(), std::vector<std::string>());
    fs::permissions(home.sandbox().home(), fs::perms(0755));
    fs::remove_all(usersFolder());
    test::makeFolder(home.applications());
    fs::permissions(home.applications(), fs::perms(0755));
    fs::remove_all(computers());
  }
  expectLogged("E: Unable to create dir '" + usersFolder() + "': ");
}

TEST_F(Messenger, FailuresAreSaid) {
  makeMessenger(bundle());
  fs::remove(bundle() + "/Contents/Info.plist");
  codesign::signBundle(bundle(), maker());
  zip();
  fileManager.fail(Call::remove, ".zip");
  EXPECT_TRUE(install());
  expectLogged("E: Error removing messenger zip file: ");
  expectLogged("E: Could not register Messenger app.");
  fileManager.heal();
  fs::remove_all(computers());
  fileManager.fail(Call::contents);
  EXPECT_FALSE(install());
  expectLogged("E: Unzip worked but found nothing!");
  fileManager.heal();

  fs::remove_all(bundle() + "/Contents/_CodeSignature");
  zip();
  fileManager.fail(Call::remove, kName);
  EXPECT_FALSE(install());
  expectLogged("E: Error removing messenger application: ");
  fileManager.heal();
  fs::remove_all(bundle());
  makeArchive();
  fileManager.fail(Call::remove);
  EXPECT_TRUE(install()) << home.log.text();
  expectLogged("E: Error removing the temp unzip dir: ");
}

constexpr const char* kAddress = "https://builds.vantora.example/messenger.zip";

std::string document(const std::string& address, bool enabled = true) {
  return std::string(R"({"updaterSettings":{"enabled":)") + (enabled ? "true" : "false") +
         R"(,"minDelayInDays":1,"maxDelayInDays":2},"VNTMessenger":{"windowsDownloadUrl":"","windowsDownloadSize":0,)" +
         R"("macDownloadUrl":")" + address + R"(","macDownloadSize":1}})";
}

/// The agent's servers, with a document and the archive.
class MessengerFromServer : public Messenger {
 protected:
  MessengerFromServer() {
    makeArchive();
    fs::rename(archive(), staging / "messenger.zip");
    serveArchive(whole());
  }
  [[nodiscard]] staging::Reply whole() const { return staging::Reply::fromFile(staging / "messenger.zip"); }
  void serveArchive(const staging::Reply& reply) {
    server.serve("builds.vantora.example", "/messenger.zip", reply);
  }
  void serveDocument(const std::string& text) {
    server.serve("updates.vantora.example", "/vntupdater/live/config.json", staging::Reply::text(text));
  }
  bool installFrom(const std::string& text) {
    serveDocument(text);
    return home.engine().downloadAndInstallMessengerApp();
  }

  staging::Server server;
  const test::ScopedEnvironment environment = test::ScopedEnvironment::with(server.environment());
};

TEST_F(MessengerFromServer, OnlyFromATrustedAddress) {
  struct Case {
    std::string document;
    const char* line;
  };
  const Case cases[] = {
      {"no document", "E: Unable to retrieve Messenger info"},
      {document(""),
       "i: -[VNTUpdate downloadAndInstallMessengerApp] - MessengerIntegration=\"Not configured\""},
      {document("http://builds.vantora.example/m.zip"),
       "E: The url scheme 'http' is not safe. Aborting the download."},
      {document("https://vantora.example@evil.example/m.zip"), "E: Server 'evil.example' is not trusted."},
      {document("https://builds.vantora.example\\u0000.evil.example/m.zip"),
       "E: The url scheme '(null)' is not safe. Aborting the download."},
      {document("https://builds.vantora.example/none.zip"), "E: unzip failed, exit code 9"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.document);
    home.log.clear();
    EXPECT_FALSE(installFrom(c.document));
    expectLogged(c.line);
    fs::remove(archive());
  }
  home.log.clear();
  EXPECT_FALSE(installFrom(document(kAddress, false)));
  EXPECT_NOT_LOGGED(home.log, "E: ", "");
  EXPECT_NOT_LOGGED(home.log, "", "Messenger");
  serveArchive(whole().endingAfter(100, staging::Ending::reset));
  EXPECT_FALSE(installFrom(document(kAddress)));
  expectLogged("E: Download of Messenger.zip failed");
  EXPECT_EQ(left(), std::vector<std::string>());
  EXPECT_TRUE(nothingInstalled());
}

TEST_F(MessengerFromServer, DownloadsAndInstalls) {
  EXPECT_TRUE(installFrom(document(kAddress))) << home.log.text();
  EXPECT_TRUE(test::exists(computers()));
  const std::string size = std::to_string(fs::file_size(staging / "messenger.zip"));
  EXPECT_THAT(home.log.text(),
              testing::ContainsRegex("d: .*Download of Messenger.zip complete. Elapsed time = "
                                     "[0-9.]+ secs, Bytes downloaded = " +
                                     size));
  ASSERT_FALSE(server.requests().empty());
  EXPECT_EQ(server.requests().back().userAgent, "VNTUpdate/7759(Mac)");
}

/// A download that is killed blocks nothing later, and no more do pipes that somebody left.
TEST_F(MessengerFromServer, WhatAKilledRunLeftIsNotUsed) {
  test::makeEndpoint(home.olderVersions(), 2);
  ASSERT_TRUE(writeRegistryString("VNTMessenger", "true").isSuccess());
  serveDocument(document(kAddress));
  serveArchive(staging::Reply::text(test::readFile(staging / "messenger.zip")).trickling(5ms));
  const auto session = test::ScopedEnvironment::with({{"UNZIP", "-Z"}, {"UNZIPOPT", "-Z"}});  // no tool's
  const test::AgentProcess process(home, fs::path(platform::executablePath()).parent_path() / "VNTUpdate");
  const auto hasBegun = [this] {
    const auto requests = server.requests();
    return !requests.empty() && requests.back().bodyBytes > 100 && requests.back().path == "/messenger.zip";
  };
  {
    const auto agent = process.start();
    while (!hasBegun())
      ASSERT_FALSE(agent->waitForExit(5ms)) << process.logged();
  }
  EXPECT_FALSE(test::exists(archive()));
  serveArchive(whole());
  ASSERT_EQ(mkfifo(archive().c_str(), 0600), 0);
  ASSERT_EQ(mkfifo((home.tempPath() + "/config.json").c_str(), 0600), 0);
  EXPECT_EQ(process.run(), 0);
  EXPECT_TRUE(test::exists(computers())) << process.logged();
  EXPECT_EQ(left(), std::vector<std::string>{"config.json"});
}

}  // namespace

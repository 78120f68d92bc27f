#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Code/MacOSX/MacMessengerUtilities.h"
#include "platform/Bundle.h"
#include "platform/CodeSignature.h"
#include "platform/Task.h"
#include "tests/agent/AgentHome.h"
#include "tests/platform/OrdinaryUser.h"
#include "tools/codesign/Signer.h"
#include "tools/staging/StagingServer.h"

namespace {

namespace fs = std::filesystem;
using platform::Error;
using platform::ItemKind;

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
  platform::Task task;
  task.launchPath = tool;
  task.arguments = arguments;
  task.currentFolder = folder;
  task.launch();
  task.waitUntilExit();
  ASSERT_EQ(task.terminationStatus(), 0) << tool;
}

void makeMessenger(const std::string& bundle) {
  const platform::plist::Dictionary information = {{"CFBundleIdentifier", "com.korvane.vantora-messenger"},
                                                   {"CFBundleExecutable", "Messenger"}};
  test::makeFolder(bundle + "/Contents/MacOS");
  ASSERT_FALSE(platform::plist::write(bundle + "/Contents/Info.plist", platform::plist::Value(information)));
  fs::copy_file("/bin/sleep", bundle + "/Contents/MacOS/Messenger");
  fs::create_symlink("MacOS/Messenger", bundle + "/Contents/Latest");
}

/// Fails one kind of call for paths that end in a text.
class FaultyFileManager : public platform::FileManager {
 public:
  std::string failsToRemove = "\n", failsToCreate = "\n", findsEmpty = "\n", cannotWriteTo = "\n";

  Error removeItem(const std::string& path) override {
    return path.ends_with(failsToRemove) ? platform::posixError(EPERM, path) : FileManager::removeItem(path);
  }
  Error createFolder(const std::string& path) override {
    return path.ends_with(failsToCreate) ? platform::posixError(EROFS, path)
                                         : FileManager::createFolder(path);
  }
  Error contentsOfFolder(const std::string& path, std::vector<std::string>& names) const override {
    return path.ends_with(findsEmpty) ? Error{} : FileManager::contentsOfFolder(path, names);
  }
  bool isWritable(const std::string& path) const override {
    return !path.ends_with(cannotWriteTo) && FileManager::isWritable(path);
  }
};

class Messenger : public testing::Test {
 protected:
  Messenger() { home.otherFileManager = &fileManager; }

  [[nodiscard]] std::string archive() const { return home.tempPath() + "/Vantora_Messenger.zip"; }
  [[nodiscard]] std::string unpackFolder() const { return home.tempPath() + "/SecretFilePath"; }
  [[nodiscard]] std::string bundle() const { return staging / kName; }
  [[nodiscard]] std::string computers() const { return home.applications() + "/" + kName; }
  [[nodiscard]] std::string usersFolder() const { return home.sandbox().home() + "/Applications"; }
  [[nodiscard]] std::string users() const { return usersFolder() + "/" + kName; }

  void zip(const std::vector<std::string>& items = {kName}) const {
    std::vector<std::string> arguments = {"-q", "-r", "-y", archive()};
    arguments.insert(arguments.end(), items.begin(), items.end());
    run("/usr/bin/zip", arguments, staging.path());
  }
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
  bool nothingInstalled() const { return !test::exists(computers()) && !test::exists(users()); }

  test::EngineHome home;
  test::TemporaryFolder staging;
  FaultyFileManager fileManager;
};

TEST_F(Messenger, InstallsWhatItsMakerSigned) {
  makeArchive();
  EXPECT_EQ(MacMessengerUtilities::findMessenger(), std::nullopt);
  EXPECT_TRUE(install()) << home.log.text();
  EXPECT_TRUE(fs::is_symlink(computers() + "/Contents/Latest"));
  EXPECT_EQ(MacMessengerUtilities::findMessenger(), computers());
  EXPECT_FALSE(test::exists(archive()));
  EXPECT_FALSE(test::exists(unpackFolder()));
  expectLogged("d: Extracting endpoint archive at '" + archive() + "'");
  expectLogged("d: Verifying Digital Signature of '" + unpackFolder() + "/" + kName + "'");
  expectLogged(
      "d: +[MacMessengerUtilities digitalSignatureVerified:] - Verifying Digital Signature Completed.");
}

struct Refusal {
  const char* name;
  /// Changes the signed bundle, before it is put into the archive.
  std::function<void(const std::string& bundle)> prepare;
};

const Refusal kRefusals[] = {
    {"unsigned", [](const std::string& b) { fs::remove_all(b + "/Contents/_CodeSignature"); }},
    {"altered", [](const std::string& b) { test::writeFile(b + "/Contents/Info.plist", "<plist/>"); }},
    {"partly sealed", [](const std::string& b) { test::writeFile(b + "/Contents/MacOS/Another", "x"); }},
    {"signed by a stranger", [](const std::string& b) { codesign::signBundle(b, stranger()); }},
    {"a file",
     [](const std::string& b) {
       fs::remove_all(b);
       test::writeFile(b, "x");
     }},
    {"a link to a good one",
     [](const std::string& b) {
       fs::rename(b, b + "/../../good");
       fs::create_symlink(b + "/../../good", b);
     }},
    {"holds a link that leads outside",
     [](const std::string& b) {
       fs::remove(b + "/Contents/Latest");
       fs::create_symlink("../../outside", b + "/Contents/Latest");
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
    EXPECT_FALSE(test::exists(unpackFolder()));
    expectLogged("E: failed, exit code 1");
    expectLogged("E: Messenger application failed signature validation.");
  }
}

TEST_F(Messenger, WhatLiesBesideTheApplicationIsLeftBehind) {
  makeArchive();
  test::writeFile(staging / "zzz/evil", "x");
  test::writeFile(staging / "up", "x");
  fs::create_directories(staging / "below");
  zip({"zzz"});
  run("/usr/bin/zip", {"-q", archive(), "../up"}, staging / "below");  // unzip puts it into its own folder
  EXPECT_FALSE(test::exists(home.tempPath() + "/up"));
  EXPECT_TRUE(install()) << home.log.text();
  EXPECT_TRUE(test::exists(computers()));
  EXPECT_FALSE(test::exists(unpackFolder()));
  EXPECT_FALSE(test::exists(home.tempPath() + "/up"));
}

TEST_F(Messenger, ALeftoverBlocksAndTheArchiveStays) {
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
  // Only the link is no folder that is there: making one in its place fails.
  expectLogged("E: Unable to create dir '" + unpackFolder() + "': ");
  EXPECT_TRUE(install()) << home.log.text();
}

TEST_F(Messenger, AFailedUnzipKeepsTheArchive) {
  test::writeFile(archive(), "no archive");
  EXPECT_FALSE(install());
  expectLogged("E: unzip failed, exit code 9");
  EXPECT_TRUE(test::exists(archive()));
  EXPECT_FALSE(test::exists(unpackFolder()));
}

TEST_F(Messenger, AToolThatCannotStart) {
  makeArchive();
  EXPECT_FALSE(MacMessengerUtilities::unarchiveEndpoint(fileManager, archive(), staging / "missing"));
  EXPECT_TRUE(test::exists(archive()));
  for (const char* line : {"Unable to launch unzip command.", "Exception Name  : NSInvalidArgumentException",
                           "Exception Reason: "})
    expectLogged(std::string("E: +[MacMessengerUtilities unarchiveEndpoint:to:] - ") + line);
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
    {"the computer's is missing", [](auto& computers, auto&) { fs::remove_all(computers); }, Place::eUsers},
    {"the computer's is not writable",
     [](auto& computers, auto&) { fs::permissions(computers, fs::perms(0555)); }, Place::eUsers},
    {"another one is in the computer's",
     [](auto& computers, auto&) { test::makeFolder(computers + "/" + kName); }, Place::eUsers},
    {"another one is in both",
     [](auto& computers, auto& users) {
       test::makeFolder(computers + "/" + kName);
       test::makeFolder(users + "/" + kName);
     },
     Place::eNowhere},
    {"a file instead of the user's",
     [](auto& computers, auto& users) {
       fs::remove_all(computers);
       test::writeFile(users, "x");
     },
     Place::eNowhere},
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
    EXPECT_FALSE(test::exists(unpackFolder()));
    fs::permissions(home.sandbox().home(), fs::perms(0755));
    fs::remove_all(usersFolder());
    test::makeFolder(home.applications());
    fs::permissions(home.applications(), fs::perms(0755));
    fs::remove_all(computers());
  }
  expectLogged("E: Unable to create dir '" + usersFolder() + "': ");
}

TEST_F(Messenger, AFailedRegistrationDoesNotUndoTheInstallation) {
  makeMessenger(bundle());
  fs::remove(bundle() + "/Contents/Info.plist");
  codesign::signBundle(bundle(), maker());
  zip();
  EXPECT_TRUE(install());
  expectLogged("E: Could not register Messenger app.");
  EXPECT_TRUE(test::exists(computers()));
}

TEST_F(Messenger, FailedRemovalsAreSaid) {
  makeArchive();
  fileManager.failsToRemove = "/SecretFilePath";
  EXPECT_TRUE(install());
  expectLogged("E: Error removing the temp unzip dir: ");

  fs::remove_all(unpackFolder());
  fs::remove_all(computers());
  zip();
  fileManager.failsToRemove = ".zip";
  EXPECT_TRUE(install());
  expectLogged("E: Error removing messenger zip file: ");

  fs::remove_all(bundle() + "/Contents/_CodeSignature");
  fs::remove(archive());
  zip();
  fileManager.failsToRemove = kName;
  EXPECT_FALSE(install());
  expectLogged("E: Error removing messenger application: ");
}

TEST_F(Messenger, AnArchiveOfNothing) {
  makeArchive();
  fileManager.findsEmpty = "/SecretFilePath";
  EXPECT_FALSE(install());
  expectLogged("E: Unzip worked but found nothing!");
  EXPECT_FALSE(test::exists(unpackFolder()));
}

TEST_F(Messenger, MakesFolders) {
  using Utilities = MacMessengerUtilities;
  EXPECT_EQ(Utilities::makeFolderAtPath(fileManager, staging / "a/b/c"), Utilities::eCreated);
  EXPECT_EQ(Utilities::makeFolderAtPath(fileManager, staging / "a/b/c"), Utilities::eExisted);
  test::writeFile(staging / "file", "x");
  EXPECT_EQ(Utilities::makeFolderAtPath(fileManager, staging / "file"), Utilities::eExisted);
  EXPECT_EQ(Utilities::makeFolderAtPath(fileManager, staging / "file/below"), Utilities::eFailed);
}

TEST_F(Messenger, KnowsWhetherItRuns) {
  EXPECT_FALSE(MacMessengerUtilities::isMessengerRunning());
  EXPECT_FALSE(MacMessengerUtilities::isMessengerActive());
  makeMessenger(bundle());
  platform::Task messenger;
  messenger.launchPath = bundle() + "/Contents/MacOS/Messenger";
  messenger.arguments = {"60"};
  messenger.launch();
  const auto running = MacMessengerUtilities::runningMessengerApps();
  ASSERT_EQ(running.size(), 1u);
  EXPECT_EQ(running.front().bundlePath, bundle());
  EXPECT_TRUE(MacMessengerUtilities::isMessengerRunning());
  messenger.terminate();
  messenger.waitUntilExit();
  EXPECT_FALSE(MacMessengerUtilities::isMessengerRunning());
}

TEST_F(Messenger, TemporaryFolder) {
  const std::string folder = home.tempPath();
  EXPECT_EQ(MacMessengerUtilities::getTempFolder(fileManager), folder);
  fileManager.cannotWriteTo = "/Vantora";
  EXPECT_EQ(MacMessengerUtilities::getTempFolder(fileManager), std::nullopt);
  fs::remove_all(folder);
  EXPECT_EQ(MacMessengerUtilities::getTempFolder(fileManager), std::nullopt);
  test::writeFile(folder, "a file");
  EXPECT_EQ(MacMessengerUtilities::getTempFolder(fileManager), std::nullopt);
  std::vector<std::string> complaints;
  for (const std::string& line : home.log.lines())
    if (const auto at = line.find("+[MacMessengerUtilities getTempFolder] - "); at != std::string::npos)
      complaints.push_back(line.substr(0, 2) + line.substr(line.find(" - ", at) + 2));
  EXPECT_THAT(complaints, testing::Contains("E: Local download folder inaccessible - aborting!"));
  EXPECT_THAT(complaints, testing::Contains("E: Local download folder not found - aborting!"));
}

TEST_F(Messenger, NoTemporaryFolderWithoutAHome) {
  constexpr uid_t kNobodyKnown = 3'999'999'999;
  if (geteuid() != 0) GTEST_SKIP() << "takes a user without an account";
  const auto asNobody = [] {
    unsetenv("HOME");
    if (setuid(kNobodyKnown) != 0) _exit(1);
    const test::LogCapture log;
    const bool none = !MacMessengerUtilities::getTempFolder(platform::defaultFileManager());
    _exit(none && log.contains("E: ", "Library path not found - aborting") ? 0 : 2);
  };
  EXPECT_EXIT(asNobody(), testing::ExitedWithCode(0), "");
}

/// Nobody listens there: what is asked of the network fails at once.
struct NoNetwork {
  const std::map<std::string, std::optional<std::string>> proxy = {{"https_proxy", "http://127.0.0.1:1"}};
  const test::ScopedEnvironment environment{proxy};
};

constexpr const char* kAddress = "https://builds.vantora.example/messenger.zip";

std::string document(const std::string& address, bool enabled = true) {
  return std::string(R"({"updaterSettings":{"enabled":)") + (enabled ? "true" : "false") +
         R"(,"minDelayInDays":1,"maxDelayInDays":2},"VNTMessenger":{"windowsDownloadUrl":"","windowsDownloadSize":0,)" +
         R"("macDownloadUrl":")" + address + R"(","macDownloadSize":1}})";
}

TEST_F(Messenger, OnlyFromATrustedAddress) {
  struct Case {
    std::string document;
    const char* line;
  };
  const Case cases[] = {
      {"no document", "E: Unable to retrieve Messenger info"},
      {document(""),
       "i: -[VNTUpdate downloadAndInstallMessengerApp] - MessengerIntegration=\"Not configured\""},
      {R"({"updaterSettings":{"minDelayInDays":1,"maxDelayInDays":2}})",
       "i: MessengerIntegration=\"Not configured\""},
      {document("http://builds.vantora.example/m.zip"),
       "E: The url scheme 'http' is not safe. Aborting the download."},
      {document("https://builds.example/m.zip"),
       "E: Server 'builds.example' is not trusted. Aborting the download."},
      {document("https://vantora.example@evil.example/m.zip"), "E: Server 'evil.example' is not trusted."},
      {document("no address"), "E: The url scheme '(null)' is not safe. Aborting the download."},
      {document(kAddress), "E: Download of Messenger.zip failed"},
  };
  const NoNetwork noNetwork;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.document);
    test::writeFile(home.tempPath() + "/config.json", c.document);
    home.log.clear();
    EXPECT_FALSE(home.engine().downloadAndInstallMessengerApp());
    expectLogged(c.line);
    EXPECT_FALSE(test::exists(archive()));
  }
}

TEST_F(Messenger, AnArchiveThatIsThereIsNotDownloaded) {
  makeArchive();
  const NoNetwork noNetwork;
  test::writeFile(home.tempPath() + "/config.json", document(kAddress));
  EXPECT_TRUE(home.engine().downloadAndInstallMessengerApp()) << home.log.text();
  EXPECT_TRUE(test::exists(computers()));
}

/// The agent's servers, with a document and the archive.
class MessengerFromServer : public Messenger {
 protected:
  MessengerFromServer() {
    makeArchive();
    fs::rename(archive(), staging / "messenger.zip");
    server.serve("builds.vantora.example", "/messenger.zip",
                 staging::Reply::fromFile(staging / "messenger.zip"));
  }

  bool installFrom(const std::string& text) {
    server.serve("updates.vantora.example", "/vntupdater/live/config.json", staging::Reply::text(text));
    return home.engine().downloadAndInstallMessengerApp();
  }

  staging::Server server;
  const std::map<std::string, std::optional<std::string>> variables = [this] {
    const auto all = server.environment();
    return std::map<std::string, std::optional<std::string>>(all.begin(), all.end());
  }();
  const test::ScopedEnvironment environment{variables};
};

TEST_F(MessengerFromServer, DownloadsAndInstalls) {
  EXPECT_TRUE(installFrom(document(kAddress))) << home.log.text();
  EXPECT_TRUE(test::exists(computers()));
  const std::string size = std::to_string(fs::file_size(staging / "messenger.zip"));
  EXPECT_THAT(home.log.text(),
              testing::ContainsRegex("d: .*Download of Messenger.zip complete. Elapsed time = "
                                     "[0-9.]+ secs, Bytes downloaded = " +
                                     size));
  ASSERT_FALSE(server.requests().empty());
  EXPECT_EQ(server.requests().back().userAgent, home.engine().userAgent());
}

TEST_F(MessengerFromServer, NothingIsSaidWhenUpdatesAreDisabled) {
  EXPECT_FALSE(installFrom(document(kAddress, false)));
  EXPECT_TRUE(nothingInstalled());
  EXPECT_FALSE(home.log.contains("E: ", "")) << home.log.text();
  EXPECT_FALSE(home.log.contains("", "Messenger")) << home.log.text();
}

TEST_F(MessengerFromServer, ACutDownloadLeavesNoArchive) {
  server.serve("builds.vantora.example", "/messenger.zip",
               staging::Reply::fromFile(staging / "messenger.zip").endingAfter(100, staging::Ending::reset));
  EXPECT_FALSE(installFrom(document(kAddress)));
  expectLogged("E: Download of Messenger.zip failed");
  EXPECT_FALSE(test::exists(archive()));
}

}  // namespace

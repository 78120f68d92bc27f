#include "tools/demo/Stage.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "Code/MacOSX/VNTHelperData.h"
#include "platform/ApplicationRegistry.h"
#include "platform/Bundle.h"
#include "platform/FileManager.h"
#include "platform/LaunchAgent.h"
#include "platform/Metadata.h"
#include "platform/Preferences.h"
#include "tools/support/Program.h"
#include "tools/support/Require.h"

namespace demo {
namespace {

namespace fs = std::filesystem;
namespace plist = platform::plist;
using tools::require;

platform::Date ago(std::chrono::hours hours) {
  return platform::now() - platform::Seconds(hours);
}

}  // namespace

Stage::Stage(const fs::path& folder) : _folder(folder) {
  fs::remove_all(_folder);
  for (const fs::path& made :
       {applications(), desktop(), library() / "Preferences", home() / "Applications"}) {
    fs::create_directories(made);
  }
  for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"})
    unsetenv(name);
  setenv("HOME", home().c_str(), 1);
  setenv("VANTORA_SYSTEM_ROOT", applications().parent_path().c_str(), 1);
}

void Stage::installAgent(const fs::path& programs, const fs::path& makerCertificate) {
  tools::runProgram({.path = (programs / "vantora-seed").string(),
                     .arguments = {"--agent", (programs / "VNTUpdate").string(), "--with",
                                   (programs / "codesign-verifier").string()},
                     .environment = session()});

  const fs::path certificates =
      (library() / gVNTUpdateData.executableFolder()).parent_path() / "share/vantora/signing-certificates";
  fs::create_directories(certificates);
  fs::copy_file(makerCertificate, certificates / makerCertificate.filename());
}

void Stage::placeBuild(const fs::path& bundle, const fs::path& folder, std::chrono::hours lastUsed) const {
  const fs::path placed = folder / bundle.filename();
  fs::create_directories(folder);
  require(platform::defaultFileManager().copyItem(bundle.string(), placed.string()));
  require(platform::metadata::setLastUsedDate(placed.string(), ago(lastUsed)));
  require(platform::applications::registerApplication(placed.string()));
}

void Stage::setLastUsed(std::uint32_t build, std::chrono::hours hours) const {
  for (const InstalledBuild& installed : installedBuilds()) {
    if (installed.build == build) require(platform::metadata::setLastUsedDate(installed.path, ago(hours)));
  }
}

fs::path Stage::preferences() const {
  return library() / gVNTUpdateData.preferencesPlist();
}

void Stage::setPreference(const std::string& key, const plist::Value& value) const {
  plist::Dictionary all;
  require(plist::readDictionary(preferences().string(), all));
  all[key] = value;
  require(plist::write(preferences().string(), plist::Value(std::move(all))));
}

void Stage::makeCheckDue() const {
  setPreference("NextUpdateCheck", platform::now() - platform::Seconds(60));
}

void Stage::askForMessenger() const {
  const platform::preferences::Scope scope{"com.korvane.Vantora"};
  platform::preferences::setValue("VNTMessenger", plist::Value("yes"), scope);
  if (!platform::preferences::synchronize(scope.application))
    throw std::runtime_error("cannot write the settings");
}

int Stage::runLaunchAgent(const std::map<std::string, std::string>& environment) const {
  platform::LaunchAgent agent;
  require(platform::readLaunchAgent((library() / gVNTUpdateData.launchAgentPlist()).string(), agent));

  std::map<std::string, std::string> variables = session();
  variables.insert(environment.begin(), environment.end());
  return tools::exitStatusOf({.path = agent.arguments.at(0),
                              .arguments = {agent.arguments.begin() + 1, agent.arguments.end()},
                              .environment = std::move(variables)});
}

/// An environment as a session gives it: nothing of the caller's comes through.
std::map<std::string, std::string> Stage::session() const {
  return {{"HOME", home().string()},
          {"VANTORA_SYSTEM_ROOT", applications().parent_path().string()},
          {"PATH", "/usr/bin:/bin"}};
}

std::vector<InstalledBuild> Stage::installedBuilds() const {
  std::vector<InstalledBuild> builds;
  for (const std::string& path : platform::applications::applicationsForUrlScheme("Vantora").paths) {
    plist::Dictionary information;
    static_cast<void>(platform::bundleInformation(path, information));  // then it shows as build 0
    const plist::Value* version = plist::find(information, "CFBundleVersion");
    builds.push_back(
        {static_cast<std::uint32_t>(version != nullptr ? version->integerValue().value_or(0) : 0), path});
  }
  std::sort(builds.begin(), builds.end(), [](const auto& a, const auto& b) { return a.build < b.build; });
  return builds;
}

fs::path Stage::log() const {
  return library() / "Logs/com.korvane.Vantora/VNTUpdate.log";
}

std::vector<std::string> Stage::newLogLines() {
  std::ifstream file(log());
  file.seekg(static_cast<std::streamoff>(_logPosition));
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);)
    lines.push_back(line);
  _logPosition = fs::exists(log()) ? fs::file_size(log()) : 0;
  return lines;
}

}  // namespace demo

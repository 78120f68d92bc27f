// Installs the agent for a user: launch agent, preferences and executable, in the user's Library folder.

#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Code/MacOSX/PreferenceKeys.h"
#include "Code/MacOSX/ProductSettings.h"
#include "Code/MacOSX/VNTHelperData.h"
#include "platform/Clock.h"
#include "platform/FileManager.h"
#include "platform/Folders.h"
#include "platform/LaunchAgent.h"
#include "platform/PropertyList.h"
#include "runtime/Applications/ZRRuntimeInit.h"
#include "tools/support/Require.h"

namespace {

namespace fs = std::filesystem;
namespace plist = platform::plist;
using tools::require;

constexpr const char* kUsage =
    "Usage: vantora-seed --agent FILE [options]\n"
    "Installs the agent for the user whose home is $HOME.\n"
    "  --agent FILE              the agent's executable\n"
    "  --with FILE               another program to lie beside it (may be repeated)\n"
    "  --check-now               make the first check due at once\n"
    "  --check-always            check at every run\n"
    "  --keep-downloads          keep downloaded archives\n"
    "  --update-info-url URL     where the update info is fetched\n"
    "  --messenger               ask for the Messenger companion\n";

struct Options {
  std::string agent;
  std::vector<std::string> companions;
  std::optional<std::string> updateInfoUrl;
  bool checkNow = false;
  bool checkAlways = false;
  bool keepDownloads = false;
  bool messenger = false;
};

Options parseOptions(const std::vector<std::string>& arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const auto value = [&]() -> const std::string& {
      if (i + 1 == arguments.size()) throw std::invalid_argument(arguments[i] + " needs a value");
      return arguments[++i];
    };
    const std::string& name = arguments[i];
    if (name == "--agent")
      options.agent = value();
    else if (name == "--with")
      options.companions.push_back(value());
    else if (name == "--update-info-url")
      options.updateInfoUrl = value();
    else if (name == "--check-now")
      options.checkNow = true;
    else if (name == "--check-always")
      options.checkAlways = true;
    else if (name == "--keep-downloads")
      options.keepDownloads = true;
    else if (name == "--messenger")
      options.messenger = true;
    else
      throw std::invalid_argument("unknown option " + name);
  }
  if (options.agent.empty()) throw std::invalid_argument("--agent is missing");
  return options;
}

std::string libraryFolder() {
  const auto library = platform::libraryFolder();
  if (!library) throw std::runtime_error("The user has no Library folder.");
  return *library;
}

/// An existing file keeps what the agent does not overwrite.
void seedPreferences(const std::string& path, const Options& options) {
  require(platform::defaultFileManager().createFolder(fs::path(path).parent_path()));
  if (!fs::exists(path)) require(plist::write(path, plist::Value(plist::Dictionary())));
  plist::Dictionary preferences;
  if (gVNTUpdateData.getHelperPrefs(path, preferences).isFailure()) {
    throw std::runtime_error(path + " cannot be read as a property list.");
  }
  if (options.checkNow) preferences[preference::kNextUpdateCheck] = platform::now();
  if (options.checkAlways) preferences[preference::kAlwaysCheck] = true;
  if (options.keepDownloads) preferences[preference::kCleanupDownloadCache] = 0;
  if (options.updateInfoUrl) preferences[preference::kUpdateInfoURL] = *options.updateInfoUrl;
  require(plist::write(path, plist::Value(std::move(preferences))));
}

/// A program that runs is replaced, not overwritten.
std::string installProgram(const fs::path& program, const fs::path& folder) {
  const fs::path target = folder / program.filename();
  const fs::path fresh = target.string() + ".new";
  fs::copy_file(program, fresh, fs::copy_options::overwrite_existing);
  fs::permissions(fresh, fs::perms(0755));
  fs::rename(fresh, target);
  return target;
}

void installAgent(const Options& options) {
  const std::string library = libraryFolder();
  const std::string folder = library + "/" + gVNTUpdateData.executableFolder();
  require(platform::defaultFileManager().createFolder(folder));
  const std::string agent = installProgram(options.agent, folder);
  for (const auto& companion : options.companions)
    static_cast<void>(installProgram(companion, folder));
  seedPreferences(library + "/" + gVNTUpdateData.preferencesPlist(), options);
  if (options.messenger && writeRegistryString(setting::kMessenger, "true").isFailure()) {
    throw std::runtime_error("The product's settings cannot be written.");
  }
  require(platform::installLaunchAgent({.label = gVNTUpdateData.launchAgentLabel(), .arguments = {agent}}));
  std::cout << agent << "\n";
}

}  // namespace

int main(int argc, char* argv[]) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  ZRRuntimeInit runtime;
  if (runtime.initResult().isFailure()) return 1;
  try {
    installAgent(parseOptions(arguments));
    return 0;
  } catch (const std::invalid_argument& error) {
    std::cerr << "vantora-seed: " << error.what() << "\n" << kUsage;
    return 2;
  } catch (const std::exception& error) {
    std::cerr << "vantora-seed: " << error.what() << "\n";
    return 1;
  }
}

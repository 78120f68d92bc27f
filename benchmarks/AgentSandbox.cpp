#include "benchmarks/AgentSandbox.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

#include "platform/Bundle.h"
#include "platform/Clock.h"
#include "platform/PropertyList.h"
#include "tools/demo/ClientBundle.h"

namespace benchmark {
namespace {

namespace fs = std::filesystem;
namespace plist = platform::plist;

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts)
    result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

RunCost runProgram(const std::vector<std::string>& arguments,
                   const std::map<std::string, std::string>& environment, const fs::path& workingFolder) {
  std::vector<std::string> argumentTexts = arguments;
  std::vector<std::string> environmentTexts;
  for (const auto& [name, value] : environment)
    environmentTexts.push_back(name + "=" + value);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addchdir_np(&actions, workingFolder.c_str());
  pid_t child = 0;
  const auto start = std::chrono::steady_clock::now();
  const int error = posix_spawnp(&child, arguments.at(0).c_str(), &actions, nullptr,
                                 pointers(argumentTexts).data(), pointers(environmentTexts).data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("cannot start " + arguments[0]);

  // The peak is that of this process, if that was higher when the program was started: keep it small.
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  if (status != 0) throw std::runtime_error(arguments[0] + " failed");
  return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
          seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_maxrss};
}

AgentSandbox::AgentSandbox() {
  std::string pattern = (fs::temp_directory_path() / "vantora-benchmark-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a temporary folder");
  _folder = pattern;
  fs::create_directories(temporaryFolder());
  fs::create_directories(installedBuilds());
  fs::create_directories(_folder / "home/Library/Preferences");
}

AgentSandbox::~AgentSandbox() {
  std::error_code ignored;  // what is left lies in the system's temporary folder
  fs::remove_all(_folder, ignored);
}

fs::path AgentSandbox::temporaryFolder() const {
  return _folder / "home/Library/Application Support/KorvaneInc/Vantora";
}

fs::path AgentSandbox::installedBuilds() const {
  return _folder / "root/Applications/Vantora";
}

std::map<std::string, std::string> AgentSandbox::environment() const {
  return {{"HOME", (_folder / "home").string()},
          {"VANTORA_SYSTEM_ROOT", (_folder / "root").string()},
          {"PATH", "/usr/bin:/bin"}};
}

void AgentSandbox::installBuild(std::uint32_t build) const {
  demo::makeClientBundle(installedBuilds() / ("Vantora (" + std::to_string(build) + ").app"), build,
                         demo::Payload());
}

void AgentSandbox::schedule(int secondsFromNow) const {
  const plist::Dictionary preferences = {
      {"NextUpdateCheck", platform::now() + platform::Seconds(secondsFromNow)},
      {"UpdateInfoURL", "https://updates.vantora.example/vntupdater/live/config.json"},
      {"AggressivelyCleanup", false}};
  const platform::Error error =
      plist::write((_folder / "home/Library/Preferences/com.korvane.VNTUpdate.plist").string(), preferences);
  if (error) throw std::runtime_error(error.description);
}

RunCost AgentSandbox::runAgent(const std::map<std::string, std::string>& extraEnvironment) const {
  std::map<std::string, std::string> variables = environment();
  variables.insert(extraEnvironment.begin(), extraEnvironment.end());
  const fs::path agent = fs::path(platform::executablePath()).parent_path().parent_path() / "VNTUpdate";
  return runProgram({agent.string()}, variables);
}

}  // namespace benchmark

#pragma once

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Code/Common/ServerConfiguration.h"
#include "Code/MacOSX/VNTUpdate/TemporaryNames.h"
#include "Code/MacOSX/VNTUpdate/VNTUpdate.h"
#include "platform/Clock.h"
#include "platform/PropertyList.h"
#include "platform/Random.h"
#include "runtime/Applications/ZRRuntimeInit.h"
#include "tests/support/Bundles.h"
#include "tests/support/Environment.h"
#include "tests/support/FaultyFileManager.h"
#include "tests/support/FixedClock.h"
#include "tests/support/LogCapture.h"

namespace test {

using Builds = std::vector<std::uint32_t>;
using Names = std::vector<std::string>;

class FixedRandom : public platform::RandomSource {
 public:
  explicit FixedRandom(std::uint32_t number) : _number(number) { platform::setRandomSource(this); }
  ~FixedRandom() override { platform::setRandomSource(nullptr); }
  std::uint32_t next() override { return _number; }

 private:
  std::uint32_t _number;
};

/// A user with an installed agent, whose next check lies in the year 4001, on a computer of its own.
class AgentHome {
 public:
  AgentHome() {
    makeFolder(tempPath() + "/VNTUpdate");
    writeFile(executable(), "the agent");
    writeFile(launchAgentPlist(), "the launch agent");
    setPreferences({{"NextUpdateCheck", platform::distantFuture()}});
  }

  [[nodiscard]] const Sandbox& sandbox() const { return _sandbox; }
  [[nodiscard]] std::string library() const { return _sandbox.library(); }
  [[nodiscard]] std::string tempPath() const { return library() + "/Application Support/KorvaneInc/Vantora"; }
  [[nodiscard]] std::string executable() const { return tempPath() + "/VNTUpdate/VNTUpdate"; }
  [[nodiscard]] std::string launchAgentPlist() const {
    return library() + "/LaunchAgents/com.korvane.Vantora.VNTUpdate.plist";
  }
  [[nodiscard]] std::string plistPath() const {
    return library() + "/Preferences/com.korvane.VNTUpdate.plist";
  }
  /// The computer's Applications folder.
  [[nodiscard]] std::string applications() const { return _sandbox.root() + "/Applications"; }
  [[nodiscard]] std::string olderVersions() const { return applications() + "/Vantora"; }
  /// Where the build is installed.
  [[nodiscard]] std::string installed(std::uint32_t build) const {
    return olderVersions() + "/Vantora (" + std::to_string(build) + ").app";
  }
  /// Makes stock endpoints of these builds where builds are installed.
  void install(const Builds& builds) const {
    for (const std::uint32_t build : builds)
      makeEndpoint(olderVersions(), build);
  }
  /// The builds in that folder, in order, by their names; there is nothing else.
  [[nodiscard]] Builds builds() const {
    Builds numbers;
    for (const auto& name : exists(olderVersions()) ? namesIn(olderVersions()) : Names())
      numbers.push_back(temporaryItemOf(name).value().build);
    std::sort(numbers.begin(), numbers.end());
    return numbers;
  }
  /// Names in a folder, hidden ones as well, in order.
  [[nodiscard]] static Names namesIn(const std::string& folder) {
    Names names;
    EXPECT_FALSE(platform::defaultFileManager().contentsOfFolder(folder, names));
    return names;
  }
  /// What lies in the temporary folder beside the agent.
  [[nodiscard]] Names leftovers() const {
    Names names = namesIn(tempPath());
    names.erase(std::remove(names.begin(), names.end(), "VNTUpdate"), names.end());
    return names;
  }

  void setPreferences(const platform::plist::Dictionary& preferences) const {
    makeFolder(library() + "/Preferences");
    ASSERT_FALSE(platform::plist::write(plistPath(), platform::plist::Value(preferences)));
  }
  /// The stored value of a key; null when there is none.
  [[nodiscard]] std::optional<platform::plist::Value> preference(const std::string& key) const {
    platform::plist::Value list;
    EXPECT_FALSE(platform::plist::read(plistPath(), list));
    const auto* value = platform::plist::find(*list.as<platform::plist::Dictionary>(), key);
    return value != nullptr ? std::optional(*value) : std::nullopt;
  }

  LogCapture log;

 private:
  Sandbox _sandbox;
};

/// The same with the runtime started, and the parts of an engine.
class EngineHome : public AgentHome {
 public:
  EngineHome() {
    // A runtime that was shut down cannot be started again in the same process.
    static ZRRuntimeInit runtime;
    EXPECT_TRUE(runtime.initResult().isSuccess());
  }

  /// Made from preferences and settings at the first call.
  EngineParts& parts() {
    if (!_parts) _parts = makeParts();
    return *_parts;
  }

  [[nodiscard]] std::unique_ptr<EngineParts> makeParts() {
    return std::make_unique<EngineParts>(fileManager, AgentPreferences::read(fileManager).value(), settings);
  }

  FaultyFileManager fileManager;
  EngineSettings settings{.installationPath = applications(),
                          .tempPath = tempPath(),
                          .userAgent = "VNTUpdate/7759(Mac)",
                          .updateInfoURL = configuration::kDefaultUpdateInfoUrl};

 private:
  std::unique_ptr<EngineParts> _parts;
};

}  // namespace test

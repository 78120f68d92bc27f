#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "Code/MacOSX/VNTUpdate/VNTUpdate.h"
#include "platform/Clock.h"
#include "platform/FileManager.h"
#include "platform/PropertyList.h"
#include "platform/Random.h"
#include "runtime/Applications/ZRRuntimeInit.h"
#include "tests/support/Bundles.h"
#include "tests/support/Environment.h"
#include "tests/support/LogCapture.h"

namespace test {

/// 2026-11-15 18:17:26 UTC, and later as the test says.
class FixedClock : public platform::Clock {
 public:
  FixedClock() { platform::setClock(this); }
  ~FixedClock() override { platform::setClock(nullptr); }
  [[nodiscard]] platform::Date now() const override { return _now; }
  void advance(double seconds) { _now += platform::Seconds(seconds); }

 private:
  platform::Date _now{platform::Seconds(1'794'766'646)};
};

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

/// The same with the runtime started and an engine.
class EngineHome : public AgentHome {
 public:
  EngineHome() {
    // A runtime that was shut down cannot be started again in the same process.
    static ZRRuntimeInit runtime;
    EXPECT_TRUE(runtime.initResult().isSuccess());
  }

  /// The engine, made from the preferences at the first call.
  VNTUpdate& engine() {
    if (!_engine) _engine = VNTUpdate::initWithFileManager(fileManager());
    if (!_engine) throw std::runtime_error("no engine:\n" + log.text());
    return *_engine;
  }
  /// To be set before the first use of the engine; owned by the test.
  platform::FileManager* otherFileManager = nullptr;

  platform::FileManager& fileManager() const {
    return otherFileManager != nullptr ? *otherFileManager : platform::defaultFileManager();
  }

 private:
  std::unique_ptr<VNTUpdate> _engine;
};

}  // namespace test

#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/PropertyList.h"

namespace demo {

struct InstalledBuild {
  std::uint32_t build = 0;
  std::string path;
};

/// The user's side: a home folder and a computer of its own, in which the agent is installed and run. From
/// its construction on this process's own look-ups (folders, registry) go there too.
class Stage {
 public:
  /// `folder` is emptied first.
  explicit Stage(const std::filesystem::path& folder);

  /// Installs the agent as the client's installer does: executable, signature verifier with the maker's
  /// certificate, preferences, launch agent.
  void installAgent(const std::filesystem::path& agent, const std::filesystem::path& makerCertificate);
  /// Copies a client bundle to where its installer or its user put it, and makes it known. `lastUsed` is how
  /// long ago it was opened.
  void placeBuild(const std::filesystem::path& bundle, const std::filesystem::path& folder,
                  std::chrono::hours lastUsed) const;
  /// Records how long ago an installed build was opened.
  void setLastUsed(std::uint32_t build, std::chrono::hours ago) const;

  /// Changes one value of the agent's preferences.
  void setPreference(const std::string& key, const platform::plist::Value& value) const;
  void makeCheckDue() const;
  /// Asks for the Messenger in the product's settings.
  void askForMessenger() const;

  /// Starts what the launch agent names, as the session would, and waits for it. Answers its exit status.
  [[nodiscard]] int runLaunchAgent(const std::map<std::string, std::string>& environment) const;

  [[nodiscard]] std::vector<InstalledBuild> installedBuilds() const;
  [[nodiscard]] std::filesystem::path applications() const { return _folder / "computer/Applications"; }
  [[nodiscard]] std::filesystem::path desktop() const { return home() / "Desktop"; }
  [[nodiscard]] std::filesystem::path home() const { return _folder / "home"; }
  [[nodiscard]] std::filesystem::path log() const;
  /// The lines that the log has gained since the last call.
  [[nodiscard]] std::vector<std::string> newLogLines();

 private:
  [[nodiscard]] std::filesystem::path library() const { return home() / "Library"; }
  [[nodiscard]] std::filesystem::path preferences() const;
  [[nodiscard]] std::map<std::string, std::string> session() const;

  std::filesystem::path _folder;
  std::uintmax_t _logPosition = 0;
};

}  // namespace demo

#pragma once

#include <map>
#include <optional>
#include <string>

#include "tests/support/TemporaryFolder.h"

namespace test {

/// Sets or clears environment variables for the length of a scope and puts back what was there.
class ScopedEnvironment {
 public:
  explicit ScopedEnvironment(const std::map<std::string, std::optional<std::string>>& changes);
  /// Sets these.
  [[nodiscard]] static ScopedEnvironment with(const std::map<std::string, std::string>& values) {
    return ScopedEnvironment({values.begin(), values.end()});
  }
  ~ScopedEnvironment();
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  std::map<std::string, std::optional<std::string>> _before;
};

/// A user's home folder ("home") and a computer ("root") of its own in a temporary folder, both set in the
/// environment; proxy, certificate and XDG variables of the caller are cleared.
class Sandbox {
 public:
  Sandbox();
  [[nodiscard]] std::string home() const { return _folder / "home"; }
  [[nodiscard]] std::string root() const { return _folder / "root"; }
  /// The user's Library folder.
  [[nodiscard]] std::string library() const { return home() + "/Library"; }
  [[nodiscard]] const TemporaryFolder& folder() const { return _folder; }

 private:
  TemporaryFolder _folder;
  ScopedEnvironment _environment;
};

}  // namespace test

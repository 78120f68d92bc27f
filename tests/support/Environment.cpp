#include "tests/support/Environment.h"

#include <cstdlib>

namespace test {
namespace {

void apply(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name.c_str(), value->c_str(), 1);
  } else {
    unsetenv(name.c_str());
  }
}

std::map<std::string, std::optional<std::string>> sandboxVariables(const TemporaryFolder& folder) {
  std::map<std::string, std::optional<std::string>> variables;
  for (const char* name : {"https_proxy", "HTTPS_PROXY", "http_proxy", "all_proxy", "ALL_PROXY", "no_proxy",
                           "NO_PROXY", "SSL_CERT_FILE", "SSL_CERT_DIR", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
    variables[name] = std::nullopt;
  }
  for (const char* home : {"HOME", "CFFIXED_USER_HOME"})  // on macOS the second one counts
    variables[home] = folder / "home";
  variables["VANTORA_SYSTEM_ROOT"] = folder / "root";
  return variables;
}

}  // namespace

ScopedEnvironment::ScopedEnvironment(const std::map<std::string, std::optional<std::string>>& changes) {
  for (const auto& [name, value] : changes) {
    const char* before = getenv(name.c_str());
    _before[name] = before != nullptr ? std::optional<std::string>(before) : std::nullopt;
    apply(name, value);
  }
}

ScopedEnvironment::~ScopedEnvironment() {
  for (const auto& [name, value] : _before)
    apply(name, value);
}

Sandbox::Sandbox() : _environment(sandboxVariables(_folder)) {
  makeFolder(library());
  makeFolder(root() + "/Applications");
}

}  // namespace test

#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace test {

/// A client bundle to make. What has no value gets what a real endpoint of that build has.
struct BundleSpec {
  std::uint32_t build = 0;
  std::optional<std::string> version{};               ///< "CFBundleVersion"; empty: none
  std::optional<std::vector<std::string>> schemes{};  ///< else "Vantora" and "Vantora<build>"
  std::string identifier = "com.korvane.Vantora.client";
  std::map<std::string, std::string> files{};  ///< more files, path in the bundle and contents
};

/// Makes the bundle folder at `path`: the information dictionary, the client's executables (mode 0755,
/// different in every build) and a resource that is alike in all builds.
void makeBundle(const std::string& path, const BundleSpec& spec);

/// "`folder`/Vantora (`build`).app", a stock endpoint; answers its path.
std::string makeEndpoint(const std::string& folder, std::uint32_t build);

/// Both folders hold the same items, with the same bytes and modes; a link is no file and no folder.
void expectSameTree(const std::string& folder, const std::string& original);

}  // namespace test

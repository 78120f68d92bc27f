#include "tests/support/Bundles.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "Code/Common/BundleExecutables.h"
#include "platform/PropertyList.h"
#include "tests/support/TemporaryFolder.h"

namespace test {
namespace {

namespace fs = std::filesystem;
namespace plist = platform::plist;

plist::Dictionary information(const BundleSpec& spec) {
  plist::Array schemes;
  const std::vector<std::string> stock = {"Vantora", "Vantora" + std::to_string(spec.build)};
  for (const auto& scheme : spec.schemes.value_or(stock))
    schemes.emplace_back(scheme);
  plist::Dictionary list = {
      {"CFBundleIdentifier", spec.identifier},
      {"CFBundleExecutable", "Vantora"},
      {"CFBundleURLTypes", plist::Array{plist::Dictionary{{"CFBundleURLSchemes", std::move(schemes)}}}}};
  const std::string version = spec.version.value_or(std::to_string(spec.build));
  if (!version.empty()) list.emplace("CFBundleVersion", version);
  return list;
}

/// Modes and contents of a tree's items; the contents as a hash, which is short when it is printed.
std::map<std::string, std::pair<fs::perms, std::size_t>> itemsOf(const fs::path& top) {
  std::map<std::string, std::pair<fs::perms, std::size_t>> items;
  for (const auto& entry : fs::recursive_directory_iterator(top)) {
    const std::string contents = entry.is_regular_file() ? readFile(entry.path()) : std::string();
    items[entry.path().lexically_relative(top)] = {entry.symlink_status().permissions(),
                                                   std::hash<std::string>()(contents)};
  }
  return items;
}

}  // namespace

void makeBundle(const std::string& path, const BundleSpec& spec) {
  makeFolder(path + "/Contents");
  ASSERT_FALSE(plist::write(path + "/Contents/Info.plist", plist::Value(information(spec))));
  for (const std::string executable : kBundleExecutables) {
    writeFile(path + "/" + executable,
              std::string(4000, 'x') + executable + " of " + std::to_string(spec.build));
    fs::permissions(path + "/" + executable, fs::perms(0755));
  }
  writeFile(path + "/Contents/Resources/Shared.txt", "alike in all builds\n");
  for (const auto& [name, contents] : spec.files)
    writeFile(path + "/" + name, contents);
}

std::string makeEndpoint(const std::string& folder, std::uint32_t build) {
  std::string path = folder + "/Vantora (" + std::to_string(build) + ").app";
  makeBundle(path, {.build = build});
  return path;
}

void expectSameTree(const std::string& folder, const std::string& original) {
  EXPECT_EQ(itemsOf(folder), itemsOf(original)) << folder;
}

}  // namespace test

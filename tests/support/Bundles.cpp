#include "tests/support/Bundles.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "Code/Common/BundleExecutables.h"
#include "platform/PropertyList.h"
#include "tests/support/TemporaryFolder.h"

namespace test {
namespace {

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

void makeExecutable(const std::string& path, const std::string& contents) {
  writeFile(path, contents);
  std::filesystem::permissions(path, std::filesystem::perms(0755));
}

}  // namespace

void makeBundle(const std::string& path, const BundleSpec& spec) {
  makeFolder(path + "/Contents");
  ASSERT_FALSE(plist::write(path + "/Contents/Info.plist", plist::Value(information(spec))));
  for (const char* executable : kBundleExecutables) {
    makeExecutable(path + "/" + executable,
                   std::string(4000, 'x') + executable + " of " + std::to_string(spec.build));
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
  namespace fs = std::filesystem;
  const auto itemsOf = [](const std::string& top) {
    std::map<fs::path, fs::perms> items;
    for (const auto& entry : fs::recursive_directory_iterator(top))
      items.emplace(entry.path().lexically_relative(top), entry.symlink_status().permissions());
    return items;
  };
  const auto items = itemsOf(original);
  EXPECT_EQ(itemsOf(folder), items) << folder;
  for (const auto& [item, mode] : items) {
    const fs::path path = original / item;
    if (!fs::is_regular_file(path) || !exists(folder / item)) continue;
    EXPECT_EQ(readFile(folder / item), readFile(path)) << item;
  }
}

}  // namespace test

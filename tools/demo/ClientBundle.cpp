#include "tools/demo/ClientBundle.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

#include "Code/Common/BundleExecutables.h"
#include "platform/PropertyList.h"

namespace demo {
namespace {

namespace fs = std::filesystem;
namespace plist = platform::plist;

constexpr std::uintmax_t kLargestFile = 1'000'000;
constexpr std::uintmax_t kSmallestFile = 20'000;
/// One file in this many differs between two builds.
constexpr std::size_t kChangedEvery = 9;

void write(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

std::string read(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void makeExecutable(const fs::path& path, const std::string& script) {
  write(path, script);
  fs::permissions(path, fs::perms(0755));
}

void writeInformation(const fs::path& bundle, plist::Dictionary information) {
  write(bundle / "Contents/Info.plist", plist::toXml(plist::Value(std::move(information))));
}

plist::Dictionary urlType(const std::string& scheme) {
  return {{"CFBundleURLName", scheme + " meetings"}, {"CFBundleURLSchemes", plist::Array{scheme}}};
}

/// The payload file as the build has it: some are changed in the middle, as a new version of a library is.
std::string payloadBytes(const fs::path& source, std::size_t index, std::uint32_t build) {
  std::string bytes = read(source);
  if (index % kChangedEvery != build % kChangedEvery) return bytes;
  const std::string mark = "[Vantora build " + std::to_string(build) + "]";
  const std::size_t start = bytes.size() / 2;
  for (std::size_t i = 0; i < 4096 && start + i < bytes.size(); ++i)
    bytes[start + i] = mark[i % mark.size()];
  return bytes;
}

}  // namespace

Payload::Payload(const fs::path& folder, std::uint64_t totalBytes) {
  std::set<fs::path> candidates;
  const auto options = fs::directory_options::skip_permission_denied;
  for (const auto& entry : fs::recursive_directory_iterator(folder, options)) {
    if (!entry.is_symlink() && entry.is_regular_file()) candidates.insert(entry.path());
  }
  std::uint64_t taken = 0;
  for (const fs::path& candidate : candidates) {
    if (taken >= totalBytes) break;
    std::error_code error;
    const std::uintmax_t size = fs::file_size(candidate, error);
    if (error || size < kSmallestFile || size > kLargestFile) continue;
    _files.push_back(candidate);
    taken += size;
  }
  if (taken < totalBytes) throw std::runtime_error("not enough files below " + folder.string());
}

void makeClientBundle(const fs::path& bundle, std::uint32_t build, const Payload& payload) {
  const std::string number = std::to_string(build);
  writeInformation(bundle,
                   {{"CFBundleIdentifier", "com.korvane.Vantora"},
                    {"CFBundleName", "Vantora"},
                    {"CFBundleExecutable", "Vantora"},
                    {"CFBundleVersion", number},
                    {"CFBundleURLTypes", plist::Array{urlType("Vantora"), urlType("Vantora" + number)}}});
  for (const char* executable : kBundleExecutables) {
    makeExecutable(bundle / executable, "#!/bin/sh\necho \"Vantora build " + number + "\"\n");
  }
  write(bundle / "Contents/Helpers/Vantora Recording Manager.app/Contents/Info.plist",
        plist::toXml(plist::Value(plist::Dictionary{
            {"CFBundleIdentifier", "com.korvane.VantoraRecordingManager"}, {"CFBundleVersion", number}})));
  for (std::size_t i = 0; i < payload.files().size(); ++i) {
    const fs::path& source = payload.files()[i];
    write(bundle / "Contents/Frameworks" / (std::to_string(i) + "-" + source.filename().string()),
          payloadBytes(source, i, build));
  }
}

void makeMessengerBundle(const fs::path& bundle) {
  writeInformation(bundle, {{"CFBundleIdentifier", "com.korvane.vantora-messenger"},
                            {"CFBundleName", "Vantora Messenger"},
                            {"CFBundleExecutable", "Vantora Messenger"},
                            {"CFBundleVersion", "12"}});
  makeExecutable(bundle / "Contents/MacOS/Vantora Messenger", "#!/bin/sh\necho Messenger\n");
  write(bundle / "Contents/Resources/greeting.txt", "Hello.\n");
}

}  // namespace demo

#include "tools/demo/ClientBundle.h"

#include <fstream>
#include <stdexcept>

#include "Code/Common/BundleExecutables.h"
#include "platform/PropertyList.h"

namespace demo {
namespace {

namespace fs = std::filesystem;
namespace plist = platform::plist;

void write(const fs::path& path, const std::string& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
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

/// "Name" and "Versions/Current" of a framework, both links, as each framework has them.
void linkFramework(const fs::path& program) {
  const fs::path version = program.parent_path();
  const fs::path framework = version.parent_path().parent_path();
  fs::create_directory_symlink(version.filename(), version.parent_path() / "Current");
  fs::create_symlink(fs::path("Versions/Current") / program.filename(), framework / program.filename());
}

}  // namespace

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
  for (const PayloadFile& file : payload.filesOf(build)) {
    write(bundle / file.path, file.contents());
    if (file.kind == PayloadKind::framework) linkFramework(bundle / file.path);
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

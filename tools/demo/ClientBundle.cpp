#include "tools/demo/ClientBundle.h"

#include "Code/Common/BundleExecutables.h"
#include "platform/PropertyList.h"
#include "tools/support/Files.h"

namespace demo {
namespace {

namespace fs = std::filesystem;
namespace plist = platform::plist;

void makeExecutable(const fs::path& path, const std::string& script) {
  tools::writeFile(path, script);
  fs::permissions(path, fs::perms(0755));
}

void writeInformation(const fs::path& bundle, plist::Dictionary information) {
  tools::writeFile(bundle / "Contents/Info.plist", plist::toXml(plist::Value(std::move(information))));
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
  tools::writeFile(
      bundle / "Contents/Helpers/Vantora Recording Manager.app/Contents/Info.plist",
      plist::toXml(plist::Value(plist::Dictionary{
          {"CFBundleIdentifier", "com.korvane.VantoraRecordingManager"}, {"CFBundleVersion", number}})));
  for (const PayloadFile& file : payload.filesOf(build)) {
    tools::writeFile(bundle / file.path, file.contents());
    if (file.kind == PayloadKind::framework) linkFramework(bundle / file.path);
  }
}

void makeMessengerBundle(const fs::path& bundle) {
  writeInformation(bundle, {{"CFBundleIdentifier", "com.korvane.vantora-messenger"},
                            {"CFBundleName", "Vantora Messenger"},
                            {"CFBundleExecutable", "Vantora Messenger"},
                            {"CFBundleVersion", "12"}});
  makeExecutable(bundle / "Contents/MacOS/Vantora Messenger", "#!/bin/sh\necho Messenger\n");
  tools::writeFile(bundle / "Contents/Resources/greeting.txt", "Hello.\n");
}

}  // namespace demo

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

/// Which folders the files of a folder may include from, besides their own. The longest matching folder
/// counts. A folder stands for itself only, not for those below it; a file may have a row of its own.
const std::map<std::string, std::vector<std::string>> kAllowedIncludes = {
    {"platform", {}},
    {"platform/common", {"platform"}},
    {"platform/linux", {"platform", "platform/common"}},
    {"platform/macos", {"platform", "platform/common"}},
    {"runtime/Strings", {"runtime/Code"}},
    {"runtime/Code", {"platform", "runtime/Strings"}},
    {"runtime/Threads", {"platform", "runtime/Strings", "runtime/Code"}},
    {"runtime/File", {"platform", "runtime/Strings", "runtime/Code"}},
    {"runtime/Json", {"platform", "runtime/Strings", "runtime/Code"}},
    {"runtime/NewCrypto", {"platform", "runtime/Strings", "runtime/Code", "runtime/File"}},
    {"runtime/Registry", {"platform", "runtime/Strings", "runtime/Code", "runtime/Threads"}},
    {"runtime/Applications", {"platform", "runtime/Strings", "runtime/Code", "runtime/Threads"}},
    {"Code/Common",
     {"platform", "runtime/Strings", "runtime/Code", "runtime/Threads", "runtime/File", "runtime/Json",
      "runtime/NewCrypto", "runtime/Applications"}},
    {"Shared/Code/MacOSX", {"platform", "runtime/Strings", "runtime/Code"}},
    {"Code/MacOSX",
     {"platform", "runtime/Strings", "runtime/Code", "runtime/Threads", "runtime/Registry",
      "runtime/Applications", "Code/Common"}},
    {"Code/MacOSX/VNTUpdate",
     {"platform", "runtime/Strings", "runtime/Code", "runtime/Threads", "runtime/NewCrypto", "Code/Common",
      "Code/MacOSX"}},
    // The run sequence stands above the engine.
    {"Code/MacOSX/AgentRun.cpp",
     {"platform", "runtime/Code", "runtime/Applications", "Code/MacOSX", "Code/MacOSX/VNTUpdate",
      "Shared/Code/MacOSX"}},
};

/// Headers of libraries that one source file each wraps; no header of ours lets them through.
const std::regex kWrappedLibrary(
    R"(^\s*#\s*include\s*<(curl/|expat|sqlite3|openssl/|boost/(asio|beast)|nlohmann/|spdlog/))");
const std::regex kOwnInclude(R"re(^\s*#\s*include\s*"([^"]+)")re");
/// Not in the oldest system library that the agent runs with, or one system only.
const std::regex kUnavailable(
    R"(^\s*#\s*include\s*<(filesystem|source_location|stop_token|semaphore|latch|barrier|format|expected|any)>|)"
    R"(\bstd::(jthread|visit|get)\s*[<(]|#\s*if.*__linux__)");

std::string folderOf(const std::string& path) {
  return fs::path(path).parent_path().generic_string();
}

bool isProduct(const std::string& folder) {
  return kAllowedIncludes.count(folder) != 0;
}

bool isAboveBackend(const std::string& folder) {
  return isProduct(folder) && folder != "platform/linux" && folder != "platform/macos";
}

Lines linesOf(const fs::path& path) {
  std::ifstream file(path);
  Lines lines;
  for (std::string line; std::getline(file, line);)
    lines.push_back(line);
  return lines;
}

bool mayInclude(const std::string& from, const std::string& target) {
  if (from == target) return true;
  const auto& allowed = kAllowedIncludes.at(from);
  return std::find(allowed.begin(), allowed.end(), target) != allowed.end();
}

/// What is wrong with the lines of the product file `name` (relative to the root); empty when nothing is.
std::vector<std::string> violations(const std::string& name, const Lines& lines) {
  std::vector<std::string> found;
  const std::string folder = folderOf(name);
  const std::string& from = kAllowedIncludes.count(name) != 0 ? name : folder;
  const bool isHeader = fs::path(name).extension() == ".h";
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string place = name + ":" + std::to_string(i + 1) + ": ";
    std::smatch match;
    if (std::regex_search(lines[i], match, kOwnInclude) && !mayInclude(from, folderOf(match[1]))) {
      found.push_back(place + from + " may not include " + match[1].str());
    }
    if (isHeader && std::regex_search(lines[i], kWrappedLibrary)) {
      found.push_back(place + "a wrapped library's header in a header");
    }
    if (isAboveBackend(folder) && std::regex_search(lines[i], kUnavailable)) {
      found.push_back(place + "not available everywhere: " + lines[i]);
    }
  }
  return found;
}

TEST(IncludeFloors, NothingInTheProductClimbsOrGoesSideways) {
  std::size_t files = 0;
  for (const char* top : {"platform", "runtime", "Code", "Shared"}) {
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(SOURCE_ROOT) / top)) {
      const auto extension = entry.path().extension();
      if (extension != ".h" && extension != ".cpp" && extension != ".mm") continue;
      const std::string name = fs::relative(entry.path(), SOURCE_ROOT).generic_string();
      ASSERT_TRUE(isProduct(folderOf(name))) << name << " lies in a folder that has no floor";
      for (const auto& violation : violations(name, linesOf(entry.path())))
        ADD_FAILURE() << violation;
      ++files;
    }
  }
  EXPECT_GT(files, 100u);
}

TEST(IncludeFloors, TheCheckSeesEachKindOfFault) {
  struct Case {
    const char* file;
    const char* line;
    bool accepted;
  };
  const Case cases[] = {
      {"platform/Url.h", "#include \"platform/Error.h\"", true},
      {"platform/Url.h", "#include \"runtime/Code/ZRResult.h\"", false},
      {"platform/linux/Bundle.cpp", "#include \"platform/macos/Bundles.h\"", false},
      {"platform/common/Url.cpp", "#include \"platform/linux/Roots.h\"", false},
      {"runtime/Json/JsonValue.cpp", "#include \"runtime/Registry/ZRRegEntry.h\"", false},
      {"Code/Common/DeltaPlanner.cpp", "#include \"Code/MacOSX/VNTUpdateDownloader.h\"", false},
      {"Code/MacOSX/AgentRun.cpp", "#include \"Code/MacOSX/VNTUpdate/VNTUpdate.h\"", true},
      {"Code/MacOSX/AgentLock.cpp", "#include \"Code/MacOSX/VNTUpdate/VNTUpdate.h\"", false},
      {"Code/MacOSX/AgentRun.cpp", "#include \"tests/support/LogCapture.h\"", false},
      {"Code/MacOSX/AgentRun.cpp", "#include \"tools/staging/StagingServer.h\"", false},
      {"platform/linux/UrlLoading.h", "#include <curl/curl.h>", false},
      {"platform/linux/UrlLoading.cpp", "#include <curl/curl.h>", true},
      {"runtime/File/ZRFile.cpp", "#include <filesystem>", false},
      {"platform/linux/FileManager.cpp", "#include <filesystem>", true},
      {"Code/Common/TrustedServers.cpp", "#ifdef __linux__", false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(violations(c.file, {c.line}).empty(), c.accepted) << c.file << " with " << c.line;
  }
}

}  // namespace

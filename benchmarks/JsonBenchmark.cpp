// An update info document of 250 KB, parsed to a tree and freed again: the runtime against nlohmann::json.

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "benchmarks/Measure.h"
#include "runtime/Json/ZRJsonParser.h"

namespace {

constexpr std::size_t kDocumentBytes = 250'000;
constexpr int kRepeats = 20;

std::string url(const char* system, int from, int to) {
  return "https://downloads.vantora-storage.example/builds/" + std::to_string(to) + "/" + system + "/VNT_b" +
         std::to_string(from) + "_" + std::to_string(to) + ".tar.gz";
}

nlohmann::ordered_json package(int from, int to) {
  return {{"fromBuildNumber", from},
          {"macDownloadUrl", url("mac", from, to)},
          {"macDownloadSize", 1'000'003 + 17 * from},
          {"windowsDownloadUrl", url("windows", from, to)},
          {"windowsDownloadSize", 2'000'003 + 19 * to}};
}

nlohmann::ordered_json build(int number) {
  nlohmann::ordered_json packages = nlohmann::ordered_json::array();
  for (int back = 1; back <= 20; ++back)
    packages.push_back(package(number - back, number));
  return {{"buildNumber", number},
          {"macDownloadUrl", url("mac", 0, number)},
          {"macDownloadSize", 99'000'001},
          {"windowsDownloadUrl", url("windows", 0, number)},
          {"windowsDownloadSize", 88'000'001},
          {"deltaPackages", packages}};
}

std::string document() {
  nlohmann::ordered_json builds = nlohmann::ordered_json::array();
  nlohmann::ordered_json whole = {
      {"updaterSettings", {{"enabled", true}, {"minDelayInDays", 1}, {"maxDelayInDays", 7}}}};
  for (int number = 7000; builds.dump(1).size() < kDocumentBytes; number += 25)
    builds.push_back(build(number));
  whole["activeBuilds"] = builds;
  return whole.dump(1);
}

void parseOurs(const std::string& text) {
  for (int i = 0; i < kRepeats; ++i) {
    ZRJsonValue value;
    if (ZRJsonParser::parse(text.data(), text.size(), value).isFailure()) throw std::runtime_error("parse");
  }
}

void parseTheirs(const std::string& text) {
  for (int i = 0; i < kRepeats; ++i) {
    const nlohmann::json value = nlohmann::json::parse(text);
    if (!value.is_object()) throw std::runtime_error("parse");
  }
}

}  // namespace

int main() {
  const std::string text = document();
  const auto best = benchmark::compare(
      25, [&text] { parseOurs(text); }, [&text] { parseTheirs(text); });
  benchmark::print("update info of 250 KB, parsed, freed", "nlohmann::json", best, benchmark::Meaning::time,
                   0.60);
}

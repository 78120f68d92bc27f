#include "platform/RunningApplications.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

#include "platform/FileManager.h"
#include "platform/Text.h"
#include "platform/linux/Bundles.h"

namespace platform {
namespace {

std::vector<std::int32_t> processNumbers() {
  std::vector<std::string> names;
  std::vector<std::int32_t> numbers;
  if (defaultFileManager().contentsOfFolder("/proc", names).failed()) return numbers;
  for (const auto& name : names) {
    std::int32_t number = 0;
    const char* end = name.data() + name.size();
    const auto [rest, error] = std::from_chars(name.data(), end, number);
    if (error == std::errc() && rest == end) numbers.push_back(number);
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

/// Tells whether bundles have an identifier, reading each bundle once however many processes it has.
class IdentifierTest {
 public:
  explicit IdentifierTest(const std::string& identifier) : _wanted(lowerCase(identifier)) {}

  bool operator()(const std::string& bundle) {
    const auto [answer, isNew] = _answers.try_emplace(bundle, false);
    if (isNew) {
      const auto identifier = bundleIdentifier(bundle);
      answer->second = identifier && lowerCase(*identifier) == _wanted;
    }
    return answer->second;
  }

 private:
  std::string _wanted;
  std::map<std::string, bool> _answers;
};

}  // namespace

std::vector<RunningApplication> runningApplications(const std::string& bundleIdentifier) {
  std::vector<RunningApplication> running;
  IdentifierTest hasIdentifier(bundleIdentifier);
  for (const std::int32_t number : processNumbers()) {
    const auto executable = executableOfProcess(std::to_string(number));
    const auto bundle = executable ? bundleOfExecutable(*executable) : std::nullopt;
    if (bundle && hasIdentifier(*bundle)) running.push_back({number, *bundle, false});
  }
  return running;
}

}  // namespace platform

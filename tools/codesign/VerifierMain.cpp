#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Bundle.h"
#include "tools/codesign/Crypto.h"
#include "tools/codesign/MakerCertificates.h"
#include "tools/codesign/Verifier.h"

namespace {

enum ExitStatus { eValid = 0, eInvalid = 1, eUsage = 2 };

struct CommandLine {
  codesign::VerifyOptions options;
  std::string path;
};

std::optional<CommandLine> parse(int count, char* arguments[]) {
  CommandLine line;
  bool verifies = false;
  for (int i = 1; i < count; ++i) {
    const std::string_view argument = arguments[i];
    if (argument == "--verify") {
      verifies = true;
    } else if (argument == "--deep") {
      line.options.deep = true;
    } else if (argument == "--strict" || argument == "--strict=all") {
      line.options.strict = true;
    } else if (argument.starts_with("-") || !line.path.empty()) {
      return std::nullopt;
    } else {
      line.path = argument;
    }
  }
  return verifies && !line.path.empty() ? std::optional(line) : std::nullopt;
}

/// The path without what would make a link to a folder look like the folder: "/" and "/." at its end.
std::filesystem::path itemPath(std::filesystem::path path) {
  const auto endsInNoName = [&path] { return path.filename().empty() || path.filename() == "."; };
  while (path.has_relative_path() && path.has_parent_path() && endsInNoName())
    path = path.parent_path();
  if (path.filename() == "..")
    throw codesign::CodeSignatureError("a path that ends in \"..\" names no bundle");
  return path;
}

void verify(const CommandLine& line) {
  codesign::ignoreLibrarySettings();
  const auto folder = codesign::makerCertificateFolder(platform::executablePath());
  codesign::verifyBundle(itemPath(line.path), codesign::readMakerCertificates(folder), line.options);
}

}  // namespace

int main(int argumentCount, char* arguments[]) {
  const auto line = parse(argumentCount, arguments);
  if (!line) {
    std::cerr << "Usage: codesign-verifier --verify [--deep] [--strict[=all]] PATH\n";
    return eUsage;
  }
  try {
    verify(*line);
    return eValid;
  } catch (const std::exception& error) {
    std::cerr << line->path << ": " << error.what() << '\n';
    return eInvalid;
  }
}

#include "Code/MacOSX/VNTUpdate/TemporaryNames.h"

namespace {

/// Build numbers in these names are signed.
std::string signedText(std::uint32_t build) {
  return std::to_string(static_cast<std::int32_t>(build));
}

}  // namespace

std::string fullArchiveName(std::uint32_t build) {
  return "/VNT_Mac_x86_b" + std::to_string(build);
}

std::string deltaArchiveName(std::uint32_t targetBuild) {
  return fullArchiveName(targetBuild) + "_delta";
}

std::string endpointName(std::uint32_t build) {
  return "/Vantora (" + signedText(build) + ").app";
}

std::string deltaFolderName(std::uint32_t sourceBuild, std::uint32_t targetBuild) {
  return "/" + signedText(sourceBuild) + "_" + signedText(targetBuild);
}

#pragma once

#include <string>

namespace platform {

/// Absolute path of the tool that verifies code signatures. It takes `--verify --deep [--strict=all] PATH`
/// and ends with 0 when the bundle at PATH is whole and signed by someone trusted, and with another status
/// when it is not. The path is answered whether the tool is there or not: launching tells.
[[nodiscard]] std::string codeSignatureTool();

}  // namespace platform

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

/// A system tool and what it is to do.
struct Tool {
  const char* name;  ///< for messages
  std::string path;
  std::vector<std::string> arguments;
  std::string folder = {};  ///< working folder; empty: this process's
  std::chrono::seconds limit;
};

/// Runs the tool to its end, with a clean environment and its streams on the null device. Answers its exit
/// status; none, logged under `context`, when it cannot be started or has not ended within its limit. It is
/// gone in any case.
[[nodiscard]] std::optional<int> runTool(const Tool& tool, const char* context);

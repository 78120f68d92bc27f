#pragma once

#include <array>

/// The addresses that the agent is built with. A maker replaces this file; nothing adds to it at run time.
namespace configuration {

/// Where the update info document is fetched unless the preferences name another place.
inline constexpr const char* kDefaultUpdateInfoUrl =
    "https://updates.vantora.example/vntupdater/live/config.json";

/// The origin that is asked first for the delta packages of a build that is wanted at once: scheme and host,
/// no path. A host that is not trusted leaves all packages to the addresses in the update info.
inline constexpr const char* kAlternativeBuildServer = "https://builds.vantora.example";

/// Where builds and documents may come from. An entry with a leading dot stands for the subdomains of that
/// domain, another one for that host alone.
inline constexpr std::array<const char*, 11> kTrustedServers = {
    ".vantora.example",
    ".korvane.example",
    ".halvardonline.example",
    ".vantora-cdn.example",
    ".korvane-cdn.example",
    ".vantora-builds.example",
    ".korvane-services.example",
    "downloads.vantora-storage.example",
    "builds.vantora-storage.example",
    "releases.korvane-storage.example",
    "archive.korvane-storage.example",
};

/// Stands behind the product's name in the settings registry, after a blank; empty for the product itself.
inline constexpr const char* kProductSuffix = "";

}  // namespace configuration

#pragma once

#include <cstdint>
#include <filesystem>

#include "tools/demo/Payload.h"

namespace demo {

/// Makes a client bundle of a build: information dictionary with the plain URL scheme and the one of the
/// build, the executables of a client, and what the payload has for that build.
void makeClientBundle(const std::filesystem::path& bundle, std::uint32_t build, const Payload& payload);

/// Makes the companion application's bundle.
void makeMessengerBundle(const std::filesystem::path& bundle);

}  // namespace demo

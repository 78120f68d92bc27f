#pragma once

#include <cstdint>

/// Whether the operating system is a certain release of major version 10: its minor version equals `minor`,
/// or is at least that with `orLater`. Of a later major version only the minor version is compared all the
/// same; false below major version 10, or when the version cannot be read, which is logged. The version is
/// read once.
[[nodiscard]] bool isOsVersion(std::int32_t minor, bool orLater);

/// The comparison alone.
[[nodiscard]] bool matchesOsVersion(std::int32_t systemMajor, std::int32_t systemMinor, std::int32_t minor,
                                    bool orLater);

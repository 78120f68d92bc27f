#pragma once

#include <string_view>

/// @file
/// What a delta package consists of: a folder tree that mirrors the target bundle. Each file is there whole,
/// or as a patch named after it with a suffix, to be applied to the same-named file of an installed bundle;
/// at the top lies the list of the finished files' digests.

inline constexpr std::string_view kPatchSuffix = ".bsdiff";

/// One line a file: its path in the tree, one blank, its MD5 digest as 32 lower-case hexadecimal digits.
inline constexpr const char* kCheckSumsName = "FileCheckSums.txt";

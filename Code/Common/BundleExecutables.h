#pragma once

/// The executables of every client bundle, relative to it. Patching drops the execute bits of a file; these
/// are made executable again, in this order, so every bundle that a delta package produces has them.
inline constexpr const char* kBundleExecutables[] = {
    "Contents/Helpers/VNTRelauncher",
    "Contents/Helpers/VNTUpdate",
    "Contents/Helpers/VNTUpload",
    "Contents/Helpers/Vantora Recording Manager.app/Contents/MacOS/Vantora Recording Manager",
    "Contents/MacOS/Vantora",
};

#pragma once

/// The keys in the agent's preference file.
namespace preference {

// What the agent goes by.
inline constexpr const char* kNextUpdateCheck = "NextUpdateCheck";
inline constexpr const char* kRescheduledUpdateChecks = "RescheduledUpdateChecks";
inline constexpr const char* kCleanupDownloadCache = "CleanupDownloadCache";
inline constexpr const char* kAlwaysCheck = "AlwaysCheck";
inline constexpr const char* kUpdateInfoURL = "UpdateInfoURL";
inline constexpr const char* kAggressivelyCleanup = "AggressivelyCleanup";
/// Which agent is installed; for whoever installs one.
inline constexpr const char* kVNTBuildNumber = "VNTBuildNumber";

}  // namespace preference

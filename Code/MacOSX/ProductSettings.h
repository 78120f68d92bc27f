#pragma once

#include "runtime/Code/ZRResult.h"

/// @file
/// What the programs of the product keep in its settings, of the current user on the current host.

/// The names of the values that the agent reads or writes.
namespace setting {
inline constexpr const char* kUpdateInfoURL = "UpdateInfoURL";  ///< in place of the default address
inline constexpr const char* kMessenger = "VNTMessenger";       ///< not empty: the Messenger is wanted
inline constexpr const char* kMessengerWasInstalled = "MessengerWasInstalled";
}  // namespace setting

/// Fails: eNotFound, eInvalidType.
ZRResult readRegistryString(const char* name, ZRString& value);
/// Fails: eIOError when the preferences service could not write.
ZRResult writeRegistryString(const char* name, const ZRString& value);

/// Whether the Messenger was installed or found once. `wasInstalled` is set only with eNoError.
/// Fails: eNotFound, eInvalidType.
ZRResult getMessengerWasInstalled(bool& wasInstalled);
/// A failure is logged here.
ZRResult setMessengerWasInstalled(bool wasInstalled);

/// The settings' key path: "Software/KorvaneInc/Vantora", then a blank and the suffix unless it is empty.
[[nodiscard]] ZRString settingsKeyPath(const ZRString& productSuffix);

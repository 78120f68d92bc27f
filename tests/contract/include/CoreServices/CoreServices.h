/// What the macOS backend uses of CoreServices, declared from the documented interfaces of macOS 10.13:
/// names, types, and the version that introduced or deprecated what is not in 10.4. Nothing that is not used.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/Gestalt.h>
#include <CoreServices/LaunchServices.h>
#include <CoreServices/MDItem.h>

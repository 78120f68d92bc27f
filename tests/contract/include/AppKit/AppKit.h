/// What the macOS backend uses of AppKit, declared from the documented interfaces of macOS 10.13: names,
/// types, nullability, and the version that introduced or deprecated what is not in 10.4. Nothing that is not
/// used.
#pragma once

#import <AppKit/NSRunningApplication.h>

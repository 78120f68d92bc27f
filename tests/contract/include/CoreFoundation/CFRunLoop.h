#pragma once

#include <CoreFoundation/CFBase.h>

typedef struct __CFRunLoop* CFRunLoopRef;

CF_EXPORT CFRunLoopRef CFRunLoopGetCurrent(void);
/// Ends the innermost run after what it does at present, whatever that is.
CF_EXPORT void CFRunLoopStop(CFRunLoopRef rl);

#pragma once

#include <Availability.h>
#include <MacTypes.h>
#include <TargetConditionals.h>

#include <stdbool.h>
#include <stdint.h>

#define CF_EXPORT extern "C"
#define CF_INTRODUCED(version) __attribute__((availability(macos, introduced = version)))
#define CF_OUTDATED(since, until) __attribute__((availability(macos, introduced = since, deprecated = until)))
#define CF_BRIDGED_TYPE(type) __attribute__((objc_bridge(type)))

typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef signed long CFIndex;
typedef const CF_BRIDGED_TYPE(id) void* CFTypeRef;

typedef const struct CF_BRIDGED_TYPE(NSString) __CFString* CFStringRef;
typedef const struct __CFAllocator* CFAllocatorRef;

static const CFIndex kCFNotFound = -1;

/// Null stands for it.
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;

CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
CF_EXPORT CFTypeRef CFRetain(CFTypeRef cf);
/// Null is no object that it takes.
CF_EXPORT void CFRelease(CFTypeRef cf);

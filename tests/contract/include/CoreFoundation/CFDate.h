#pragma once

#include <CoreFoundation/CFBase.h>

typedef double CFTimeInterval;
/// Seconds since 2001-01-01 00:00:00 UTC.
typedef CFTimeInterval CFAbsoluteTime;
typedef const struct CF_BRIDGED_TYPE(NSDate) __CFDate* CFDateRef;

CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;

CF_EXPORT CFTypeID CFDateGetTypeID(void);
CF_EXPORT CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at);
CF_EXPORT CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate);

#pragma once

#include <CoreFoundation/CFString.h>

typedef const struct CF_BRIDGED_TYPE(NSURL) __CFURL* CFURLRef;

/// Null for what is no URL.
CF_EXPORT CFURLRef CFURLCreateWithBytes(CFAllocatorRef allocator, const UInt8* URLBytes, CFIndex length,
                                        CFStringEncoding encoding, CFURLRef baseURL);
/// A relative path is one in the current folder.
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                           CFIndex bufLen, Boolean isDirectory);
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                                   CFIndex maxBufLen);

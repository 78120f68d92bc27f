#pragma once

#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFError.h>

typedef CFTypeRef CFPropertyListRef;

enum CFPropertyListMutabilityOptions : CFOptionFlags {
  kCFPropertyListImmutable = 0,
};
typedef enum CFPropertyListMutabilityOptions CFPropertyListMutabilityOptions;

enum CFPropertyListFormat : CFIndex {
  kCFPropertyListBinaryFormat_v1_0 = 200,
};
typedef enum CFPropertyListFormat CFPropertyListFormat;

CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                                         CFOptionFlags options, CFPropertyListFormat* format,
                                                         CFErrorRef* error) CF_INTRODUCED(10.6);
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                             CFPropertyListFormat format, CFOptionFlags options,
                                             CFErrorRef* error) CF_INTRODUCED(10.6);
